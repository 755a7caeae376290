#include "app/synth.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <fstream>
#include <iomanip>
#include <iostream>
#include <numbers>
#include <sstream>
#include <system_error>
#include <utility>

#include "app/checkpointer.h"
#include "host/local/database.h"
#include "host/local/job.h"
#include "host/local/segy_writer.h"
#include "host/local/table_text.h"

namespace app {

namespace {

using host::local::RunError;

constexpr double pi = std::numbers::pi;
constexpr double peakFrequency = 30.0;   // Hz
constexpr double waveletReach = 0.05;    // s; beyond it the wavelet is below 1e-7 of its peak
constexpr double firstReflection = 0.1;  // s
constexpr double largestStretch = 0.5;   // of the moveout, where the mute begins
constexpr double tableStep = 0.1;        // s between the points of a velocity function
constexpr double feetPerMetre = 1.0 / 0.3048;
constexpr double originX = 10000.0;  // unit of the survey; small enough for centimetres in a float
constexpr double originY = 20000.0;
constexpr double evenTurn = 0.6180339887498949;  // its multiples modulo 1 cover every part of a circle evenly

/// Random numbers that are the same everywhere: the generator of Steele, Lea and Flood (2014), in independent streams.
class Random {
 public:
  Random(std::uint64_t seed, std::uint64_t stream) : state_(mixed(mixed(seed) + stream)) {}

  /// In [low, high).
  double uniform(double low, double high) {
    state_ += 0x9e3779b97f4a7c15u;
    return low + (high - low) * (static_cast<double>(mixed(state_) >> 11) * 0x1p-53);
  }
  /// Normal, mean 0, variance 1 (Box and Muller 1958).
  double normal() {
    const double radius = std::sqrt(-2.0 * std::log(1.0 - uniform(0.0, 1.0)));
    return radius * std::cos(2.0 * pi * uniform(0.0, 1.0));
  }

 private:
  static std::uint64_t mixed(std::uint64_t z) {
    z = (z ^ (z >> 30)) * 0xbf58476d1ce4e5b9u;
    z = (z ^ (z >> 27)) * 0x94d049bb133111ebu;
    return z ^ (z >> 31);
  }
  std::uint64_t state_;
};

/// Place in the survey: 0 to 1 along each axis.
struct Place {
  double along, across;
};

/// A function between -1 and 1 that varies smoothly along the survey, by up to that many cycles.
class SmoothField {
 public:
  SmoothField(Random& random, double cycles) {
    for (Wave& wave : waves_) {
      wave.along = random.uniform(-cycles, cycles);
      wave.across = random.uniform(-cycles, cycles);
      wave.phase = random.uniform(0.0, 1.0);
    }
  }
  double operator()(Place at) const {
    double sum = 0.0;
    for (const Wave& wave : waves_)
      sum += std::cos(2.0 * pi * (wave.along * at.along + wave.across * at.across + wave.phase));
    return sum / static_cast<double>(waves_.size());
  }

