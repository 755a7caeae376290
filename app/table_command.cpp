#include <CLI/CLI.hpp>
#include <algorithm>
#include <cstdio>
#include <filesystem>
#include <iostream>
#include <iterator>
#include <map>
#include <memory>
#include <optional>
#include <sstream>
#include <string>
#include <string_view>
#include <vector>

#include "app/command_line.h"
#include "app/table_diff.h"
#include "app/table_show.h"
#include "app/table_summary.h"
#include "app/whole_file.h"
#include "host/local/database.h"
#include "host/local/table_text.h"
#include "host/local/text_lines.h"
#include "host/local/velocity_text.h"

namespace app {

namespace {

using host::Table;
using host::local::Database;
using host::local::RunError;
using host::local::TimeUnit;
using host::local::VelocityColumn;
using host::local::VelocityForm;
using host::local::VelocityText;
using host::local::VelocityTextOptions;
using host::local::VelocityUnit;

/// What the subcommands of `table` are told.
struct TableArguments {
  std::filesystem::path database, file;
  std::string type, name, other;
  std::string form, columns, times, velocities, to;
  std::optional<float> cdp;
  DiffRange range;
  std::vector<std::string> by;
};

std::unique_ptr<Table> loadTable(const Database& database, const TableArguments& a, const std::string& name) {
  std::unique_ptr<Table> table = database.load(a.type, name);
  if (table == nullptr) {
    throw RunError(a.database.string() + ": no " + a.type + " table \"" + name + "\"; 'korvane table list " +
                   a.database.string() + "' shows those that are there");
  }
  return table;
}

constexpr const char* formNames[] = {"csv", "columns", "parameters", "handvel", "lines"};  // as in VelocityForm

std::optional<VelocityForm> formNamed(const std::string& name) {
  const auto found = std::find(std::begin(formNames), std::end(formNames), name);
  if (found == std::end(formNames)) return std::nullopt;
  return static_cast<VelocityForm>(found - std::begin(formNames));
}

std::optional<VelocityUnit> velocityUnitNamed(const std::string& name) {
  if (name.empty()) return std::nullopt;
  return name == "ft/s" ? VelocityUnit::feet : VelocityUnit::metres;
}

/// The columns of --columns. A usage error when they do not make up points.
std::vector<VelocityColumn> columnsOf(const std::string& text) {
  using enum VelocityColumn;
  static const std::map<std::string, VelocityColumn> known{{"cdp", cdp}, {"time", time}, {"velocity", velocity},
                                                           {"x", x},     {"y", y},       {"-", other}};
  std::vector<VelocityColumn> columns;
  std::map<VelocityColumn, int> count;
  for (const std::string_view name : host::local::fieldsOf(text, ',')) {
    const auto found = known.find(std::string(name));
    if (found == known.end())
      throw CLI::ValidationError("--columns", "no column " + host::local::shown(name) +
                                                  "; use cdp, time, velocity, x, y, and - for one to pass over");
    columns.push_back(found->second);
    ++count[found->second];
  }
  if (count[cdp] != 1 || count[time] != 1 || count[velocity] != 1 || count[x] != count[y] || count[x] > 1)
    throw CLI::ValidationError("--columns", "expected cdp, time and velocity once each, and x and y both or neither");
  return columns;
}

/// What the options of an import say. A usage error when they do not go together.
VelocityTextOptions textOptions(const TableArguments& a) {
  VelocityTextOptions options;
  if (!a.columns.empty()) options.columns = columnsOf(a.columns);
  options.form = formNamed(a.form);
  if (options.form && *options.form > VelocityForm::columns && !options.columns.empty())
    throw CLI::ValidationError("--columns", "is for the forms csv and columns");
  if (!a.times.empty()) options.times = a.times == "s" ? TimeUnit::seconds : TimeUnit::milliseconds;
  options.velocities = velocityUnitNamed(a.velocities);
  options.to = velocityUnitNamed(a.to);
  const bool any = options.form.value_or(VelocityForm::csv) != VelocityForm::csv || !options.columns.empty() ||
                   options.times || options.velocities || options.to;
  if (any && a.type != "VEL")
    throw CLI::ValidationError("--form, --columns, --times, --velocities, --to",
                               "are for VEL tables; " + a.type + " is read from CSV, in ms");
  return options;
}

void importTable(const TableArguments& a) {
  const VelocityTextOptions options = textOptions(a);
  VelocityText text;
  if (a.type == "VEL")
    text = host::local::readVelocities(a.file, a.name, options);
  else
    text.table = host::local::readTableCsv(a.file, a.type, a.name);
  Database(a.database, Database::Access::create).save(*text.table, a.type);

  const bool horizons = a.type == "AHZ";
  const TableRanges ranges = rangesOf(*text.table, horizons);
  const std::string x = number(ranges.firstX) + " to " + number(ranges.lastX);
  const std::string y = number(ranges.firstY) + " to " + number(ranges.lastY);
  const std::string values = number(ranges.least.value) + " to " + number(ranges.greatest.value);
  std::cout << a.file.string() << ": " << formNames[static_cast<std::size_t>(text.form)] << ", "
            << counted(ranges, horizons) << "; ";
  if (horizons) {
    std::cout << "horizon " << x << ", CDP " << y << ", time " << values << " ms\n";
  } else {
    std::cout << "CDP " << x << ", time " << y << " ms, velocity " << values << ' '
              << (text.unit ? nameOf(*text.unit) : "in the unit of the file") << '\n';
  }
  if (!text.units.empty()) std::cout << "the file has " << text.units << '\n';
  constexpr float shortest = 20.0f;  // ms; a trace is longer
  if (a.type == "VEL" && text.form == VelocityForm::csv && !options.times && ranges.lastY > 0.0f &&
      ranges.lastY <= shortest)
    std::cerr << "warning: the times reach only " << number(ranges.lastY)
              << " ms; if they are seconds, import the file again with --times s\n";
}

void printTable(const TableArguments& a) {
  showTable(*loadTable(Database(a.database, Database::Access::read), a, a.name), a.type, a.cdp, std::cout);
}

void exportTable(const TableArguments& a) {
  const std::unique_ptr<Table> table = loadTable(Database(a.database, Database::Access::read), a, a.name);
  if (a.file.empty()) {
    host::local::writeTableCsv(*table, a.type, std::cout);
    return;
  }
  std::ostringstream csv;
  host::local::writeTableCsv(*table, a.type, csv);
  writeWhole(a.file, "the table", csv.str(), {a.database});
}

void listTables(const TableArguments& a) {
  const std::vector<Database::Entry> entries = Database(a.database, Database::Access::read).list();
  std::printf("%-4s %-24s %9s %10s %6s %10s %10s  %s\n", "type", "name", "functions", "points", "values", "first",
              "last", "positions");
  for (const Database::Entry& entry : entries) {
    std::printf("%-4s %-24s %9d %10lld %6d %10g %10g  %s\n", entry.type.c_str(), entry.name.c_str(), entry.functions,
                static_cast<long long>(entry.points), entry.zCount, static_cast<double>(entry.firstX),
                static_cast<double>(entry.lastX), entry.positions ? "yes" : "no");
  }
}

void deleteTable(const TableArguments& a) {
  if (!Database(a.database, Database::Access::write).remove(a.type, a.name)) {
    throw RunError(a.database.string() + ": no " + a.type + " table \"" + a.name + "\" to delete");
  }
}

void compareTables(const TableArguments& a) {
  const std::vector<float>& cdps = a.range.cdps;
  if (!cdps.empty() && !(cdps.front() <= cdps.back()))
    throw CLI::ValidationError(
        "--cdps", "expected the first CDP, then the last, not " + number(cdps.front()) + " and " + number(cdps.back()));
  const Database database(a.database, Database::Access::read);
  const TableDifference difference =
      differenceOf(*loadTable(database, a, a.name), *loadTable(database, a, a.other), a.range);
  std::printf("%s against %s: mean %+.2f %%, RMS %.2f %%\n", a.name.c_str(), a.other.c_str(), difference.all.mean(),
              difference.all.rms());
  std::fflush(stdout);
  for (const std::string& line : difference.leftOut) std::cout << "left out: " << line << '\n';
  for (const std::string& by : a.by)
    by == "time" ? printTimes(difference, std::cout) : printLargestCdps(difference, std::cout);
}

constexpr const char* importExamples = R"(CSV headings: cdp,x,y,time,velocity for VEL (x and y may be left out),
cdp,time,velocity_0,velocity_1,.. for VAZ, horizon,cdp,time for AHZ.

Forms of a VEL file, found out from its content:
  csv         with the headings above: times in ms, values as they stand
  columns     CDP TIME VEL between blanks, with a heading or --columns
  parameters  cdp=1,9 tnmo=0,1.2 vnmo=1500,2100 tnmo=.. vnmo=..
  handvel     HANDVEL 75, then lines of time velocity time velocity ..
  lines       CDP= 75, then lines of TIME= 1566 VEL= 1495
Units that headings, comments and values leave open are refused until told.

Examples:
  korvane table import line.db VEL initial velocities.csv
  korvane table import line.db VEL initial picks.txt --columns -,cdp,time,velocity
  korvane table import line.db VEL initial picks.par --velocities ft/s --to m/s
  korvane table import line.db AHZ window horizons.csv)";

constexpr const char* showExamples = R"(Examples:
  korvane table show line.db VEL refined             first, middle and last function
  korvane table show line.db VAZ refined --cdp 240   the sectors of a CDP
  korvane table show line.db AHZ window              the horizons along the line)";

