#include <cmath>
#include <cstring>
#include <functional>
#include <limits>
#include <string>
#include <vector>

#include "host/local/big_endian.h"
#include "host/local/database.h"
#include "tests/support/survey_test.h"

namespace {

using host::local::Database;
using korvane_test::expectParts;

/// The traces of a SEG-Y file of IEEE floats.
class Traces {
 public:
  explicit Traces(const std::string& file) : bytes_(file) {}

  std::size_t count() const { return (bytes_.size() - head) / traceBytes(); }
  std::size_t samples() const { return host::local::loadBig16(at(3220)); }
  float sample(std::size_t trace, std::size_t i) const {
    return std::bit_cast<float>(host::local::loadBig32(at(place(trace) + 240 + 4 * i)));
  }
  void set(std::size_t trace, std::size_t i, float value) {
    host::local::storeBig32(at(place(trace) + 240 + 4 * i), std::bit_cast<std::uint32_t>(value));
  }
  void kill(std::size_t trace) { host::local::storeBig16(at(place(trace) + 28), 2); }
  void setCdp(std::size_t trace, std::uint32_t cdp) { host::local::storeBig32(at(place(trace) + 20), cdp); }
  void setPosition(std::size_t trace, std::uint32_t x, std::uint32_t y) {
    host::local::storeBig32(at(place(trace) + 180), x);
    host::local::storeBig32(at(place(trace) + 184), y);
  }
  void cutTo(std::uint16_t newSamples) {
    std::string cut = bytes_.substr(0, head);
    for (std::size_t k = 0; k < count(); ++k) cut += bytes_.substr(place(k), 240 + 4u * newSamples);
    bytes_ = cut;
    host::local::storeBig16(at(3220), newSamples);
    for (std::size_t k = 0; k < count(); ++k) host::local::storeBig16(at(place(k) + 114), newSamples);
  }
  const std::string& bytes() const { return bytes_; }

 private:
  static constexpr std::size_t head = 3600;
  std::size_t traceBytes() const { return 240 + 4 * samples(); }
  std::size_t place(std::size_t trace) const { return head + trace * traceBytes(); }
  unsigned char* at(std::size_t byte) { return reinterpret_cast<unsigned char*>(bytes_.data() + byte); }
  const unsigned char* at(std::size_t byte) const {
    return reinterpret_cast<const unsigned char*>(bytes_.data() + byte);
  }

  std::string bytes_;
};

constexpr std::size_t fold = 8;

/// Runs on values that the formats allow and the earth does not have: what they write is finite.
class ExtremeValues : public korvane_test::SurveyTest {
 protected:
  void makeLine() const {
    app::SynthOptions options;
    options.crosslines = 12;
    options.fold = fold;
    options.samples = 300;
    options.passes = 2;
    makeSurvey(options);
  }
  void make3D() const {
    app::SynthOptions options;
    options.inlines = 4;
    options.crosslines = 5;
    options.fold = 12;
    options.samples = 300;
    options.passes = 2;
    makeSurvey(options);
  }

  void changeTraces(const std::function<void(Traces&)>& change) const {
    Traces traces(korvane_test::readFile(in("gathers.sgy")));
    change(traces);
    korvane_test::writeFile(in("gathers.sgy"), traces.bytes());
  }
  /// Every sample as it was made times the factor of its trace.
  void scale(const std::function<float(std::size_t trace)>& factor) const {
    changeTraces([&](Traces& traces) {
      for (std::size_t k = 0; k < traces.count(); ++k) {
        for (std::size_t i = 0; i < traces.samples(); ++i) traces.set(k, i, made.sample(k, i) * factor(k));
      }
    });
  }

  /// Runs the job, which has to write finite values alone. @return functions of the output table
  std::size_t functions(const std::vector<std::string>& settings = {}, const std::string& type = "VEL") {
    std::vector<std::string> words = {"run", job()};
    for (const std::string& setting : settings) words.insert(words.end(), {"--set", setting});
    const korvane_test::Outcome run = call(words);
    err = run.err;
    EXPECT_EQ(run.status, 0) << err;
    const Traces traces(output());
    for (std::size_t k = 0; k < traces.count(); ++k) {
      for (std::size_t i = 0; i < traces.samples(); ++i) {
        if (!std::isfinite(traces.sample(k, i))) ADD_FAILURE() << "trace " << k << ", sample " << i;
      }
    }
    const auto table = Database(database(), Database::Access::read).load(type, "refined");
    for (const auto& [cdp, function] : table->functions()) {
      for (const float value : function.z) {
        if (!std::isfinite(value) || value <= 0.0f) ADD_FAILURE() << "CDP " << cdp << ": " << value;
      }
    }
    return table->functions().size();
  }

