#include "app/console.h"

#include <cstdio>
#include <nlohmann/json.hpp>

namespace app {

void Console::warn(const std::string& text) {
  ++warnings_;
  std::fflush(stdout);
  std::fprintf(stderr, "warning: %s\n", text.c_str());
  if (log_ != nullptr) log_->write("warning", {{"text", text}});
}

}  // namespace app
