#include <SQLiteCpp/SQLiteCpp.h>
#include <sys/mount.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cstdint>
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

/// A file system of its own of some kilobytes, mounted on a folder; it goes with the object.
class SmallDisk {
 public:
  SmallDisk(const std::string& folder, int kilobytes) : folder_(folder) {
    fs::create_directory(folder);
    const std::string size = "size=" + std::to_string(kilobytes) + "k";
    mounted_ = mount("none", folder_.c_str(), "tmpfs", 0, size.c_str()) == 0;
  }
  ~SmallDisk() {
    if (mounted_) umount2(folder_.c_str(), MNT_DETACH);
  }
  SmallDisk(const SmallDisk&) = delete;
  SmallDisk& operator=(const SmallDisk&) = delete;

  bool mounted() const { return mounted_; }
  bool makeReadOnly() const { return mount("none", folder_.c_str(), "tmpfs", MS_REMOUNT | MS_RDONLY, "") == 0; }
  /// Leaves that much room.
  void fill(std::uintmax_t room) const {
    const std::string filler = folder_ + "/filler";
    fs::remove(filler);
    korvane_test::writeFile(filler, std::string(fs::space(folder_).available - room, 'x'));
  }

 private:
  std::string folder_;
  bool mounted_;
};

/// A survey that was run once; then the system fails while it is run again with another parameter.
class Faults : public korvane_test::SurveyTest {
 protected:
  Faults() {
    app::SynthOptions options;
    options.crosslines = 40;
    options.fold = 8;
    options.samples = 300;
    options.passes = 2;
    makeSurvey(options);
    done({"run", job(), "--set", "THMAX=30"});
    before = results("VEL");
  }

