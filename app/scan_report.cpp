#include "app/scan_report.h"

#include <algorithm>
#include <cmath>
#include <concepts>
#include <cstdarg>
#include <cstdio>
#include <map>
#include <ostream>
#include <string>
#include <vector>

#include "host/local/sample_format.h"

namespace app {

namespace {

using host::local::EnsembleFindings;
using host::local::HeaderFinding;
using host::local::HeaderRange;
using host::local::SampleFindings;
using host::local::SegyFacts;
using host::local::SegyScan;
using host::local::WordSurvey;

constexpr int histogramWidth = 40;
constexpr std::size_t mostListed = 5;
constexpr double leastAmplitude = 1e-15, greatestAmplitude = 1e15;  // whose products a float holds

[[gnu::format(printf, 1, 2)]] std::string text(const char* format, ...) {
  char buffer[1024];
  std::va_list values;
  va_start(values, format);
  std::vsnprintf(buffer, sizeof buffer, format, values);
  va_end(values);
  return buffer;
}

/// "1 trace", "2 traces"
std::string counted(std::integral auto count, const char* noun) {
  return std::to_string(count) + ' ' + noun + (count == 1 ? "" : "s");
}

/// "1 on 20, 4 on 3": values of a header and the traces that have them.
std::string valuesText(const std::map<int, int>& traces) {
  std::string result;
  std::size_t listed = 0;
  for (const auto& [value, count] : traces) {
    if (listed++ == mostListed) return result + text(", and %zu more", traces.size() - mostListed);
    if (!result.empty()) result += ", ";
    result += std::to_string(value) + " on " + std::to_string(count);
  }
  return result;
}

void printFile(const SegyScan& scan, std::ostream& out) {
  const SegyFacts& facts = scan.facts;
  out << "File            " << scan.input.file.string() << '\n'
      << text("                %lld bytes, %s endian, text in %s, revision word 0x%04x\n",
              static_cast<long long>(facts.bytes), facts.littleEndian ? "little" : "big",
              host::local::isEbcdic(facts.text) ? "EBCDIC" : "ASCII", static_cast<unsigned>(facts.revision))
      << text("Samples         %s (the header says format %d), %d per trace at %g ms\n",
              host::local::sampleFormatName(facts.format), facts.statedFormat, facts.samples, facts.interval / 1000.0)
      << text("Traces          %d, of which %lld live", facts.traces, static_cast<long long>(scan.liveTraces));
  if (facts.strayBytes > 0) {
    out << text("; cut inside trace %d (%s)", facts.traces + 1, counted(facts.strayBytes, "stray byte").c_str());
  }
  out << "\nTrace codes     " << valuesText(scan.traceCodes) << " (1 and 0 are live)\n";
}

/// What the samples look like against what the header says of them.
void printFormat(const SegyScan& scan, std::ostream& out) {
  const WordSurvey& words = scan.samples.words;
  if (words.words() == 0) return;
  const std::optional<int> seen = words.format();
  out << "Looks like      "
      << (!seen                        ? "the samples do not tell their format"
          : *seen == scan.facts.format ? text("%s, as it is read", host::local::sampleFormatName(*seen))
                                       : text("%s, BUT IS READ AS %s", host::local::sampleFormatName(*seen),
                                              host::local::sampleFormatName(scan.facts.format)))
      << text("\n                as IBM: %.1f %% unnormalised, %.1f %% absurd, 90 %% within %.1f decades\n",
              100.0 * words.unnormalised(), 100.0 * words.absurdAsIbm(), words.decadesAsIbm())
      << text("                as IEEE: %.1f %% not finite, %.1f %% absurd, 90 %% within %.1f decades; ",
              100.0 * words.notFinite(), 100.0 * words.absurd(), words.decadesAsIeee())
      << text("as int32: %.1f %% below 2^24\n", 100.0 * words.small());
}

void printHeaders(const SegyScan& scan, std::ostream& out) {
  out << text("\nTrace headers, judged on %s%d of them\n", scan.survey.traces < scan.facts.traces ? "" : "all ",
              scan.survey.traces)
      << "byte  format          least      greatest  mapped as     looks like\n";
  for (const HeaderFinding& finding : scan.survey.findings) {
    out << text("%4d  %-7s  %12.10g  %12.10g  %-12s  ", finding.field.byte, host::local::nameOf(finding.field.format),
                finding.least, finding.greatest, finding.mapped.empty() ? "-" : finding.mapped.c_str())
        << finding.looks << ": " << finding.why << '\n';
  }
  if (!scan.survey.constants.empty()) {
    out << "The same on every trace, and not mapped:";
    const char* separator = " ";
    for (const HeaderFinding& finding : scan.survey.constants) {
      out << separator << text("%d = %.10g", finding.field.byte, finding.least);
      separator = ", ";
    }
    out << '\n';
  }
}

void printEnsembles(const SegyScan& scan, std::ostream& out) {
  const EnsembleFindings& found = scan.ensembles;
  const char* key = scan.input.primaryKey.c_str();
  out << text("\nEnsembles       %d by %s at byte %d, %d to %d, %s\n", found.ensembles, key,
              scan.header(key).field.byte, found.firstKey, found.lastKey,
              found.inOrder ? "in order in the file" : "not in order in the file")
      << text("Largest         %s, at %s %d\n", counted(found.largest(), "trace").c_str(), key, found.largestKey)
      << "Fold      ensembles\n";
  int most = 1;
  for (const auto& [fold, ensembles] : found.folds) most = std::max(most, ensembles);
  for (const auto& [fold, ensembles] : found.folds) {
    const int width = static_cast<int>((static_cast<long long>(ensembles) * histogramWidth + most - 1) / most);
    out << text("%6d %12d  ", fold, ensembles) << std::string(static_cast<std::size_t>(width), '*') << '\n';
  }
}

using Sentences = std::vector<std::string>;

std::string rangeText(const HeaderRange& range) {
  return range.constant() ? text("%g", range.least) : text("%g to %g", range.least, range.greatest);
}

void remarkOnHeaders(const SegyScan& scan, Sentences& remarks) {
  for (const auto& [name, why] : scan.survey.moved) {
    const host::local::HeaderField field = scan.header(name).field;
    remarks.push_back(text("%s is taken from byte %d (%s): %s. Check it.", name.c_str(), field.byte,
                           host::local::nameOf(field.format), why.c_str()));
  }
  remarks.insert(remarks.end(), scan.survey.remarks.begin(), scan.survey.remarks.end());
  if (scan.survey.missing.contains("OFFSET") && scan.header("OFFSET").least != 0.0) {
    remarks.push_back(text("Every trace has the offset %g.", scan.header("OFFSET").least));
  }
  if (scan.otherSampling) {
    remarks.push_back("Trace headers have " + rangeText(scan.header("SAMPLES")) + " samples at " +
                      rangeText(scan.header("INTERVAL")) +
                      text(" microseconds, other than the %d at %d that fit the file and are used: ",
                           scan.facts.samples, scan.facts.interval) +
                      scan.otherSampling.text() + ".");
  }
}

bool isPowerOfTen(int scalar) {
  const double exponent = scalar == 0 ? 0.0 : std::log10(std::abs(static_cast<double>(scalar)));
  return exponent == std::round(exponent);
}

void remarkOnScalar(const char* what, const std::map<int, int>& scalars, bool used, Sentences& remarks) {
  const std::string values = valuesText(scalars);
  if (scalars.size() > 1) remarks.push_back(text("The %s scalar changes: %s.", what, values.c_str()));
  for (const auto& [scalar, traces] : scalars) {
    if (!isPowerOfTen(scalar)) {
      remarks.push_back(
          text("The %s scalar is %d on %s, which is no power of ten.", what, scalar, counted(traces, "trace").c_str()));
    } else if (scalar == 0 && used) {
      remarks.push_back(text("The %s scalar is 0 on %s; taken as 1.", what, counted(traces, "trace").c_str()));
    } else if (scalar != 0 && scalar != 1) {
      remarks.push_back(text("The %s scalar %d %s by %lld.", what, scalar, scalar < 0 ? "divides" : "multiplies",
                             std::llabs(scalar)));
    }
  }
}

void remarkOnScalars(const SegyScan& scan, Sentences& remarks) {
  const char* coordinates[] = {"SOU_X", "SOU_Y", "REC_X", "REC_Y", "CDP_X", "CDP_Y"};
  const bool used = std::any_of(std::begin(coordinates), std::end(coordinates),
                                [&](const char* name) { return scan.header(name).zeros < scan.facts.traces; });
  remarkOnScalar("coordinate", scan.coordinateScalars, used, remarks);
  remarkOnScalar("elevation", scan.elevationScalars, false, remarks);
  if (scan.delays.size() > 1 || scan.delays.begin()->first != 0) {
    remarks.push_back("The delay recording time (byte 109, ms) is not 0: " + valuesText(scan.delays) +
                      ". A run takes the first sample as time 0: shift the traces first if that is not so.");
  }
}

/// The loudest ones.
std::string loudText(const SampleFindings::Louds& louds) {
  std::string result;
  for (std::size_t i = 0; i < std::min(louds.size(), mostListed); ++i) {
    result += text("%strace %d by %.0f dB", i == 0 ? "" : ", ", louds[i].trace + 1, louds[i].decibels);
  }
  return louds.size() > mostListed ? result + " and more" : result;
}

void remarkOnSamples(const SegyScan& scan, Sentences& remarks) {
  const SampleFindings& found = scan.samples;
  if (found.traces < scan.facts.traces) {
    remarks.push_back(
        text("Of this large file the samples of %lld traces were looked at, spread over it; what is said "
             "of samples holds for them. Every header was read.",
             static_cast<long long>(found.traces)));
  }
  if (found.notFinite) {
    remarks.push_back(text("%s without a finite number, between sample %d and sample %d of the trace: ",
                           counted(found.notFiniteSamples, "sample").c_str(), found.firstNotFinite,
                           found.lastNotFinite) +
                      found.notFinite.text() + ". A run takes such traces as dead.");
  }
  if (found.zero) remarks.push_back("All samples 0: " + found.zero.text() + ".");
  if (found.constant) remarks.push_back("All samples one value other than 0: " + found.constant.text() + ".");
  if (found.silenced) {
    remarks.push_back("Dead by their trace code, with a signal: " + found.silenced.text() + ".");
  }
  if (found.medianRms > 0.0 && (found.medianRms < leastAmplitude || found.medianRms > greatestAmplitude)) {
    remarks.push_back(
        text("The median RMS of the traces is %.4g. A run multiplies amplitudes in single precision: scale "
             "them to between %g and %g.",
             found.medianRms, leastAmplitude, greatestAmplitude));
  }
  if (!found.loud.empty()) {
    remarks.push_back(text("%s more than %g dB above the median RMS of the file, %.4g: ",
                           counted(found.loud.size(), "trace").c_str(), SampleFindings::loudFrom, found.medianRms) +
                      loudText(found.loud) + ".");
  }
  if (!found.wild.empty() && !scan.header("OFFSET").constant()) {
    remarks.push_back(text("Noise? %s more than %g dB above the median of traces of like offset in the last third: ",
                           counted(found.wild.size(), "trace").c_str(), SampleFindings::wildFrom) +
                      loudText(found.wild) + ".");
  }
}

void remarkOnEnsembles(const SegyScan& scan, Sentences& remarks) {
  const EnsembleFindings& found = scan.ensembles;
  const char* key = scan.input.primaryKey.c_str();
  if (found.split > 0) {
    remarks.push_back(text("%s in more than one stretch of the file, the first is %s %d; a run joins the stretches.",
                           counted(found.split, "ensemble").c_str(), key, found.firstSplit));
  }
  if (found.step > 1) remarks.push_back(text("%s goes in steps of %d.", key, found.step));
  if (found.missing > 0) {
    remarks.push_back(text("No trace for %s between the first and the last %s, the first is %d.",
                           counted(found.missing, "number").c_str(), key, found.firstMissing));
  }
  if (!found.repeated || found.ensembles == 1) return;
  std::string repeated =
      "Same " + scan.input.primaryKey + " and offset as an earlier trace: " + found.repeated.text() +
      text("; %lld of them at its source and receiver coordinates too", static_cast<long long>(found.sameSpot));
  if (found.compared < scan.facts.traces) {
    repeated += text("; of %lld traces that were compared", static_cast<long long>(found.compared));
  }
  remarks.push_back(repeated + ".");
}

/// What keeps a run from doing any good, and what to do about it.
Sentences obstaclesOf(const SegyScan& scan) {
  Sentences obstacles;
  if (scan.facts.strayBytes > 0) {
    obstacles.push_back(
        text("The file ends inside trace %d. Replace it by a whole copy, or set `allow_truncated = true` "
             "in [data] to use the %s.",
             scan.facts.traces + 1, counted(scan.facts.traces, "whole trace").c_str()));
  }
  if (const int format = scan.otherFormat(); format != 0) {
    obstacles.push_back(text("The samples are read as %s and look like %s. If they are: `format = \"%s\"` in [data].",
                             host::local::sampleFormatName(scan.facts.format), host::local::sampleFormatName(format),
                             host::local::sampleFormatKey(format).c_str()));
  }
  const auto missing = [&](const char* name) { return scan.survey.missing.contains(name); };
  if (missing("CDP")) {
    obstacles.push_back("CDP: " + scan.survey.missing.at("CDP") +
                        ". Give its byte in [headers], or write the numbers into the file.");
  }
  if (missing("OFFSET")) {
    obstacles.push_back(
        "OFFSET: the same on every trace, and no other place looks like one. Without offsets there are "
        "no angles: give their byte in [headers], or write them into the file; if the traces are "
        "stacked, take the gathers.");
  }
  if (!missing("CDP") && scan.ensembles.largest() < 3) {
    obstacles.push_back(
        text("Ensembles have at most %s: no prestack CDP gathers. Take the gathers, or give "
             "the byte of the right CDP in [headers].",
             counted(scan.ensembles.largest(), "trace").c_str()));
  }
  if (scan.isSilenced()) {
    std::string silenced = "No trace is live by its trace code. If they are, ";
    silenced += scan.survey.zeroWord == 0
                    ? "set the codes in the file to 1."
                    : text(
                          "map the code to a word that is 0: `TRC_TYPE = { byte = %d, format = \"int16\" }` in "
                          "[headers].",
                          scan.survey.zeroWord);
    obstacles.push_back(silenced);
  } else if (scan.liveTraces == 0) {
    obstacles.push_back(scan.samples.notFinite
                            ? "No trace is live with finite samples. Replace the samples that are no numbers, by 0 for "
                              "instance."
                            : "No trace is live by its trace code, and none that was looked at has a signal. Take "
                              "another file, or set the codes in the file to 1.");
  }
  return obstacles;
}

void printSentences(const char* heading, const Sentences& sentences, std::ostream& out) {
  if (sentences.empty()) return;
  out << '\n' << heading << '\n';
  for (const std::string& sentence : sentences) out << "- " << sentence << '\n';
}

}  // namespace

void printScan(const SegyScan& scan, std::ostream& out) {
  printFile(scan, out);
  printFormat(scan, out);
  printHeaders(scan, out);
  printEnsembles(scan, out);

  Sentences remarks;
  remarkOnHeaders(scan, remarks);
  remarkOnScalars(scan, remarks);
  remarkOnSamples(scan, remarks);
  remarkOnEnsembles(scan, remarks);
  printSentences("Worth a look:", remarks, out);
  const Sentences obstacles = obstaclesOf(scan);
  if (obstacles.empty()) out << "\nNothing was found that keeps a run from using this file.\n";
  printSentences("In the way of a run:", obstacles, out);
}

}  // namespace app
