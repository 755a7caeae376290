#include "host/local/stop_signals.h"

#include <atomic>

namespace host::local {

namespace {

std::atomic<int> receivedSignal = 0;  // a handler has nothing else to write to
static_assert(std::atomic<int>::is_always_lock_free);

void note(int number) {
  receivedSignal = number;
  for (const int either : {SIGINT, SIGTERM}) {
    struct sigaction now {};
    sigaction(either, nullptr, &now);
    if (now.sa_handler == note) std::signal(either, SIG_DFL);
  }
}

struct sigaction handle(int number) {
  struct sigaction before {};
  sigaction(number, nullptr, &before);
  if (before.sa_handler == SIG_IGN) return before;
  struct sigaction ours {};
  ours.sa_handler = note;
  ours.sa_flags = SA_RESTART;
  sigaddset(&ours.sa_mask, SIGINT);
  sigaddset(&ours.sa_mask, SIGTERM);
  sigaction(number, &ours, nullptr);
  return before;
}

}  // namespace

StopSignals::StopSignals() {
  receivedSignal = 0;
  interrupt_ = handle(SIGINT);
  terminate_ = handle(SIGTERM);
}

StopSignals::~StopSignals() {
  sigaction(SIGINT, &interrupt_, nullptr);
  sigaction(SIGTERM, &terminate_, nullptr);
  receivedSignal = 0;
}

int StopSignals::received() { return receivedSignal; }

Stopped::Stopped(int number) : Stopped(number, number == SIGINT ? "stopped by SIGINT" : "stopped by SIGTERM") {}
Stopped::Stopped(int number, const std::string& message) : RunError(message), signal(number) {}

}  // namespace host::local
