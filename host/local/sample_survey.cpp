#include "host/local/sample_survey.h"

#include <segyio/segy.h>

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <cstdlib>
#include <iterator>

#include "host/local/big_endian.h"

namespace host::local {

namespace {

std::uint32_t loadLittle32(const unsigned char* at) {
  return std::uint32_t{at[3]} << 24 | std::uint32_t{at[2]} << 16 | std::uint32_t{at[1]} << 8 | std::uint32_t{at[0]};
}

/// Of the counts from `from` up to `to`, not included.
template <class Counts>
std::int64_t sum(const Counts& counts, std::size_t from, std::size_t to) {
  std::int64_t total = 0;
  for (std::size_t i = from; i < to; ++i) total += counts[i];
  return total;
}

}  // namespace

void WordSurvey::look(const unsigned char* samples, int count, bool littleEndian) {
  for (int i = 0; i < count; ++i, samples += 4) {
    const std::uint32_t word = littleEndian ? loadLittle32(samples) : loadBig32(samples);
    if ((word & 0x7fffffff) == 0) continue;
    ++words_;
    ++counts_[word >> 20 & 0x7ff];
    small_ += std::abs(static_cast<std::int64_t>(static_cast<std::int32_t>(word))) < 1 << 24;
  }
}

double WordSurvey::share(std::int64_t count) const {
  return words_ > 0 ? static_cast<double>(count) / static_cast<double>(words_) : 0.0;
}

double WordSurvey::notFinite() const { return share(sum(counts_, 255 * 8, 2048)); }

double WordSurvey::absurd() const { return 1.0 - share(sum(counts_, (127 - 63) * 8, (127 + 63) * 8)); }

double WordSurvey::absurdAsIbm() const { return 1.0 - share(sum(counts_, (64 - 32) * 16, (64 + 32) * 16)); }

double WordSurvey::unnormalised() const {
  std::int64_t count = 0;
  for (std::size_t i = 0; i < counts_.size(); i += 16) count += counts_[i];
  return share(count);
}

double WordSurvey::small() const { return share(small_); }

double WordSurvey::decades(int shift, double step) const {
  const auto quantile = [&](double part) {
    std::int64_t below = 0;
    for (std::size_t i = 0; i < counts_.size(); ++i) {
      below += counts_[i];
      if (share(below) >= part) return static_cast<int>(i >> shift);
    }
    return 0;
  };
  return (quantile(0.95) - quantile(0.05)) * step;
}

std::optional<int> WordSurvey::format() const {
  constexpr std::int64_t enough = 1000;
  constexpr double most = 0.9;
  if (words_ < enough) return std::nullopt;
  if (small() > most) return SEGY_SIGNED_INTEGER_4_BYTE;
  if (absurd() > 1.0 - most || absurdAsIbm() > 1.0 - most) return std::nullopt;
  // An IBM float begins with a digit other than 0. In IEEE floats the same four bits are the last of the exponent and
  // the first of the fraction, which are 0 in one float of sixteen; unless there are few different values.
  int digits = 0;
  for (std::size_t digit = 1; digit < 16; ++digit) {
    std::int64_t count = 0;
    for (std::size_t i = digit; i < counts_.size(); i += 16) count += counts_[i];
    digits += share(count) > 0.005;
  }
  if (digits < 10) return std::nullopt;
  if (unnormalised() < 0.002) return SEGY_IBM_FLOAT_4_BYTE;
  if (unnormalised() > 0.02 && unnormalised() < 0.2) return SEGY_IEEE_FLOAT_4_BYTE;
  return std::nullopt;
}

SampleSurvey::SampleSurvey(const SegyFile& file)
    : file_(file), samples_(static_cast<std::size_t>(file.facts().samples)) {}

bool SampleSurvey::look(int trace, const unsigned char* raw, double offset, bool live) {
  const SegyFacts& facts = file_.facts();
  ++findings_.traces;
  if (file_.traceBytes() == SEGY_TRACE_HEADER_SIZE + 4 * samples_.size()) {
    findings_.words.look(raw + SEGY_TRACE_HEADER_SIZE, facts.samples, facts.littleEndian);
  }
  if (!file_.samples(raw, samples_.data())) {
    findings_.notFinite.count(trace);
    countNotFinite();
    return false;
  }
  const bool constant =
      std::all_of(samples_.begin(), samples_.end(), [this](float sample) { return sample == samples_.front(); });
  if (constant) {
    (samples_.front() == 0.0f ? findings_.zero : findings_.constant).count(trace);
    return true;
  }
  if (!live) findings_.silenced.count(trace);
  levels_.push_back({trace, static_cast<float>(std::abs(offset)), static_cast<float>(rms(0)),
                     static_cast<float>(rms(samples_.size() * 2 / 3))});
  return true;
}

void SampleSurvey::countNotFinite() {
  for (int i = 0; i < static_cast<int>(samples_.size()); ++i) {
    if (std::isfinite(samples_[static_cast<std::size_t>(i)])) continue;
    findings_.firstNotFinite = findings_.notFiniteSamples == 0 ? i + 1 : std::min(findings_.firstNotFinite, i + 1);
    findings_.lastNotFinite = std::max(findings_.lastNotFinite, i + 1);
    ++findings_.notFiniteSamples;
  }
}

/// RMS of the samples behind the first so many.
double SampleSurvey::rms(std::size_t from) const {
  double squares = 0.0;
  for (std::size_t i = from; i < samples_.size(); ++i) {
    squares += static_cast<double>(samples_[i]) * static_cast<double>(samples_[i]);
  }
  return std::sqrt(squares / static_cast<double>(samples_.size() - from));
}

double SampleSurvey::medianOf(Levels from, Levels to, float Level::*what) {
  std::vector<float> values;
  std::transform(from, to, std::back_inserter(values), [&](const Level& level) { return level.*what; });
  std::nth_element(values.begin(), values.begin() + std::ssize(values) / 2, values.end());
  return static_cast<double>(values[values.size() / 2]);
}

/// Adds the levels that lie more than so many decibels over their median.
void SampleSurvey::addLoud(Levels from, Levels to, float Level::*what, double least, SampleFindings::Louds& loud) {
  const double median = medianOf(from, to, what);
  if (median == 0.0) return;
  for (; from != to; ++from) {
    const double decibels = 20.0 * std::log10(static_cast<double>((*from).*what) / median);
    if (decibels > least) loud.push_back({from->trace, decibels});
  }
}

SampleFindings SampleSurvey::take() {
  if (levels_.empty()) return std::move(findings_);
  constexpr std::ptrdiff_t alike = 32;  // traces of like offset
  findings_.medianRms = medianOf(levels_.begin(), levels_.end(), &Level::rms);
  addLoud(levels_.begin(), levels_.end(), &Level::rms, SampleFindings::loudFrom, findings_.loud);

  std::stable_sort(levels_.begin(), levels_.end(), [](const Level& a, const Level& b) { return a.offset < b.offset; });
  for (auto from = levels_.begin(); from != levels_.end();) {
    const auto to = levels_.end() - from < 2 * alike ? levels_.end() : from + alike;
    addLoud(from, to, &Level::late, SampleFindings::wildFrom, findings_.wild);
    from = to;
  }
  for (SampleFindings::Louds* louds : {&findings_.loud, &findings_.wild}) {
    std::stable_sort(louds->begin(), louds->end(),
                     [](const auto& a, const auto& b) { return a.decibels > b.decibels; });
  }
  return std::move(findings_);
}

}  // namespace host::local
