#pragma once

#include <gtest/gtest.h>

#include <sstream>
#include <string>

#include "app/synth.h"
#include "tests/support/program.h"

namespace korvane_test {

/// A test of the built program on a synthetic survey, which lies in a folder of its own.
class SurveyTest : public ProgramTest {
 protected:
  void makeSurvey(app::SynthOptions options) const {
    options.folder = folder / "survey";
    fs::remove_all(options.folder);
    std::ostringstream log;
    app::synthesise(options, log);
  }

  /// A file of the survey.
  std::string in(const std::string& name) const { return path("survey/" + name); }
  std::string job() const { return in("job.toml"); }
  std::string database() const { return in("survey.db"); }
  std::string output() const { return readFile(in("attributes.sgy")); }

  void replaceInJob(const std::string& from, const std::string& to) const {
    std::string text = readFile(job());
    const std::size_t at = text.find(from);
    ASSERT_NE(at, std::string::npos) << from;
    writeFile(job(), text.replace(at, from.size(), to));
  }

  /// Everything that a run writes: the table "refined" of the type, and the output traces.
  std::string results(const std::string& type) const {
    done({"table", "export", database(), type, "refined", path("refined.csv")});
    return contents("refined.csv") + output();
  }
};

}  // namespace korvane_test
