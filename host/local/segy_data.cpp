#include "host/local/segy_data.h"

#include <xxhash.h>

#include <algorithm>
#include <bit>
#include <cmath>
#include <cstring>
#include <span>
#include <utility>

#include "host/local/header_words.h"
#include "host/local/segy_file.h"
#include "host/local/trace_index.h"
#include "host/local/trace_stream.h"

namespace host::local {

namespace {

constexpr int deadTrace = 2;

enum class Meaning { integer, real, coordinate };

struct StandardWord {
  int StandardHeaders::*word;
  const char* name;
  Meaning meaning;
};

constexpr StandardWord standardWords[] = {
    {&StandardHeaders::icdp, "CDP", Meaning::integer},
    {&StandardHeaders::iiline_no, "ILINE_NO", Meaning::integer},
    {&StandardHeaders::ixline_no, "XLINE_NO", Meaning::integer},
    {&StandardHeaders::icdp_x, "CDP_X", Meaning::coordinate},
    {&StandardHeaders::icdp_y, "CDP_Y", Meaning::coordinate},
    {&StandardHeaders::ioffset, "OFFSET", Meaning::real},
    {&StandardHeaders::isou_x, "SOU_X", Meaning::coordinate},
    {&StandardHeaders::isou_y, "SOU_Y", Meaning::coordinate},
    {&StandardHeaders::irec_x, "REC_X", Meaning::coordinate},
    {&StandardHeaders::irec_y, "REC_Y", Meaning::coordinate},
    {&StandardHeaders::ina_stat, "NA_STAT", Meaning::real},
    {&StandardHeaders::itrc_type, "TRC_TYPE", Meaning::integer},
    {&StandardHeaders::itr_fold, "TR_FOLD", Meaning::integer},
};

/// A header of the file that the delivered words hold.
struct DeliveredHeader {
  int word;  // from 0
  HeaderField field;
  Meaning meaning;
};

struct NamedWord {
  int word;  // from 0
  int format;
};

}  // namespace

class SegyData::Impl {
 public:
  Impl(const SegyInput& input, MessageSink& messages, const std::filesystem::path& indexCache, CacheAccess cacheAccess)
      : input_(input),
        messages_(messages),
        file_(input, messages),
        state_(file_.state()),
        scalar_(input_.layout.fields.at("COORD_SCALAR")),
        index_(indexCache.empty() ? indexTraces(file_, keyField())
                                  : cachedIndex(indexCache, file_, keyField(), cacheAccess)),
        largest_(index_.largestEnsemble()),
        stream_(file_, index_.runs) {
    defineWords();
    reportFindings();
  }

  const SegyInput& input() const { return input_; }
  const SegyFacts& facts() const { return file_.facts(); }
  int largestEnsemble() const { return largest_; }
  int primaryKeyWord() const { return input_.primaryKey == "CDP" ? standardHeaders.icdp : named("SG_CDP").word + 1; }
  std::int64_t tracesDelivered() const { return delivered_; }

  void deliverFrom(std::size_t run, int passes) {
    passes_ = passes;
    pass_ = 1;
    run_ = run;
    stream_.goTo(run);
  }

  InputPlace place() const { return place_; }

  void goOnFrom(const InputPlace& place, int passes) {
    const auto run = static_cast<std::size_t>(place.run);
    if (place.run < 0 || run >= index_.runs.size() || index_.runs[run].opens == 0 || place.pass < 1 ||
        place.pass > passes || place.delivered < 0) {
      throw RunError(input_.file.string() + ": no ensemble begins where the run is to go on.");
    }
    deliverFrom(run, passes);
    pass_ = place.pass;
    delivered_ = place.delivered;
  }

  SegyFile::State fileState() const { return state_; }

  std::uint64_t headerHash() const {
    const auto hash = [](const auto& values) { return XXH3_64bits(values.data(), values.size() * sizeof values[0]); };
    const std::uint64_t hashes[] = {hash(file_.facts().text), hash(file_.facts().binary), hash(index_.runs),
                                    hash(index_.cdps)};
    return XXH3_64bits(hashes, sizeof hashes);
  }

  /// First run of an ensemble.
  std::size_t opening(int ensemble) const {
    if (openings_.empty()) {
      for (std::size_t run = 0; run < index_.runs.size(); ++run) {
        if (index_.runs[run].opens != 0) openings_.push_back(run);
      }
    }
    return openings_.at(static_cast<std::size_t>(ensemble));
  }

  int next(float* const* traces, std::int32_t* const* heads) {
    if (run_ == index_.runs.size()) {
      run_ = 0;
      ++pass_;
      if (pass_ <= passes_) refuseChange();
    }
    if (pass_ > passes_) return 0;

    place_ = {.pass = pass_, .run = static_cast<std::int64_t>(run_), .delivered = delivered_};
    int count = 0;
    for (const std::size_t behind = index_.behind(run_); run_ < behind; ++run_) {
      const TraceRun& run = index_.runs[run_];
      for (int i = 0; i < run.traces; ++i, ++count) {
        unpack(static_cast<int>(run.first) + i, stream_.next(), traces[count], heads[count]);
      }
    }
    delivered_ += count;
    if (run_ == index_.runs.size() && pass_ == 1) reportFaults();
    return count;
  }