constexpr const char* diffExamples = R"(Examples:
  korvane table diff line.db refined initial --from 600 --to 2200
  korvane table diff line.db refined initial --by time      ten ranges of time
  korvane table diff line.db refined initial --by time,cdp  and the CDPs that differ most)";

void addImport(CLI::App* sub, TableArguments& a) {
  sub->add_option("FILE", a.file, "text to read, in a form below")->required();
  sub->add_option("--form", a.form, "form of the file; found out when left out")
      ->check(CLI::IsMember(std::vector<std::string>(std::begin(formNames), std::end(formNames))));
  sub->add_option("--columns", a.columns, "columns of csv or columns: cdp, time, velocity, x, y, or - to pass over");
  sub->add_option("--times", a.times, "unit of the times in the file")->check(CLI::IsMember({"s", "ms"}));
  sub->add_option("--velocities", a.velocities, "unit of the velocities in the file")
      ->check(CLI::IsMember({"ft/s", "m/s"}));
  sub->add_option("--to", a.to, "unit of the velocities in the table; as in the file when left out")
      ->check(CLI::IsMember({"ft/s", "m/s"}));
  sub->footer(importExamples);
}

void addDiff(CLI::App* sub, TableArguments& a) {
  sub->add_option("NAME", a.name, "table")->required();
  sub->add_option("REFERENCE", a.other, "table to compare it with")->required();
  sub->add_option("--from", a.range.from, "first time, ms")->default_val(0.0);
  sub->add_option("--to", a.range.to, "last time, ms; the end of the table that ends first when left out");
  sub->add_option("--step", a.range.step, "interval, ms")->default_val(20.0)->check(CLI::PositiveNumber);
  sub->add_option("--cdps", a.range.cdps, "first and last CDP; all when left out")->expected(2);
  sub->add_option("--by", a.by, "also by time (ten ranges), cdp (the ten that differ most), or both")
      ->delimiter(',')
      ->check(CLI::IsMember({"time", "cdp"}));
  sub->preparse_callback([&a](std::size_t) { a.type = "VEL"; });
  sub->footer(diffExamples);
}

}  // namespace