 private:
  struct Wave {
    double along, across, phase;
  };
  std::array<Wave, 3> waves_;
};

/// A reflector of the whole survey.
struct Reflector {
  double time;
  double amplitude;
  SmoothField strength;  // of the amplitude
  SmoothField contrast;  // of the gradient against the intercept
};

std::vector<Reflector> makeReflectors(Random& random, double end) {
  std::vector<Reflector> reflectors;
  for (double time = firstReflection; time < end; time += random.uniform(0.006, 0.014)) {
    const bool strong = random.uniform(0.0, 1.0) < 0.12;
    const double sign = random.uniform(0.0, 1.0) < 0.5 ? -1.0 : 1.0;
    const double amplitude = strong ? sign * random.uniform(0.5, 1.0) : 0.12 * random.normal();
    SmoothField strength(random, 2.0);
    SmoothField contrast(random, 2.0);
    reflectors.push_back({time, amplitude, strength, contrast});
  }
  return reflectors;
}

[[noreturn]] void refuse(const std::string& what, const std::string& expected) {
  throw RunError("No survey can be made with " + what + ": expected " + expected + ".");
}

template <class Number>
[[noreturn]] void refuse(const char* what, Number value, const std::string& expected) {
  std::ostringstream text;
  text << what << ' ' << value;
  refuse(text.str(), expected);
}

template <class Number>
void checkRange(const char* what, Number value, Number low, Number high) {
  if (value >= low && value <= high) return;
  std::ostringstream expected;
  expected << low << " to " << high;
  refuse(what, value, expected.str());
}

/// Whether a number is whole but for what rounding has done to it.
bool isWhole(double value) { return std::abs(value - std::nearbyint(value)) <= 1e-6 * std::abs(value); }

const SynthOptions& checked(const SynthOptions& o) {
  const int sectors = std::max(o.sectors, 1);
  checkRange("inlines", o.inlines, 1, 10000);
  checkRange("crosslines", o.crosslines, 3, 10000);
  if (o.inlines * o.crosslines > 1 << 24) refuse("that many CDPs", "inlines times crosslines up to 16777216");
  checkRange("CDP spacing (m)", o.spacing, 0.1, 1000.0);
  checkRange("length of a line (m)", o.spacing * std::max(o.inlines, o.crosslines), 0.0, 1e6);
  checkRange("azimuth sectors", o.sectors, 0, 180);
  checkRange("fold", o.fold, 4 * sectors, 10000);
  checkRange("smallest offset (m)", o.minOffset, 0.0, 1e5);
  checkRange("largest offset (m)", o.maxOffset, o.minOffset, 1e5);
  checkRange("samples", o.samples, 50, 32767);
  checkRange("sample interval (ms)", o.interval, 0.5, 8.0);
  if (!isWhole(o.interval * 1000.0)) refuse("sample interval (ms)", o.interval, "a whole number of microseconds");
  checkRange("noise", o.noise, 0.0, 100.0);
  checkRange("azimuthal anisotropy", o.anisotropy, -0.3, 0.3);
  checkRange("azimuth of the fastest velocity (degrees)", o.fastAzimuth, -360.0, 360.0);
  checkRange("velocity error", o.velocityError, -0.3, 0.3);
  checkRange("passes", o.passes, 1, 1000);
  if (o.inlines == 1 && (o.anisotropy != 0.0 || o.sectors != 0))
    refuse("azimuths on a 2D line", "two inlines or more with azimuthal anisotropy or azimuth sectors");
  return o;
}

double rms(double sumOfSquares, std::size_t count) {
  return count == 0 ? 0.0 : std::sqrt(sumOfSquares / static_cast<double>(count));
}

/// Hundredths of the length unit, as coordinates are stored.
std::int32_t hundredths(double length) { return static_cast<std::int32_t>(std::lround(length * 100.0)); }

}  // namespace

double Reflection::amplitude(double offset, double velocity) const {
  const double x2 = (offset / velocity) * (offset / velocity);
  const double sin2 = x2 / (time * time + x2);
  return intercept + gradient * sin2 + curvature * sin2 * sin2;
}

double Reflection::arrival(double offset, double velocity) const {
  const double x = offset / velocity;
  return std::sqrt(time * time + x * x);
}

double ricker(double time, double frequency) {
  const double a = pi * frequency * time;
  return (1.0 - 2.0 * a * a) * std::exp(-a * a);
}

struct SynthSurvey::Model {
  explicit Model(const SynthOptions& o) : Model(o, Random(o.seed, 0)) {}

  SynthOptions options;
  double unit;      // survey length units per metre
  double interval;  // s
  SmoothField surfaceVelocity;
  SmoothField velocityGrowth;
  double errorPhase;
  std::vector<Reflector> reflectors;
  std::vector<double> noiseFilter;  // unit energy

  Place place(int index) const {
    const int across = index / options.crosslines;
    const int along = index % options.crosslines;
    return {along / (options.crosslines - 1.0), across / std::max(options.inlines - 1.0, 1.0)};
  }