  /// A run with more words, which has to fail with one message and leave what was there.
  void fails(const std::vector<std::string>& words, const std::vector<std::string>& parts) const {
    failsUnder("true", words, parts);
  }
  /// The same under a limit of the shell.
  void failsUnder(const std::string& limit, const std::vector<std::string>& words,
                  const std::vector<std::string>& parts) const {
    std::vector<std::string> all = {"run", job()};
    all.insert(all.end(), words.begin(), words.end());
    const Outcome outcome = callUnder(limit, all);
    EXPECT_EQ(outcome.status, 1) << limit;
    expectParts(outcome.err, parts);
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
  // blocks of 512 bytes
  failsUnder("ulimit -f 200", {},
             {"attributes.sgy: the output file cannot be written: File too large", "Nothing was changed"});
  const std::string none = database() + ".job.toml.checkpoint: the checkpoint cannot be written: File too large";
  failsUnder("ulimit -f 260", {"--checkpoint"}, {none});
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
  EXPECT_FALSE(results("VEL") == before);
}

TEST_F(Faults, ADatabaseThatIsDamagedOrNewerEndsTheRun) {
  const std::string whole = korvane_test::readFile(database());
  std::string damaged = whole;
  std::fill(damaged.begin() + 4096, damaged.end() - 4096, '\x55');
  korvane_test::writeFile(database(), damaged);
  const Outcome run = call({"run", job()});
  EXPECT_EQ(run.status, 1);
  expectParts(run.err, {"survey.db: cannot ", "malformed", "restore the file from a copy"});
  EXPECT_TRUE(korvane_test::readFile(database()) == damaged);
  korvane_test::writeFile(database(), whole);

  SQLite::Database(database(), SQLite::OPEN_READWRITE).exec("PRAGMA user_version = 99");
  expectParts(call({"run", job()}).err,
              {"survey.db: the database has schema version 99", "this program knows version"});
  korvane_test::writeFile(database(), whole);
  expectAsBefore();
}

TEST_F(Faults, AnOutputThatIsTheInputIsRefused) {
  const std::string gathers = korvane_test::readFile(in("gathers.sgy"));
  fs::create_symlink("gathers.sgy", in("link.sgy"));
  fs::create_hard_link(in("gathers.sgy"), in("name.sgy"));
  for (const char* name : {"gathers.sgy", "link.sgy", "name.sgy"}) {
    fails({"--set", std::string("data.output=") + name}, {"expected a file other than the input"});
  }
  EXPECT_TRUE(korvane_test::readFile(in("gathers.sgy")) == gathers);
}

TEST_F(Faults, AFullDiskLeavesWhatWasThere) {
  const SmallDisk disk(in("disk"), 128);
  if (!disk.mounted()) GTEST_SKIP() << "needs a file system of its own";
  korvane_test::writeFile(in("disk/small.sgy"), "earlier");
  const std::vector<std::string> small = {"--set", "data.output=disk/small.sgy"};
  fails(small, {"disk/small.sgy: the output file", "No space left on device"});
  EXPECT_TRUE(korvane_test::readFile(in("disk/small.sgy")) == "earlier");

  if (callUnder("ulimit -v 3000000", {"--version"}).status == 0) {  // the address sanitizer takes more
    failsUnder("ulimit -v 3000000", {"--set", "MAXCDP=1000000", "--set", "run.scratch=disk"},
               {"No room for a store of 1200000000 bytes", "scratch folder", "/disk (No space left on device)"});
  }
  ASSERT_TRUE(disk.makeReadOnly());
  fails(small, {"disk/small.sgy: the output file", "Read-only file system"});
}

TEST_F(Faults, TracesAndTableChangeTogetherHoweverMuchRoomTheDiskOfTheDatabaseHas) {
  const SmallDisk disk(in("disk"), 4096);
  if (!disk.mounted()) GTEST_SKIP() << "needs a file system of its own";
  const std::string other = in("disk/survey.db");
  const auto stored = [&] {
    done({"table", "export", other, "VEL", "refined", path("other.csv")});
    const auto runs = host::local::Database(other, host::local::Database::Access::read).runs();
    const auto completed =
        std::count_if(runs.begin(), runs.end(), [](const auto& run) { return run.result == "completed"; });
    return contents("other.csv") + done({"table", "list", other}) + std::to_string(completed);
  };
  const auto page = static_cast<std::uintmax_t>(sysconf(_SC_PAGESIZE));
  using Settings = std::vector<std::string>;
  for (const Settings& settings : {Settings{"THMAX=31"},                                 // grows the journal
                                   {"THMAX=32", "VELNAMO=another"},                      // grows the database
                                   {"THMAX=33", "VELNAMO=small", "MAXCDP=4", "FOLD=1"},  // fills room that is there
                                   {"THMAX=34", "OUTVEL=0"}}) {
    std::vector<std::string> words = {"run", job(), "--set", "database.file=disk/survey.db"};
    for (const std::string& setting : settings) words.insert(words.end(), {"--set", setting});
    fs::remove(in("disk/filler"));
    fs::copy_file(database(), other, fs::copy_options::overwrite_existing);
    int failed = 0;
    for (std::uintmax_t room = 0;; room += page) {
      SCOPED_TRACE(settings.back() + ", room for " + std::to_string(room) + " bytes");
      ASSERT_LT(room, 1u << 20);
      disk.fill(room);
      const std::string earlier = stored(), traces = output();
      const Outcome run = call(words);
      EXPECT_EQ(stored() == earlier, run.status != 0);
      EXPECT_EQ(output() == traces, run.status != 0);
      if (run.status == 0) break;
      ++failed;
      expectParts(run.err, {"disk/survey.db: cannot ", "database or disk is full", "see that the disk has room"});
    }
    EXPECT_GT(failed, 0);
  }
}

TEST_F(Faults, ADatabaseThatMayNotBeWrittenIsNamed) {
  const SmallDisk disk(in("disk"), 4096);
  if (!disk.mounted()) GTEST_SKIP() << "needs a file system of its own";
  fs::copy_file(database(), in("disk/survey.db"));
  ASSERT_TRUE(disk.makeReadOnly());
  fails({"--set", "database.file=disk/survey.db"}, {"disk/survey.db: the database is write-protected", "use a copy"});
}

}  // namespace
