#include <algorithm>
#include <map>
#include <regex>
#include <sstream>

#include "tests/support/program.h"

namespace {

using Words = std::vector<std::string>;

/// What the help of a command names.
struct Help {
  Words subcommands, options;
};

class InstalledHelp : public korvane_test::ProgramTest {
 protected:
  InstalledHelp() { collect({}); }

  /// Reads the help of the command and of every subcommand.
  void collect(const Words& command) {
    Words words = command;
    words.push_back("--help");
    std::istringstream text(done(words));
    Help help;
    std::string section;
    for (std::string line; std::getline(text, line);) {
      if (!line.starts_with(' ')) section = line;
      if (!line.starts_with("  ")) continue;
      const std::string entry = line.substr(2, line.find(' ', 2) - 2);
      if (section == "Subcommands:") help.subcommands.push_back(entry);
      if (section != "Options:") continue;
      addOptions(entry, help.options);
    }
    commands[command] = help;
    for (const std::string& sub : help.subcommands) {
      Words below = command;
      below.push_back(sub);
      collect(below);
    }
  }

  /// Adds the options that the heading of an entry names.
  static void addOptions(const std::string& heading, Words& options) {
    static const std::regex option("--[a-z-]+");
    for (std::sregex_iterator it(heading.begin(), heading.end(), option), end; it != end; ++it) {
      options.push_back(it->str());
    }
  }

  /// The options with an entry of their own in a section of the man page.
  static Words entriesOf(const std::string& section) {
    const std::string mark = "\n.TP\n";
    Words options;
    for (std::size_t at = section.find(mark); at != std::string::npos; at = section.find(mark, at)) {
      at += mark.size();
      addOptions(section.substr(at, section.find('\n', at) - at), options);
    }
    return options;
  }

  static std::string line(const Words& command) {
    std::string line = "korvane";
    for (const std::string& word : command) line += " " + word;
    return line;
  }

  /// Standard output of a shell command.
  std::string shell(const std::string& command) const {
    save("script", command);
    EXPECT_EQ(std::system(("bash " + path("script") + " >" + path("stdout")).c_str()), 0) << command;
    return contents("stdout");
  }

  /// What completion offers for `word` behind the command, one a line, to a user whose home holds the program.
  std::string completions(const Words& command, const std::string& word, const std::string& called = program) const {
    const std::string home = std::filesystem::path(program).parent_path().string();
    std::string script = "source '" KORVANE_COMPLETION "'\nHOME='" + home + "'\nCOMP_WORDS=('" + called + "'";
    for (const std::string& before : command) script += " " + before;
    script += " '" + word + "')\nCOMP_CWORD=" + std::to_string(command.size() + 1);
    return "\n" + shell(script + "\n_korvane\nprintf '%s\\n' \"${COMPREPLY[@]}\"\n");
  }

  static constexpr const char* program = KORVANE_PROGRAM;
  std::map<Words, Help> commands;
};

TEST_F(InstalledHelp, ManPageHasEverySubcommandAndUnderItEveryOption) {
  std::string page = shell("zcat '" KORVANE_MAN_PAGE "'");
  page = std::regex_replace(page, std::regex(R"(\\-)"), "-");
  ASSERT_TRUE(commands.contains({"table", "import"})) << "the help was not understood";
  for (const auto& [command, help] : commands) {
    const std::size_t start = command.empty() ? page.find("\n.SH OPTIONS\n") : page.find("\n.SS " + line(command));
    ASSERT_NE(start, std::string::npos) << line(command);
    const std::string section = page.substr(start, page.find("\n.S", start + 1) - start);
    const Words entries = entriesOf(section);
    for (const std::string& option : help.options) {
      if (!command.empty() && option == "--help") continue;
      EXPECT_EQ(std::count(entries.begin(), entries.end(), option), 1) << option << " in\n" << section;
    }
  }
}

TEST_F(InstalledHelp, CompletionOffersSubcommandsAndOptionsOfTheCommandInFrontOfTheCursor) {
  for (const auto& [command, help] : commands) {
    const std::string subcommands = completions(command, ""), options = completions(command, "--");
    for (const std::string& name : help.subcommands) korvane_test::expectParts(subcommands, {"\n" + name + "\n"});
    for (const std::string& name : help.options) korvane_test::expectParts(options, {"\n" + name + "\n"});
  }
  EXPECT_EQ(completions({}, "sy"), "\nsynth\n");
  EXPECT_EQ(completions({"table"}, "ex"), "\nexport\n");
  EXPECT_EQ(completions({"table"}, "ex", "~/korvane"), "\nexport\n");
}

TEST_F(InstalledHelp, ExampleJobRunsOnASyntheticSurvey) {
  done({"synth", path("survey"), "--crosslines", "9", "--samples", "150", "--max-offset", "900"});
  std::filesystem::copy_file(KORVANE_EXAMPLE_JOB, path("survey/line.toml"));
  done({"run", path("survey/line.toml")});
  EXPECT_NE(done({"table", "list", path("survey/survey.db")}).find(" line "), std::string::npos);
}

}  // namespace
