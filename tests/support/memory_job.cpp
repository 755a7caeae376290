#include "tests/support/memory_job.h"

#include <algorithm>
#include <bit>

namespace korvane_test {

namespace {

constexpr const host::StandardHeaders& words = host::local::standardHeaders;

/// Where a header word stands in a trace of ours.
constexpr std::pair<int, int Trace::*> integers[] = {{words.icdp, &Trace::cdp},
                                                     {words.itrc_type, &Trace::type},
                                                     {words.iend_ens, &Trace::endOfEnsemble},
                                                     {words.itr_fold, &Trace::fold}};
constexpr std::pair<int, float Trace::*> reals[] = {{words.ioffset, &Trace::offset},
                                                    {words.irec_x, &Trace::receiverX},
                                                    {words.irec_y, &Trace::receiverY},
                                                    {words.ina_stat, &Trace::naStat}};

std::unique_ptr<host::Table> copyOf(const host::Table& table) {
  auto copy = std::make_unique<host::Table>(table.name(), table.zCount(), table.xName(), table.yName(), table.zName());
  for (const auto& [x, function] : table.functions()) {
    for (std::size_t k = 0; k < function.y.size(); ++k) {
      copy->add(x, function.y[k], &function.z[k * static_cast<std::size_t>(table.zCount())]);
    }
    if (function.position) copy->place(x, *function.position);
  }
  return copy;
}

}  // namespace

MemoryJob::MemoryJob(float dt, int nt)
    : job_{.runtime = {.samprat = dt, .numsmp = nt, .maxdtr = 0, .nth = host::local::headerWords, .ipkey = words.icdp},
           .misc = {},
           .headerWords = words,
           .parameters = *this,
           .headers = *this,
           .input = *this,
           .output = *this,
           .tables = *this,
           .blocks = *this,
           .messages = *this,
           .link = *this} {}

std::unique_ptr<MemoryJob> MemoryJob::line(float dt, int nt) {
  auto job = std::make_unique<MemoryJob>(dt, nt);
  job->parameterValues = {{"MINCDP", 1},   {"MAXCDP", 10},     {"NUMITER", 1},  {"NUMXSUM", 1},     {"NUMYSUM", 1},
                          {"METHOD", 1},   {"START", 0},       {"END", 0},      {"VELNAME", "vin"}, {"VELFILT", 0},
                          {"FOLD", 1},     {"CORRWIN", 0},     {"THMIN", 0.0f}, {"THMAX", 89.0f},   {"STATIC", 0},
                          {"AZIMTH", 0},   {"PRESTACK", 0},    {"OUTPUT", "1"}, {"OUTVEL", 1},      {"VELMETH", 1},
                          {"VELSAMP", dt}, {"VELNAMO", "vout"}};
  job->owned_.push_back(std::make_unique<host::Table>("vin", 1, "CDP", "TIME", "VEL_RMS"));
  const float velocity = 2000.0f;
  for (const float cdp : {1.0f, 1000.0f}) job->owned_.back()->add(cdp, 0.0f, &velocity);
  job->stored[{"VEL", "vin"}] = job->owned_.back().get();
  job->owned_.push_back(std::make_unique<host::Table>("vout"));
  job->stored[{"VEL", "vout"}] = job->owned_.back().get();
  job->stored[{"VAZ", "vout"}] = job->owned_.back().get();
  return job;
}

void MemoryJob::record(const std::string& call) const {
  if (calls.size() == faultAtCall) throw host::local::RunError(call);
  calls.push_back(call);
}

void MemoryJob::sortBySupergather() {
  extraHeaders["SG_CDP"] = {host::hdrInteger, host::local::firstFreeWord};
  job_.runtime.ipkey = host::local::firstFreeWord + 1;
}

int MemoryJob::add(const std::string& name, const std::string& /*about*/, int format) {
  record("add header " + name);
  const int word = host::local::firstFreeWord + 1;
  extraHeaders[name] = {format, word};
  return word;
}

void MemoryJob::deliver(int passes) {
  record("deliver " + std::to_string(passes));
  passes_ = passes;
}

int MemoryJob::next(float* const* traces, std::int32_t* const* heads) {
  record("next");
  if (nextEnsemble_ == ensembles.size()) {
    nextEnsemble_ = 0;
    ++pass_;
  }
  if (pass_ > passes_ || ensembles.empty()) return 0;
  const std::vector<Trace>& ensemble = ensembles[nextEnsemble_++];
  for (std::size_t j = 0; j < ensemble.size(); ++j) {
    std::fill_n(traces[j], job_.runtime.numsmp, 0.0f);
    std::copy(ensemble[j].samples.begin(), ensemble[j].samples.end(), traces[j]);
    fillHead(ensemble[j], heads[j]);
  }
  return static_cast<int>(ensemble.size());
}

void MemoryJob::fillHead(const Trace& trace, std::int32_t* head) const {
  std::fill_n(head, job_.runtime.nth + 1, 0);
  for (const auto& [word, member] : integers) head[word - 1] = trace.*member;
  for (const auto& [word, member] : reals) head[word - 1] = std::bit_cast<std::int32_t>(trace.*member);
  head[words.idiskiter - 1] = pass_;
  if (exists("SG_CDP")) head[index("SG_CDP")] = trace.supergather;
}

void MemoryJob::put(const float* trace, const std::int32_t* head) {
  record("put " + std::to_string(head[words.itrc_type - 1]));
  Trace& copy = output.emplace_back();
  for (const auto& [word, member] : integers) copy.*member = head[word - 1];
  if (exists("VEL_AZIM")) copy.azimuth = std::bit_cast<float>(head[index("VEL_AZIM")]);
  copy.samples.assign(trace, trace + job_.runtime.numsmp);
}

std::unique_ptr<host::Table> MemoryJob::load(const std::string& type, const std::string& name) {
  record("load " + type + " " + name);
  const auto found = stored.find({type, name});
  return found == stored.end() ? nullptr : copyOf(*found->second);
}

void MemoryJob::save(host::Table& table, const std::string& type) {
  record("save " + type + " " + table.name());
  saved[type] = copyOf(table);
}

void* MemoryJob::map(std::int64_t bytes) {
  record("map " + std::to_string(bytes));
  if (storesMade_ == roomForStores) return nullptr;
  ++storesMade_;
  // rubbish, as a host may deliver it
  blocks_.emplace_back(static_cast<std::size_t>(bytes / 4), 0x7f7f7f7f);
  return blocks_.back().data();
}

void MemoryJob::start(int /*argc*/, char** /*argv*/, const std::string& kind) {
  record("start " + kind);
  pass_ = 1;
  nextEnsemble_ = 0;
  storesMade_ = 0;
  for (const auto& ensemble : ensembles) {
    job_.runtime.maxdtr = std::max(job_.runtime.maxdtr, static_cast<int>(ensemble.size()));
  }
}

void MemoryJob::endInitialisation() {
  record("initialised, output ensembles of " + std::to_string(job_.runtime.maxdtr));
}

void MemoryJob::recordRun(const std::string& tool, std::int64_t /*traces*/) { record("record " + tool); }

}  // namespace korvane_test
