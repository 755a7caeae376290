#include "host/local/ensemble_survey.h"

#include <algorithm>
#include <bit>
#include <numeric>
#include <utility>

namespace host::local {

namespace {

/// Bits spread so that near values are far apart.
std::uint64_t hashOf(std::uint64_t bits) {
  bits = (bits ^ bits >> 31) * 0x9e3779b97f4a7c15;
  return (bits ^ bits >> 29) * 0xd6e8feb86659fd93;
}

}  // namespace

int EnsembleFindings::usual() const {
  int below = 0;
  for (const auto& [fold, count] : folds) {
    below += count;
    if (4 * below > ensembles) return fold;
  }
  return 1;
}

void EnsembleSurvey::look(int trace, int key, double offset, std::uint64_t spot) {
  if (entries_.empty() || entries_.back().key != key) {
    findings_.inOrder = findings_.inOrder && (trace == 0 || key > entries_.back().key);
    if (entries_.size() >= limit_) merge();
    entries_.push_back({key, 0, 1});
  }
  ++entries_.back().traces;
  compare(trace, key, offset, spot);
}

void EnsembleSurvey::compare(int trace, int key, double offset, std::uint64_t spot) {
  constexpr std::size_t most = 1 << 20;
  const std::uint64_t hash = hashOf(hashOf(static_cast<std::uint32_t>(key)) + std::bit_cast<std::uint64_t>(offset));
  if (std::countr_zero(hash) < zeros_) return;
  ++findings_.compared;
  const auto [at, isNew] = spots_.try_emplace(hash, spot);
  if (!isNew) {
    findings_.repeated.count(trace);
    findings_.sameSpot += at->second == spot;
  }
  if (spots_.size() <= most) return;
  ++zeros_;
  std::erase_if(spots_, [this](const auto& entry) { return std::countr_zero(entry.first) < zeros_; });
}

void EnsembleSurvey::merge() {
  std::sort(entries_.begin(), entries_.end(), [](const Entry& a, const Entry& b) { return a.key < b.key; });
  std::vector<Entry> merged;
  for (const Entry& entry : entries_) {
    if (!merged.empty() && merged.back().key == entry.key) {
      merged.back().traces += entry.traces;
      merged.back().stretches += entry.stretches;
    } else {
      merged.push_back(entry);
    }
  }
  entries_ = std::move(merged);
  limit_ = std::max(limit_, 2 * entries_.size());
}

EnsembleFindings EnsembleSurvey::take() {
  merge();
  EnsembleFindings& f = findings_;
  f.ensembles = static_cast<int>(entries_.size());
  f.firstKey = entries_.front().key;
  f.lastKey = entries_.back().key;
  int most = 0;
  for (const Entry& entry : entries_) {
    ++f.folds[entry.traces];
    if (entry.traces > most) f.largestKey = entry.key;
    most = std::max(most, entry.traces);
    if (entry.stretches > 1 && f.split++ == 0) f.firstSplit = entry.key;
  }
  std::int64_t step = 0;
  for (std::size_t i = 1; i < entries_.size(); ++i) {
    step = std::gcd(step, std::int64_t{entries_[i].key} - entries_[i - 1].key);
  }
  for (std::size_t i = 1; i < entries_.size(); ++i) {
    const std::int64_t gap = (std::int64_t{entries_[i].key} - entries_[i - 1].key) / step - 1;
    if (f.missing == 0 && gap > 0) f.firstMissing = static_cast<int>(entries_[i - 1].key + step);
    f.missing += gap;
  }
  f.step = static_cast<int>(std::min<std::int64_t>(step, 1 << 30));
  return std::move(f);
}

}  // namespace host::local
