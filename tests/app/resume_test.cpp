#include <algorithm>
#include <nlohmann/json.hpp>
#include <sstream>
#include <string>
#include <vector>

#include "app/checkpointer.h"
#include "app/run_log.h"
#include "host/local/local_job.h"
#include "korvane/boundary.h"
#include "korvane/run.h"
#include "tests/support/survey_test.h"

namespace {

namespace fs = std::filesystem;
using korvane_test::expectParts;
using korvane_test::Outcome;
using korvane_test::toolLines;

/// Ends a run at a boundary, as a fault would.
struct BreakOff : korvane::PassObserver {
  explicit BreakOff(int nextPass) : pass(nextPass) {}
  void revised(const korvane::RunState& run) override {
    if (run.numiter == pass) throw std::runtime_error("broken off");
  }
  int pass;
};

constexpr int samples = 300;

class Resume : public korvane_test::SurveyTest {
 protected:
  Resume() {
    app::SynthOptions options;
    options.crosslines = 14;
    options.fold = 8;
    options.samples = samples;
    options.passes = 3;
    makeSurvey(options);
  }

  static app::SynthOptions sectors() {
    app::SynthOptions options;
    options.inlines = 5;
    options.crosslines = 6;
    options.fold = 12;
    options.samples = samples;
    options.sectors = 3;
    options.passes = 3;
    return options;
  }
  std::string checkpoint() const { return in("survey.db.job.toml.checkpoint"); }

  /// Runs the job until the pass of that number is about to begin.
  void runUpTo(int pass) const {
    korvane_test::Warnings ignored;
    const host::local::JobFile file = host::local::readJobFile(job(), ignored);
    host::local::LocalJob local(file, KORVANE_VERSION, ignored);
    app::RunLog log(std::nullopt);
    app::Checkpointer checkpointer(file, local, log);
    BreakOff breakOff(pass);
    korvane::PassObserver* observers[] = {&checkpointer, &breakOff};
    const host::local::JobScope scope(local.job());
    testing::internal::CaptureStdout();
    EXPECT_THROW(korvane::run(0, nullptr, observers), std::runtime_error);
    testing::internal::GetCapturedStdout();
  }

  /// The lines of the tool behind its start-up.
  static std::string passLines(const std::string& out, int pass, int passes) {
    const std::string first =
        pass > passes ? "KORVANE: Output new" : "KORVANE: Start new iteration: " + std::to_string(pass);
    const std::string lines = toolLines(out);
    return lines.substr(std::min(lines.find(first), lines.size()));
  }

