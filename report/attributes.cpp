#include <algorithm>
#include <cmath>
#include <map>
#include <optional>

#include "host/local/segy_file.h"
#include "report/packed_array.h"
#include "report/survey.h"

namespace report {

namespace {

constexpr int velocityCode = 52, interceptCode = 43, gradientCode = 44;  // trace types
constexpr host::local::HeaderField azimuthField{.byte = 233, .format = host::local::HeaderFormat::float32};
constexpr std::uintmax_t headBytes = 3600;  // of a file in front of its traces
constexpr int mostPositions = 400, mostTimes = 300, mostPairs = 4000, mostInlines = 3;

/// One line of one sector, the positions along it thinned out.
struct Line {
  int iline = 0, sector = 0;
  std::vector<int> crosslines;
  std::vector<float> intercept, gradient, ratio;  ///< positions x times
};

struct Silence : host::local::MessageSink {
  void warn(const std::string& /*message*/) override {}
};

/// The output file's traces: type, place and sector of each.
class OutputTraces {
 public:
  OutputTraces(const Survey& survey, host::local::MessageSink& messages)
      : survey_(survey), file_(inputOf(survey), messages) {}

  int samples() const { return file_.facts().samples; }

  template <class Take>
  void forEach(Take take) {
    const auto& fields = file_.input().layout.fields;
    const korvane::Parameters& p = survey_.parameters();
    std::vector<unsigned char> bytes(file_.traceBytes());
    std::vector<float> trace(static_cast<std::size_t>(samples()));
    for (int i = 0; i < file_.traces(); ++i) {
      file_.read(i, 1, bytes.data());
      const host::local::TraceHeader head = file_.header(bytes.data());
      const auto integer = [&](const char* name) {
        return host::local::wholeNumber(host::local::readField(head, fields.at(name)));
      };
      const Place* place = survey_.ofCdp(integer("CDP"));
      if (place == nullptr) continue;
      const auto mapped = fields.find("VEL_AZIM");
      const double azimuth = host::local::readField(head, mapped != fields.end() ? mapped->second : azimuthField);
      const double sectors = p.iazimuth != 0 ? azimuth / static_cast<double>(p.zazim) : 0.0;
      const int type = integer("TRC_TYPE");
      if (!(sectors >= 0.0 && sectors < p.nazim)) continue;  // an azimuth that no sector has, or no number
      if (type != interceptCode && type != gradientCode && type != velocityCode) continue;
      file_.samples(bytes.data(), trace.data());
      take(type, *place, static_cast<int>(sectors), trace);
    }
  }

 private:
  static host::local::SegyInput inputOf(const Survey& survey) {
    host::local::SegyInput input = survey.file().input;
    input.file = *survey.file().output;
    input.format = 0;  // that of the file
    return input;
  }

  const Survey& survey_;
  host::local::SegyFile file_;
};

/// Pairs of intercept and gradient, and the line through them (least squares).
class Crossplot {
 public:
  void add(float a, float b) {
    if (a == 0.0f && b == 0.0f) return;
    const double x = static_cast<double>(a), y = static_cast<double>(b);
    ++count_;
    sumX_ += x;
    sumY_ += y;
    sumXX_ += x * x;
    sumXY_ += x * y;
    a_.push_back(a);
    b_.push_back(b);
  }
  nlohmann::json json() const {
    const double spread = sumXX_ * count_ - sumX_ * sumX_;
    const double slope = spread > 0.0 ? (sumXY_ * count_ - sumX_ * sumY_) / spread : 0.0;
    const double offset = count_ > 0.0 ? (sumY_ - slope * sumX_) / count_ : 0.0;
    return {{"a", a_}, {"b", b_}, {"trend", {{"slope", slope}, {"offset", offset}}}};
  }

