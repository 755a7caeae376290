#include "host/local/table.h"

#include <algorithm>
#include <array>
#include <iterator>
#include <stdexcept>
#include <utility>

#include "host/local/job.h"
#include "host/local/position_interpolator.h"

namespace host {

namespace {

using local::Blend;

std::size_t index(std::ptrdiff_t i) { return static_cast<std::size_t>(i); }

/// Follows one Z value of a function along ascending Y: linear between points, end values beyond.
class Walk {
 public:
  Walk(const Table::Function& function, int zCount, int zIndex, float firstY)
      : y_(function.y),
        z_(function.z.data() + zIndex),
        zCount_(zCount),
        next_(std::upper_bound(y_.begin(), y_.end(), firstY) - y_.begin()) {}

  /// y not below that of the call before.
  double at(float y) {
    const auto size = static_cast<std::ptrdiff_t>(y_.size());
    while (next_ < size && y_[index(next_)] <= y) ++next_;
    if (next_ == 0) return z(0);
    if (next_ == size) return z(size - 1);
    const double below = y_[index(next_ - 1)], above = y_[index(next_)];
    const double from = z(next_ - 1), to = z(next_);
    return from + (to - from) * ((static_cast<double>(y) - below) / (above - below));
  }

 private:
  double z(std::ptrdiff_t point) const { return z_[point * zCount_]; }

  const std::vector<float>& y_;
  const float* z_;
  std::ptrdiff_t zCount_;
  std::ptrdiff_t next_;  ///< first point above the last y asked for
};

/// One Z value of a blend of functions along ascending Y.
class BlendWalk {
 public:
  BlendWalk(const Blend& blend, int zCount, int zIndex, float firstY) : blend_(blend) {
    for (int k = 0; k < blend.count; ++k) walks_.emplace_back(*blend.function[index(k)], zCount, zIndex, firstY);
  }

  /// y not below that of the call before.
  float at(float y) {
    const double first = walks_[0].at(y);
    double sum = first;
    for (std::size_t k = 1; k < walks_.size(); ++k) sum += blend_.weight[k] * (walks_[k].at(y) - first);
    return static_cast<float>(sum);
  }

 private:
  const Blend& blend_;
  std::vector<Walk> walks_;
};

/// The functions on both sides of x, or the end one.
Blend around(const std::map<float, Table::Function>& functions, float x) {
  const auto above = functions.upper_bound(x);
  if (above == functions.begin()) return {.count = 1, .function = {&above->second}};
  const auto below = std::prev(above);
  if (above == functions.end() || below->first == x) return {.count = 1, .function = {&below->second}};
  const double x0 = below->first, x1 = above->first;
  const double weight = (static_cast<double>(x) - x0) / (x1 - x0);
  return {.count = 2, .function = {&below->second, &above->second}, .weight = {1.0 - weight, weight}};
}

/// Samples of one Z value; sample i stands at float(i) * dt + t0, formed in single precision.
void sample(const Blend& blend, int zCount, int zIndex, int nt, float t0, float dt, float* out) {
  BlendWalk walk(blend, zCount, zIndex, t0);
  for (int i = 0; i < nt; ++i) out[i] = walk.at(static_cast<float>(i) * dt + t0);
}

}  // namespace

Table::Table(std::string name, int zCount, std::string xName, std::string yName, std::string zName)
    : name_(std::move(name)),
      xName_(std::move(xName)),
      yName_(std::move(yName)),
      zName_(std::move(zName)),
      zCount_(zCount) {}

Table::~Table() = default;
Table::Table(Table&&) noexcept = default;
Table& Table::operator=(Table&&) noexcept = default;

void Table::add(float x, float y, const float* z) {
  if (zCount_ < 1) throw std::logic_error("table " + name_ + ": a point for a table without Z values");
  interpolator_.reset();
  // Points mostly come function by function in ascending order: the hint then finds the last function at once.
  const auto hint = functions_.empty() ? functions_.end() : std::prev(functions_.end());
  Function& function = functions_.try_emplace(hint, x)->second;
  const auto at = function.y.empty() || function.y.back() < y
                      ? function.y.end()
                      : std::lower_bound(function.y.begin(), function.y.end(), y);
  const auto zAt = function.z.begin() + (at - function.y.begin()) * zCount_;
  if (at != function.y.end() && *at == y) {
    std::copy_n(z, zCount_, zAt);
  } else {
    function.z.insert(zAt, z, z + zCount_);
    function.y.insert(at, y);
  }
}

void Table::place(float x, local::Position position) {
  if (!fitsHeaders(position))
    throw local::RunError("table " + name_ + ": the map position of the function at " +
                          std::to_string(static_cast<double>(x)) + " is not a finite number; correct its source");
  interpolator_.reset();
  functions_.at(x).position = position;
}

void Table::clear() {
  interpolator_.reset();
  functions_.clear();
}

int Table::countMaxY() const {
  std::size_t most = 0;
  for (const auto& [x, function] : functions_) most = std::max(most, function.y.size());
  return static_cast<int>(most);
}

bool Table::alongX(float x, int nt, float t0, float dt, float* out, int zIndex) const {
  if (functions_.empty()) return false;
  sample(around(functions_, x), zCount_, zIndex, nt, t0, dt, out);
  return true;
}

bool Table::atPosition(local::Position at, int nt, int zIndex, float t0, float dt, float* out, std::string& why) const {
  if (!fitsHeaders(at)) {
    why = "the map position is not a finite number";
    return false;
  }
  if (interpolator_ == nullptr) {
    if (functions_.empty()) {
      why = "the table holds no functions";
      return false;
    }
    for (const auto& [x, function] : functions_) {
      if (function.position) continue;
      why = "the function at " + std::to_string(static_cast<double>(x)) +
            " has no map position; import the table with columns x and y";
      return false;
    }
    try {
      interpolator_ = std::make_unique<local::PositionInterpolator>(functions_);
    } catch (const local::RunError& error) {
      why = error.what();
      return false;
    }
  }
  sample(interpolator_->at(at), zCount_, zIndex, nt, t0, dt, out);
  return true;
}

void Table::point(float x, float y, float* z) const {
  if (functions_.empty()) {
    std::fill_n(z, zCount_, 0.0f);
    return;
  }
  const Blend blend = around(functions_, x);
  for (int k = 0; k < zCount_; ++k) z[k] = BlendWalk(blend, zCount_, k, y).at(y);
}

}  // namespace host
