#include "korvane/parameters.h"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <limits>

namespace korvane {

namespace {

int getInt(const char* key) {
  int value = 0;
  host::uParGetInt(key, value);
  return value;
}

float getFloat(const char* key) {
  float value = 0.0f;
  host::uParGetFloat(key, value);
  return value;
}

std::string getString(const char* key) {
  std::string value;
  host::uParGetString(key, value);
  return value;
}

int samples(int ms, float dt) { return truncated(static_cast<float>(ms) / dt); }

int oddWidth(int asked) {
  if (asked < 1) return 1;
  return asked % 2 == 0 ? asked - 1 : asked;
}

float squaredSine(float degrees, float rad) {
  const double sine = std::sin(static_cast<double>(degrees * rad));
  return static_cast<float>(sine * sine);
}

/// The slots of a grid are counted by ints, those of all sectors together.
constexpr std::int64_t mostSlots = std::numeric_limits<int>::max();

[[noreturn]] void refuseGrid() {
  host::stErrFatal("%s: The grid has no slots, or more than %lld (CDPs times sectors). Correct its ranges.", toolName,
                   static_cast<long long>(mostSlots));
}

std::vector<float> decodeList(std::string list) {
  const int length = static_cast<int>(list.size());
  list.resize(2 * list.size());
  const int count = host::decodePrep(list.data(), length);
  std::vector<float> values(static_cast<std::size_t>(count));
  const int stored = host::floatDecode(list.data(), count, values.data(), 0);
  values.resize(static_cast<std::size_t>(stored));
  return values;
}

}  // namespace

void readJobRecords(Parameters& p) {
  const host::RuntimeRecord& runtime = host::globalRuntime();
  p.dt = runtime.samprat;
  p.nt = runtime.numsmp;
  p.nx = runtime.maxdtr;
  p.nth = runtime.nth;
  p.is3D = host::globalMisc().i3d;
}

void readGrid(Parameters& p) {
  if (p.is3D != 0) {
    p.minilin = getInt("MINILINE");
    p.maxilin = getInt("MAXILINE");
    p.minxlin = getInt("MINXLINE");
    p.maxxlin = getInt("MAXXLINE");
  } else {
    p.minxlin = getInt("MINCDP");
    p.maxxlin = getInt("MAXCDP");
  }
  const std::int64_t inlines = std::int64_t{p.maxilin} - p.minilin + 1;
  const std::int64_t crosslines = std::int64_t{p.maxxlin} - p.minxlin + 1;
  if (inlines < 1 || crosslines < 1 || inlines > mostSlots / crosslines) refuseGrid();
  p.itlines = static_cast<int>(inlines);
  p.xtlines = static_cast<int>(crosslines);
  p.maxens = static_cast<int>(inlines * crosslines);
}

void findSupergatherHeader(Parameters& p) {
  if (host::stHdrExists("SG_CDP") == 0 || host::stHdrFormat("SG_CDP") != host::hdrInteger) return;
  p.isgcdp = host::stHdrIndex("SG_CDP");
  p.isgather = p.isgcdp == host::globalRuntime().ipkey - 1;
}

void readIterations(Parameters& p) {
  p.niterate = getInt("NUMITER");
  host::stSetDiskIter(p.niterate + 1);
}

void readNeighbourhood(Parameters& p) {
  p.numxsum = oddWidth(getInt("NUMXSUM"));
  p.numxsum2 = p.numxsum / 2;
  p.numysum = oddWidth(getInt("NUMYSUM"));
  p.numysum2 = p.numysum / 2;
}

void readWindow(Parameters& p) {
  p.method = getInt("METHOD");
  if (p.method == 1) {
    p.istart = samples(getInt("START"), p.dt);
    const int end = getInt("END");
    p.iend = end == 0 ? p.nt : std::min(samples(end, p.dt), p.nt);
    if (p.istart >= p.iend) host::stErrFatal("\n%s: error, end time must be greater than start time.\n\n", toolName);
  } else {
    p.istart = 0;
    p.iend = p.nt;
    p.chorname = getString("HORNAME");
  }
  p.idiff = p.iend;
}

void readInputName(Parameters& p) { p.cvelname = getString("VELNAME"); }

void readFilters(Parameters& p) {
  p.ivelfilt = getInt("VELFILT");
  if (p.ivelfilt > 0) {
    p.ivelfilt = std::max(samples(p.ivelfilt, p.dt), 2);
  }
  p.ifold = getInt("FOLD");
  p.icorrwin = samples(getInt("CORRWIN"), p.dt);
  p.icorrwin2 = p.icorrwin / 2 + 1;
  p.rfreq = 30.0f;
}

void readAngles(Parameters& p, float rad) {
  p.thetamin = getFloat("THMIN");
  p.thetamax = getFloat("THMAX");
  if (!(p.thetamin < p.thetamax)) {
    host::stErrFatal("\n%s: Min incidence angle must be less than max angle.\n\n", toolName);
  }
  p.thetamin = squaredSine(p.thetamin, rad);
  p.thetamax = squaredSine(p.thetamax, rad);
}

void readStatics(Parameters& p) {
  p.istatic = getInt("STATIC");
  if (host::stHdrExists("NA_STAT") == 0) p.istatic = 0;
}

void readAzimuths(Parameters& p) {
  p.iazimuth = getInt("AZIMTH");
  p.nazim = 1;
  if (p.iazimuth != 0) {
    p.nazim = getInt("NAZIM");
    if (p.nazim < 1 || p.slots() > mostSlots) refuseGrid();
    p.zazim = 360.0f / static_cast<float>(2 * p.nazim);
    if (host::stHdrExists("VEL_AZIM") == 0) {
      p.ivelazim = host::stHdrAdd("VEL_AZIM", "Korvane azimuth (degrees)", 1, host::hdrFloat);
      if (p.ivelazim < 0) host::stErrFatal("%s: Error adding header VEL_AZIM", toolName);
    } else if (host::stHdrFormat("VEL_AZIM") == host::hdrFloat) {
      host::stErrWarn("%s: VEL_AZIM header already exists!", toolName);
      p.ivelazim = host::stHdrIndex("VEL_AZIM");
    } else {
      host::stErrFatal("%s: VEL_AZIM header already exists but is of wrong type!", toolName);
    }
  }
  p.imcount = static_cast<int>(static_cast<double>(static_cast<float>(p.slots())) / 10.0);
}

void readOutputs(Parameters& p) {
  p.iprestack = getInt("PRESTACK");
  if (p.iprestack != 0) return;

  const std::string list = getString("OUTPUT");
  if (list.empty()) {
    host::stErrFatal("\n%s: Trace outputs are empty. Must have a least one output.\n\n", toolName);
  }
  p.outtrc = decodeList(list);
  p.outlen = static_cast<int>(p.outtrc.size());
  const auto leavesVelocities = [](float entry) { return truncated(entry) == 5; };
  p.skipVel = std::any_of(p.outtrc.begin(), p.outtrc.end(), leavesVelocities) ? 1 : 0;

  p.outvel = getInt("OUTVEL");
  if (p.outvel == 0) return;
  p.ivelmeth = getInt("VELMETH");
  p.velsamp = getFloat("VELSAMP");
  p.ntt = truncated(static_cast<float>(p.nt) * p.dt / p.velsamp);
  p.tlocs.resize(static_cast<std::size_t>(p.ntt));
  for (int k = 0; k < p.ntt; ++k) p.tlocs[static_cast<std::size_t>(k)] = static_cast<float>(k) * p.velsamp;
  p.cvelnamo = getString(p.iazimuth != 0 ? "VAZNAMO" : "VELNAMO");
}

}  // namespace korvane
