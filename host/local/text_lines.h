#pragma once

#include <charconv>
#include <cmath>
#include <cstddef>
#include <filesystem>
#include <string>
#include <string_view>
#include <vector>

namespace host::local {

/// The bytes of a file. @throws RunError with the reason when it cannot be read
std::string contentOf(const std::filesystem::path& file);
/// Without blanks, tabs and carriage returns at both ends.
std::string_view trimmed(std::string_view text);
/// ASCII letters in lower case.
std::string lowered(std::string_view text);
/// The words of a text, which blanks and tabs separate.
std::vector<std::string_view> wordsOf(std::string_view text);
/// The fields of a text, which one separator keeps apart, trimmed; at least one.
std::vector<std::string_view> fieldsOf(std::string_view text, char separator);
/// Text of a file in quotes for a message: not too long, on one line.
std::string shown(std::string_view text);

/// A text file, line by line, with the numbers in it. Blank lines and lines that begin with '#' are passed over, a byte
/// order mark too. What cannot be used is a RunError with file, line number and content.
class TextLines {
 public:
  /// @throws RunError when the file cannot be read
  explicit TextLines(const std::filesystem::path& file);

  /// Moves to the next line; false at the end of the file.
  bool next();
  /// Back to before the first line.
  void rewind();
  /// The current line, trimmed.
  std::string_view line() const { return line_; }
  /// Its number, from 1.
  std::size_t number() const { return number_; }

  /// The lines of the file that begin with '#', trimmed.
  std::vector<std::string_view> comments() const;

  /// Refuses the current line: what is wrong, then what was found.
  [[noreturn]] void refuse(const std::string& what) const { refuse(number_, what); }
  [[noreturn]] void refuse(std::size_t number, const std::string& what) const;
  /// Refuses the file as a whole.
  [[noreturn]] void refuseFile(const std::string& what) const;

  /// A number that is finite in its type.
  template <class Number>
  Number finite(std::string_view field) const {
    std::string_view digits = field;
    if (digits.starts_with('+')) digits.remove_prefix(1);
    Number value{};
    const auto [stop, error] = std::from_chars(digits.data(), digits.data() + digits.size(), value);
    if (error != std::errc() || stop != digits.data() + digits.size() || !std::isfinite(value))
      refuse(shown(field) + " is not a finite number");
    return value;
  }
  /// A whole number that single precision holds, such as a CDP; `what` names it.
  float whole(std::string_view field, const char* what) const;
  /// A time, not below 0, within single precision.
  template <class Number>
  Number time(std::string_view field) const {
    if (finite<float>(field) < 0.0f) refuse("time " + shown(field) + " is below 0");
    return finite<Number>(field);
  }
  /// A velocity, above 0, within single precision.
  template <class Number>
  Number velocity(std::string_view field) const {
    if (!(finite<float>(field) > 0.0f)) refuse("velocity " + shown(field) + " is not above 0");
    return finite<Number>(field);
  }

 private:
  std::string_view start() const;  ///< the text behind a byte order mark

  const std::string file_;
  const std::string text_;
  std::string_view rest_;  ///< what is not read yet
  std::string_view line_;
  std::size_t number_ = 0;
};

}  // namespace host::local
