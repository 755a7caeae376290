#include "host/local/stop_signals.h"

#include <gtest/gtest.h>

namespace host::local {
namespace {

using Handler = void (*)(int);

Handler handlerOf(int signal) {
  struct sigaction action {};
  sigaction(signal, nullptr, &action);
  return action.sa_handler;
}

TEST(StopSignals, TheFirstOneIsNotedAndTheNextOneOfEitherKindEndsTheProgram) {
  for (const int signal : {SIGINT, SIGTERM}) {
    const Handler before = handlerOf(SIGINT);
    {
      const StopSignals signals;
      EXPECT_EQ(StopSignals::received(), 0);
      std::raise(signal);
      EXPECT_EQ(StopSignals::received(), signal);
      EXPECT_EQ(handlerOf(SIGINT), SIG_DFL);
      EXPECT_EQ(handlerOf(SIGTERM), SIG_DFL);
    }
    EXPECT_EQ(handlerOf(SIGINT), before);
    EXPECT_EQ(StopSignals::received(), 0);
  }
}

TEST(StopSignals, AnIgnoredOneStaysIgnoredAlsoWhenTheOtherComes) {
  const Handler before = std::signal(SIGINT, SIG_IGN);
  {
    const StopSignals signals;
    std::raise(SIGINT);
    EXPECT_EQ(StopSignals::received(), 0);
    std::raise(SIGTERM);
    EXPECT_EQ(StopSignals::received(), SIGTERM);
    EXPECT_EQ(handlerOf(SIGINT), SIG_IGN);
  }
  std::signal(SIGINT, before);
}

}  // namespace
}  // namespace host::local