  void expectTheSameFromEveryBoundary(const std::string& type) {
    const std::string out = done({"run", job()});
    const std::string whole = results(type);
    for (int pass = 2; pass <= 4; ++pass) {
      SCOPED_TRACE("broken off before pass " + std::to_string(pass));
      fs::remove(in("attributes.sgy"));
      done({"table", "delete", database(), type, "refined"});
      runUpTo(pass);
      ASSERT_TRUE(fs::exists(checkpoint()));
      const std::string resumed = done({"run", job(), "--resume"});
      EXPECT_TRUE(results(type) == whole);
      EXPECT_EQ(passLines(resumed, pass, 3), passLines(out, pass, 3));
      EXPECT_EQ(toolLines(resumed).find("Start new iteration: " + std::to_string(pass - 1)), std::string::npos);
      EXPECT_FALSE(fs::exists(checkpoint()));
    }
  }
};

TEST_F(Resume, GivesTheBitsAndLinesOfAnUninterruptedRun) {
  {
    SCOPED_TRACE("line");
    expectTheSameFromEveryBoundary("VEL");
  }
  SCOPED_TRACE("sectors");
  makeSurvey(sectors());
  expectTheSameFromEveryBoundary("VAZ");
}

TEST_F(Resume, CountsEnsemblesBeforeTheOneThatOpensAPassOnce) {
  std::string gathers = contents("survey/gathers.sgy");
  const std::size_t trace = 240 + 4 * samples;
  for (std::size_t k = 0; k < 8; ++k) gathers[3600 + k * trace + 29] = 2;  // the first CDP is dead
  save("survey/gathers.sgy", gathers);
  const auto tracesOfLastRun = [&] {
    const host::local::Database records(database(), host::local::Database::Access::read);
    return records.runs().back().traces;
  };
  expectTheSameFromEveryBoundary("VEL");
  const std::int64_t resumed = tracesOfLastRun();
  done({"run", job()});
  EXPECT_EQ(resumed, tracesOfLastRun());
  const host::local::Database records(database(), host::local::Database::Access::read);
  for (const host::local::PassRecord& pass : records.passes(records.runs().back().id)) {
    EXPECT_EQ(pass.traces, 112) << "those of the next pass do not count";
  }
}

TEST_F(Resume, OfAPrestackRunGoesBackToThePassThatPutsTracesOut) {
  replaceInJob("PRESTACK = 0", "PRESTACK = 1");
  const auto run = [&](const std::vector<std::string>& words) {
    std::vector<std::string> all = {"run", job()};
    all.insert(all.end(), words.begin(), words.end());
    EXPECT_EQ(call(all).status, 0);
    return output();
  };
  const std::string whole = run({});
  runUpTo(4);
  EXPECT_TRUE(run({"--resume"}) == whole);
  expectParts(contents("stdout"), {"Start new iteration: 3"});
  runUpTo(2);
  EXPECT_TRUE(run({"--resume"}) == whole);
}

TEST_F(Resume, KeepsOneRecordOfTheRunWithEveryPass) {
  runUpTo(3);
  const std::string out = done({"run", job(), "--resume"});
  const std::size_t summary = out.find("Done  ");
  ASSERT_NE(summary, std::string::npos);
  expectParts(out.substr(summary), {"\nPass 3      112 traces", "\nOutput pass 112 traces"});
  for (const char* pass : {"Pass 2", "Pass 4", "Pass 5", " 0 traces"}) {
    EXPECT_EQ(out.find(pass, summary), std::string::npos) << pass;
  }
  const host::local::Database records(database(), host::local::Database::Access::read);
  const auto all = records.runs();
  ASSERT_EQ(all.size(), 1u);
  EXPECT_EQ(all[0].result, "completed");
  EXPECT_EQ(records.passes(all[0].id).back().pass, 3);
}

TEST_F(Resume, BeginsAnewWithoutACheckpointAndEndsWhereNothingIsLeft) {
  const Outcome fresh = call({"run", job(), "--resume"});
  EXPECT_EQ(fresh.status, 0);
  expectParts(fresh.err, {"no checkpoint", "first pass"});

  runUpTo(4);
  const std::string kept = korvane_test::readFile(checkpoint());
  done({"run", job(), "--resume"});
  korvane_test::writeFile(checkpoint(), kept);  // the program was killed before it could remove it
  const std::string before = results("VEL");
  const Outcome again = call({"run", job(), "--resume"});
  EXPECT_EQ(again.status, 0);
  expectParts(again.err, {"was completed"});
  EXPECT_TRUE(results("VEL") == before);
  EXPECT_FALSE(fs::exists(checkpoint()));
}

TEST_F(Resume, ACheckpointThatCannotBeWrittenLeavesTheOneBefore) {
  done({"run", job()});
  const std::string whole = results("VEL");
  runUpTo(2);
  const std::string kept = korvane_test::readFile(checkpoint());
  const std::string blocks = std::to_string(kept.size() / 512 - 8);
  const Outcome full = callUnder("ulimit -f " + blocks, {"run", job(), "--resume"});
  EXPECT_EQ(full.status, 1);
  expectParts(full.err, {"checkpoint: the checkpoint cannot be written: File too large",
                         "Go on with pass 2: korvane run ", "--resume"});
  EXPECT_TRUE(korvane_test::readFile(checkpoint()) == kept);
  done({"run", job(), "--resume"});
  EXPECT_TRUE(results("VEL") == whole);
}

TEST_F(Resume, RefusesTheCheckpointOfAnotherRunAndNamesTheDifference) {
  runUpTo(3);
  const auto refused = [&](const std::vector<std::string>& settings) {
    std::vector<std::string> words = {"run", job(), "--resume"};
    for (const std::string& setting : settings) words.insert(words.end(), {"--set", setting});
    const Outcome outcome = call(words);
    EXPECT_EQ(outcome.status, 1);
    EXPECT_TRUE(fs::exists(checkpoint()));
    return outcome.err;
  };
  expectParts(refused({"NUMITER=5", "THMAX=30.5"}), {"NUMITER was 3, now it is 5", "THMAX was 40, now it is 30.5"});
  expectParts(refused({"data.output=other.sgy"}), {"output in [data] was ", "other.sgy"});

  const std::string start = contents("survey/start.csv");
  save("survey/other.csv", std::string(start).replace(start.rfind(','), 1, ",1"));
  done({"table", "import", database(), "VEL", "start", path("survey/other.csv")});
  expectParts(refused({}), {"table VEL \"start\" was of content"});
  done({"table", "import", database(), "VEL", "start", in("start.csv")});

  std::string gathers = contents("survey/gathers.sgy");
  gathers[100] = static_cast<char>(gathers[100] ^ 1);
  save("survey/gathers.sgy", gathers);
  expectParts(refused({}), {"the hash of the headers of the input was", "the time of change of the input was"});
}

TEST_F(Resume, AStoppedRunSaysHowToGoOnAndTheLogTellsAll) {
  runUpTo(3);
  const std::string log = path("run.log");
  done({"run", job(), "--resume", "--log", log});
  std::istringstream lines(contents("run.log"));
  std::vector<std::string> events;
  for (std::string line; std::getline(lines, line);) {
    const nlohmann::json event = nlohmann::json::parse(line);
    events.push_back(event.at("event"));
    EXPECT_EQ(event.at("time").get<std::string>().size(), 20u);
    if (events.back() == "pass") {
      EXPECT_EQ(event.at("pass"), 3);
    }
    if (events.back() == "end") {
      EXPECT_EQ(event.at("status"), 0);
    }
  }
  events.erase(std::remove(events.begin(), events.end(), "checkpoint"), events.end());  // may be left unfinished
  EXPECT_EQ(events, (std::vector<std::string>{"start", "resume", "pass", "end"}));

  const Outcome failed = call({"run", job(), "--log", log, "--set", "VELNAME=none"});
  EXPECT_EQ(failed.status, 1);
  expectParts(contents("run.log"), {"\"event\":\"warning\"", "\"status\":1"});
}

}  // namespace
