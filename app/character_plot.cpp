#include "app/character_plot.h"

#include <cmath>
#include <cstdio>
#include <ostream>

namespace app {

namespace {

/// The cell of `count` from first to last in which a value lies.
int cellOf(double value, double first, double last, int count) {
  return static_cast<int>(std::lround((value - first) / (last - first) * (count - 1)));
}

}  // namespace

CharacterPlot::CharacterPlot(float left, float right, float top, float bottom)
    : left_(left), right_(right), top_(top), bottom_(bottom), cells_(rows, std::string(columns, ' ')) {
  if (left_ == right_) right_ += 1.0;
  if (top_ == bottom_) bottom_ += 1.0;
}

float CharacterPlot::timeOf(int row) const { return static_cast<float>(top_ + (bottom_ - top_) * row / (rows - 1)); }

float CharacterPlot::valueOf(int column) const {
  return static_cast<float>(left_ + (right_ - left_) * column / (columns - 1));
}

void CharacterPlot::mark(float value, float time, char mark) {
  const int row = cellOf(time, top_, bottom_, rows), column = cellOf(value, left_, right_, columns);
  if (row < 0 || row >= rows || column < 0 || column >= columns) return;
  char& cell = cells_[static_cast<std::size_t>(row)][static_cast<std::size_t>(column)];
  cell = cell == ' ' || cell == mark ? mark : '*';
}

void CharacterPlot::print(std::ostream& out) const {
  char text[64];
  for (int row = 0; row < rows; ++row) {
    std::snprintf(text, sizeof text, "%8.1f |", static_cast<double>(timeOf(row)));
    const std::string& cells = cells_[static_cast<std::size_t>(row)];
    out << text << cells.substr(0, cells.find_last_not_of(' ') + 1) << '\n';
  }
  out << "      ms +" << std::string(columns, '-') << '\n' << std::string(10, ' ');
  // three values: at the left, in the middle, at the right
  std::snprintf(text, sizeof text, "%-22.6g", left_);
  out << text;
  std::snprintf(text, sizeof text, "%14.6g", 0.5 * (left_ + right_));
  out << text;
  std::snprintf(text, sizeof text, "%32.6g", right_);
  out << text << '\n';
}

}  // namespace app
