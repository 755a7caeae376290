#include <SQLiteCpp/SQLiteCpp.h>
#include <sys/mount.h>
#include <sys/stat.h>

#include <functional>
#include <string>
#include <vector>

#include "app/run_log.h"
#include "host/local/local_job.h"
#include "korvane/run.h"
#include "korvane/run_state.h"
#include "tests/support/survey_test.h"

namespace {

namespace fs = std::filesystem;
using korvane_test::expectParts;
using korvane_test::Outcome;
using korvane_test::refusal;

/// A survey that was run once; then the system fails while it is run again.
class Faults : public korvane_test::SurveyTest {
 protected:
  Faults() {
    app::SynthOptions options;
    options.crosslines = 40;
    options.fold = 8;
    options.samples = 300;
    options.passes = 2;
    makeSurvey(options);
    done({"run", job()});
    before = results("VEL");
  }

  /// A run under a limit of the shell, which has to fail with one message and leave what was there.
  void fails(const std::string& limit, const std::vector<std::string>& words, const std::vector<std::string>& parts) {
    std::string command = limit + "; exec " KORVANE_PROGRAM " run '" + job() + "'";
    for (const std::string& word : words) command += " '" + word + "'";
    save("script", command);
    const int status = std::system(("bash " + path("script") + " >" + path("stdout") + " 2>" + path("stderr")).c_str());
    EXPECT_EQ(WIFEXITED(status) ? WEXITSTATUS(status) : -1, 1) << command;
    expectParts(contents("stderr"), parts);
    expectAsBefore();
  }

  void expectAsBefore() const {
    EXPECT_TRUE(results("VEL") == before);
    for (const auto& entry : fs::directory_iterator(path("survey"))) {
      EXPECT_NE(entry.path().extension(), ".part");
      EXPECT_NE(entry.path().extension(), ".checkpoint");
    }
  }

  /// What a run is refused with when something happens between its first two passes.
  std::string refusalOfARunDisturbed(const std::function<void()>& disturb) const {
    struct Disturbance : korvane::PassObserver {
      explicit Disturbance(const std::function<void()>& d) : disturb(d) {}
      void revised(const korvane::RunState& run) override {
        if (run.numiter == 2) disturb();
      }
      const std::function<void()>& disturb;
    } disturbance(disturb);
    korvane_test::Warnings ignored;
    const host::local::JobFile file = host::local::readJobFile(job(), ignored);
    host::local::LocalJob local(file, KORVANE_VERSION, ignored);
    const host::local::JobScope scope(local.job());
    korvane::PassObserver* observers[] = {&disturbance};
    testing::internal::CaptureStdout();
    const std::string message = refusal([&] { korvane::run(0, nullptr, observers); });
    testing::internal::GetCapturedStdout();
    return message;
  }

  std::string before;
};

TEST_F(Faults, AFileThatMayNotGrowIsAnErrorOfWriting) {
  fails("ulimit -f 100", {},
        {"attributes.sgy: the output file cannot be written: File too large", "Nothing was changed"});
  const std::string none = database() + ".job.toml.checkpoint: the checkpoint cannot be written: File too large";
  fails("ulimit -f 130", {"--checkpoint"}, {none});
}

TEST_F(Faults, ALockedDatabaseIsWaitedForAndItsHolderNamed) {
  SQLite::Database holder(database(), SQLite::OPEN_READWRITE);
  holder.exec("BEGIN EXCLUSIVE");
  const Outcome run = call({"run", job()});
  holder.exec("COMMIT");
  EXPECT_EQ(run.status, 1);
  expectParts(run.err, {"survey.db: cannot ", "database is locked", "process " + std::to_string(getpid())});
  expectAsBefore();
}

TEST_F(Faults, HalfATransactionOfAKilledProgramIsRolledBackBeforeReading) {
  // a journal on disk beside a database that nobody has open
  {
    SQLite::Database writer(database(), SQLite::OPEN_READWRITE);
    writer.exec("PRAGMA cache_size = 1; BEGIN EXCLUSIVE; DELETE FROM korvane_function");
    fs::copy_file(database(), in("killed.db"));
    fs::copy_file(in("survey.db-journal"), in("killed.db-journal"));
    writer.exec("ROLLBACK");
  }
  fs::rename(in("killed.db"), database());
  fs::rename(in("killed.db-journal"), in("survey.db-journal"));
  expectAsBefore();
}

TEST_F(Faults, DataThatChangeBetweenPassesEndTheRun) {
  const std::string gathers = contents("survey/gathers.sgy");
  expectParts(refusalOfARunDisturbed([&] { save("survey/gathers.sgy", gathers + "more"); }),
              {"gathers.sgy: the file was changed while the job ran"});
  expectAsBefore();
  save("survey/gathers.sgy", gathers);
  expectParts(refusalOfARunDisturbed([&] { fs::resize_file(in("gathers.sgy"), 5000); }), {"gathers.sgy: trace "});
  save("survey/gathers.sgy", gathers);
  expectAsBefore();
  EXPECT_EQ(refusalOfARunDisturbed([&] { fs::remove(in("gathers.sgy")); }), "not refused") << "it is still open";
  EXPECT_TRUE(results("VEL") == before);
}

TEST_F(Faults, AFullDiskLeavesWhatWasThere) {
  const std::string disk = in("disk");
  fs::create_directory(disk);
  if (mount("none", disk.c_str(), "tmpfs", 0, "size=128k") != 0) GTEST_SKIP() << "needs a file system of its own";
  struct Unmount {
    const std::string& folder;
    ~Unmount() { umount2(folder.c_str(), MNT_DETACH); }
  } unmount{disk};
  korvane_test::writeFile(disk + "/small.sgy", "earlier");
  fails("true", {"--set", "data.output=disk/small.sgy"},
        {"disk/small.sgy: the output file", "No space left on device"});
  EXPECT_TRUE(korvane_test::readFile(disk + "/small.sgy") == "earlier");

  ASSERT_EQ(mount("none", disk.c_str(), "tmpfs", MS_REMOUNT | MS_RDONLY, ""), 0);
  fails("true", {"--set", "data.output=disk/small.sgy"}, {"disk/small.sgy: the output file", "Read-only file system"});
}

}  // namespace