void addTable(CLI::App& cli) {
  CLI::App* command = cli.add_subcommand("table", "Tables of a database: import, export, list, show, delete, diff");
  command->require_subcommand(1);
  const auto a = std::make_shared<TableArguments>();
  const auto action = [&](const char* name, const char* about, void (*run)(const TableArguments&)) {
    CLI::App* sub = command->add_subcommand(name, about);
    sub->add_option("DB", a->database, "database file")->required();
    sub->callback([a, run] { run(*a); });
    return sub;
  };
  const auto named = [&](CLI::App* sub) {
    sub->add_option("TYPE", a->type, "VEL, VAZ (azimuthal velocities) or AHZ (horizons)")
        ->required()
        ->check(CLI::IsMember({"VEL", "VAZ", "AHZ"}));
    sub->add_option("NAME", a->name, "table name")->required();
    return sub;
  };
  addImport(named(action("import", "Read a table from CSV, or velocities from another text", importTable)), *a);
  named(action("export", "Write a table as CSV", exportTable))
      ->add_option("CSV", a->file, "file to write; standard output when left out");
  action("list", "List the tables", listTables);
  CLI::App* show = named(action("show", "Print the ranges of a table and draw it", printTable));
  show->add_option("--cdp", a->cdp, "CDP to draw (VEL, VAZ)");
  show->footer(showExamples);
  named(action("delete", "Delete a table", deleteTable));
  addDiff(action("diff", "Mean and RMS difference of a velocity table to another one", compareTables), *a);
}

}  // namespace app
