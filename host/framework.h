#pragma once

#include <cstddef>
#include <cstdint>
#include <string>

#include "host/mem_check.h"

/// The boundary between KORVANE and the seismic processing framework that it runs under: everything the driver knows of
/// the job, the data, the tables and the user comes through these operations. A site with another framework links its
/// own implementation of this header; ours is in host/local/.
///
/// No operation is called from more than one thread at a time, mem_check and applyStatic2 apart.
namespace host {

// ---- job records, valid once stConnectToServer has returned --------------------------------------------------------

/// Sampling and layout of the data that the framework delivers.
struct RuntimeRecord {
  float samprat = 0.0f;  ///< sample interval, ms
  int numsmp = 0;        ///< samples per trace
  int maxdtr = 0;        ///< traces of the largest input ensemble; set by the tool to its largest output ensemble
  int nth = 0;           ///< header words per trace
  int ipkey = 0;         ///< header (index from 1) that is the primary sort key of the input
};

/// Survey facts.
struct MiscRecord {
  int iunits = 0;  ///< 1: lengths in feet
  int i3d = 0;     ///< non-zero: 3D survey
};

/// Index, from 1, of each standard trace header word.
struct StandardHeaders {
  int icdp = 0;       ///< int: CDP number
  int iiline_no = 0;  ///< int: inline number
  int ixline_no = 0;  ///< int: crossline number
  int icdp_x = 0;     ///< float: CDP map position
  int icdp_y = 0;     ///< float
  int ioffset = 0;    ///< float: source-receiver offset
  int isou_x = 0;     ///< float: source position
  int isou_y = 0;     ///< float
  int irec_x = 0;     ///< float: receiver position
  int irec_y = 0;     ///< float
  int ina_stat = 0;   ///< float: static, ms
  int itrc_type = 0;  ///< int: trace type, 1 is a live data trace
  int iend_ens = 0;   ///< int: 1 on the last trace of an output ensemble
  int ilseg_seq = 0;  ///< int: line segment sequence number
  int itr_fold = 0;   ///< int: trace fold
  int idiskiter = 0;  ///< int: number of the current pass over the input data, from 1
};

RuntimeRecord& globalRuntime();
const MiscRecord& globalMisc();
const StandardHeaders& stdHdr();

// ---- link and lifecycle --------------------------------------------------------------------------------------------

/// Starts the tool as one of the given kind.
void initStandAlone(int argc, char** argv, const char* kind);
/// Opens the link to the framework; afterwards the job records are valid.
void stConnectToServer();
/// Name shown for the tool.
void stSetToolName(const char* name);
/// Asks for that many deliveries of the whole input; header word idiskiter counts them from 1.
void stSetDiskIter(int passes);
/// Ends the initialisation phase; ensembles can be requested afterwards.
void stEndInitialization();
/// Next ensemble, into buffers for the largest one (numsmp samples, nth + 1 words each).
/// @return its number of traces; 0 or less when the data are exhausted
int stGetEnsemble(float* const* traces, std::int32_t* const* heads);
/// Passes one trace to the output, in call order. Both buffers are copied before the call returns.
void stPutTrace(const float* trace, const std::int32_t* head);
/// Adds the run to the run record.
void runCummlative(const char* tool, std::int64_t traces);
/// Closes the link: the last call of a run.
void stCloseSocketLink();

// ---- parameters ----------------------------------------------------------------------------------------------------

void uParGetInt(const char* key, int& value);
void uParGetFloat(const char* key, float& value);
/// Empty when the job gives no value.
void uParGetString(const char* key, std::string& value);

// ---- trace headers -------------------------------------------------------------------------------------------------

inline constexpr int hdrInteger = 1;  ///< format code of a 4-byte integer word
inline constexpr int hdrFloat = 2;    ///< format code of a single-precision word

/// Non-zero when the header is defined for the data.
int stHdrExists(const char* name);
/// Format code of an existing header.
int stHdrFormat(const char* name);
/// Word index, from 0, of an existing header.
int stHdrIndex(const char* name);
/// Defines a header for the output traces.
/// @return its word index from 0, negative on failure
int stHdrAdd(const char* name, const char* description, int count, int format);

// ---- messages ------------------------------------------------------------------------------------------------------

/// Reports an error and ends the run: never returns to the caller.
[[noreturn]] void stErrFatal(const char* format, ...) __attribute__((format(printf, 1, 2)));
/// Reports a warning.
void stErrWarn(const char* format, ...) __attribute__((format(printf, 1, 2)));

// ---- tables --------------------------------------------------------------------------------------------------------

/// A table in memory: points indexed by X and Y with one or more Z values each.
class Table;

/// What a new table takes over from the one that it stands for.
struct TableDescription {
  std::string name;
};

/// Loads a table of type VEL, VAZ or AHZ. An output table that is not stored yet comes as an empty one (Z count 0).
/// @return null when there is none
Table* tblFromDatabase(const char* type, const char* name);
/// Writes the table under the name it was opened with.
void tblToDatabase(Table* table, const char* type);
void tblFree(Table* table);
/// New empty table with the given axes.
Table* tblAllocate(int zCount, const char* xName, const char* yName, const char* zName, const TableDescription& desc);
/// Removes every function.
void tblClear(Table* table);
TableDescription tblDesc(const Table* table);
/// Number of distinct X values.
int tblCountX(const Table* table);
/// Largest number of Y values under any X.
int tblCountMaxY(const Table* table);
/// Z values per point; 0 for a table that never held one.
int tblCountZ(const Table* table);
/// Function at map position (x, y), nt samples at interval dt (ms) from t0, of the Z value of index z.
/// @return 0 on success
int tblInterpZ(Table* table, int nt, int z, float* out, float x, float y, float dt, float t0);
/// Function at X = x, nt samples at interval dt (ms) from t0.
/// @return 0 on success
int tblInterpXYu(Table* table, int nt, float* out, float x, float t0, float dt);
/// Z values at (x, y).
void tblInterpXY(Table* table, float x, float y, float* out);
/// Adds a point; one that stands at (x, y) already is replaced.
void tblAddXY(Table* table, float x, float y, const float* z);

// ---- memory --------------------------------------------------------------------------------------------------------

/// A block of that many bytes that stays valid for the run and may live in a mapped file.
/// @return null on failure
void* mapMemory(std::int64_t bytes);

// ---- numeric utilities ---------------------------------------------------------------------------------------------

/// Piecewise linear interpolation of m points (x ascending) at n positions; below and above the points: end values.
void intlin(int m, const float* x, const float* y, int n, const float* xOut, float* yOut, float below, float above);
/// Resamples a function from interval dt to interval dtOut, both from time t0; beyond the input: first, last.
void ress8r(int n, const float* in, int nOut, float* out, float dt, float t0, float first, float last, float dtOut);
/// Shifts a trace in time in place: out(t) = in(t - shift), shift and dt in ms, zeros coming in.
/// Callable from any thread.
void applyStatic2(float* trace, float* work, int nt, float dt, float shift);
/// Number of values in a list string. The buffer holds twice the length of the string and may be rewritten.
int decodePrep(char* list, int length);
/// Decodes a prepared list.
/// @return the number of values stored
int floatDecode(const char* list, int count, float* values, int origin);

}  // namespace host
