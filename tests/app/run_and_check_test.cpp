#include <SQLiteCpp/SQLiteCpp.h>
#include <fcntl.h>
#include <spawn.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <csignal>
#include <map>
#include <string>
#include <utility>
#include <vector>

#include "tests/support/program.h"

namespace {

namespace fs = std::filesystem;
using korvane_test::expectParts;
using korvane_test::Outcome;
using Words = std::vector<std::string>;

/// A call of the program that goes on beside the test.
class Child {
 public:
  /// @param err  file for its standard error
  Child(const Words& words, const std::string& err) {
    std::array<int, 2> ends{};
    if (pipe2(ends.data(), O_CLOEXEC) != 0) throw std::runtime_error("no pipe");
    out_ = ends[0];
    Words all{KORVANE_PROGRAM};
    all.insert(all.end(), words.begin(), words.end());
    std::vector<char*> argv;
    for (std::string& word : all) argv.push_back(word.data());
    argv.push_back(nullptr);

    posix_spawn_file_actions_t files;
    posix_spawn_file_actions_init(&files);
    posix_spawn_file_actions_adddup2(&files, ends[1], STDOUT_FILENO);
    posix_spawn_file_actions_addopen(&files, STDERR_FILENO, err.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0666);
    posix_spawnattr_t attributes;  // the caller of the test may have them ignored
    posix_spawnattr_init(&attributes);
    sigset_t handled;
    sigemptyset(&handled);
    sigaddset(&handled, SIGINT);
    sigaddset(&handled, SIGTERM);
    posix_spawnattr_setsigdefault(&attributes, &handled);
    posix_spawnattr_setflags(&attributes, POSIX_SPAWN_SETSIGDEF);
    const int failed = posix_spawn(&process_, KORVANE_PROGRAM, &files, &attributes, argv.data(), environ);
    posix_spawnattr_destroy(&attributes);
    posix_spawn_file_actions_destroy(&files);
    close(ends[1]);
    if (failed != 0) throw std::runtime_error("cannot start the program");
  }
  ~Child() { close(out_); }
  Child(const Child&) = delete;
  Child& operator=(const Child&) = delete;

  /// Reads its output until that holds the text, or to its end.
  bool prints(const std::string& text) {
    while (output_.find(text) == std::string::npos) {
      if (!readSome()) return false;
    }
    return true;
  }
  void send(int signal) const { kill(process_, signal); }
  /// Its status, after its end.
  int status() {
    while (readSome()) {
    }
    int status = 0;
    waitpid(process_, &status, 0);
    return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
  }

 private:
  bool readSome() {
    std::array<char, 4096> block;
    const ssize_t bytes = read(out_, block.data(), block.size());
    if (bytes > 0) output_.append(block.data(), static_cast<std::size_t>(bytes));
    return bytes > 0;
  }

  pid_t process_ = -1;
  int out_ = -1;
  std::string output_;
};

/// Runs and checks of a synthetic survey, whose files lie in a folder of their own.
class RunAndCheck : public korvane_test::ProgramTest {
 protected:
  void synth(const Words& options = {"--fold", "8"}) const {
    Words words{"synth", survey.string(), "--crosslines", "12", "--samples", "250", "--passes", "2"};
    words.insert(words.end(), options.begin(), options.end());
    done(words);
  }
  std::string in(const std::string& name) const { return (survey / name).string(); }
  Words words(const std::string& command, const Words& settings) const {
    Words all{command, job};
    for (const std::string& setting : settings) all.insert(all.end(), {"--set", setting});
    return all;
  }

  /// Content and time of change of every file of the survey.
  std::map<std::string, std::pair<std::string, fs::file_time_type>> state() const {
    std::map<std::string, std::pair<std::string, fs::file_time_type>> files;
    for (const auto& entry : fs::directory_iterator(survey)) {
      if (!entry.is_regular_file()) continue;
      files[entry.path().filename()] = {korvane_test::readFile(entry.path()), entry.last_write_time()};
    }
    files["."] = {"", fs::last_write_time(survey)};
    return files;
  }

  /// A check with settings that has to name problems, and to change nothing.
  void refused(const Words& settings, const Words& parts) const {
    const auto before = state();
    const Outcome check = call(words("check", settings));
    EXPECT_TRUE(state() == before);
    EXPECT_EQ(check.status, 1);
    expectParts(check.err, parts);
    EXPECT_EQ(check.out.find("Ready"), std::string::npos);
  }

