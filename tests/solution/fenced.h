#pragma once

#include <gtest/gtest.h>

#include <algorithm>
#include <cstddef>
#include <vector>

#include "tests/support/fenced.h"

/// A fenced array of given values that passes as a pointer to its first element and looks after its fences when it
/// goes.
template <class Number>
class Fenced : public support::Fenced<Number> {
 public:
  explicit Fenced(int count, Number value = Number{}) : Fenced(std::vector<Number>(std::size_t(count), value)) {}

  Fenced(const std::vector<Number>& values) : support::Fenced<Number>(values.size()) {
    std::copy(values.begin(), values.end(), this->data());
  }

  Fenced(const Fenced&) = delete;
  Fenced& operator=(const Fenced&) = delete;

  ~Fenced() { EXPECT_TRUE(this->fences_stand()) << "written outside the array"; }

  operator Number*() { return this->data(); }
  Number& operator[](int k) { return this->data()[k]; }
};