 private:
  std::vector<float> a_, b_;
  double count_ = 0.0, sumX_ = 0.0, sumY_ = 0.0, sumXX_ = 0.0, sumXY_ = 0.0;
};

/// Symmetric range that leaves out one value in a hundred.
float symmetricRange(const std::vector<float>& values) {
  std::vector<float> magnitudes;
  for (const float v : values) {
    if (!std::isnan(v) && v != 0.0f) magnitudes.push_back(std::abs(v));
  }
  if (magnitudes.empty()) return 1.0f;
  const auto at = magnitudes.begin() + static_cast<std::ptrdiff_t>(magnitudes.size() - 1 - magnitudes.size() / 100);
  std::nth_element(magnitudes.begin(), at, magnitudes.end());
  return *at;
}

bool holdsValues(const std::vector<float>& values) {
  return std::any_of(values.begin(), values.end(), [](float v) { return std::isfinite(v); });
}

/// Null where no trace was written.
nlohmann::json symmetric(const std::vector<float>& values, int positions, int times) {
  if (!holdsValues(values)) return nullptr;
  const float range = symmetricRange(values);
  return packed(values, {positions, times}, -range, range, Depth::bits8);
}

/// Inlines that are shown, as indices of the grid: the middle one, and with one sector others at even distances.
std::vector<int> shownInlines(const Survey& survey) {
  const Lines& inlines = survey.dataGrid().inlines;
  const int count = survey.parameters().nazim > 1 ? 1 : std::min(mostInlines, inlines.count);
  std::vector<int> shown;
  for (int k = 0; k < count; ++k) {
    shown.push_back(inlines.at(static_cast<int>((2 * k + 1) * std::int64_t{inlines.count} / (2 * count))));
  }
  return shown;
}

}  // namespace

nlohmann::json attributes(const Survey& survey) {
  const korvane::Parameters& p = survey.parameters();
  const auto& output = survey.file().output;
  if (p.iprestack != 0) return {{"note", "The job puts out gathers (PRESTACK), not attribute sections."}};
  if (!output || !std::filesystem::exists(*output))
    return {{"note", "There is no file of attribute traces: the job names no `output`, or has not run."}};
  if (std::filesystem::file_size(*output) == headBytes)
    return {{"note", "The output holds no traces: the run had no results to put out."}};

  Silence silence;
  OutputTraces traces(survey, silence);
  const int timeStep = thinning(traces.samples(), mostTimes), times = (traces.samples() - 1) / timeStep + 1;
  const Lines all = survey.dataGrid().crosslines, crosslines = all.every(thinning(all.count, mostPositions));
  std::map<std::pair<int, int>, Line> lines;  // by inline and sector
  const std::vector<int> shown = shownInlines(survey);
  const auto lineOf = [&](int iline, int sector) -> Line& {
    Line& line = lines[{iline, sector}];
    if (line.crosslines.empty()) {
      line.iline = p.minilin + iline;
      line.sector = sector;
      for (int k = 0; k < crosslines.count; ++k) line.crosslines.push_back(p.minxlin + crosslines.at(k));
      for (auto* values : {&line.intercept, &line.gradient, &line.ratio}) {
        values->assign(static_cast<std::size_t>(crosslines.count) * static_cast<std::size_t>(times), noValue);
      }
    }
    return line;
  };
  traces.forEach([&](int type, const Place& place, int sector, const std::vector<float>& trace) {
    const int iline = place.slot / p.xtlines;
    const std::optional<int> position = crosslines.indexOf(place.slot % p.xtlines);
    if (!position || std::find(shown.begin(), shown.end(), iline) == shown.end()) return;
    Line& line = lineOf(iline, sector);
    auto& values = type == interceptCode ? line.intercept : type == gradientCode ? line.gradient : line.ratio;
    float* row = &values[static_cast<std::size_t>(*position) * static_cast<std::size_t>(times)];
    for (int t = 0; t < times; ++t) row[t] = trace[static_cast<std::size_t>(t * timeStep)];
  });

  nlohmann::json list = nlohmann::json::array();
  Crossplot crossplot;
  for (auto& [key, line] : lines) {
    const std::size_t every = line.intercept.size() * lines.size() / mostPairs + 1;
    for (std::size_t k = 0; k < line.intercept.size(); k += every) {
      if (!std::isnan(line.intercept[k]) && !std::isnan(line.gradient[k]))
        crossplot.add(line.intercept[k], line.gradient[k]);
    }
    for (float& value : line.ratio) value = value == 0.0f ? noValue : value;  // nothing was revised there
    list.push_back({{"inline", line.iline},
                    {"sector", line.sector},
                    {"crosslines", line.crosslines},
                    {"times", Sampling{.step = static_cast<double>(p.dt) * timeStep, .count = times}.json()},
                    {"intercept", symmetric(line.intercept, crosslines.count, times)},
                    {"gradient", symmetric(line.gradient, crosslines.count, times)},
                    {"ratio", holdsValues(line.ratio) ? packed(line.ratio, {crosslines.count, times}, Depth::bits8)
                                                      : nlohmann::json()}});
  }
  if (list.empty()) return {{"note", "The output holds no intercept, gradient or ratio traces (see OUTPUT)."}};
  return {{"lines", list}, {"crossplot", crossplot.json()}};
}

}  // namespace report
