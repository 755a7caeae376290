#include "host/framework.h"

#include <algorithm>
#include <cstdarg>
#include <cstdio>
#include <map>
#include <memory>
#include <vector>

#include "host/local/job.h"
#include "host/local/numeric.h"
#include "host/local/table.h"

namespace host {

namespace {

/// The job that the framework's operations act on, and the tables that the tool has open.
struct Current {
  local::Job& job;
  std::map<const Table*, std::unique_ptr<Table>> tables;
};

std::unique_ptr<Current> current;

local::Job& job() { return current->job; }

Table* keep(std::unique_ptr<Table> table) {
  Table* handle = table.get();
  if (handle != nullptr) current->tables.emplace(handle, std::move(table));
  return handle;
}

std::string formatted(const char* format, std::va_list values) {
  std::va_list again;
  va_copy(again, values);
  const int length = std::vsnprintf(nullptr, 0, format, again);
  va_end(again);
  std::string text(static_cast<std::size_t>(std::max(length, 0)), '\0');
  std::vsnprintf(text.data(), text.size() + 1, format, values);
  return text;
}

}  // namespace

namespace local {

JobScope::JobScope(Job& job) { current = std::make_unique<Current>(Current{.job = job, .tables = {}}); }
JobScope::~JobScope() { current.reset(); }

}  // namespace local

RuntimeRecord& globalRuntime() { return job().runtime; }
const MiscRecord& globalMisc() { return job().misc; }
const StandardHeaders& stdHdr() { return job().headerWords; }

void initStandAlone(int argc, char** argv, const char* kind) { job().link.start(argc, argv, kind); }
void stConnectToServer() { job().link.connect(); }
void stSetToolName(const char* name) { job().link.setToolName(name); }
void stSetDiskIter(int passes) { job().input.deliver(passes); }
void stEndInitialization() { job().link.endInitialisation(); }
int stGetEnsemble(float* const* traces, std::int32_t* const* heads) { return job().input.next(traces, heads); }

void stPutTrace(const float* trace, const std::int32_t* head) { job().output.put(trace, head); }

void runCummlative(const char* tool, std::int64_t traces) { job().link.recordRun(tool, traces); }
void stCloseSocketLink() { job().link.close(); }

void uParGetInt(const char* key, int& value) { value = job().parameters.integer(key); }
void uParGetFloat(const char* key, float& value) { value = job().parameters.real(key); }
void uParGetString(const char* key, std::string& value) { value = job().parameters.text(key); }

int stHdrExists(const char* name) { return job().headers.exists(name) ? 1 : 0; }
int stHdrFormat(const char* name) { return job().headers.format(name); }
int stHdrIndex(const char* name) { return job().headers.index(name); }
int stHdrAdd(const char* name, const char* description, int /*count*/, int format) {
  return job().headers.add(name, description, format);
}

void stErrFatal(const char* format, ...) {
  std::va_list values;
  va_start(values, format);
  const std::string text = formatted(format, values);
  va_end(values);
  throw local::RunError(text);
}

void stErrWarn(const char* format, ...) {
  std::va_list values;
  va_start(values, format);
  const std::string text = formatted(format, values);
  va_end(values);
  job().messages.warn(text);
}

Table* tblFromDatabase(const char* type, const char* name) { return keep(job().tables.load(type, name)); }
void tblToDatabase(Table* table, const char* type) { job().tables.save(*table, type); }
void tblFree(Table* table) { current->tables.erase(table); }

Table* tblAllocate(int zCount, const char* xName, const char* yName, const char* zName, const TableDescription& desc) {
  return keep(std::make_unique<Table>(desc.name, zCount, xName, yName, zName));
}

void tblClear(Table* table) { table->clear(); }
TableDescription tblDesc(const Table* table) { return {.name = table->name()}; }
int tblCountX(const Table* table) { return static_cast<int>(table->functions().size()); }
int tblCountMaxY(const Table* table) { return table->countMaxY(); }
int tblCountZ(const Table* table) { return table->zCount(); }

int tblInterpZ(Table* table, int nt, int z, float* out, float x, float y, float dt, float t0) {
  std::string why;
  if (table->atPosition({.x = x, .y = y}, nt, z, t0, dt, out, why)) return 0;
  job().messages.warn("table " + table->name() + ": no velocity at map position (" + std::to_string(x) + ", " +
                      std::to_string(y) + "): " + why);
  return 1;
}

int tblInterpXYu(Table* table, int nt, float* out, float x, float t0, float dt) {
  if (table->alongX(x, nt, t0, dt, out)) return 0;
  job().messages.warn("table " + table->name() + " holds no functions");
  return 1;
}

void tblInterpXY(Table* table, float x, float y, float* out) { table->point(x, y, out); }
void tblAddXY(Table* table, float x, float y, const float* z) { table->add(x, y, z); }

void* mapMemory(std::int64_t bytes) { return job().blocks.map(bytes); }

void intlin(int m, const float* x, const float* y, int n, const float* xOut, float* yOut, float below, float above) {
  local::intlin(m, x, y, n, xOut, yOut, below, above);
}

void ress8r(int n, const float* in, int nOut, float* out, float dt, float t0, float first, float last, float dtOut) {
  local::ress8r(n, in, nOut, out, dt, t0, first, last, dtOut);
}

void applyStatic2(float* trace, float* work, int nt, float dt, float shift) {
  local::applyStatic2(trace, work, nt, dt, shift);
}

int decodePrep(char* list, int length) { return local::decodePrep(list, length); }
int floatDecode(const char* list, int count, float* values, int origin) {
  return local::floatDecode(list, count, values, origin);
}

void mem_check(int& /*status*/) noexcept {}

}  // namespace host
