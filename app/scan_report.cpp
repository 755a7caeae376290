#include "app/scan_report.h"

#include <algorithm>
#include <cstdarg>
#include <cstdio>
#include <ostream>
#include <string>

namespace app {

namespace {

using host::local::HeaderRange;
using host::local::SegyFacts;
using host::local::SegyScan;

constexpr int histogramWidth = 40;

[[gnu::format(printf, 1, 2)]] std::string text(const char* format, ...) {
  char buffer[512];
  std::va_list values;
  va_start(values, format);
  std::vsnprintf(buffer, sizeof buffer, format, values);
  va_end(values);
  return buffer;
}

void printFile(const SegyScan& scan, std::ostream& out) {
  const SegyFacts& facts = scan.facts;
  out << "File            " << scan.input.file.string() << '\n'
      << text("                %lld bytes, %s endian, text in %s, revision word 0x%04x\n",
              static_cast<long long>(facts.bytes), facts.littleEndian ? "little" : "big",
              host::local::isEbcdic(facts.text) ? "EBCDIC" : "ASCII", static_cast<unsigned>(facts.revision))
      << text("Samples         %s (format %d), %d per trace at %g ms\n", host::local::sampleFormatName(facts.format),
              facts.format, facts.samples, facts.interval / 1000.0)
      << text("Traces          %d, of which %lld live", facts.traces, static_cast<long long>(scan.liveTraces));
  if (facts.strayBytes > 0) {
    out << text("; cut inside trace %d (%lld stray bytes)", facts.traces + 1, static_cast<long long>(facts.strayBytes));
  }
  out << "\nTrace codes    ";
  const char* separator = " ";
  for (const auto& [code, traces] : scan.traceCodes) {
    const char* meaning = code == 1 ? " (live)" : code == 0 ? " (unset, taken as live)" : "";
    out << separator << text("%d%s on %d", code, meaning, traces);
    separator = ", ";
  }
  out << '\n';
  if (scan.firstNotFinite) {
    out << text("Not finite      %lld traces have samples that are no finite numbers, the first is trace %d\n",
                static_cast<long long>(scan.notFiniteTraces), *scan.firstNotFinite);
  }
}

void printHeaders(const SegyScan& scan, std::ostream& out) {
  out << "\nHeader        byte  format        least       greatest   traces with 0\n";
  for (const HeaderRange& header : scan.headers) {
    out << text("%-12s  %4d  %-7s %12.10g  %13.10g  %14lld%s\n", header.name.c_str(), header.field.byte,
                host::local::nameOf(header.field.format), header.least, header.greatest,
                static_cast<long long>(header.zeros), header.constant() ? "  constant" : "");
  }
}

void printEnsembles(const SegyScan& scan, std::ostream& out) {
  out << text("\nEnsembles       %d by %s, %d to %d, %s\n", scan.ensembles, scan.input.primaryKey.c_str(),
              scan.firstKey, scan.lastKey, scan.inOrder ? "in order in the file" : "not in order in the file")
      << text("Largest         %d traces, at %s %d\n", scan.largestEnsemble(), scan.input.primaryKey.c_str(),
              scan.largestKey)
      << "Fold      ensembles\n";
  int most = 1;
  for (const auto& [fold, ensembles] : scan.folds) most = std::max(most, ensembles);
  for (const auto& [fold, ensembles] : scan.folds) {
    const int width = static_cast<int>((static_cast<long long>(ensembles) * histogramWidth + most - 1) / most);
    out << text("%6d %12d  ", fold, ensembles) << std::string(static_cast<std::size_t>(width), '*') << '\n';
  }
}

}  // namespace

void printScan(const SegyScan& scan, std::ostream& out) {
  printFile(scan, out);
  printHeaders(scan, out);
  printEnsembles(scan, out);
}

}  // namespace app
