#include "app/synth.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <complex>
#include <fstream>
#include <iterator>
#include <numbers>
#include <set>
#include <sstream>
#include <string>
#include <vector>

#include "host/local/database.h"
#include "host/local/job.h"
#include "host/local/job_file.h"
#include "host/local/table_text.h"

namespace app {
namespace {

SynthOptions smallLine() {
  SynthOptions options;
  options.crosslines = 12;
  options.fold = 8;
  options.samples = 300;
  return options;
}

SynthOptions smallGrid() {
  SynthOptions options = smallLine();
  options.inlines = 3;
  options.fold = 36;
  options.sectors = 6;
  options.anisotropy = 0.04;
  options.fastAzimuth = 40.0;
  return options;
}

double rms(const std::vector<double>& values) {
  double sum = 0.0;
  for (const double value : values) sum += value * value;
  return std::sqrt(sum / static_cast<double>(values.size()));
}

TEST(SyntheticReflection, FollowsAHyperbolaAndAStraightRay) {
  const Reflection reflection{.time = 1.0, .intercept = 0.8, .gradient = -0.4, .curvature = 0.2};
  EXPECT_DOUBLE_EQ(reflection.arrival(0.0, 2000.0), 1.0);
  EXPECT_DOUBLE_EQ(reflection.amplitude(0.0, 2000.0), 0.8);
  // A ray at 45 degrees.
  EXPECT_DOUBLE_EQ(reflection.arrival(2000.0, 2000.0), std::numbers::sqrt2);
  EXPECT_DOUBLE_EQ(reflection.amplitude(2000.0, 2000.0), 0.8 - 0.4 * 0.5 + 0.2 * 0.25);
}

TEST(SyntheticWavelet, HasItsPeakAtZeroAndItsTroughsWhereARickerWaveletHasThem) {
  EXPECT_DOUBLE_EQ(ricker(0.0, 30.0), 1.0);
  const double zero = 1.0 / (std::numbers::sqrt2 * std::numbers::pi * 30.0);
  EXPECT_NEAR(ricker(zero, 30.0), 0.0, 1e-15);
  const double trough = std::sqrt(1.5) / (std::numbers::pi * 30.0);
  EXPECT_NEAR(ricker(trough, 30.0), -2.0 * std::exp(-1.5), 1e-15);
  EXPECT_DOUBLE_EQ(ricker(-trough, 30.0), ricker(trough, 30.0));
}

TEST(SyntheticGather, IsTheSumOfItsReflectionsAtTheVelocityOfEachAzimuth) {
  SynthOptions options = smallGrid();
  options.noise = 0.0;
  options.mute = false;
  const SynthSurvey survey(options);
  const int index = 17;
  const auto reflections = survey.reflections(index);
  for (const SynthTrace& trace : survey.gather(index)) {
    for (int i = 0; i < options.samples; ++i) {
      const double time = i * 0.004;
      double wanted = 0.0;
      for (const Reflection& reflection : reflections) {
        const double v = survey.velocity(index, reflection.time) *
                         (1.0 + 0.04 * std::cos(2.0 * (trace.azimuth - 40.0) * std::numbers::pi / 180.0));
        wanted += reflection.amplitude(trace.offset, v) * ricker(time - reflection.arrival(trace.offset, v), 30.0);
      }
      ASSERT_NEAR(trace.samples[static_cast<std::size_t>(i)], wanted, 1e-6)
          << "offset " << trace.offset << " at " << time;
    }
  }
}

TEST(SyntheticGather, IsZeroWhereMoveoutStretchesByMoreThanHalfAndLiveBelow) {
  const SynthSurvey survey(smallLine());
  for (const SynthTrace& trace : survey.gather(3)) {
    const auto live = std::find_if(trace.samples.begin(), trace.samples.end(), [](float v) { return v != 0.0f; });
    const double time = 0.004 * static_cast<double>(live - trace.samples.begin());
    // The zero-offset time that arrives there, by bisection.
    double low = 0.0, high = 2.0;
    for (int step = 0; step < 60; ++step) {
      const double middle = 0.5 * (low + high);
      (std::hypot(middle, trace.offset / survey.velocity(3, middle)) < time ? low : high) = middle;
    }
    if (live == trace.samples.end()) continue;
    EXPECT_LE(time / low, 1.5 + 1e-9) << "offset " << trace.offset;
    EXPECT_GE((time - 0.012) / low, 1.5 - 0.1) << "offset " << trace.offset;
  }
}

TEST(SyntheticGather, CarriesNoiseOfTheLevelAndTheBandAskedFor) {
  SynthOptions options = smallLine();
  options.samples = 1000;
  options.fold = 48;
  options.noise = 0.0;
  const auto clean = SynthSurvey(options).gather(5);
  options.noise = 0.4;
  const auto noisy = SynthSurvey(options).gather(5);

  std::vector<double> signal, noise;
  double inBand = 0.0, all = 0.0;
  for (std::size_t j = 0; j < clean.size(); ++j) {
    std::vector<double> difference;
    for (std::size_t i = 0; i < clean[j].samples.size(); ++i) {
      if (clean[j].samples[i] == 0.0f && noisy[j].samples[i] == 0.0f) continue;
      signal.push_back(clean[j].samples[i]);
      difference.push_back(noisy[j].samples[i] - clean[j].samples[i]);
    }
    noise.insert(noise.end(), difference.begin(), difference.end());
    for (int bin = 1; bin < 50; ++bin) {
      std::complex<double> sum = 0.0;
      for (std::size_t i = 0; i < difference.size(); ++i)
        sum += difference[i] * std::polar(1.0, -std::numbers::pi * bin * static_cast<double>(i) / 50.0);
      const double frequency = bin * 125.0 / 50.0;
      all += std::norm(sum);
      if (frequency > 8.0 && frequency < 75.0) inBand += std::norm(sum);
    }
  }
  EXPECT_NEAR(rms(noise) / rms(signal), 0.4, 0.015);
  EXPECT_GT(inBand / all, 0.97);
}

TEST(SyntheticSurvey, IsTheSameForASeedAndAnotherForAnotherSeed) {
  SynthOptions options = smallLine();
  const SynthSurvey one(options), two(options);
  two.gather(4);
  EXPECT_EQ(one.gather(7)[2].samples, two.gather(7)[2].samples);
  options.seed = 2;
  EXPECT_NE(SynthSurvey(options).gather(7)[2].samples, one.gather(7)[2].samples);
  EXPECT_NE(SynthSurvey(options).velocity(7, 1.0), one.velocity(7, 1.0));
}

TEST(SyntheticSurvey, IsTheSameWithEveryCompiler) {
  const SynthSurvey survey(smallLine());
  const auto gather = survey.gather(7);
  EXPECT_EQ(gather[2].offset, 918);
  EXPECT_NEAR(survey.velocity(7, 1.0), 2097.31959, 1e-3);
  EXPECT_NEAR(gather[2].samples[200], 0.0712826, 1e-5);
}

TEST(SyntheticSurvey, HasPlausibleVelocitiesAndAStartThatIsOffByWhatWasAskedFor) {
  SynthOptions options;
  options.velocityError = 0.05;
  const SynthSurvey survey(options);
  double least = 0.0, most = 0.0;
  for (int index = 0; index < survey.cdps(); ++index) {
    double before = 0.0;
    for (int i = 0; i < 20; ++i) {
      const double time = 0.1 * i;
      const double v = survey.velocity(index, time);
      EXPECT_GT(v, std::max(before, 1550.0));
      EXPECT_LT(v, 3000.0);
      before = v;
      const double error = survey.startVelocity(index, time) / v - 1.0;
      least = std::min(least, error);
      most = std::max(most, error);
    }
  }
  EXPECT_NEAR(least, -0.05, 0.002);
  EXPECT_NEAR(most, 0.05, 0.002);
  options.feet = true;
  EXPECT_NEAR(SynthSurvey(options).velocity(50, 1.0) * 0.3048, survey.velocity(50, 1.0), 1e-9);
}

TEST(SyntheticSurvey, GivesEverySectorNearAndFarOffsetsAndBothShootingDirections) {
  const SynthSurvey survey(smallGrid());
  for (int index = 0; index < survey.cdps(); ++index) {
    std::vector<std::vector<int>> offsets(6);
    int reversed = 0;
    for (const SynthTrace& trace : survey.gather(index)) {
      ASSERT_GE(trace.azimuth, 0.0);
      ASSERT_LT(trace.azimuth, 360.0);
      if (trace.azimuth >= 180.0) ++reversed;
      offsets[static_cast<std::size_t>(trace.azimuth / 30.0) % 6].push_back(trace.offset);
    }
    EXPECT_EQ(reversed, 18);
    for (const auto& sector : offsets) {
      ASSERT_GE(sector.size(), 4u) << "CDP index " << index;
      EXPECT_LT(sector.front(), 1100);
      EXPECT_GT(sector.back(), 2000);
    }
  }
}

TEST(SyntheticSurvey, TabulatesTheVelocityOfEachSectorAtItsCentre) {
  const SynthSurvey survey(smallGrid());
  const host::Table table = survey.trueSectorTable("true");
  ASSERT_EQ(table.zCount(), 6);
  const auto& function = table.functions().at(8.0f);
  const float* z = function.z.data() + 6 * 10;
  ASSERT_EQ(function.y[10], 1000.0f);
  for (int s = 0; s < 6; ++s) {
    const double angle = 2.0 * (15.0 + 30.0 * s - 40.0) * std::numbers::pi / 180.0;
    EXPECT_NEAR(z[s], survey.velocity(7, 1.0) * (1.0 + 0.04 * std::cos(angle)), 1e-3);
  }
  EXPECT_EQ(std::max_element(z, z + 6) - z, 1);  // the fast azimuth, 40 degrees, lies in sector 1
}

TEST(SyntheticSurvey, RefusesOptionsThatMakeNoSurvey) {
  const auto refusal = [](auto change) {
    SynthOptions options = smallLine();
    change(options);
    try {
      const SynthSurvey survey(options);
    } catch (const host::local::RunError& error) {
      return std::string(error.what());
    }
    return std::string();
  };
  EXPECT_NE(refusal([](SynthOptions& o) { o.fold = 3; }).find("fold 3: expected 4 to"), std::string::npos);
  EXPECT_NE(refusal([](SynthOptions& o) { o.maxOffset = 50.0; }), "");
  EXPECT_NE(refusal([](SynthOptions& o) { o.interval = 4.0001; }), "");
  EXPECT_NE(refusal([](SynthOptions& o) { o.sectors = 2; }).find("2D line"), std::string::npos);
  EXPECT_NE(refusal([](SynthOptions& o) { o.noise = std::nan(""); }), "");
  EXPECT_EQ(refusal([](SynthOptions&) {}), "");
}

class SyntheticFiles : public testing::Test {
 protected:
  void SetUp() override {
    std::string name = (std::filesystem::temp_directory_path() / "synth-test-XXXXXX").string();
    ASSERT_NE(mkdtemp(name.data()), nullptr);
    parent = name;
  }
  void TearDown() override { std::filesystem::remove_all(parent); }