  bool exists(const std::string& name) const { return named_.contains(name); }

  const NamedWord& named(const std::string& name) const {
    const auto at = named_.find(name);
    if (at == named_.end()) throw RunError(input_.file.string() + ": there is no trace header " + name + ".");
    return at->second;
  }

  int add(const std::string& name, int format) {
    if (exists(name) || nextWord_ == rawHeaderWord) return -1;
    named_[name] = {nextWord_, format};
    return nextWord_++;
  }

  std::optional<Position> find(int cdp) const { return index_.find(cdp, input_.layout); }

  std::vector<EnsembleFacts> ensembles() const {
    std::vector<EnsembleFacts> all;
    for (std::size_t run = 0, behind = 0; run < index_.runs.size(); run = behind) {
      behind = index_.behind(run);
      all.push_back(ensemble({index_.runs.data() + run, behind - run}));
    }
    return all;
  }

 private:
  /// Every pass has to read the same data.
  void refuseChange() const {
    if (file_.state() == state_) return;
    throw RunError(input_.file.string() +
                   ": the file was changed while the job ran. Run the job again when nothing writes to it any more.");
  }

  EnsembleFacts ensemble(std::span<const TraceRun> runs) const {
    const std::map<std::string, HeaderField>& fields = input_.layout.fields;
    const bool supergather = input_.primaryKey == "SG_CDP";
    std::vector<unsigned char> bytes(file_.traceBytes());
    EnsembleFacts facts;
    bool found = false;
    for (const TraceRun& run : runs) {
      facts.traces += run.traces;
      for (int i = 0; i < run.traces && !found; ++i) {
        file_.read(static_cast<int>(run.first) + i, 1, bytes.data());
        const TraceHeader header = file_.header(bytes.data());
        const auto value = [&](const char* name) { return readField(header, fields.at(name)); };
        const auto word = [&](const char* name) { return wholeNumber(value(name)); };
        if (!isLive(word("TRC_TYPE"))) continue;
        if (!facts.live) {
          facts.live = true;
          facts.cdp = word("CDP");
          facts.iline = word("ILINE_NO");
          facts.xline = word("XLINE_NO");
          facts.offset = value("OFFSET") != 0.0;
          facts.azimuth = value("SOU_X") != value("REC_X") || value("SOU_Y") != value("REC_Y");
        }
        found = !supergather || word("CDP") == word("SG_CDP");
        if (found) facts.cdp = word("CDP");
      }
    }
    return facts;
  }

  void defineWords() {
    const std::map<std::string, HeaderField>& fields = input_.layout.fields;
    for (const StandardWord& standard : standardWords) {
      const auto at = fields.find(standard.name);
      if (at == fields.end()) continue;
      deliveredHeaders_.push_back({standardHeaders.*standard.word - 1, at->second, standard.meaning});
    }
    for (const char* name : {"SG_CDP", "NA_STAT", "VEL_AZIM"}) {
      const auto at = fields.find(name);
      if (at == fields.end()) continue;
      const bool real = at->second.format == HeaderFormat::float32;
      const int word = add(name, real ? hdrFloat : hdrInteger);
      deliveredHeaders_.push_back({word, at->second, real ? Meaning::real : Meaning::integer});
    }
  }

  /// The primary key; refused unless it can be one.
  HeaderField keyField() const {
    if (input_.primaryKey != "CDP" && input_.primaryKey != "SG_CDP") {
      throw RunError("primary_key in [data] is \"" + input_.primaryKey + "\"; it must be \"CDP\" or \"SG_CDP\".");
    }
    const auto at = input_.layout.fields.find(input_.primaryKey);
    if (at == input_.layout.fields.end()) {
      throw RunError(input_.file.string() + ": primary_key in [data] is \"" + input_.primaryKey +
                     "\", but no trace header has that name. Give its byte in [headers].");
    }
    if (at->second.format == HeaderFormat::float32) {
      throw RunError(input_.file.string() + ": the primary key " + input_.primaryKey +
                     " is mapped as float32; a key is an integer. Map it as int16 or int32 in [headers].");
    }
    return at->second;
  }

  void reportFindings() const {
    const TraceIndex::Findings& findings = index_.findings;
    if (findings.otherSampling) {
      warn(findings.otherSampling.text() + " with other samples or interval in the trace header than the " +
           std::to_string(facts().samples) + " samples at " + std::to_string(facts().interval) +
           " microseconds of the file; the trace headers are ignored.");
    }
    if (!findings.live) {
      warn("no trace is live: none has trace code 1, or 0 for unset, in TRC_TYPE (the first has " +
           std::to_string(findings.firstCode) + "). Where that word means something else, map TRC_TYPE in [headers] " +
           "to bytes that are 0.");
    }
  }

