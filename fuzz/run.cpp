#include "korvane/run.h"

#include <tbb/global_control.h>

#include <cstdio>
#include <sstream>

#include "fuzz/segy_bytes.h"
#include "host/local/job_file.h"
#include "host/local/local_job.h"

// A whole run on foreign traces: headers, samples, parameters and velocities of any size, on a small grid.

namespace {

using namespace host::local;
namespace fs = std::filesystem;

/// Databases whose velocities (length units a second) and horizons (ms) are of a usual size, tiny and huge.
struct Surroundings {
  korvane_fuzz::PrivateFolder folder;
  tbb::global_control one{tbb::global_control::max_allowed_parallelism, 1};

  Surroundings() {
    if (std::freopen("/dev/null", "w", stdout) == nullptr) std::abort();
    int number = 0;
    for (const auto& [velocity, time] : {std::pair{2000.0f, 20.0f}, {1e-30f, -1e30f}, {3e38f, 3e38f}}) {
      Database database(source(number++), Database::Access::create);
      host::Table velocities("in", 1, "CDP", "TIME", "VEL_RMS"), horizons("horizons", 3, "HORIZON", "CDP", "TIME");
      for (const float cdp : {1.0f, 102.0f, 1e9f}) {
        for (const float ms : {0.0f, 40.0f, 1000.0f}) velocities.add(cdp, ms, &velocity);
        velocities.place(cdp, {.x = cdp, .y = velocity});
        const float z[] = {0.0f, 0.0f, cdp == 1.0f ? 0.0f : time};
        horizons.add(cdp == 1.0f ? 1.0f : 2.0f, cdp, z);
      }
      database.save(velocities, "VEL");
      database.save(horizons, "AHZ");
    }
  }

  fs::path source(int number) const { return folder.path() / (std::to_string(number) + ".db"); }
};

/// A job of a grid of some slots, everything else as it comes. Its files lie in the folder; the input is elsewhere.
std::string jobText(FuzzedDataProvider& choice, const fs::path& input) {
  std::ostringstream job;
  const bool is3D = choice.ConsumeBool();
  const bool byGather = choice.ConsumeBool();
  job << "[survey]\ntype = " << (is3D ? "'3D'" : "'2D'") << "\n[data]\ninput = '" << input.string()
      << "'\noutput = 'out.sgy'\nallow_truncated = true\nprimary_key = " << (byGather ? "'SG_CDP'" : "'CDP'")
      << "\n[headers]\n"
      << (byGather ? "SG_CDP = 9\n" : "")
      << (choice.ConsumeBool() ? "OFFSET = { byte = 37, format = 'float32' }\n" : "")
      << (choice.ConsumeBool() ? "NA_STAT = { byte = 201, format = 'float32' }\n" : "")
      << "[database]\nfile = 'run.db'\n[run]\nthreads = 1\n[parameters]\n";
  const auto range = [&](const char* axis, int most) {
    const int first = choice.ConsumeBool() ? choice.ConsumeIntegral<std::int32_t>() : 1;
    const std::int64_t last = std::int64_t{first} + choice.ConsumeIntegralInRange(0, most);
    job << "MIN" << axis << " = " << first << "\nMAX" << axis << " = " << last << '\n';
  };
  if (is3D) range("ILINE", 2);
  range(is3D ? "XLINE" : "CDP", is3D ? 3 : 11);
  const auto whole = [&](const char* key, int least, int most) {
    job << key << " = " << choice.ConsumeIntegralInRange(least, most) << '\n';
  };
  const auto odd = [&](const char* key, int usual) {
    job << key << " = " << (choice.ConsumeBool() ? choice.ConsumeIntegral<std::int32_t>() : usual) << '\n';
  };
  whole("NUMITER", 0, 2);
  odd("NUMXSUM", 3);
  odd("NUMYSUM", 3);
  whole("METHOD", 0, 2);
  odd("START", 0);
  odd("END", 0);
  odd("VELFILT", 8);
  whole("FOLD", 1, 4);
  odd("CORRWIN", 16);
  whole("THMIN", 0, 90);
  whole("THMAX", 0, 90);
  odd("STATIC", 1);
  whole("AZIMTH", 0, 1);
  whole("NAZIM", 1, 3);
  whole("PRESTACK", 0, 1);
  whole("VELMETH", 0, 1);
  job << "OUTPUT = '1-5'\nVELSAMP = " << choice.PickValueInArray({"8.0", "0.5", "1e4"})
      << "\nVELNAME = 'in'\nVELNAMO = 'out'\nVAZNAMO = 'azimuthal'\nHORNAME = 'horizons'\n";
  return job.str();
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  static const Surroundings surroundings;
  static korvane_fuzz::MemoryFile input, jobFile;
  FuzzedDataProvider choice(data, size);
  const fs::path database = surroundings.folder.path() / "run.db";
  fs::copy_file(surroundings.source(choice.ConsumeIntegralInRange(0, 2)), database,
                fs::copy_options::overwrite_existing);
  jobFile.write(jobText(choice, input.path()));
  korvane_fuzz::writeSegy(choice, input);
  korvane_fuzz::Silence silence;
  korvane_fuzz::attempt([&] {
    JobFile job = readJobFile(jobFile.path(), silence);
    job.database = database;
    job.output = surroundings.folder.path() / "out.sgy";
    job.scratch = surroundings.folder.path();
    LocalJob local(job, "0", silence);
    const JobScope scope(local.job());
    korvane::run(0, nullptr);
  });
  return 0;
}
