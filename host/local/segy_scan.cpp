#include "host/local/segy_scan.h"

#include <algorithm>
#include <bit>
#include <cmath>
#include <limits>

#include "host/local/trace_stream.h"

namespace host::local {

namespace {

constexpr HeaderField elevationScalarField{69, HeaderFormat::int16}, delayField{109, HeaderFormat::int16};

void extend(HeaderRange& range, double value) {
  // std::fmin and std::fmax pass over values that are no number.
  range.least = std::fmin(range.least, value);
  range.greatest = std::fmax(range.greatest, value);
  range.zeros += value == 0.0;
}

std::vector<HeaderRange> emptyRanges(const HeaderLayout& layout) {
  std::vector<HeaderRange> ranges;
  for (const auto& [name, field] : layout.fields) {
    constexpr double nothing = std::numeric_limits<double>::quiet_NaN();
    ranges.push_back({name, field, nothing, nothing});
  }
  std::stable_sort(ranges.begin(), ranges.end(),
                   [](const HeaderRange& a, const HeaderRange& b) { return a.field.byte < b.field.byte; });
  return ranges;
}

/// Every trace of a file of usual size, traces at equal distances of a larger one.
class Choice {
 public:
  Choice(const SegyFacts& facts, const ScanLimits& limits)
      : traces_(facts.traces),
        chosen_(facts.bytes <= limits.wholeBytes ? facts.traces : std::min(facts.traces, limits.sampledTraces)) {}

  bool has(std::int64_t trace) const {
    return trace == 0 || trace * chosen_ / traces_ != (trace - 1) * chosen_ / traces_;
  }

 private:
  std::int64_t traces_, chosen_;
};

}  // namespace

const HeaderRange& SegyScan::header(const std::string& name) const {
  const auto at = std::find_if(headers.begin(), headers.end(), [&](const HeaderRange& h) { return h.name == name; });
  if (at == headers.end()) throw RunError(input.file.string() + ": there is no trace header " + name + ".");
  return *at;
}

int SegyScan::otherFormat() const {
  const int seen = samples.words.format().value_or(facts.format);
  return seen == facts.format ? 0 : seen;
}

SegyScan scanSegy(const SegyInput& input, MessageSink& messages, const ScanLimits& limits) {
  SegyScan scan;
  scan.input = input;
  scan.input.allowTruncated = true;
  SegyFile file(scan.input, messages);
  scan.facts = file.facts();
  scan.survey = surveyHeaders(HeaderSample(file, limits.judgedHeaders), input.layout);
  scan.input.layout = scan.survey.layout;
  scan.headers = emptyRanges(scan.input.layout);
  const auto field = [&](const std::string& name) { return scan.header(name).field; };
  const HeaderField key = field(input.primaryKey), code = field("TRC_TYPE"), scalar = field("COORD_SCALAR");
  const HeaderField offset = field("OFFSET"), lengths = field("SAMPLES"), intervals = field("INTERVAL");
  const HeaderField spots[] = {field("SOU_X"), field("SOU_Y"), field("REC_X"), field("REC_Y")};

  const Choice choice(scan.facts, limits);
  SampleSurvey samples(file);
  EnsembleSurvey ensembles;
  const TraceRun whole{0, 1, file.traces()};
  TraceStream stream(file, {&whole, 1});
  for (int trace = 0; trace < file.traces(); ++trace) {
    const unsigned char* bytes = stream.next();
    const auto whole32 = [&](HeaderField at) { return wholeNumber(file.value(bytes, at)); };
    for (HeaderRange& range : scan.headers) extend(range, file.value(bytes, range.field));
    for (HeaderFinding& finding : scan.survey.findings) {
      const double value = file.value(bytes, finding.field);
      finding.least = std::fmin(finding.least, value);
      finding.greatest = std::fmax(finding.greatest, value);
    }
    std::uint64_t spot = 0;
    for (const HeaderField& at : spots)
      spot = spot * 0x9e3779b97f4a7c15 + std::bit_cast<std::uint64_t>(file.value(bytes, at));
    ensembles.look(trace, whole32(key), file.value(bytes, offset), spot);

    ++scan.traceCodes[whole32(code)];
    ++scan.coordinateScalars[whole32(scalar)];
    ++scan.elevationScalars[whole32(elevationScalarField)];
    ++scan.delays[whole32(delayField)];
    const int length = whole32(lengths) & 0xffff, interval = whole32(intervals);
    if ((length != 0 && length != scan.facts.samples) || (interval != 0 && interval != scan.facts.interval)) {
      scan.otherSampling.count(trace);
    }
    const bool live = isLive(whole32(code));
    const bool finite = !choice.has(trace) || samples.look(trace, bytes, file.value(bytes, offset), live);
    scan.liveTraces += live && finite;
  }
  scan.samples = samples.take();
  scan.ensembles = ensembles.take();
  return scan;
}

}  // namespace host::local
