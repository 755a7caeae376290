#pragma once

#include <string>
#include <vector>

#include "host/local/job.h"

namespace host::local {

/// What stands against a run, in the order in which it was found.
class Problems {
 public:
  void add(const std::string& text) { texts_.push_back(text); }
  void add(const Problems& others) { texts_.insert(texts_.end(), others.texts_.begin(), others.texts_.end()); }

  /// Makes one check; what it is refused with becomes a problem.
  /// @return whether it passed
  template <class Check>
  bool attempt(Check check) {
    try {
      check();
      return true;
    } catch (const RunError& error) {
      add(error.what());
      return false;
    }
  }

  bool none() const { return texts_.empty(); }
  const std::vector<std::string>& texts() const { return texts_; }

  /// A RunError with all of them, a line each, when there are any.
  void raise() const {
    if (none()) return;
    std::string all;
    for (const std::string& text : texts_) all += (all.empty() ? "" : "\n") + text;
    throw RunError(all);
  }

 private:
  std::vector<std::string> texts_;
};

}  // namespace host::local