  double azimuthFactor(double azimuth) const {
    return 1.0 + options.anisotropy * std::cos(2.0 * (azimuth - options.fastAzimuth) * pi / 180.0);
  }

  /// Offset at which moveout stretches each sample by the limit: t / t0 = 1 + stretch where
  /// x = v t0 sqrt((1 + stretch)^2 - 1). It grows with time.
  std::vector<double> muteOffsets(const SynthSurvey& survey, int index) const {
    const double slope = std::sqrt((1.0 + largestStretch) * (1.0 + largestStretch) - 1.0);
    std::vector<double> offsets(static_cast<std::size_t>(options.samples));
    for (int i = 0; i < options.samples; ++i)
      offsets[static_cast<std::size_t>(i)] = survey.velocity(index, i * interval) * (i * interval) * slope;
    return offsets;
  }

  /// First sample of a trace that the mute leaves.
  std::size_t firstLive(const std::vector<double>& offsets, const SynthTrace& trace) const {
    if (!options.mute) return 0;
    const double offset = trace.offset / azimuthFactor(trace.azimuth);
    const auto zeroOffsetSample = std::lower_bound(offsets.begin(), offsets.end(), offset) - offsets.begin();
    const double sample = std::ceil(static_cast<double>(zeroOffsetSample) * (1.0 + largestStretch));
    return std::min(static_cast<std::size_t>(sample), offsets.size());
  }

  std::vector<SynthTrace> spread(Random& random) const {
    std::vector<SynthTrace> traces(static_cast<std::size_t>(options.fold));
    const double turn = random.uniform(0.0, 1.0);
    for (int j = 0; j < options.fold; ++j) {
      SynthTrace& trace = traces[static_cast<std::size_t>(j)];
      const double share = (j + random.uniform(0.0, 1.0)) / options.fold;
      const double offset = options.minOffset + (options.maxOffset - options.minOffset) * share;
      trace.offset = static_cast<int>(std::lround(offset * unit));
      // Half circles are filled evenly, so that each sector gets offsets of every size; every second trace is shot the
      // other way round.
      const double halfTurns = turn + evenTurn * j;
      trace.azimuth = options.inlines == 1 ? 90.0 : 180.0 * (halfTurns - std::floor(halfTurns) + j % 2);
    }
    return traces;
  }

  void addSignal(std::vector<double>& samples, const Reflection& reflection, double offset, double velocity) const {
    const double arrival = reflection.arrival(offset, velocity);
    const double amplitude = reflection.amplitude(offset, velocity);
    const int first = std::max(0, static_cast<int>(std::ceil((arrival - waveletReach) / interval)));
    const int last = std::min(options.samples - 1, static_cast<int>(std::floor((arrival + waveletReach) / interval)));
    for (int i = first; i <= last; ++i)
      samples[static_cast<std::size_t>(i)] += amplitude * ricker(i * interval - arrival, peakFrequency);
  }

  /// Noise of unit variance with the spectrum of the wavelet.
  std::vector<double> makeNoise(Random& random) const {
    const std::size_t length = static_cast<std::size_t>(options.samples);
    std::vector<double> white(length + noiseFilter.size() - 1);
    for (double& value : white) value = random.normal();
    std::vector<double> noise(length, 0.0);
    for (std::size_t j = 0; j < noiseFilter.size(); ++j)
      for (std::size_t i = 0; i < length; ++i) noise[i] += noiseFilter[j] * white[i + j];
    return noise;
  }

  template <class Values>
  host::Table table(const SynthSurvey& survey, const std::string& name, int zCount, const char* zName,
                    Values values) const {
    host::Table result(name, zCount, "CDP", "TIME", zName);
    const double end = (options.samples - 1) * interval;
    std::vector<float> z(static_cast<std::size_t>(zCount));
    for (int index = 0; index < survey.cdps(); ++index) {
      const SynthCdp cdp = survey.cdp(index);
      const float x = static_cast<float>(cdp.number);
      const auto add = [&](double time) {
        values(index, time, z);
        result.add(x, static_cast<float>(time * 1000.0), z.data());
      };
      for (int k = 0; k * tableStep < end; ++k) add(k * tableStep);
      add(end);
      result.place(x, cdp.position);
    }
    return result;
  }

