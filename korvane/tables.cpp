#include "korvane/tables.h"

#include <algorithm>
#include <cstddef>
#include <string>

namespace korvane {

namespace {

/// Null when the name stands for no table, or the table cannot be loaded.
host::Table* open(const char* type, const std::string& name, const char* noTable) {
  if (name.empty() || name == noTable) return nullptr;
  return host::tblFromDatabase(type, name.c_str());
}

void openAzimuthalOutput(const Parameters& p, Tables& tables) {
  const char* name = p.cvelnamo.c_str();
  tables.veltabo = open("VAZ", p.cvelnamo, "NONE");
  if (tables.veltabo == nullptr) {
    host::stErrFatal("%s: Cannot open output azimuthal velocity table: %s.", toolName, name);
  }
  if (p.ivelmeth == 1) {
    tables.veltabo = host::tblAllocate(p.nazim, "CDP", "TIME", "VELAZRMS", host::tblDesc(tables.veltabo));
    host::tblClear(tables.veltabo);
    return;
  }
  const int sectors = host::tblCountZ(tables.veltabo);
  if (sectors != p.nazim) {
    host::stErrFatal(
        "%s: Cannot append azimuthal velocity table: %s\n. Table azimuths: %d   user specified azimuths: %d.", toolName,
        name, sectors, p.nazim);
  }
  const int times = host::tblCountMaxY(tables.veltabo);
  if (times != p.ntt) {
    host::stErrFatal(
        "%s: The input number of samples: %d  of the azimuthal velocity file does not match the output number of "
        "samples: %d.\n",
        toolName, times, p.ntt);
  }
}

void openOrdinaryOutput(const Parameters& p, Tables& tables) {
  tables.veltabo = open("VEL", p.cvelnamo, "NONE");
  if (tables.veltabo == nullptr) host::stErrFatal("%s: Please select an output velocity table.\n", toolName);
  if (host::tblCountZ(tables.veltabo) == 0) {
    tables.veltabo = host::tblAllocate(1, "CDP", "TIME", "VEL_RMS", host::tblDesc(tables.veltabo));
  }
  if (p.ivelmeth == 1) host::tblClear(tables.veltabo);
}

}  // namespace

void openInputVelocities(const Parameters& p, Tables& tables) {
  tables.veltable = open("VEL", p.cvelname, "NONE");
  if (tables.veltable == nullptr) {
    host::stErrFatal("%s: Cannot open input velocity table: %s.", toolName, p.cvelname.c_str());
  }
}

void openHorizonTable(const Parameters& p, Tables& tables) {
  tables.hortable = open("AHZ", p.chorname, "no entry");
  if (tables.hortable == nullptr) {
    host::stErrFatal("%s: Cannot open autostatics horizon table: %s.", toolName, p.chorname.c_str());
  }
  tables.nahorz = std::min(host::tblCountX(tables.hortable), 2);
  tables.zvals.resize(static_cast<std::size_t>(3 * host::tblCountMaxY(tables.hortable)));
}

void openOutputVelocities(const Parameters& p, Tables& tables) {
  if (p.iazimuth != 0) {
    openAzimuthalOutput(p, tables);
  } else {
    openOrdinaryOutput(p, tables);
  }
}

int inputVelocity(const Parameters& p, const Tables& tables, int cdp, float x, float y, float* function) {
  return p.is3D != 0 ? host::tblInterpZ(tables.veltable, p.nt, 0, function, x, y, p.dt, 0.0f)
                     : host::tblInterpXYu(tables.veltable, p.nt, function, static_cast<float>(cdp), 0.0f, p.dt);
}

}  // namespace korvane
