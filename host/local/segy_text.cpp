#include "host/local/segy_text.h"

#include <algorithm>
#include <cstddef>
#include <cstdio>
#include <string_view>

#include "host/local/segy_writer.h"

namespace host::local {

namespace {

constexpr std::size_t cardCount = 40;
constexpr std::size_t cardLength = 80;
constexpr std::size_t prefixLength = 4;  // "C12 "
constexpr std::size_t freeCards = 38;    // cards 39 and 40 hold the revision and the end mark

// EBCDIC (code page 037) of the printable ASCII characters from blank to tilde.
constexpr unsigned char ebcdicOfAscii[] = {
    0x40, 0x5a, 0x7f, 0x7b, 0x5b, 0x6c, 0x50, 0x7d, 0x4d, 0x5d, 0x5c, 0x4e, 0x6b, 0x60, 0x4b, 0x61,  //  !"#$%&'()*+,-./
    0xf0, 0xf1, 0xf2, 0xf3, 0xf4, 0xf5, 0xf6, 0xf7, 0xf8, 0xf9, 0x7a, 0x5e, 0x4c, 0x7e, 0x6e, 0x6f,  // 0-9:;<=>?
    0x7c, 0xc1, 0xc2, 0xc3, 0xc4, 0xc5, 0xc6, 0xc7, 0xc8, 0xc9, 0xd1, 0xd2, 0xd3, 0xd4, 0xd5, 0xd6,  // @A-O
    0xd7, 0xd8, 0xd9, 0xe2, 0xe3, 0xe4, 0xe5, 0xe6, 0xe7, 0xe8, 0xe9, 0xba, 0xe0, 0xbb, 0xb0, 0x6d,  // P-Z[\]^_
    0x79, 0x81, 0x82, 0x83, 0x84, 0x85, 0x86, 0x87, 0x88, 0x89, 0x91, 0x92, 0x93, 0x94, 0x95, 0x96,  // `a-o
    0x97, 0x98, 0x99, 0xa2, 0xa3, 0xa4, 0xa5, 0xa6, 0xa7, 0xa8, 0xa9, 0xc0, 0x4f, 0xd0, 0xa1};       // p-z{|}~

bool isPrintable(unsigned char c) { return c >= 0x20 && c <= 0x7e; }

unsigned char toEbcdic(char c) {
  const unsigned char code = static_cast<unsigned char>(c);
  return ebcdicOfAscii[(isPrintable(code) ? code : '?') - 0x20];
}

char fromEbcdic(unsigned char code) {
  const auto* at = std::find(std::begin(ebcdicOfAscii), std::end(ebcdicOfAscii), code);
  return at == std::end(ebcdicOfAscii) ? ' ' : static_cast<char>(0x20 + (at - std::begin(ebcdicOfAscii)));
}

std::string card(std::size_t number, std::string_view line) {
  char prefix[8];
  std::snprintf(prefix, sizeof prefix, "C%2u ", static_cast<unsigned>(number));
  std::string text = prefix + std::string(line.substr(0, cardLength - prefixLength));
  text.resize(cardLength, ' ');
  return text;
}

void putCard(SegyText& text, std::size_t number, std::string_view line, bool ebcdic) {
  std::string bytes = card(number, line);
  for (char& c : bytes) {
    c = ebcdic ? static_cast<char>(toEbcdic(c)) : isPrintable(static_cast<unsigned char>(c)) ? c : '?';
  }
  std::copy(bytes.begin(), bytes.end(), text.begin() + (number - 1) * cardLength);
}

/// A card with nothing but its number, if that.
bool isBlank(std::string_view line) {
  if (line.starts_with('C')) line.remove_prefix(std::min(line.find_first_not_of(" 0123456789", 1), line.size()));
  return line.find_first_not_of(' ') == std::string_view::npos;
}

std::vector<std::string> asCards(const std::vector<std::string>& lines) {
  constexpr std::size_t room = cardLength - prefixLength;
  std::vector<std::string> pieces;
  for (const std::string& line : lines) {
    for (std::size_t from = 0; from == 0 || from < line.size(); from += room) pieces.push_back(line.substr(from, room));
  }
  return pieces;
}

}  // namespace

bool isEbcdic(const SegyText& text) {
  // A blank is 0x40 in EBCDIC, and its letters and digits stand above 0x80, where ASCII has nothing.
  const auto count = [&text](auto&& test) {
    return std::count_if(text.begin(), text.end(), [&](char c) { return test(static_cast<unsigned char>(c)); });
  };
  return count([](unsigned char c) { return c == 0x40 || c >= 0x80; }) >=
         count([](unsigned char c) { return c != 0x40 && isPrintable(c); });
}

std::vector<std::string> cards(const SegyText& text) {
  const bool ebcdic = isEbcdic(text);
  std::vector<std::string> lines(cardCount, std::string(cardLength, ' '));
  for (std::size_t i = 0; i < text.size(); ++i) {
    const unsigned char code = static_cast<unsigned char>(text[i]);
    lines[i / cardLength][i % cardLength] = ebcdic ? fromEbcdic(code) : isPrintable(code) ? text[i] : ' ';
  }
  return lines;
}

void addNotes(SegyText& text, const std::vector<std::string>& lines) {
  std::vector<std::string> notes = asCards(lines);
  notes.resize(std::min(notes.size(), freeCards));

  const bool ebcdic = isEbcdic(text);
  const std::vector<std::string> present = cards(text);
  std::vector<std::size_t> numbers;
  for (std::size_t number = freeCards; number > 0 && numbers.size() < notes.size(); --number) {
    if (isBlank(present[number - 1])) numbers.insert(numbers.begin(), number);
  }
  if (numbers.size() < notes.size()) {
    numbers.clear();
    for (std::size_t i = 0; i < notes.size(); ++i) numbers.push_back(freeCards - notes.size() + 1 + i);
  }
  for (std::size_t i = 0; i < notes.size(); ++i) putCard(text, numbers[i], notes[i], ebcdic);
}

std::array<char, 3200> ebcdicText(const std::vector<std::string>& lines) {
  SegyText text{};
  for (std::size_t i = 0; i < cardCount; ++i) putCard(text, i + 1, i < lines.size() ? lines[i] : std::string(), true);
  return text;
}

}  // namespace host::local
