#pragma once

#include <unistd.h>

namespace host::local {

/// An open file, closed with the object; -1: none.
struct Descriptor {
  int number = -1;
  Descriptor() = default;
  Descriptor(const Descriptor&) = delete;
  Descriptor& operator=(const Descriptor&) = delete;
  ~Descriptor() {
    if (number >= 0) close(number);
  }
};

}  // namespace host::local
