#pragma once

#include <iosfwd>
#include <string>
#include <vector>

namespace app {

/// A plot in characters, 80 columns wide: time downwards, anything to the right.
class CharacterPlot {
 public:
  static constexpr int columns = 68;
  static constexpr int rows = 24;

  /// The values at the edges; a range without extent becomes 1 wide.
  CharacterPlot(float left, float right, float top, float bottom);

  /// What a row or column stands for.
  float timeOf(int row) const;
  float valueOf(int column) const;

  /// Marks a point; '*' where another mark is already. Points outside are left out.
  void mark(float value, float time, char mark);
  /// Times at the left, values below the plot.
  void print(std::ostream& out) const;

 private:
  double left_, right_, top_, bottom_;
  std::vector<std::string> cells_;
};

}  // namespace app
