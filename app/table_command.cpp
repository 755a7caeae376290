#include <CLI/CLI.hpp>
#include <algorithm>
#include <cmath>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <memory>
#include <optional>
#include <sstream>
#include <string>
#include <vector>

#include "app/command_line.h"
#include "host/local/database.h"
#include "host/local/table_text.h"

namespace app {

namespace {

using host::Table;
using host::local::Database;
using host::local::RunError;

/// What the subcommands of `table` are told.
struct TableArguments {
  std::filesystem::path database, csv;
  std::string type, name, other;
  float from = 0.0f, step = 0.0f;
  std::optional<float> to;
  std::vector<float> cdps;
};

std::unique_ptr<Table> loadTable(const Database& database, const TableArguments& a, const std::string& name) {
  std::unique_ptr<Table> table = database.load(a.type, name);
  if (table == nullptr) {
    throw RunError(a.database.string() + ": no " + a.type + " table \"" + name + "\"; 'korvane table list " +
                   a.database.string() + "' shows those that are there");
  }
  return table;
}

void importTable(const TableArguments& a) {
  const std::unique_ptr<Table> table = host::local::readTableCsv(a.csv, a.type, a.name);
  Database(a.database, Database::Access::create).save(*table, a.type);
}

void exportTable(const TableArguments& a) {
  const std::unique_ptr<Table> table = loadTable(Database(a.database, Database::Access::read), a, a.name);
  if (a.csv.empty()) {
    host::local::writeTableCsv(*table, a.type, std::cout);
    if (!std::cout.flush()) throw RunError("standard output: cannot write the table");
    return;
  }
  std::ofstream out(a.csv);
  host::local::writeTableCsv(*table, a.type, out);
  out.close();
  if (!out) throw RunError(a.csv.string() + ": cannot write the file");
}

void listTables(const TableArguments& a) {
  std::printf("%-4s %-24s %9s %10s %6s %10s %10s  %s\n", "type", "name", "functions", "points", "values", "first",
              "last", "positions");
  for (const Database::Entry& entry : Database(a.database, Database::Access::read).list()) {
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

std::string number(float value) {
  std::ostringstream out;
  out << value;
  return out.str();
}

/// The latest time of any function; 0 when there is none.
float lastTime(const Table& table) {
  float last = 0.0f;
  for (const auto& [x, function] : table.functions()) last = std::max(last, function.y.back());
  return last;
}

/// Mean and RMS difference of two velocity tables, in percent of the second, over the CDPs of the second.
void compareTables(const TableArguments& a) {
  const Database database(a.database, Database::Access::read);
  const std::unique_ptr<Table> table = loadTable(database, a, a.name);
  const std::unique_ptr<Table> reference = loadTable(database, a, a.other);
  const float to = a.to.value_or(std::min(lastTime(*table), lastTime(*reference)));
  const float steps = (to - a.from) / a.step;
  if (!(steps >= 0.0f && steps < 1e6f)) {
    throw RunError("--from " + number(a.from) + " --to " + number(to) + " --step " + number(a.step) +
                   ": expected ascending times, less than a million steps apart");
  }
  const int samples = static_cast<int>(steps) + 1;
  std::vector<float> found(static_cast<std::size_t>(samples)), wanted(found.size());
  double sum = 0.0, squares = 0.0;
  std::size_t count = 0;
  for (const auto& [cdp, function] : reference->functions()) {
    if (!a.cdps.empty() && (cdp < a.cdps.front() || cdp > a.cdps.back())) continue;
    if (!table->alongX(cdp, samples, a.from, a.step, found.data()) ||
        !reference->alongX(cdp, samples, a.from, a.step, wanted.data())) {
      throw RunError(a.database.string() + ": table \"" + a.name + "\" holds no functions");
    }
    for (std::size_t k = 0; k < found.size(); ++k, ++count) {
      const double percent = 100.0 * (static_cast<double>(found[k]) / static_cast<double>(wanted[k]) - 1.0);
      sum += percent;
      squares += percent * percent;
    }
  }
  if (count == 0)
    throw RunError(a.database.string() + ": no function of \"" + a.other + "\" lies in the range of CDPs");
  const double n = static_cast<double>(count);
  std::printf("%s against %s: mean %+.2f %%, RMS %.2f %%\n", a.name.c_str(), a.other.c_str(), sum / n,
              std::sqrt(squares / n));
}

}  // namespace

void addTable(CLI::App& cli) {
  CLI::App* command = cli.add_subcommand("table", "Tables of a database: import, export, list, delete, diff");
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
  named(action("import", "Read a table from CSV", importTable))
      ->add_option("CSV", a->csv, "VEL: cdp,x,y,time,velocity; VAZ: cdp,time,velocity_0,..; AHZ: horizon,cdp,time")
      ->required();
  named(action("export", "Write a table as CSV", exportTable))
      ->add_option("CSV", a->csv, "file to write; standard output when left out");
  action("list", "List the tables", listTables);
  named(action("delete", "Delete a table", deleteTable));

  CLI::App* compare = action("diff", "Mean and RMS difference of a velocity table to another one", compareTables);
  compare->add_option("NAME", a->name, "table")->required();
  compare->add_option("REFERENCE", a->other, "table to compare it with")->required();
  compare->add_option("--from", a->from, "first time, ms")->default_val(0.0f);
  compare->add_option("--to", a->to, "last time, ms; the end of the table that ends first when left out");
  compare->add_option("--step", a->step, "interval, ms")->default_val(20.0f)->check(CLI::PositiveNumber);
  compare->add_option("--cdps", a->cdps, "first and last CDP; all when left out")->expected(2);
  compare->preparse_callback([a](std::size_t) { a->type = "VEL"; });
}

}  // namespace app
