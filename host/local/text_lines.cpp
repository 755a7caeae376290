#include "host/local/text_lines.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <fstream>

#include "host/local/job.h"

namespace host::local {

namespace {

using std::string_view;

constexpr string_view blanks = " \t\r";
constexpr float greatestWhole = 16777216.0f;  // beyond it single precision skips whole numbers

/// Takes the first line off a text.
string_view takeLine(string_view& text) {
  const auto end = text.find('\n');
  const string_view line = trimmed(text.substr(0, end));
  text.remove_prefix(end == string_view::npos ? text.size() : end + 1);
  return line;
}

}  // namespace

std::string contentOf(const std::filesystem::path& file) {
  std::ifstream stream(file, std::ios::binary);
  std::string text;
  std::vector<char> block(1 << 16);
  while (stream) {
    stream.read(block.data(), static_cast<std::streamsize>(block.size()));
    text.append(block.data(), static_cast<std::size_t>(stream.gcount()));
  }
  if (!stream.eof()) throw RunError(file.string() + ": cannot be read: " + std::strerror(errno));
  return text;
}

string_view trimmed(string_view text) {
  const auto first = text.find_first_not_of(blanks);
  if (first == string_view::npos) return {};
  return text.substr(first, text.find_last_not_of(blanks) - first + 1);
}

std::string lowered(string_view text) {
  std::string result(text);
  for (char& c : result)
    if (c >= 'A' && c <= 'Z') c = static_cast<char>(c - 'A' + 'a');
  return result;
}

std::vector<string_view> wordsOf(string_view text) {
  std::vector<string_view> words;
  for (auto first = text.find_first_not_of(blanks); first != string_view::npos;
       first = text.find_first_not_of(blanks)) {
    text.remove_prefix(first);
    const auto end = std::min(text.find_first_of(blanks), text.size());
    words.push_back(text.substr(0, end));
    text.remove_prefix(end);
  }
  return words;
}

std::vector<string_view> fieldsOf(string_view text, char separator) {
  std::vector<string_view> fields;
  for (auto end = text.find(separator); end != string_view::npos; end = text.find(separator)) {
    fields.push_back(trimmed(text.substr(0, end)));
    text.remove_prefix(end + 1);
  }
  fields.push_back(trimmed(text));
  return fields;
}

std::string shown(string_view text) {
  constexpr std::size_t most = 100;
  std::string result(text.substr(0, most));
  for (char& c : result)
    if (static_cast<unsigned char>(c) < 0x20 || c == 0x7f) c = '?';
  return '"' + result + (text.size() > most ? "...\"" : "\"");
}

TextLines::TextLines(const std::filesystem::path& file) : file_(file.string()), text_(contentOf(file)) { rewind(); }

string_view TextLines::start() const {
  constexpr string_view byteOrderMark = "\xef\xbb\xbf";
  string_view text = text_;
  if (text.starts_with(byteOrderMark)) text.remove_prefix(byteOrderMark.size());
  return text;
}

void TextLines::rewind() {
  rest_ = start();
  line_ = {};
  number_ = 0;
}

bool TextLines::next() {
  while (!rest_.empty()) {
    line_ = takeLine(rest_);
    ++number_;
    if (!line_.empty() && line_.front() != '#') return true;
  }
  return false;
}

std::vector<string_view> TextLines::comments() const {
  std::vector<string_view> found;
  for (string_view text = start(); !text.empty();) {
    const string_view line = takeLine(text);
    if (line.starts_with('#')) found.push_back(line);
  }
  return found;
}

void TextLines::refuse(std::size_t number, const std::string& what) const {
  string_view text = start(), line;
  for (std::size_t k = 0; k < number; ++k) line = takeLine(text);
  throw RunError(file_ + ", line " + std::to_string(number) + ": " + what + "; found " + shown(line));
}

void TextLines::refuseFile(const std::string& what) const { throw RunError(file_ + ": " + what); }

float TextLines::whole(string_view field, const char* what) const {
  const auto value = finite<double>(field);
  if (value != std::trunc(value) || std::abs(value) > static_cast<double>(greatestWhole))
    refuse(std::string(what) + " " + shown(field) + " is not a whole number of at most 16777216");
  return static_cast<float>(value);
}

}  // namespace host::local
