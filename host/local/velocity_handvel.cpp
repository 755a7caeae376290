#include "host/local/velocity_forms.h"

namespace host::local {

VelocityPoints readHandvelCards(TextLines& lines) {
  VelocityPoints found;
  float cdp = 0.0f;
  std::size_t card = 0, pointsAtCard = 0;
  const auto endCard = [&] {
    if (card != 0 && found.points.size() == pointsAtCard)
      lines.refuse(card, "no times and velocities follow; expected lines of pairs");
  };
  while (lines.next()) {
    const std::vector<std::string_view> words = wordsOf(lines.line());
    if (lowered(words[0]) == "handvel") {
      endCard();
      if (words.size() != 2) lines.refuse("expected HANDVEL and one CDP");
      cdp = lines.whole(words[1], "cdp");
      card = lines.number();
      pointsAtCard = found.points.size();
      continue;
    }
    if (card == 0) lines.refuse("expected a card HANDVEL with a CDP first");
    if (words.size() % 2 != 0)
      lines.refuse("expected pairs of time and velocity, " + std::to_string(words.size()) + " numbers are there");
    for (std::size_t k = 0; k < words.size(); k += 2)
      found.points.push_back({.cdp = cdp,
                              .time = lines.time<double>(words[k]),
                              .velocity = lines.velocity<double>(words[k + 1]),
                              .line = lines.number()});
  }
  endCard();
  return found;
}

}  // namespace host::local
