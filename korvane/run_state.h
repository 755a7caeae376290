#pragma once

#include <array>
#include <cstdint>
#include <limits>
#include <memory>
#include <span>
#include <string>
#include <vector>

#include "host/framework.h"
#include "korvane/pass_observer.h"

/// The driver: start-up, the passes over the data, the output. Everything that a run knows is in its RunState.
namespace korvane {

/// Name that messages carry.
inline constexpr const char* toolName = "KORVANE";

/// What the job and the user asked for, in the units that the passes work in. Set by start-up, const afterwards; a
/// member that is not read in the chosen mode stays 0 or empty.
struct Parameters {
  // the job's sampling and layout
  float dt = 0.0f;        ///< sample interval, ms
  int nt = 0;             ///< samples per trace
  int nx = 0;             ///< traces of the largest input ensemble
  int nth = 0;            ///< header words per trace
  int is3D = 0;           ///< non-zero: inline/crossline numbering, zero: CDP numbering
  bool isgather = false;  ///< the ensembles are supergathers
  int isgcdp = -1;        ///< word of header "SG_CDP", from 0, or -1

  // the CDP grid; in 2D one inline, crosslines are CDP numbers
  int minilin = 0, maxilin = 0;
  int minxlin = 0, maxxlin = 0;
  int itlines = 0, xtlines = 0;
  int maxens = 0;  ///< CDP slots of one azimuth sector

  int niterate = 0;                        ///< analysis passes
  int numxsum = 0, numxsum2 = 0;           ///< inlines of the neighbourhood (odd) and their half-width
  int numysum = 0, numysum2 = 0;           ///< crosslines of the neighbourhood (odd) and their half-width
  int method = 0;                          ///< 1 fixed window, 2 horizon window, other: whole trace
  int istart = 0, iend = 0;                ///< output window, samples
  int idiff = 0;                           ///< samples analysed
  int ivelfilt = 0;                        ///< velocity smoothing, samples; below 1: none
  int ifold = 0;                           ///< least number of traces (gathers) or stored neighbours (update)
  int icorrwin = 0, icorrwin2 = 0;         ///< correlation window, samples, and its smoothing half-length
  float thetamin = 0.0f, thetamax = 0.0f;  ///< squared sines of the incidence angle limits
  float rfreq = 0.0f;                      ///< reference frequency, Hz
  int istatic = 0;                         ///< non-zero: statics are applied
  int iazimuth = 0, nazim = 1;             ///< azimuth sectors
  float zazim = 0.0f;                      ///< sector width, degrees
  int ivelazim = 0;                        ///< word of header "VEL_AZIM", from 0
  int imcount = 0;                         ///< grid positions between progress lines
  int iprestack = 0;                       ///< non-zero: prestack output
  std::vector<float> outtrc;               ///< output codes
  int outlen = 0;
  int skipVel = 0;           ///< non-zero: revisions leave the stored velocities alone
  int outvel = 0;            ///< non-zero: an output table is written
  int ivelmeth = 0;          ///< 1: new table, other: append
  float velsamp = 0.0f;      ///< interval of the output functions, ms
  int ntt = 0;               ///< samples of an output function
  std::vector<float> tlocs;  ///< their times, ms
  std::string chorname, cvelname, cvelnamo;

  /// CDP slots of all sectors.
  std::int64_t slots() const { return static_cast<std::int64_t>(maxens) * nazim; }
};

/// What follows from the parameters, const after start-up.
struct Constants {
  host::StandardHeaders hdr;  ///< header words, counted from 1
  float dtt = 0.0f;           ///< sample interval, s
  float dx = 0.0f;            ///< sampling frequency, Hz
  float rad = 0.0f;           ///< radians per degree
  int isrun = 0;              ///< columns of the angle sums
  int iout = 0;               ///< columns of the AVO engine's output
  int ihilbt = 0;             ///< Hilbert filter length
  int mmxh = 0;               ///< capacity of the band filters: lags -mmxh .. mmxh
  int ifndx = 0;              ///< their half-length
  int nparm = 0;              ///< length of the AVO parameter block
  float avopct = 0.0f;        ///< damping of the AVO fit, dB
  float qfactor = 0.0f;
  int miniv = 0, maxiv = 0;            ///< interval velocity limits
  int minsv = 0, maxsv = 0;            ///< RMS velocity limits
  int ivtime = 0, ivpow = 0;           ///< damping time (ms) and power (tenths) of the revision
  float pctmin = 0.0f, pctmax = 0.0f;  ///< interval velocity change per revision, percent
  float dvmin = 0.0f, dvmax = 0.0f;    ///< RMS velocity change per revision, percent

