#pragma once

#include <array>
#include <string>
#include <vector>

namespace host::local {

/// The text header of a SEG-Y file: 40 cards of 80 characters, in EBCDIC or ASCII.
using SegyText = std::array<char, 3200>;

/// Whether a text header is in EBCDIC; an unset one (all zero) counts as such.
bool isEbcdic(const SegyText& text);

/// The 40 cards in ASCII; bytes that are no printable character read as blanks.
std::vector<std::string> cards(const SegyText& text);

/// Writes lines of ASCII text into the last blank cards in front of cards 39 and 40, which hold the revision and the
/// end mark; where there are too few, into the last cards in front of those two. Lines longer than a card go on on the
/// next one; what exceeds 38 cards is left out. The encoding stays.
void addNotes(SegyText& text, const std::vector<std::string>& lines);

}  // namespace host::local