  const Traces made{(makeLine(), korvane_test::readFile(in("gathers.sgy")))};
  std::string err;  ///< of the latest run
};

TEST_F(ExtremeValues, AmplitudesWhoseProductsDoNotFitGiveFiniteResultsAndAWarning) {
  EXPECT_EQ(functions(), 12u);
  EXPECT_EQ(err, "");
  scale([](std::size_t) { return 1e30f; });
  EXPECT_EQ(functions(), 12u);
  expectParts(err, {"pass 1: limits held", "of the samples", "korvane scan"});
  expectParts(done({"scan", in("gathers.sgy")}),
              {"median RMS of the traces is ", "e+29", "scale them to between 1e-15"});
  scale([](std::size_t k) { return k % 2 == 0 ? 1e30f : 1e-30f; });
  EXPECT_EQ(functions(), 12u);
  scale([](std::size_t) { return 1e-30f; });
  EXPECT_EQ(functions(), 12u);
  expectParts(err, {"pass 1: no velocity was changed", "korvane scan"});
  EXPECT_EQ(err.find("pass 2"), std::string::npos) << "one warning is enough";
}

TEST_F(ExtremeValues, OneLiveTraceIsNoGather) {
  changeTraces([](Traces& traces) {
    for (std::size_t k = 1; k < traces.count(); ++k) traces.kill(k);
  });
  EXPECT_EQ(functions({"FOLD=1"}), 0u);
  expectParts(err, {"written without a function"});
}

TEST_F(ExtremeValues, OneCdpIsAGrid) {
  EXPECT_EQ(functions({"MINCDP=5", "MAXCDP=5", "FOLD=1"}), 1u);
  changeTraces([](Traces& traces) {
    for (std::size_t k = 0; k < traces.count(); ++k) traces.setCdp(k, 5);
  });
  EXPECT_EQ(functions({"MINCDP=5", "MAXCDP=5", "FOLD=1"}), 1u) << "and all traces are one ensemble";
}

TEST_F(ExtremeValues, TwoSamplesAreATrace) {
  changeTraces([](Traces& traces) {
    for (std::size_t k = 0; k < traces.count(); ++k) {
      for (std::size_t i = 0; i < 2; ++i) traces.set(k, i, static_cast<float>(k % fold + i));
    }
    traces.cutTo(2);
  });
  EXPECT_EQ(functions({"VELSAMP=4"}), 0u);
  expectParts(err, {"written without a function"});
}

TEST_F(ExtremeValues, AJumpOfTheVelocityIsSmoothedAndRevised) {
  std::string csv = "cdp,time,velocity\n";
  for (const char* cdp : {"1", "12"}) {
    for (const char* point : {"0,1500", "500,1500", "504,6000", "1196,6000"})
      csv += std::string(cdp) + "," + point + "\n";
  }
  done({"table", "import", database(), "VEL", "start", save("jump.csv", csv)});
  EXPECT_EQ(functions(), 12u);
  EXPECT_EQ(functions({"VELFILT=0"}), 12u);
}

TEST_F(ExtremeValues, SectorsOfHalfADegreeAreAllFilled) {
  EXPECT_EQ(functions({"AZIMTH=1", "NAZIM=360", "VAZNAMO=refined"}, "VAZ"), 12u) << "though one of them has traces";
}

TEST_F(ExtremeValues, FunctionsAndCdpsAtOnePlaceAreAVelocityField) {
  make3D();
  const auto import = [&](const std::string& csv) {
    done({"table", "import", database(), "VEL", "start", save("start.csv", csv)});
  };
  const std::string head = "cdp,x,y,time,velocity\n";
  import(head + "1,500,500,0,2000\n1,500,500,1000,2400\n2,500,500,0,2000\n2,500,500,1000,2400\n");
  EXPECT_EQ(functions(), 20u);
  import(head + "1,500,500,0,2000\n2,600,600,0,2100\n3,700,700,0,2200\n");
  EXPECT_EQ(functions(), 20u) << "a line of functions";
  changeTraces([](Traces& traces) {
    for (std::size_t k = 0; k < traces.count(); ++k) traces.setPosition(k, 500, 500);
  });
  EXPECT_EQ(functions(), 20u);
  import(head + "1,500,500,0,2000\n2,500,500,0,2100\n");
  const korvane_test::Outcome refused = call({"run", job()});
  EXPECT_EQ(refused.status, 1);
  expectParts(refused.err, {"the functions at 1 and 2 differ but stand at one map position (500, 500)", "correct or"});
}

}  // namespace
