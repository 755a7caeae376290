#include <CLI/CLI.hpp>
#include <cstdio>
#include <string>

#include "app/command_line.h"

/// Writes the man page of the program to standard output, from the commands and options that it takes: man_page VERSION

namespace {

/// Text as roff takes it: hyphens as they are typed, and no line that begins like a request.
std::string roff(const std::string& text) {
  std::string out;
  bool lineStart = true;
  for (const char c : text) {
    if (lineStart && (c == '.' || c == '\'')) out += "\\&";
    if (c == '\\') {
      out += "\\e";
    } else if (c == '-') {
      out += "\\-";
    } else {
      out += c;
    }
    lineStart = c == '\n';
  }
  return out;
}

void print(const std::string& text) { std::printf("%s\n", text.c_str()); }

void printOption(const CLI::Option& option, bool positional) {
  print(".TP\n\\fB" + roff(option.get_name(positional, !positional)) + "\\fR" +
        roff(CLI::Formatter().make_option_opts(&option)));
  print(roff(option.get_description()));
}

/// Positional arguments, then options; --help is told once, for the program.
void printOptions(const CLI::App& command) {
  for (const bool positional : {true, false}) {
    for (const CLI::Option* option : command.get_options()) {
      const bool repeated = command.get_parent() != nullptr && option == command.get_help_ptr();
      if (option->get_positional() == positional && !repeated) printOption(*option, positional);
    }
  }
}

/// The footer of the help as it stands: examples.
void printFooter(const CLI::App& command) {
  if (!command.get_footer().empty()) print(".PP\n.nf\n" + roff(command.get_footer()) + "\n.fi");
}

/// A subsection for the command, called as `words`, or for each of its subcommands.
void printCommand(const CLI::App& command, const std::string& words) {
  std::string arguments;
  for (const CLI::Option* option : command.get_options()) {
    if (option->get_positional()) arguments += " " + CLI::Formatter().make_option_usage(option);
  }
  print(".SS " + roff(words + arguments));
  print(roff(command.get_description()) + ".");
  printOptions(command);
  printFooter(command);
  for (const CLI::App* sub : command.get_subcommands({})) printCommand(*sub, words + " " + sub->get_name());
}

}  // namespace

int main(int argc, char** argv) {
  if (argc != 2) return 2;
  CLI::App cli;
  app::addCommands(cli);
  const std::string version = argv[1];
  print(".TH KORVANE 1 \"\" \"korvane " + roff(version) + "\" \"User commands\"");
  print(".SH NAME\nkorvane \\- refines seismic RMS velocities from prestack gathers");
  print(".SH SYNOPSIS\n.B korvane\n\\fICOMMAND\\fR [\\fIARGUMENT\\fR ...]");
  print(".SH DESCRIPTION\n" + roff(cli.get_description()));
  print(".SH OPTIONS");
  printOptions(cli);
  print(".SH COMMANDS");
  for (const CLI::App* sub : cli.get_subcommands({})) printCommand(*sub, "korvane " + sub->get_name());
  print(".SH EXAMPLES");
  printFooter(cli);
  print(
      ".SH EXIT STATUS\n.TP\n0\ndone\n.TP\n1\nfailed; one message on standard error says what was found and what to "
      "do");
  print(".TP\n2\nthe words make no command");
  print(".TP\n130, 143\na run was stopped by SIGINT or SIGTERM");
  print(".SH SEE ALSO\n.BR korvane\\-job (5)\n.PP\n/usr/share/doc/korvane");
}