  static std::string contents(const std::filesystem::path& file) {
    std::ifstream in(file, std::ios::binary);
    return {std::istreambuf_iterator<char>(in), {}};
  }
  static std::int32_t word(const std::string& text, std::size_t at) {
    std::uint32_t value = 0;
    for (std::size_t i = 0; i < 4; ++i) value = value << 8 | static_cast<unsigned char>(text[at + i]);
    return static_cast<std::int32_t>(value);
  }

  std::filesystem::path parent;
  std::ostringstream log;
};

struct Warnings : host::local::MessageSink {
  int count = 0;
  void warn(const std::string&) override { ++count; }
};

TEST_F(SyntheticFiles, HoldTheGathersWithTheGeometryInTheirHeaders) {
  SynthOptions options = smallGrid();
  options.folder = parent / "new" / "survey";
  synthesise(options, log);
  const std::string file = contents(options.folder / "gathers.sgy");
  const std::size_t traceBytes = 240 + 4 * 300;
  ASSERT_EQ(file.size(), 3600 + 36 * 36 * traceBytes);

  const SynthSurvey survey(options);
  const auto gather = survey.gather(13);
  for (std::size_t j = 0; j < gather.size(); ++j) {
    const std::size_t at = 3600 + (13 * 36 + j) * traceBytes - 1;  // header bytes count from 1
    EXPECT_EQ(word(file, at + 21), 14);
    EXPECT_EQ(word(file, at + 189), 2);
    EXPECT_EQ(word(file, at + 193), 2);
    EXPECT_EQ(word(file, at + 37), gather[j].offset);
    const double dx = (word(file, at + 81) - word(file, at + 73)) / 100.0;
    const double dy = (word(file, at + 85) - word(file, at + 77)) / 100.0;
    EXPECT_NEAR(std::hypot(dx, dy), gather[j].offset, 0.03);
    EXPECT_NEAR(std::remainder(std::atan2(dx, dy) * 180.0 / std::numbers::pi - gather[j].azimuth, 360.0), 0.0, 0.02);
    EXPECT_NEAR((word(file, at + 73) + word(file, at + 81)) / 2.0, word(file, at + 181), 1.0);
    EXPECT_NEAR((word(file, at + 77) + word(file, at + 85)) / 2.0, word(file, at + 185), 1.0);
  }
}

TEST_F(SyntheticFiles, HoldTheSameVelocitiesInCsvAndDatabaseAndAJobThatReads) {
  SynthOptions options = smallGrid();
  options.folder = parent;
  synthesise(options, log);
  using host::local::Database;
  const Database database(parent / "survey.db", Database::Access::read);
  for (const std::string name : {"true", "start"}) {
    const auto stored = database.load("VEL", name);
    const auto csv = host::local::readTableCsv(parent / (name + ".csv"), "VEL", name);
    ASSERT_TRUE(stored && csv);
    ASSERT_EQ(stored->functions().size(), 36u);
    for (const auto& [cdp, function] : stored->functions()) {
      const auto& other = csv->functions().at(cdp);
      EXPECT_EQ(function.y, other.y);
      EXPECT_EQ(function.z, other.z);
      ASSERT_TRUE(function.position && other.position);
      EXPECT_EQ(*function.position, *other.position);
    }
  }
  EXPECT_EQ(database.load("VAZ", "true")->zCount(), 6);

  Warnings warnings;
  const host::local::JobFile job = host::local::readJobFile(parent / "job.toml", warnings);
  EXPECT_EQ(warnings.count, 0);
  EXPECT_TRUE(job.is3D);
  EXPECT_EQ(job.input.file, parent / "gathers.sgy");
  options = smallLine();
  options.folder = parent / "line";
  synthesise(options, log);
  EXPECT_FALSE(host::local::readJobFile(parent / "line" / "job.toml", warnings).is3D);
  EXPECT_EQ(warnings.count, 0);
}

TEST_F(SyntheticFiles, ReplaceAnEarlierSurveyOnlyWhenTold) {
  SynthOptions options = smallLine();
  options.folder = parent;
  synthesise(options, log);
  const std::string before = contents(parent / "gathers.sgy");
  options.seed = 2;
  EXPECT_THROW(synthesise(options, log), host::local::RunError);
  EXPECT_EQ(contents(parent / "gathers.sgy"), before);
  options.overwrite = true;
  synthesise(options, log);
  EXPECT_NE(contents(parent / "gathers.sgy"), before);
}

TEST_F(SyntheticFiles, AreNotWrittenWhereAFileHasTheNameOfTheFolder) {
  SynthOptions options = smallLine();
  options.folder = parent / "taken";
  std::ofstream(options.folder) << "text";
  EXPECT_THROW(synthesise(options, log), host::local::RunError);
  EXPECT_EQ(contents(parent / "taken"), "text");
}

}  // namespace
}  // namespace app
