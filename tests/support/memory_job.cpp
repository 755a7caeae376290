#include "tests/support/memory_job.h"

#include <algorithm>
#include <bit>

namespace korvane_test {

namespace {

constexpr const host::StandardHeaders& words = host::local::standardHeaders;

void setInt(std::int32_t* head, int index, int value) { head[index - 1] = value; }
void setFloat(std::int32_t* head, int index, float value) { head[index - 1] = std::bit_cast<std::int32_t>(value); }

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

std::unique_ptr<MemoryJob> MemoryJob::line(float dt, int nt, float velocity) {
  auto job = std::make_unique<MemoryJob>(dt, nt);
  job->parameterValues = {{"MINCDP", 1},   {"MAXCDP", 10},     {"NUMITER", 1},  {"NUMXSUM", 1},     {"NUMYSUM", 1},
                          {"METHOD", 1},   {"START", 0},       {"END", 0},      {"VELNAME", "vin"}, {"VELFILT", 0},
                          {"FOLD", 1},     {"CORRWIN", 0},     {"THMIN", 0.0f}, {"THMAX", 89.0f},   {"STATIC", 0},
                          {"AZIMTH", 0},   {"PRESTACK", 0},    {"OUTPUT", "1"}, {"OUTVEL", 1},      {"VELMETH", 1},
                          {"VELSAMP", dt}, {"VELNAMO", "vout"}};
  job->owned_.push_back(std::make_unique<host::Table>("vin", 1, "CDP", "TIME", "VEL_RMS"));
  for (const float cdp : {1.0f, 1000.0f}) job->owned_.back()->add(cdp, 0.0f, &velocity);
  job->stored[{"VEL", "vin"}] = job->owned_.back().get();
  job->owned_.push_back(std::make_unique<host::Table>("vout"));
  job->stored[{"VEL", "vout"}] = job->owned_.back().get();
  job->stored[{"VAZ", "vout"}] = job->owned_.back().get();
  return job;
}

void MemoryJob::sortBySupergather() {
  extraHeaders["SG_CDP"] = {host::hdrInteger, host::local::firstFreeWord};
  job_.runtime.ipkey = host::local::firstFreeWord + 1;
}

int MemoryJob::integer(const std::string& key) const {
  calls.push_back("get " + key);
  return std::get<int>(parameterValues.at(key));
}

float MemoryJob::real(const std::string& key) const {
  calls.push_back("get " + key);
  return std::get<float>(parameterValues.at(key));
}

std::string MemoryJob::text(const std::string& key) const {
  calls.push_back("get " + key);
  return std::get<std::string>(parameterValues.at(key));
}

bool MemoryJob::exists(const std::string& name) const { return extraHeaders.contains(name); }
int MemoryJob::format(const std::string& name) const { return extraHeaders.at(name).first; }
int MemoryJob::index(const std::string& name) const { return extraHeaders.at(name).second; }

int MemoryJob::add(const std::string& name, const std::string& /*about*/, int format) {
  calls.push_back("add header " + name);
  const int word = host::local::firstFreeWord + 1;
  extraHeaders[name] = {format, word};
  return word;
}

void MemoryJob::deliver(int passes) {
  calls.push_back("deliver " + std::to_string(passes));
  passes_ = passes;
}

int MemoryJob::next(float* const* traces, std::int32_t* const* heads) {
  calls.push_back("next");
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
  setInt(head, words.icdp, trace.cdp);
  setInt(head, words.iiline_no, trace.inlineNumber);
  setInt(head, words.ixline_no, trace.crossline);
  setFloat(head, words.icdp_x, trace.cdpX);
  setFloat(head, words.icdp_y, trace.cdpY);
  setFloat(head, words.ioffset, trace.offset);
  setFloat(head, words.isou_x, trace.sourceX);
  setFloat(head, words.isou_y, trace.sourceY);
  setFloat(head, words.irec_x, trace.receiverX);
  setFloat(head, words.irec_y, trace.receiverY);
  setFloat(head, words.ina_stat, trace.naStat);
  setInt(head, words.itrc_type, trace.type);
  setInt(head, words.itr_fold, trace.fold);
  setInt(head, words.idiskiter, pass_);
  if (const auto found = extraHeaders.find("SG_CDP"); found != extraHeaders.end()) {
    head[found->second.second] = trace.supergather;
  }
}

void MemoryJob::put(const float* trace, const std::int32_t* head) {
  calls.push_back("put " + std::to_string(head[words.itrc_type - 1]));
  Trace copy;
  copy.cdp = head[words.icdp - 1];
  copy.type = head[words.itrc_type - 1];
  copy.endOfEnsemble = head[words.iend_ens - 1];
  copy.lineSegment = head[words.ilseg_seq - 1];
  copy.fold = head[words.itr_fold - 1];
  if (const auto found = extraHeaders.find("VEL_AZIM"); found != extraHeaders.end()) {
    copy.azimuth = std::bit_cast<float>(head[found->second.second]);
  }
  copy.samples.assign(trace, trace + job_.runtime.numsmp);
  output.push_back(std::move(copy));
}

std::unique_ptr<host::Table> MemoryJob::load(const std::string& type, const std::string& name) {
  calls.push_back("load " + type + " " + name);
  const auto found = stored.find({type, name});
  return found == stored.end() ? nullptr : copyOf(*found->second);
}

void MemoryJob::save(host::Table& table, const std::string& type) {
  calls.push_back("save " + type + " " + table.name());
  saved[type] = copyOf(table);
}

void* MemoryJob::map(std::int64_t bytes) {
  calls.push_back("map " + std::to_string(bytes));
  if (!roomForStores) return nullptr;
  // rubbish, as a host may deliver it
  blocks_.emplace_back(static_cast<std::size_t>(bytes / 4), 0x7f7f7f7f);
  return blocks_.back().data();
}

void MemoryJob::warn(const std::string& text) { warnings.push_back(text); }

void MemoryJob::start(int /*argc*/, char** /*argv*/, const std::string& kind) {
  calls.push_back("start " + kind);
  pass_ = 1;
  nextEnsemble_ = 0;
  for (const auto& ensemble : ensembles) {
    job_.runtime.maxdtr = std::max(job_.runtime.maxdtr, static_cast<int>(ensemble.size()));
  }
}

void MemoryJob::connect() { calls.push_back("connect"); }
void MemoryJob::setToolName(const std::string& name) { calls.push_back("name " + name); }
void MemoryJob::endInitialisation() {
  calls.push_back("initialised, output ensembles of " + std::to_string(job_.runtime.maxdtr));
}

void MemoryJob::recordRun(const std::string& tool, std::int64_t traces) {
  calls.push_back("record " + tool);
  tracesReported = traces;
}

void MemoryJob::close() { calls.push_back("close"); }

}  // namespace korvane_test