  void unpack(int trace, const unsigned char* bytes, float* samples, std::int32_t* head) {
    const bool finite = file_.samples(bytes, samples);
    const bool oddHeader = unpackHead(bytes, head);
    if (!finite) head[standardHeaders.itrc_type - 1] = deadTrace;
    head[standardHeaders.idiskiter - 1] = pass_;

    if (pass_ > 1) return;
    if (!finite) notFinite_.count(trace);
    if (oddHeader) oddHeaders_.count(trace);
  }

  /// @return whether a header was no finite number and is taken as 0
  bool unpackHead(const unsigned char* bytes, std::int32_t* head) const {
    const TraceHeader header = file_.header(bytes);
    std::fill_n(head, rawHeaderWord, 0);
    const int scalar = wholeNumber(readField(header, scalar_));
    bool oddHeader = false;
    for (const DeliveredHeader& delivered : deliveredHeaders_) {
      double value = readField(header, delivered.field);
      if (delivered.meaning == Meaning::coordinate) value = scaled(value, scalar);
      if (!std::isfinite(static_cast<float>(value))) {
        oddHeader = true;
        value = 0.0;
      }
      head[delivered.word] = delivered.meaning == Meaning::integer
                                 ? wholeNumber(value)
                                 : std::bit_cast<std::int32_t>(static_cast<float>(value));
    }
    std::memcpy(head + rawHeaderWord, header.data(), header.size());
    std::fill(head + rawHeaderWord + rawHeaderBytes / 4, head + headerWords, 0);

    std::int32_t& type = head[standardHeaders.itrc_type - 1];
    if (isLive(type)) type = 1;
    return oddHeader;
  }

  void reportFaults() {
    if (notFinite_) warn(notFinite_.text() + " with samples that are no finite numbers; taken as dead.");
    if (oddHeaders_)
      warn(oddHeaders_.text() + " with headers that are no finite numbers in single precision; those are taken as 0.");
    notFinite_ = oddHeaders_ = Tally();
  }

  void warn(const std::string& what) const { messages_.warn(input_.file.string() + ": " + what); }

  SegyInput input_;
  MessageSink& messages_;
  SegyFile file_;
  SegyFile::State state_;
  HeaderField scalar_;
  std::map<std::string, NamedWord> named_;
  std::vector<DeliveredHeader> deliveredHeaders_;
  int nextWord_ = firstFreeWord;
  TraceIndex index_;
  int largest_;
  TraceStream stream_;
  int passes_ = 1;
  int pass_ = 1;
  std::size_t run_ = 0;                        // where the next ensemble begins
  mutable std::vector<std::size_t> openings_;  // first run of every ensemble, once asked for
  std::int64_t delivered_ = 0;
  InputPlace place_;
  Tally notFinite_, oddHeaders_;
};

SegyData::SegyData(const SegyInput& input, MessageSink& messages, const std::filesystem::path& indexCache,
                   CacheAccess cacheAccess)
    : impl_(std::make_unique<Impl>(input, messages, indexCache, cacheAccess)) {}
SegyData::~SegyData() = default;

int SegyData::samples() const { return impl_->facts().samples; }
float SegyData::interval() const { return static_cast<float>(impl_->facts().interval) / 1000.0f; }
std::int64_t SegyData::traces() const { return impl_->facts().traces; }
int SegyData::largestEnsemble() const { return impl_->largestEnsemble(); }
int SegyData::primaryKeyWord() const { return impl_->primaryKeyWord(); }
const SegyInput& SegyData::input() const { return impl_->input(); }
std::int64_t SegyData::tracesDelivered() const { return impl_->tracesDelivered(); }

SegyFileHead SegyData::head() const { return {impl_->facts().text, impl_->facts().binary, samples(), interval()}; }

InputPlace SegyData::place() const { return impl_->place(); }
void SegyData::goOnFrom(const InputPlace& place, int passes) { impl_->goOnFrom(place, passes); }
SegyFile::State SegyData::fileState() const { return impl_->fileState(); }
std::uint64_t SegyData::headerHash() const { return impl_->headerHash(); }

void SegyData::deliver(int passes) { impl_->deliverFrom(0, passes); }
void SegyData::deliverFrom(int ensemble, int passes) { impl_->deliverFrom(impl_->opening(ensemble), passes); }
int SegyData::next(float* const* traces, std::int32_t* const* heads) { return impl_->next(traces, heads); }

bool SegyData::exists(const std::string& name) const { return impl_->exists(name); }
int SegyData::format(const std::string& name) const { return impl_->named(name).format; }
int SegyData::index(const std::string& name) const { return impl_->named(name).word; }
int SegyData::add(const std::string& name, const std::string&, int format) { return impl_->add(name, format); }

std::optional<Position> SegyData::find(int cdp) const { return impl_->find(cdp); }
std::vector<EnsembleFacts> SegyData::ensembles() const { return impl_->ensembles(); }

}  // namespace host::local