 private:
  // Members draw from one stream in the order of their declaration.
  Model(const SynthOptions& o, Random random)
      : options(checked(o)),
        unit(o.feet ? feetPerMetre : 1.0),
        interval(o.interval / 1000.0),
        surfaceVelocity(random, 1.0),
        velocityGrowth(random, 1.0),
        errorPhase(random.uniform(0.0, 2.0 * pi)),
        reflectors(makeReflectors(random, o.samples * interval)) {
    const int reach = static_cast<int>(waveletReach / interval);
    double energy = 0.0;
    for (int i = -reach; i <= reach; ++i) {
      noiseFilter.push_back(ricker(i * interval, peakFrequency));
      energy += noiseFilter.back() * noiseFilter.back();
    }
    for (double& tap : noiseFilter) tap /= std::sqrt(energy);
  }
};

SynthSurvey::SynthSurvey(const SynthOptions& options) : model_(std::make_unique<const Model>(options)) {}
SynthSurvey::~SynthSurvey() = default;

bool SynthSurvey::is3D() const { return model_->options.inlines > 1; }
int SynthSurvey::cdps() const { return model_->options.inlines * model_->options.crosslines; }

SynthCdp SynthSurvey::cdp(int index) const {
  const int across = index / model_->options.crosslines;
  const int along = index % model_->options.crosslines;
  const double step = model_->options.spacing * model_->unit;
  return {.number = index + 1,
          .inlineNo = across + 1,
          .crossline = along + 1,
          .position = {hundredths(originX + along * step) / 100.0, hundredths(originY + across * step) / 100.0}};
}

double SynthSurvey::velocity(int index, double time) const {
  const Place at = model_->place(index);
  const double a = 1700.0 * (1.0 + 0.04 * model_->surfaceVelocity(at));
  const double b = 700.0 * (1.0 + 0.15 * model_->velocityGrowth(at));
  return std::sqrt(a * a + a * b * time + b * b * time * time / 3.0) * model_->unit;
}

double SynthSurvey::velocity(int index, double time, double azimuth) const {
  return velocity(index, time) * model_->azimuthFactor(azimuth);
}

double SynthSurvey::startVelocity(int index, double time) const {
  const Place at = model_->place(index);
  const double depth = time / (model_->options.samples * model_->interval);
  const double phase = 2.0 * pi * (0.8 * at.along + 0.5 * at.across) + pi * depth + model_->errorPhase;
  return velocity(index, time) * (1.0 + model_->options.velocityError * std::sin(phase));
}

std::vector<Reflection> SynthSurvey::reflections(int index) const {
  const Place at = model_->place(index);
  std::vector<Reflection> result;
  result.reserve(model_->reflectors.size());
  for (const Reflector& reflector : model_->reflectors) {
    const double intercept = reflector.amplitude * (1.0 + 0.3 * reflector.strength(at));
    const double gradient = -intercept * (0.9 + 0.3 * reflector.contrast(at));
    result.push_back({reflector.time, intercept, gradient, 0.1 * intercept});
  }
  return result;
}

std::vector<SynthTrace> SynthSurvey::gather(int index) const {
  Random random(model_->options.seed, static_cast<std::uint64_t>(index) + 1);
  std::vector<SynthTrace> traces = model_->spread(random);
  const std::size_t length = static_cast<std::size_t>(model_->options.samples);

  struct Event {
    Reflection reflection;
    double velocity;
  };
  std::vector<Event> events;
  for (const Reflection& reflection : reflections(index))
    events.push_back({reflection, velocity(index, reflection.time)});

  const std::vector<double> muteOffsets = model_->muteOffsets(*this, index);
  std::vector<std::vector<double>> signals;
  std::vector<std::size_t> live;
  double energy = 0.0;
  std::size_t count = 0;
  for (const SynthTrace& trace : traces) {
    std::vector<double> signal(length, 0.0);
    const double factor = model_->azimuthFactor(trace.azimuth);
    for (const Event& event : events)
      model_->addSignal(signal, event.reflection, trace.offset, event.velocity * factor);
    live.push_back(model_->firstLive(muteOffsets, trace));
    for (std::size_t i = live.back(); i < length; ++i) energy += signal[i] * signal[i];
    count += length - live.back();
    signals.push_back(std::move(signal));
  }

  const double noiseRms = model_->options.noise * rms(energy, count);
  for (std::size_t j = 0; j < traces.size(); ++j) {
    if (noiseRms > 0.0) {
      const std::vector<double> noise = model_->makeNoise(random);
      for (std::size_t i = 0; i < length; ++i) signals[j][i] += noiseRms * noise[i];
    }
    traces[j].samples.assign(length, 0.0f);
    for (std::size_t i = live[j]; i < length; ++i) traces[j].samples[i] = static_cast<float>(signals[j][i]);
  }
  return traces;
}

host::Table SynthSurvey::trueTable(const std::string& name) const {
  return model_->table(*this, name, 1, "VEL_RMS", [this](int index, double time, std::vector<float>& z) {
    z[0] = static_cast<float>(velocity(index, time));
  });
}

host::Table SynthSurvey::startTable(const std::string& name) const {
  return model_->table(*this, name, 1, "VEL_RMS", [this](int index, double time, std::vector<float>& z) {
    z[0] = static_cast<float>(startVelocity(index, time));
  });
}

host::Table SynthSurvey::trueSectorTable(const std::string& name) const {
  const int sectors = std::max(model_->options.sectors, 1);
  return model_->table(
      *this, name, sectors, "VELAZRMS", [this, sectors](int index, double time, std::vector<float>& z) {
        for (int s = 0; s < sectors; ++s)
          z[static_cast<std::size_t>(s)] = static_cast<float>(velocity(index, time, (s + 0.5) * 180.0 / sectors));
      });
}

namespace {

struct SurveyFiles {
  explicit SurveyFiles(const std::filesystem::path& folder)
      : gathers(folder / "gathers.sgy"),
        trueCsv(folder / "true.csv"),
        startCsv(folder / "start.csv"),
        database(folder / "survey.db"),
        job(folder / "job.toml"),
        traces(folder / "attributes.sgy") {
    host::local::JobFile written;
    written.file = job;
    written.database = database;
    checkpoint = Checkpointer::fileOf(written);
  }
  std::filesystem::path gathers, trueCsv, startCsv, database, job;
  std::filesystem::path traces, checkpoint;  // that a run of the job leaves
};

void prepareFolder(const SynthOptions& options, const SurveyFiles& files) {
  std::error_code error;
  std::filesystem::create_directories(options.folder, error);
  if (!std::filesystem::is_directory(options.folder))
    throw RunError(options.folder.string() +
                   ": cannot be made a folder: " + (error ? error.message() : "a file has that name") + ".");
  if (options.overwrite) return;
  for (const auto& file :
       {files.gathers, files.trueCsv, files.startCsv, files.database, files.job, files.traces, files.checkpoint})
    if (std::filesystem::exists(file))
      throw RunError(file.string() +
                     " is there already. Name another folder, or use --force to replace the survey in this one.");
}

template <class Write>
void writeText(const std::filesystem::path& file, Write write) {
  std::ofstream out(file);
  write(out);
  out.close();
  if (!out) throw RunError(file.string() + ": cannot be written. Is the disk full or the folder closed to you?");
}

host::local::SegyFileHead fileHead(const SynthOptions& o) {
  std::ostringstream shape, seed;
  shape << o.inlines << " inline(s), " << o.crosslines << " crosslines, fold " << o.fold << ", lengths in "
        << (o.feet ? "feet" : "metres");
  seed << "seed " << o.seed << ", noise " << o.noise << ", anisotropy " << o.anisotropy;
  host::local::SegyFileHead head;
  head.text = host::local::ebcdicText({"Synthetic CDP gathers with known RMS velocities, by KORVANE", shape.str(),
                                       seed.str(), "CDP 21, offset 37, source 73/77, receiver 81/85, CDP X/Y 181/185",
                                       "Inline 189, crossline 193; coordinates in hundredths (scalar -100)"});
  const auto put = [&head](int byte, int value) {
    head.binary[static_cast<std::size_t>(byte - 3201)] = static_cast<char>(value >> 8);
    head.binary[static_cast<std::size_t>(byte - 3200)] = static_cast<char>(value);
  };
  put(3213, o.fold);          // traces of an ensemble
  put(3229, 2);               // sorted by CDP
  put(3255, o.feet ? 2 : 1);  // measurement system
  head.samples = o.samples;
  head.interval = static_cast<float>(o.interval);
  return head;
}

std::array<unsigned char, 240> traceHeader(const SynthOptions& o, const SynthCdp& cdp, const SynthTrace& trace,
                                           int number) {
  using host::local::putInt16;
  using host::local::putInt32;
  std::array<unsigned char, 240> header{};
  const double halfX = 0.5 * trace.offset * std::sin(trace.azimuth * pi / 180.0);
  const double halfY = 0.5 * trace.offset * std::cos(trace.azimuth * pi / 180.0);
  putInt32(header, 21, cdp.number);
  putInt32(header, 25, number);
  putInt16(header, 29, 1);  // live seismic data
  putInt16(header, 33, static_cast<std::int16_t>(o.fold));
  putInt32(header, 37, trace.offset);
  putInt16(header, 71, -100);
  putInt32(header, 73, hundredths(cdp.position.x - halfX));
  putInt32(header, 77, hundredths(cdp.position.y - halfY));
  putInt32(header, 81, hundredths(cdp.position.x + halfX));
  putInt32(header, 85, hundredths(cdp.position.y + halfY));
  putInt16(header, 115, static_cast<std::int16_t>(o.samples));
  putInt16(header, 117, static_cast<std::int16_t>(std::lround(o.interval * 1000.0)));
  putInt32(header, 181, hundredths(cdp.position.x));
  putInt32(header, 185, hundredths(cdp.position.y));
  putInt32(header, 189, cdp.inlineNo);
  putInt32(header, 193, cdp.crossline);
  return header;
}

void writeGathers(const SynthOptions& options, const SynthSurvey& survey, const std::filesystem::path& file) {
  host::local::SegyWriter writer(file, fileHead(options));
  for (int index = 0; index < survey.cdps(); ++index) {
    const SynthCdp cdp = survey.cdp(index);
    int number = 0;
    for (const SynthTrace& trace : survey.gather(index))
      writer.write(traceHeader(options, cdp, trace, ++number), trace.samples.data());
  }
  writer.commit();
}

void writeTables(const SynthOptions& options, const SynthSurvey& survey, const SurveyFiles& files) {
  const host::Table trueTable = survey.trueTable("true");
  const host::Table startTable = survey.startTable("start");
  writeText(files.trueCsv, [&](std::ostream& out) { host::local::writeTableCsv(trueTable, "VEL", out); });
  writeText(files.startCsv, [&](std::ostream& out) { host::local::writeTableCsv(startTable, "VEL", out); });
  // Results of an earlier survey have no place beside the new one.
  for (const auto& file : {files.database, files.traces, files.checkpoint}) std::filesystem::remove(file);
  host::local::Database database(files.database, host::local::Database::Access::create);
  database.save(trueTable, "VEL");
  database.save(startTable, "VEL");
  if (options.sectors > 0) database.save(survey.trueSectorTable("true"), "VAZ");
}

void writeJob(const SynthOptions& o, std::ostream& out) {
  const bool is3D = o.inlines > 1;
  const int lastCdp = o.crosslines;
  out << "# Refines the velocities \"start\" of a synthetic survey; its true velocities are \"true\" in the same\n"
         "# database. Paths are relative to this file.\n"
         "[survey]\n"
      << "type = \"" << (is3D ? "3D" : "2D") << "\"\n"
      << "units = \"" << (o.feet ? "feet" : "metres") << "\"\n\n"
      << "[data]\n"
         "input = \"gathers.sgy\"\n"
         "output = \"attributes.sgy\"  # the traces of OUTPUT\n"
         "primary_key = \"CDP\"\n\n"
         "[database]\n"
         "file = \"survey.db\"\n\n"
         "[run]\n"
         "threads = 0  # every core\n\n"
         "[parameters]\n";
  if (is3D) {
    out << "MINILINE = 1\nMAXILINE = " << o.inlines << "\nMINXLINE = 1\nMAXXLINE = " << lastCdp << '\n';
  } else {
    out << "MINCDP = 1\nMAXCDP = " << lastCdp << '\n';
  }
  out << "NUMITER = " << o.passes << "      # analysis passes, each followed by a revision of the velocities\n"
      << "NUMXSUM = " << (is3D ? 5 : 1) << "      # neighbourhood of a revision: inlines ...\n"
      << "NUMYSUM = 7      # ... and CDPs along the line\n"
      << "METHOD = 1       # analyse a fixed window, from START to END (ms; END 0: the end of the trace)\n"
         "START = 0\n"
         "END = 0\n"
         "VELNAME = \"start\"\n"
         "VELFILT = 100    # smoothing of the velocities, ms\n"
         "FOLD = 3         # least traces of an ensemble or sector, and least neighbours of a revision\n"
         "CORRWIN = 200    # window of the correlation of intercept and gradient, ms\n"
         "THMIN = 0.0      # incidence angles, degrees\n"
         "THMAX = 40.0\n"
         "STATIC = 0\n"
      << "AZIMTH = " << (o.sectors > 0 ? 1 : 0) << '\n';
  if (o.sectors > 0) out << "NAZIM = " << o.sectors << "        # azimuth sectors over 180 degrees\n";
  out << "PRESTACK = 0\n"
         "OUTPUT = \"1,2,3,4\"  # velocity, intercept, gradient, velocity ratio of the last revision\n"
         "OUTVEL = 1       # write the refined velocities as a table\n"
         "VELMETH = 1      # a new one\n"
      << "VELSAMP = " << std::fixed << std::setprecision(3) << 5.0 * o.interval << "  # its sample interval, ms\n"
      << (o.sectors > 0 ? "VAZNAMO" : "VELNAMO") << " = \"refined\"\n";
}

double rmsStartError(const SynthOptions& options, const SynthSurvey& survey) {
  double sum = 0.0;
  std::size_t count = 0;
  const double end = options.samples * options.interval / 1000.0;
  for (int index = 0; index < survey.cdps(); ++index) {
    for (double time = 0.0; time < end; time += tableStep, ++count) {
      const double error = survey.startVelocity(index, time) / survey.velocity(index, time) - 1.0;
      sum += error * error;
    }
  }
  return rms(sum, count);
}

}  // namespace

void synthesise(const SynthOptions& options, std::ostream& log) {
  const SynthSurvey survey(options);
  const SurveyFiles files(options.folder);
  prepareFolder(options, files);
  writeGathers(options, survey, files.gathers);
  writeTables(options, survey, files);
  writeText(files.job, [&](std::ostream& out) { writeJob(options, out); });
  log << "Synthetic " << (survey.is3D() ? "3D" : "2D") << " survey in " << options.folder.string() << ": "
      << survey.cdps() << " CDPs of " << options.fold << " traces, " << options.samples << " samples of "
      << options.interval << " ms\n"
      << "  " << files.gathers.filename().string() << "  gathers\n"
      << "  " << files.trueCsv.filename().string() << "     true velocities, table \"true\" of "
      << files.database.filename().string() << '\n'
      << "  " << files.startCsv.filename().string() << "    starting velocities, table \"start\": off by "
      << std::lround(1000.0 * rmsStartError(options, survey)) / 10.0 << " % RMS\n"
      << "  " << files.job.filename().string() << "     job; next: korvane run " << files.job.string() << '\n';
}

}  // namespace app
