#include "korvane/output_pass.h"

#include <algorithm>
#include <bit>
#include <cstddef>
#include <cstdio>

#include "korvane/headers.h"
#include "korvane/tables.h"

namespace korvane {

namespace {

/// The trace of an ensemble whose buffer and header carry its output, and the CDP that it stands for.
struct Chosen {
  float* trace;
  std::int32_t* head;
  int cdp;
  int kcdp;
};

/// Samples of the input function that the revised velocities replace.
struct Window {
  int start = 0;
  int len = 0;
};

/// Samples of the two horizons. They keep their values from CDP to CDP: a table of no horizons leaves them 0.
struct HorizonSamples {
  int n4 = 0, n5 = 0;
};

bool isStored(const RunState& run, int sector, int kcdp) {
  return run.stores.istore[rowStart(run.parameters, sector, kcdp, 1)] != 0;
}

bool hasResults(const RunState& run, int kcdp) {
  for (int s = 0; s < run.parameters.nazim; ++s) {
    if (isStored(run, s, kcdp)) return true;
  }
  return false;
}

/// Finds the first live trace whose CDP has results. @return false when the ensemble is to be passed over
// reads: parameters, stores.istore, work.traces, work.iheads
bool chooseTrace(RunState& run, int traces, Chosen& chosen) {
  const Parameters& p = run.parameters;
  const host::StandardHeaders& hdr = run.constants.hdr;
  for (int j = 0; j < traces; ++j) {
    std::int32_t* head = run.work.iheads[static_cast<std::size_t>(j)];
    if (!isLive(head, hdr.itrc_type)) continue;
    const int cdp = standardWord(head, hdr.icdp);
    const std::optional<int> kcdp = gridSlot(p, run.constants, head, cdp);
    if (!kcdp) return false;
    if (!hasResults(run, *kcdp)) continue;
    chosen = {.trace = run.work.traces[static_cast<std::size_t>(j)], .head = head, .cdp = cdp, .kcdp = *kcdp};
    return true;
  }
  return false;
}

// reads: parameters, tables.hortable   writes: tables.zvals
Window horizonWindow(RunState& run, int cdp, HorizonSamples& horizons) {
  const Parameters& p = run.parameters;
  Tables& tables = run.tables;
  for (int j = 1; j <= tables.nahorz; ++j) {
    host::tblInterpXY(tables.hortable, static_cast<float>(j), static_cast<float>(cdp), tables.zvals.data());
    (j == 1 ? horizons.n4 : horizons.n5) = truncated(tables.zvals[2] / p.dt - 1.0f);
  }
  if (tables.nahorz == 1) {
    horizons.n5 = horizons.n4;
    horizons.n4 = 0;
  }
  const int start = std::clamp(horizons.n4, 0, p.nt);
  const int end = std::clamp(horizons.n5, 0, p.nt);
  return start < end ? Window{.start = start, .len = end - start} : Window{};
}

Window outputWindow(RunState& run, int cdp, HorizonSamples& horizons) {
  const Parameters& p = run.parameters;
  if (p.method == 2) return horizonWindow(run, cdp, horizons);
  return {.start = p.istart, .len = p.iend - p.istart};
}

/// A trace of nt samples into tempTrc1: the base function, or zeros, with the window taken from a store's row.
// writes: work.tempTrc1
void compose(RunState& run, const float* base, const Window& window, const float* row) {
  float* trace = run.work.tempTrc1.data();
  const int nt = run.parameters.nt;
  if (base != nullptr) {
    std::copy_n(base, nt, trace);
  } else {
    std::fill_n(trace, nt, 0.0f);
  }
  std::copy_n(row + window.start, window.len, trace + window.start);
}

/// Composes the trace of an output code. @return its trace type, 0 for a code that has none
// reads: parameters, stores, work.vels   writes: work.tempTrc1
int composeOutput(RunState& run, int code, int sector, int kcdp, const Window& window) {
  const Parameters& p = run.parameters;
  const Stores& st = run.stores;
  const std::int64_t velocityRow = rowStart(p, sector, kcdp, p.nt), attributeRow = rowStart(p, sector, kcdp, p.idiff);
  switch (code) {
    case 1:
    case 5:
      compose(run, run.work.vels.data(), window, st.vstore + velocityRow);
      return 51;
    case 2:
      compose(run, nullptr, window, st.astore + attributeRow);
      return 43;
    case 3:
      compose(run, nullptr, window, st.bstore + attributeRow);
      return 44;
    case 4:
      compose(run, nullptr, window, st.vastore + velocityRow);
      return 52;
    default:
      return 0;
  }
}

// reads: parameters, stores, work.vels   writes: the chosen trace and header, work.tempTrc1; output traces
void putSectorTraces(RunState& run, int sector, const Chosen& chosen, const Window& window) {
  const Parameters& p = run.parameters;
  const host::StandardHeaders& hdr = run.constants.hdr;
  for (const float entry : p.outtrc) {
    const int type = composeOutput(run, truncated(entry), sector, chosen.kcdp, window);
    if (type == 0) continue;
    std::copy_n(run.work.tempTrc1.data(), p.nt, chosen.trace);
    standardWord(chosen.head, hdr.itrc_type) = type;
    standardWord(chosen.head, hdr.iend_ens) = 1;
    standardWord(chosen.head, hdr.ilseg_seq) = 1;
    if (p.iazimuth != 0) {
      const double centre =
          static_cast<double>(static_cast<float>(sector + 1) * p.zazim) + static_cast<double>(p.zazim) * -0.5;
      chosen.head[p.ivelazim] = std::bit_cast<std::int32_t>(static_cast<float>(centre));
    }
    host::stPutTrace(chosen.trace, chosen.head);
  }
}

/// Revised velocity function of a sector at the output interval.
// reads: parameters, stores.vstore, work.vels   writes: work.tempTrc1, function
void resampleVelocity(RunState& run, int sector, int kcdp, const Window& window, float* function) {
  const Parameters& p = run.parameters;
  compose(run, run.work.vels.data(), window, run.stores.vstore + rowStart(p, sector, kcdp, p.nt));
  const float* velocity = run.work.tempTrc1.data();
  host::ress8r(p.nt, velocity, p.ntt, function, p.dt, 0.0f, velocity[0], velocity[p.nt - 1], p.velsamp);
}

// reads: parameters, stores, work.vels   writes: tables.veltabo, scratch
void addFunction(RunState& run, const Chosen& chosen, const Window& window) {
  const Parameters& p = run.parameters;
  float* function = run.work.tempTrc2.data();
  resampleVelocity(run, 0, chosen.kcdp, window, function);
  for (int k = 0; k < p.ntt; ++k) {
    host::tblAddXY(run.tables.veltabo, static_cast<float>(chosen.cdp), p.tlocs[static_cast<std::size_t>(k)],
                   &function[k]);
  }
}

/// One velocity per sector and time. Sectors without data are interpolated between their neighbours round the compass:
/// the sectors are laid out three times in a row and the middle round is taken.
// reads: parameters, stores, work.vels   writes: tables.veltabo, work.tnmo, vint, scratch
void addAzimuthalFunctions(RunState& run, const Chosen& chosen, const Window& window) {
  const Parameters& p = run.parameters;
  Work& w = run.work;
  const auto sectorFunction = [&](int n) { return w.tnmo.data() + static_cast<std::ptrdiff_t>(n) * p.ntt; };
  for (int n = 0; n < p.nazim; ++n) {
    if (isStored(run, n, chosen.kcdp)) resampleVelocity(run, n, chosen.kcdp, window, sectorFunction(n));
  }

  float* values = w.tempTrc1.data();
  float* positions = w.tempTrc2.data();
  float* wanted = w.tempTrc3.data();
  const int round = 3 * p.nazim;
  for (int k = 0; k < p.ntt; ++k) {
    std::fill_n(values, 4 * p.nazim, 0.0f);
    int m = 0;
    for (int position = 0; position < round; ++position) {
      const int n = position % p.nazim;
      wanted[position] = static_cast<float>(position);
      if (!isStored(run, n, chosen.kcdp)) continue;
      values[m] = sectorFunction(n)[k];
      positions[m] = static_cast<float>(position);
      ++m;
    }
    host::intlin(m, positions, values, round, wanted, w.vint.data(), values[0], values[m - 1]);
    host::tblAddXY(run.tables.veltabo, static_cast<float>(chosen.cdp), p.tlocs[static_cast<std::size_t>(k)],
                   w.vint.data() + p.nazim);
  }
}

void outputEnsemble(RunState& run, int traces, HorizonSamples& horizons) {
  const Parameters& p = run.parameters;
  const host::StandardHeaders& hdr = run.constants.hdr;
  Chosen chosen{};
  if (!chooseTrace(run, traces, chosen)) return;
  inputVelocity(p, run.tables, chosen.cdp, standardFloat(chosen.head, hdr.icdp_x),
                standardFloat(chosen.head, hdr.icdp_y), run.work.vels.data());
  const Window window = outputWindow(run, chosen.cdp, horizons);
  if (p.iprestack == 0 && window.len > 0) {
    for (int s = 0; s < p.nazim; ++s) {
      if (isStored(run, s, chosen.kcdp)) putSectorTraces(run, s, chosen, window);
    }
  }
  if (p.outvel == 0) return;
  if (p.iazimuth != 0) {
    addAzimuthalFunctions(run, chosen, window);
  } else {
    addFunction(run, chosen, window);
  }
}

}  // namespace

void outputPass(RunState& run, int traces) {
  std::printf("\n%s: Output new velocity dataset.\n\n", toolName);
  const Work& w = run.work;
  HorizonSamples horizons;
  if (traces < 1) traces = host::stGetEnsemble(w.traces.data(), w.iheads.data());
  while (traces > 0) {
    if (traces >= run.parameters.ifold) outputEnsemble(run, traces, horizons);
    traces = host::stGetEnsemble(w.traces.data(), w.iheads.data());
  }
}

void shutDown(RunState& run) {
  Tables& tables = run.tables;
  if (tables.veltabo != nullptr) {
    host::tblFree(tables.veltable);
    host::tblToDatabase(tables.veltabo, run.parameters.iazimuth != 0 ? "VAZ" : "VEL");
    host::tblFree(tables.veltabo);
  }
  host::runCummlative(toolName, run.numTraces);
  host::stCloseSocketLink();
}

}  // namespace korvane
