#include <gtest/gtest.h>

#include <cmath>
#include <filesystem>

#include "host/local/job_file.h"
#include "host/local/local_job.h"
#include "report/survey.h"
#include "tests/report/unpacked.h"
#include "tests/support/survey_test.h"

namespace {

using korvane_test::expectParts;
using korvane_test::unpacked;
using nlohmann::json;

/// Synthetic surveys and the data of their report.
class ReportData : public korvane_test::SurveyTest {
 protected:
  static app::SynthOptions line() {
    app::SynthOptions options;
    options.crosslines = 40;
    options.passes = 2;
    return options;
  }

  json data(const std::vector<int>& cdps = {}) const {
    korvane_test::Warnings ignored;
    const host::local::JobFile file = host::local::readJobFile(job(), ignored);
    host::local::LocalJob local(file, "1", ignored);
    const host::local::JobScope scope(local.job());
    return json::parse(report::reportData(report::Survey(file, local), cdps, "1", {"odd"}));
  }
};

double meanOf(const json& list, const char* key) {
  double sum = 0.0;
  for (const json& entry : list) sum += entry.at(key).get<double>();
  return sum / static_cast<double>(list.size());
}

TEST_F(ReportData, OfALineShowsVelocitiesThatMadeTheGathersFlatter) {
  makeSurvey(line());
  done({"run", job()});
  const json all = data({17});

  EXPECT_EQ(all.at("grid").at("kind"), "2D");
  const json& velocity = all.at("velocity");
  const std::vector<double> before = unpacked(velocity.at("before")), after = unpacked(velocity.at("after"));
  ASSERT_EQ(before.size(), after.size());
  ASSERT_EQ(before.size(), 40 * velocity.at("times").at("count").get<std::size_t>());
  EXPECT_NE(before, after);

  const json& flatness = all.at("convergence").at("flatness");
  ASSERT_EQ(flatness.size(), 40u);
  EXPECT_GT(meanOf(flatness, "after"), meanOf(flatness, "before") + 0.01);
  for (const json& pass : all.at("convergence").at("passes")) EXPECT_GT(pass.at("revised").get<int>(), 30);
  EXPECT_EQ(all.at("convergence").at("passes").size(), 2u);

  const json& gather = all.at("gathers").at(0);
  EXPECT_EQ(gather.at("cdp"), 17);
  EXPECT_EQ(gather.at("label"), "asked for");
  EXPECT_EQ(gather.at("before").at("shape").at(0), gather.at("offsets").size());
  const json& semblance = gather.at("semblance");
  EXPECT_EQ(semblance.at("values").at("shape").at(0), semblance.at("velocities").size());
  EXPECT_GT(gather.at("flatness").at("after"), gather.at("flatness").at("before"));
  EXPECT_EQ(all.at("attributes").at("lines").size(), 1u);
  EXPECT_EQ(all.at("warnings"), json::array({"odd"}));
}

TEST_F(ReportData, OfASurveyInSectorsHasEachSectorsVelocities) {
  app::SynthOptions options = line();
  options.inlines = 6;
  options.crosslines = 8;
  options.sectors = 3;
  options.anisotropy = 0.05;
  options.velocityError = 0.3;  // beyond what one revision may change
  makeSurvey(options);
  done({"run", job()});
  const json all = data();
  EXPECT_EQ(all.at("sectors"), json::array({"0 to 60", "60 to 120", "120 to 180"}));
  const json& after = all.at("velocity").at("after");
  EXPECT_EQ(after.at("shape").at(0), 3);
  EXPECT_EQ(after.at("shape").at(1), 6);
  EXPECT_EQ(after.at("shape").at(2), 8);
  const std::vector<double> values = unpacked(after);
  const std::size_t one = values.size() / 3;
  EXPECT_FALSE(std::equal(values.begin(), values.begin() + static_cast<std::ptrdiff_t>(one),
                          values.begin() + static_cast<std::ptrdiff_t>(one)));
  EXPECT_EQ(all.at("attributes").at("lines").size(), 3u);
  const json& convergence = all.at("convergence");
  EXPECT_EQ(convergence.at("revision").at("shape"), json::array({2, 3, 6, 8}));
  EXPECT_EQ(convergence.at("limited").at("shape"), json::array({2, 3, 6, 8}));
  double limited = 0.0;  // of the first pass
  const std::vector<double> shares = unpacked(convergence.at("limited"));
  for (std::size_t i = 0; i < shares.size() / 2; ++i) limited += shares[i] / static_cast<double>(shares.size() / 2);
  EXPECT_NEAR(limited, 100.0 * convergence.at("passes").at(0).at("limited").get<double>(), 0.5);
  EXPECT_GT(limited, 0.0);
  EXPECT_EQ(all.at("convergence").at("revision").at("shape"), json::array({2, 3, 6, 8}));

  replaceInJob("[database]", "[headers]\nVEL_AZIM = { byte = 201, format = \"float32\" }\n\n[database]");
  EXPECT_EQ(call({"run", job()}).status, 0);
  EXPECT_TRUE(data().at("attributes") == all.at("attributes")) << "wherever the azimuth of a trace stands";
  replaceInJob("[headers]\nVEL_AZIM = { byte = 201, format = \"float32\" }\n\n", "");
  done({"run", job()});

  std::string traces = output();
  const std::size_t azimuth = 3600 + 232, trace = 240 + 4 * 500;
  traces.replace(azimuth, 4, "\x7f\xc0\x00\x00", 4);  // no number
  traces.replace(azimuth + trace, 4, "\x7f\x7f\xff\xff", 4);
  save("survey/attributes.sgy", traces);
  EXPECT_EQ(data().at("attributes").at("lines").size(), 3u) << "traces of no sector are passed over";
}

TEST_F(ReportData, SaysWhatIsMissingAndWhy) {
  makeSurvey(line());
  const json early = data();
  EXPECT_FALSE(early.at("velocity").contains("after"));
  expectParts(early.at("velocity").at("note"), {"run the job first"});
  expectParts(early.at("attributes").at("note"), {"has not run"});
  expectParts(early.at("convergence").at("note"), {"no completed run"});

  replaceInJob("FOLD = 3 ", "FOLD = 13 ");  // more than a neighbourhood has
  replaceInJob("MAXCDP = 40", "MAXCDP = 41");
  EXPECT_EQ(call({"run", job()}).status, 0);
  const json convergence = data().at("convergence");
  std::vector<std::string> reasons;
  for (const double reason : unpacked(convergence.at("reason"))) {
    reasons.push_back(convergence.at("reasons").at(static_cast<std::size_t>(reason)));
  }
  ASSERT_EQ(reasons.size(), 41u);
  EXPECT_EQ(reasons.front(), "fewer stored neighbours than FOLD");
  EXPECT_EQ(reasons.back(), "no ensemble in the input");

  replaceInJob("PRESTACK = 0", "PRESTACK = 1");
  expectParts(data().at("attributes").at("note"), {"PRESTACK"});
  expectParts(data().at("velocity").at("note"), {"writes no velocity table"});
}

TEST_F(ReportData, OfALineOfEverySecondCdpCountsAndShowsThoseThatAreThere) {
  app::SynthOptions options = line();
  options.fold = 8;
  makeSurvey(options);
  std::string gathers = korvane_test::readFile(in("gathers.sgy"));
  const std::size_t trace = 240 + 4 * static_cast<std::size_t>(options.samples);
  for (std::size_t at = 3600; at < gathers.size(); at += trace)
    gathers[at + 23] = static_cast<char>(2 * gathers[at + 23]);
  korvane_test::writeFile(in("gathers.sgy"), gathers);
  replaceInJob("MINCDP = 1", "MINCDP = 2");
  replaceInJob("MAXCDP = 40", "MAXCDP = 80");
  replaceInJob("FOLD = 3 ", "FOLD = 2 ");
  done({"run", job()});
  const json all = data();
  EXPECT_EQ(all.at("grid").at("crosslines").size(), 40u);
  EXPECT_EQ(all.at("grid").at("crosslines").at(1), 4);
  for (const json& pass : all.at("convergence").at("passes")) {
    EXPECT_EQ(pass.at("revised"), 40);
    EXPECT_EQ(pass.at("traces"), 320) << "the ensemble that opens the next pass is of that one";
  }
  for (const double value : unpacked(all.at("convergence").at("revision"))) EXPECT_GT(value, 0.0);
  const json& section = all.at("attributes").at("lines").at(0);
  EXPECT_EQ(section.at("crosslines"), all.at("grid").at("crosslines"));
  EXPECT_EQ(section.at("intercept").at("shape").at(0), 40);
}

TEST_F(ReportData, TellsNarrowSectorsApartAndAttributesThatWereNotWritten) {
  makeSurvey(line());
  replaceInJob("OUTPUT = \"1,2,3,4\"", "OUTPUT = \"4\"");
  replaceInJob("AZIMTH = 0", "AZIMTH = 1\nNAZIM = 360\nVAZNAMO = \"refined\"");
  EXPECT_EQ(call({"run", job()}).status, 0);
  const json all = data();
  EXPECT_EQ(all.at("sectors").at(1), "0.5 to 1");
  const json& section = all.at("attributes").at("lines").at(0);
  EXPECT_TRUE(section.at("intercept").is_null() && section.at("gradient").is_null());
  EXPECT_FALSE(section.at("ratio").is_null());
}

TEST_F(ReportData, OfARunWithoutResultsSaysSo) {
  makeSurvey(line());
  replaceInJob("NUMITER = 2", "NUMITER = 0");
  EXPECT_EQ(call({"run", job()}).status, 0);
  const json all = data();
  expectParts(all.at("attributes").at("note"), {"holds no traces"});
  expectParts(all.at("velocity").at("note"), {"holds no function"});
  EXPECT_FALSE(all.at("velocity").contains("after"));
}

TEST_F(ReportData, PageIsWrittenWholeOrNotAtAll) {
  makeSurvey(line());
  done({"run", job()});
  const std::string page = path("page.html");
  expectParts(done({"report", job(), "-o", page}), {page, "MB"});
  const std::string text = contents("page.html");
  const korvane_test::Outcome unknown = call({"report", job(), "-o", page, "--cdp", "999"});
  EXPECT_EQ(unknown.status, 1);
  expectParts(unknown.err, {"--cdp 999", "korvane scan"});
  EXPECT_EQ(contents("page.html"), text);
  const korvane_test::Outcome nowhere = call({"report", job(), "-o", path("no/where.html")});
  EXPECT_EQ(nowhere.status, 1);
  expectParts(nowhere.err, {"where.html", "the report cannot be written", "No such file"});
}

}  // namespace
