#include <utility>

#include "host/local/velocity_forms.h"

namespace host::local {

namespace {

using std::string_view;

/// A list of numbers of the file, where it begins.
struct List {
  std::size_t line = 0;
  std::vector<double> values;
};

/// Gathers the lists of a file.
class Reader {
 public:
  explicit Reader(TextLines& lines) : lines_(lines) {}

  VelocityPoints read() {
    while (lines_.next()) {
      string_view line = lines_.line();
      if (line.ends_with('\\')) line.remove_suffix(1);
      for (const string_view word : wordsOf(line)) take(word);
    }
    if (open_) lines_.refuse("the list ends open; expected another number");
    if (cdps_.values.empty())
      lines_.refuseFile("there is no cdp= list; expected cdp=, and tnmo= and vnmo= for each CDP");
    const std::size_t count = cdps_.values.size();
    if (times_.size() != count || velocities_.size() != count)
      lines_.refuse(cdps_.line, "there are " + std::to_string(count) + " CDPs, " + std::to_string(times_.size()) +
                                    " lists tnmo= and " + std::to_string(velocities_.size()) +
                                    " lists vnmo=; expected one of each for every CDP");
    VelocityPoints found;
    for (std::size_t k = 0; k < count; ++k)
      appendFunction(static_cast<float>(cdps_.values[k]), times_[k], velocities_[k], found);
    return found;
  }

 private:
  /// One word: NAME=list, or what follows a list that a comma has left open.
  void take(string_view word) {
    const auto equals = word.find('=');
    if (equals != string_view::npos) {
      begin(lowered(word.substr(0, equals)));
      word.remove_prefix(equals + 1);
    } else if (!open_) {
      lines_.refuse(shown(word) + " belongs to no list; expected cdp=, tnmo= or vnmo=, numbers with commas between");
    }
    open_ = word.empty() || word.ends_with(',');
    if (word.empty()) return;
    if (open_) word.remove_suffix(1);
    for (const string_view field : fieldsOf(word, ',')) add(field);
  }

  void begin(const std::string& name) {
    if (open_) lines_.refuse("the list before " + name + "= ends open; expected another number");
    if (name == "cdp" && !cdps_.values.empty()) lines_.refuse("a second cdp= list; expected one");
    if (name != "cdp" && name != "tnmo" && name != "vnmo")
      lines_.refuse(shown(name + "=") + " is not known; expected cdp=, tnmo= or vnmo=");
    name_ = name.front();
    list_ = name == "cdp" ? &cdps_ : &(name == "tnmo" ? times_ : velocities_).emplace_back();
    list_->line = lines_.number();
  }

  void add(string_view field) {
    list_->values.push_back(name_ == 'c'   ? static_cast<double>(lines_.whole(field, "cdp"))
                            : name_ == 't' ? lines_.time<double>(field)
                                           : lines_.velocity<double>(field));
  }

  void appendFunction(float cdp, const List& times, const List& velocities, VelocityPoints& found) const {
    if (times.values.size() != velocities.values.size())
      lines_.refuse(velocities.line, std::to_string(velocities.values.size()) + " velocities for the " +
                                         std::to_string(times.values.size()) + " times of line " +
                                         std::to_string(times.line) + "; expected as many");
    for (std::size_t k = 0; k < times.values.size(); ++k)
      found.points.push_back(
          {.cdp = cdp, .time = times.values[k], .velocity = velocities.values[k], .line = times.line});
  }

  TextLines& lines_;
  List cdps_;
  std::vector<List> times_, velocities_;
  List* list_ = nullptr;  ///< the list being read
  char name_ = ' ';       ///< the first letter of its name
  bool open_ = false;     ///< another number has to follow
};

}  // namespace

VelocityPoints readVelocityParameters(TextLines& lines) { return Reader(lines).read(); }

}  // namespace host::local