  const fs::path survey = folder / "survey";
  const std::string job = in("job.toml"), db = in("survey.db");
};

TEST_F(RunAndCheck, CheckTellsWhatARunWouldFindAndChangesNothing) {
  synth();
  const auto before = state();
  const std::string text = done({"check", job});
  expectParts(text,
              {"96 traces of 250 samples at 4 ms", "12 ensembles by CDP, the largest of 8 traces",
               "CDP 1 to 12; of 12 live ensembles 12 fall inside it, of which 12 reach FOLD",
               "from VEL \"start\" of " + db + ": 12 functions", "to VEL \"refined\": new", "work arrays", "stores",
               "attributes.sgy: at most 48 traces, 0.1 MB, of ", "an estimate from ", "korvane run " + job + "\n"});
  expectParts(done({"check", job, "--set", "run.checkpoint=true"}),
              {"Checkpoint  two take ", survey.string(), " free"});
  expectParts(done({"run", "--dry-run", job}), {"at most 48 traces", "korvane run " + job + "\n"});
  EXPECT_TRUE(state() == before);

  done({"run", job});
  const auto after = state();
  expectParts(done({"check", job, "--set", "MAXCDP=9"}),
              {"of 12 live ensembles 9 fall inside it", "at most 36 traces", "replaces the file",
               "to VEL \"refined\": replaced, it has 12 functions"});
  EXPECT_TRUE(state() == after);
}

TEST_F(RunAndCheck, CheckKnowsSectorsPrestackOutputAndWhatTheHeadersLack) {
  synth({"--inlines", "3", "--fold", "12", "--sectors", "2"});
  expectParts(done({"check", job}),
              {"inline 1 to 3, crossline 1 to 12; of 36 live ensembles 36", "to VAZ \"refined\""});
  const Outcome prestack = call(words("check", {"PRESTACK=1", "STATIC=1", "headers.OFFSET=233", "headers.CDP_X=233",
                                                "headers.CDP_Y=233", "headers.REC_X=73", "headers.REC_Y=77"}));
  expectParts(prestack.out, {"at most 648 traces"});  // 432, and 3 of each of 36 CDPs and 2 sectors
  expectParts(prestack.err, {"OFFSET is 0 on", "stand at one place", "no trace has a map position",
                             "STATIC = 1: no statics are applied"});
}

TEST_F(RunAndCheck, EveryProblemOfAJobIsListedAndARunWouldNotStartEither) {
  synth();
  fs::create_directory(in("folder"));
  done({"table", "import", db, "AHZ", "hor", save("hor.csv", "horizon,cdp,time\n1,5,400\n")});
  const std::vector<std::pair<Words, Words>> cases{
      {{"NUMITR=3", "survey.type=4D", "THMAX=99", "data.input=none.sgy", "database.file=none.db"},
       {"nearest one known is NUMITER", "[survey] type = \"4D\"", "none.sgy: there is no such file",
        "none.db: there is no such database file", "4 problems"}},
      {{"THMIN=50", "START=900", "END=100", "VELNAME=strat", "OUTPUT=", "data.output=none/out.sgy"},
       {"end time must be greater", "Min incidence angle", "no VEL table \"strat\"", "Trace outputs are empty",
        in("none") + ": there is no such folder", "5 problems"}},
      {{"data.output=folder", "METHOD=2", "HORNAME=no"},
       {in("folder") + ": is a folder", "no AHZ table \"no\"", "Cannot open autostatics horizon table", "2 problems"}},
      {{"VELSAMP=2000", "database.file=none.db"}, {"none.db: there is no such database", "1 problem that keeps"}},
      {{"VELSAMP=2000"}, {"expected at most the length of a trace, 1000 ms", "1 problem that keeps"}},
      {{"database.file=gathers.sgy"}, {"gathers.sgy: cannot"}},
      {{"data.input=job.toml"}, {"job.toml: "}}};
  for (const auto& [settings, parts] : cases) {
    refused(settings, parts);
    EXPECT_EQ(call(words("run", settings)).status, 1);
  }
  // those run without a result
  for (const auto& [setting, part] :
       {std::pair{"MINCDP=100", ""},
        {"FOLD=9", "FOLD = 9: none of the 12 ensembles inside the grid has as many traces"},
        {"headers.CDP=181", "none of its ensembles falls inside the grid, CDP 1 to 12; they have CDP "},
        {"headers.TRC_TYPE=115", "no ensemble has a live trace"},
        {"run.scratch=none", "there is no such folder; make it, or name another one in `scratch`"}}) {
    refused({setting}, {part});
  }
}

TEST_F(RunAndCheck, ASettingOfTheCommandLineTakesThePlaceOfTheJobs) {
  synth();
  const std::string text = done({"run", "--set", "NUMITER=1", job, "--set", "data.output=other.sgy", "--set",
                                 "VELNAMO=other", "--set", "run.threads=1"});
  expectParts(text,
              {"Pass 1 ", "Output pass ", in("other.sgy") + ": 48 traces", "VEL \"other\" in " + db + ": 12 func"});
  EXPECT_EQ(text.find("Pass 2"), std::string::npos);
  EXPECT_FALSE(fs::exists(in("attributes.sgy")));
  // what is named as the next step, or as ready, has the same settings
  const std::string settings = " --set NUMITER=1 --set data.output=other.sgy --set VELNAMO=other --set run.threads=1\n";
  expectParts(text, {"korvane report " + job + settings});
  expectParts(call(words("check", {"VELNAMO=a b", "FOLD=3"})).out,
              {"korvane run " + job + " --set 'VELNAMO=a b' --set FOLD=3\n"});
  const Outcome wrong = call({"run", job, "--set", "NUMITER"});
  EXPECT_EQ(wrong.status, 2);
  expectParts(wrong.err, {"--set: expected KEY=VALUE, found NUMITER"});
  const Outcome unknown = call({"run", job, "--set", "NUMITR=2"});
  EXPECT_EQ(unknown.status, 1);
  EXPECT_EQ(unknown.err, "--set NUMITR=2: unknown key; the nearest one known is NUMITER\n");
}

TEST_F(RunAndCheck, ARunEndsWithWhatItWroteAndWhatToDoNext) {
  synth();
  const Outcome run = call(words("run", {"HORNAME=unused"}));
  const std::size_t end = run.out.find("Done ");
  ASSERT_NE(end, std::string::npos);
  EXPECT_EQ(run.out.find("KORVANE:", end), std::string::npos);
  expectParts(run.out.substr(end),
              {", 1 warning\n", "Pass 1      96 traces in ", "Pass 2      96 traces in ", "Output pass 96 traces in ",
               in("attributes.sgy") + ": 48 traces\n", "VEL \"refined\" in " + db + ": 12 functions\n",
               "korvane report " + job + " --set HORNAME=unused\n", "korvane table diff " + db + " refined start\n",
               "korvane table export " + db + " VEL refined refined.csv\n"});
  expectParts(call(words("run", {"PRESTACK=1"})).out, {"attributes.sgy: 132 traces\nNext        korvane report"});
}

TEST_F(RunAndCheck, AReportIsOneOfTheRunWithItsSettingsAndReplacesNoFileOfTheJob) {
  synth();
  done(words("run", {"VELNAMO=other"}));
  const auto findsItsRun = [&](const Words& settings) {
    Words all = words("report", settings);
    all.insert(all.end(), {"-o", path("page.html")});
    done(all);
    return contents("page.html").find("no completed run of this job") == std::string::npos;
  };
  EXPECT_TRUE(findsItsRun({"VELNAMO=other"}));
  EXPECT_FALSE(findsItsRun({}));
  const auto before = state();
  for (const char* name : {"gathers.sgy", "survey.db", "job.toml"}) {
    const Outcome over = call({"report", job, "-o", in(name)});
    EXPECT_EQ(over.status, 1);
    EXPECT_EQ(over.err, in(name) + ": is in use here and is not replaced; name another file\n");
  }
  EXPECT_TRUE(state() == before);
}

TEST_F(RunAndCheck, APassThatCannotBeRecordedIsAWarning) {
  synth();
  done(words("run", {"VELNAMO=usual"}));
  SQLite::Database(db, SQLite::OPEN_READWRITE)
      .exec("CREATE TRIGGER full BEFORE INSERT ON korvane_pass BEGIN SELECT RAISE(ABORT, 'no room'); END");
  const Outcome run = call(words("run", {}));
  EXPECT_EQ(run.status, 0);
  expectParts(run.err, {"warning: " + db + ": cannot record a pass: no room"});
  EXPECT_EQ(done({"table", "export", db, "VEL", "refined"}), done({"table", "export", db, "VEL", "usual"}));
}

TEST_F(RunAndCheck, AStoppedRunLeavesEverythingAsItWas) {
  synth();
  done({"run", job});
  const auto files = [&] {
    std::map<std::string, std::string> all;
    for (const auto& [name, content] : state()) {
      // the stopped run is recorded in the database, and may have kept the index
      if (name != "survey.db" && !name.ends_with(".index")) all[name] = content.first;
    }
    return all;
  };
  const auto before = files();
  const std::string table = done({"table", "export", db, "VEL", "refined"});
  for (const auto& [signal, status] : {std::pair{SIGINT, 130}, {SIGTERM, 143}}) {
    // so many passes that it is still at them when the signal comes
    Child run({"run", job, "--set", "NUMITER=10000"}, path("err"));
    ASSERT_TRUE(run.prints("KORVANE: Start new iteration: 1\n"));
    run.send(signal);
    EXPECT_EQ(run.status(), status);
    const std::string text = contents("err");
    EXPECT_TRUE(text.starts_with("Stopped in pass ")) << text;
    expectParts(text, {" of 10001 after ", "nothing was changed", "korvane run " + job + " --set NUMITER=10000\n"});
    EXPECT_EQ(std::count(text.begin(), text.end(), '\n'), 1) << text;
    EXPECT_TRUE(files() == before);
    EXPECT_EQ(done({"table", "export", db, "VEL", "refined"}), table);
  }

  Child run({"run", job, "--checkpoint", "--set", "NUMITER=10000"}, path("err"));
  ASSERT_TRUE(run.prints("KORVANE: Start new iteration: 2\n"));
  run.send(SIGTERM);
  EXPECT_EQ(run.status(), 143);
  expectParts(contents("err"), {"nothing was changed. Go on with pass ", job + " --set NUMITER=10000 --resume\n"});
  EXPECT_TRUE(fs::exists(in("survey.db.job.toml.checkpoint")));
}

}  // namespace