  int ilen = 0, ilen2 = 0;    ///< taps of the interpolation filters, and half of them
  std::vector<float> rcoef;   ///< interpolation filter bank: ilen x 100
  std::vector<float> h1, h2;  ///< band filters: 3 * mmxh, lag L at mmxh + L
  std::vector<int> iparm;     ///< AVO parameter block
};

/// Tables that the run has open.
struct Tables {
  host::Table* veltable = nullptr;  ///< input velocities
  host::Table* hortable = nullptr;  ///< horizons of the output window
  host::Table* veltabo = nullptr;   ///< output velocities
  int nahorz = 0;                   ///< horizons used, at most 2
  std::vector<float> zvals;         ///< values of one horizon point
};

/// State per CDP and azimuth sector, carried from pass to pass. Sector s of CDP slot k has row s * maxens + k.
struct Stores {
  float* vstore = nullptr;         ///< rows of nt: current RMS velocity
  float* vastore = nullptr;        ///< rows of nt: velocity ratio of the latest revision
  std::int32_t* istore = nullptr;  ///< 1 once the row holds data
  std::int32_t* ilsamp = nullptr;  ///< first sample of the row's revision
  float* cdpstore = nullptr;       ///< CDP number
  float* astore = nullptr;         ///< rows of idiff: intercept A
  float* bstore = nullptr;         ///< rows of idiff: gradient B
  float* ahstore = nullptr;        ///< rows of idiff: Hilbert transform of A
  float* bhstore = nullptr;        ///< rows of idiff: Hilbert transform of B
};

/// Arrays of one flow of control through the ensembles.
struct Work {
  std::vector<float> samples;         ///< nx x nt: the ensemble in hand, as it came or moved out
  std::vector<std::int32_t> words;    ///< nx x (nth + 1): its headers
  std::vector<float*> traces;         ///< nx, into samples
  std::vector<std::int32_t*> iheads;  ///< nx, into words
  std::vector<float> rcoef;           ///< filter bank of this flow: moveout rewrites its last column
  std::vector<float> sloth, slothi;   ///< nazim x (nt + 2): squared slowness
  std::vector<float> trsave;          ///< a trace between ilen zeros on either side
  std::vector<float> tnmo;            ///< nazim x ntt: output functions
  std::vector<float> tempTrc1, tempTrc2, tempTrc3;
  std::vector<int> sectors;   ///< nx: azimuth sectors of its traces, -1: not analysed
  std::vector<double> sin2;   ///< nt: squared sines of a trace's angles
  std::vector<float> tro;     ///< A, then B, of idiff each
  std::vector<float> vels;    ///< nazim x nt: velocity functions
  std::vector<float> vint;    ///< velocities over three rounds of sectors
  std::vector<int> num;       ///< nazim: traces per sector
  std::vector<float> sumrun;  ///< nazim x isrun x nt: angle sums
  std::vector<float> outcom;  ///< iout x nt: output of the AVO engine
};

class NeighbourhoodSums;

/// One run.
struct RunState {
  Parameters parameters;
  Constants constants;
  Tables tables;
  Stores stores;
  Work work;                                          ///< of the ensemble in hand, outside the gather pass
  std::vector<Work> flows;                            ///< of the ensembles that the gather pass has under way
  std::shared_ptr<NeighbourhoodSums> neighbourhoods;  ///< arrays of the update pass
  std::vector<std::int32_t> held;                     ///< per slot: samples that a limit held in the latest revision
  std::span<PassObserver* const> observers;
  int numiter = 0;             ///< current pass over the data
  std::int64_t numTraces = 0;  ///< traces of the analysed ensembles, over all passes
};

/// Whole part of a value, cut off at what an int holds.
inline int truncated(float value) {
  constexpr float beyond = 2147483648.0f;
  if (value >= beyond) return std::numeric_limits<int>::max();
  return value > -beyond ? static_cast<int>(value) : std::numeric_limits<int>::min();
}

/// Start of row (sector, slot) in a store whose rows hold `length` values.
inline std::int64_t rowStart(const Parameters& p, int sector, int slot, int length) {
  return (static_cast<std::int64_t>(sector) * p.maxens + slot) * length;
}

}  // namespace korvane
