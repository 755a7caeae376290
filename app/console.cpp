#include "app/console.h"

#include <cstdio>

namespace app {

void Console::warn(const std::string& text) {
  ++warnings_;
  std::fflush(stdout);
  std::fprintf(stderr, "warning: %s\n", text.c_str());
}

}  // namespace app
