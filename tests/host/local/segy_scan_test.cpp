#include "host/local/segy_scan.h"

#include <cmath>
#include <random>
#include <tuple>

#include "host/local/job_file.h"
#include "host/local/suggested_job.h"
#include "segy_image.h"

namespace host::local {
namespace {

using korvane_test::expectParts;
using korvane_test::writeFile;

constexpr HeaderField receiverX{81};

/// What a scan of an image finds.
class Scan : public SegyTest {
 protected:
  SegyScan scan(const SegyImage& image, const ScanLimits& limits = {}) {
    writeFile(input.file, image.bytes());
    return scanSegy(input, warnings, limits);
  }
};

/// Where the headers of a made line stand.
struct Places {
  HeaderField cdp = cdpField, offset = offsetField, source = sourceXField, receiver = receiverX, middle = cdpXField;
};

/// A 2D line of shots of 12 channels, 50 apart in both, in the order of the shots or of the CDPs.
SegyImage line(const Places& at, bool byCdp, int scalar = 1) {
  SegyImage image;
  const int unit = scalar < 0 ? -scalar : 1;
  const auto add = [&](int shot, int channel) {
    const int source = 1000 + 50 * shot, receiver = source + 100 + 50 * channel;
    SegyImage::Trace& trace = image.add(0);
    trace.fields = {{codeField, 1},
                    {scalarField, scalar},
                    {at.offset, channel % 2 == 0 ? receiver - source : source - receiver},
                    {at.cdp, 2 * shot + channel},
                    {HeaderField{9}, 100 + shot},
                    {HeaderField{13}, channel + 1},
                    {at.source, source * unit},
                    {at.receiver, receiver * unit},
                    {at.middle, (source + receiver) / 2 * unit}};
    trace.samples = {1.0, -1.0, 2.0, -2.0};
  };
  for (int i = 0; i < 20 * 12 && !byCdp; ++i) add(i / 12, i % 12);
  for (int cdp = 0; cdp < 50 && byCdp; ++cdp) {
    for (int channel = cdp % 2; channel < 12; channel += 2) {
      if (cdp >= channel && cdp - channel < 40) add((cdp - channel) / 2, channel);
    }
  }
  return image;
}

const HeaderFinding& at(const SegyScan& scan, int byte) {
  for (const HeaderFinding& finding : scan.survey.findings) {
    if (finding.field.byte == byte) return finding;
  }
  throw std::runtime_error("nothing found at byte " + std::to_string(byte));
}

TEST_F(Scan, CountsWhatIsThereAndTheJobThatItSuggestsCanBeReadAndFits) {
  input.file = folder / "odd \"name\\.sgy";
  input.layout.fields["SG_CDP"] = {201, HeaderFormat::int16};
  input.layout.fields["OFFSET"] = {233, HeaderFormat::float32};
  for (const bool threeD : {true, false}) {
    SCOPED_TRACE(threeD ? "3D" : "2D");
    SegyImage image;
    for (int i = 0; i < 22; ++i) {  // CDPs 5 to 0, the last with two traces only
      image.add(5 - i / 4, 1.0,
                {{inlineField, threeD ? 10 + i / 8 : 1},
                 {crosslineField, 50 + i % 8 / 4},
                 {input.layout.fields["OFFSET"], 100 * (i - 2)},
                 {codeField, i % 3}});
    }
    image.traces[0].samples[0] = std::nan("");
    writeFile(input.file, image.bytes() + "tail");
    const SegyScan scan = scanSegy(input, warnings);
    EXPECT_EQ(scan.facts.traces, 22);
    EXPECT_EQ(scan.facts.strayBytes, 4);
    EXPECT_EQ(scan.liveTraces, 14);
    EXPECT_EQ(scan.traceCodes, (std::map<int, int>{{0, 8}, {1, 7}, {2, 7}}));
    const EnsembleFindings& ensembles = scan.ensembles;
    EXPECT_EQ(ensembles.folds, (std::map<int, int>{{2, 1}, {4, 5}}));
    EXPECT_EQ(std::tuple(ensembles.firstKey, ensembles.lastKey, ensembles.largestKey, ensembles.inOrder),
              std::tuple(0, 5, 1, false));
    const HeaderRange& offset = scan.header("OFFSET");
    EXPECT_EQ(std::tuple(offset.least, offset.greatest, offset.zeros), std::tuple(-200.0, 1900.0, 1));

    const std::filesystem::path file = folder / "job.toml";
    writeFile(file, suggestJob(scan));
    warnings.texts.clear();
    const JobFile job = readJobFile(file, warnings);
    EXPECT_TRUE(warnings.texts.empty());
    EXPECT_EQ(job.is3D, threeD);
    EXPECT_EQ(job.input.layout.fields, input.layout.fields);
    EXPECT_EQ(job.parameters.integer(threeD ? "MINILINE" : "MINCDP"), threeD ? 10 : 0);
    EXPECT_EQ(job.parameters.integer(threeD ? "MAXXLINE" : "MAXCDP"), threeD ? 51 : 5);
    EXPECT_EQ(job.parameters.integer("FOLD"), 2);
    EXPECT_NO_THROW(SegyData(job.input, warnings));  // the file, cut as it is
  }
}

TEST_F(Scan, HeadersAtTheirUsualPlacesAreConfirmedByTheGeometryInAnyOrderOfTracesAndBytes) {
  for (const bool byCdp : {true, false}) {
    for (const bool littleEndian : {true, false}) {
      SegyImage image = line({}, byCdp, -10);
      image.littleEndian = littleEndian;
      const SegyScan found = scan(image);
      EXPECT_TRUE(found.survey.moved.empty());
      EXPECT_TRUE(found.survey.missing.empty());
      EXPECT_TRUE(found.survey.remarks.empty());
      for (const auto& [byte, looks] : {std::pair{21, "CDP"},
                                        {37, "offset"},
                                        {73, "source"},
                                        {81, "receiver"},
                                        {181, "midpoint"},
                                        {9, "of the source"}}) {
        EXPECT_EQ(at(found, byte).looks, looks) << byte << (byCdp ? " by CDP" : " by shot");
      }
    }
  }
}

TEST_F(Scan, HeadersAtOddPlacesAreFoundAndStandInTheJob) {
  const Places odd{.cdp = {205}, .offset = {225, HeaderFormat::float32}, .source = {209}, .receiver = {217}};
  const auto fields = [&](const Places& places, bool byCdp) {
    writeFile(folder / "job.toml", suggestJob(scan(line(places, byCdp))));
    return readJobFile(folder / "job.toml", warnings).input.layout.fields;
  };
  // offset and CDP by coordinates that are where they should be
  auto found = fields({.cdp = odd.cdp, .offset = odd.offset, .middle = {233}}, false);
  EXPECT_EQ(found["CDP"], odd.cdp);
  EXPECT_EQ(found["OFFSET"], odd.offset);
  EXPECT_EQ(found["CDP_X"], HeaderField{233});
  // coordinates by the offset, and the CDP by them
  found = fields({.cdp = odd.cdp, .source = odd.source, .receiver = odd.receiver}, false);
  EXPECT_EQ(found["CDP"], odd.cdp);
  EXPECT_EQ(found["SOU_X"], odd.source);
  EXPECT_EQ(found["REC_X"], odd.receiver);
  // a float where a whole number should be
  EXPECT_EQ(fields({.offset = {37, HeaderFormat::float32}}, true)["OFFSET"], (HeaderField{37, HeaderFormat::float32}));
  // the CDP by runs of neighbouring traces, without coordinates
  SegyImage image;
  for (int i = 0; i < 40; ++i) image.add(0, 1.0, {{odd.cdp, 7 + i / 5}, {offsetField, 100 * (i % 5)}});
  EXPECT_EQ(scan(image).survey.layout.fields["CDP"], odd.cdp);
}

TEST_F(Scan, PlacesThatNothingMapsAreDescribedByHowTheyGoOnFromTraceToTrace) {
  constexpr int traces = 200;
  SegyImage image;
  for (int i = 0; i < traces; ++i) {
    image.add(i / 4, 1.0,
              {{offsetField, 100 * (i % 4)},
               {HeaderField{201}, i < 150 ? 7 : 9},
               {HeaderField{205}, -i * i + (i == 100 ? 500 : 0)},
               {HeaderField{209}, 1000 - 3 * i},
               {HeaderField{213}, i % 10},
               {HeaderField{217}, i * 7919 % 101}});
  }
  const SegyScan found = scan(image);
  for (const auto& [byte, looks, why] : {std::tuple{201, "steps", "constant within neighbouring traces, 2 values"},
                                         {205, "slope", "falls from trace to trace"},
                                         {209, "counter", "goes down by 3 from trace to trace"},
                                         {213, "counter", "goes up by one, and begins anew"},
                                         {217, "?", "no pattern, 101 values"}}) {
    EXPECT_EQ(at(found, byte).looks, looks);
    EXPECT_EQ(at(found, byte).why, why);
  }
}

TEST_F(Scan, CoordinatesThatDoNotGoWithTheOffsetsAreReportedAndNothingIsMoved) {
  SegyImage image = line({}, true);
  for (SegyImage::Trace& trace : image.traces) {
    for (auto& [field, value] : trace.fields) value *= field == offsetField ? 4.0 : 1.0;
  }
  SegyScan found = scan(image);
  EXPECT_TRUE(found.survey.moved.empty());
  ASSERT_EQ(found.survey.remarks.size(), 1u);
  expectParts(found.survey.remarks[0], {"0.25 times the offset"});

  image = line({.cdp = {9}}, true);  // shots where CDPs should be
  for (SegyImage::Trace& trace : image.traces) trace.fields.push_back({cdpField, trace.fields[4].second});
  found = scan(image);
  EXPECT_EQ(at(found, 21).looks, "no CDP?");
  expectParts(found.survey.remarks[0], {"do not share a midpoint"});
}

TEST_F(Scan, AGridIsFoundAwayFromItsUsualPlaceAndNeedsACdpOfItsOwnForEachNode) {
  SegyImage image;
  for (int i = 0; i < 5 * 6 * 4; ++i) {
    const int node = i / 4;
    image.add(1000 + node, 1.0,
              {{offsetField, 100 * (i % 4)}, {HeaderField{205}, 3 + node / 6}, {HeaderField{209}, 40 + node % 6}});
  }
  SegyScan found = scan(image);
  EXPECT_TRUE(found.survey.grid);
  EXPECT_EQ(found.survey.layout.fields["ILINE_NO"], HeaderField{205});
  EXPECT_EQ(found.survey.layout.fields["XLINE_NO"], HeaderField{209});

  for (int i = 0; i < 120; ++i) {  // the CDP is the crossline
    const double inlineNumber = 3 + i / 24, crossline = 40 + i / 4 % 6;
    image.traces[std::size_t(i)].fields = {
        {cdpField, crossline}, {offsetField, 100 * (i % 4)}, {inlineField, inlineNumber}, {crosslineField, crossline}};
  }
  found = scan(image);
  EXPECT_TRUE(found.survey.missing.contains("CDP"));
  for (int i = 0; i < 120; ++i) image.traces[std::size_t(i)].fields.push_back({HeaderField{197}, 7 + i / 4});
  EXPECT_EQ(scan(image).survey.layout.fields["CDP"], HeaderField{197});
}

TEST_F(Scan, WhatAFileDoesNotHoldIsALineThatTheJobIsRefusedForUntilItIsFilledIn) {
  SegyImage image{.measurement = 0};
  for (int i = 0; i < 5; ++i) image.add(0, 1.0, {{codeField, 0}});
  std::string job = suggestJob(scan(image));
  for (const auto& [asked, filled] : {std::pair{"units       = \"?\"", "units = \"feet\""},
                                      {"CDP         = \"?\"", "CDP = 21"},
                                      {"OFFSET      = \"?\"", "OFFSET = 37"},
                                      {"MINCDP      = \"?\"", "MINCDP = 0"},
                                      {"MAXCDP      = \"?\"", "MAXCDP = 0"}}) {
    const auto refusal = korvane_test::refusal([&] {
      writeFile(folder / "job.toml", job);
      readJobFile(folder / "job.toml", warnings);
    });
    EXPECT_NE(refusal.find("\"?\""), std::string::npos) << refusal;
    ASSERT_NE(job.find(asked), std::string::npos) << asked;
    job.replace(job.find(asked), std::string(asked).size(), filled);
  }
  writeFile(folder / "job.toml", job);
  EXPECT_NO_THROW(readJobFile(folder / "job.toml", warnings));
}

TEST_F(Scan, SamplesAreToldApartWhateverTheHeaderSaysAndReadAsTheJobSays) {
  std::mt19937 random(7);
  std::normal_distribution<double> normal(0.0, 1000.0);
  std::vector<double> values(3000);
  for (double& value : values) value = normal(random);
  for (const bool littleEndian : {false, true}) {
    for (const int format : {1, 2, 5}) {
      SegyImage image{.littleEndian = littleEndian, .format = format, .samples = 1000};
      for (int i = 0; i < 3; ++i) {
        image.add(i, 0.0, {{offsetField, 100 * i}})
            .samples.assign(values.begin() + 1000 * i, values.begin() + 1000 * (i + 1));
        // an IBM float is normal when its fraction fills six digits
        if (format == 1) {
          for (double& v : image.traces.back().samples)
            v = std::copysign(1048576.0 + std::fmod(std::abs(v) * 9973.0, 15728639.0), v);
        }
      }
      std::string bytes = image.bytes();
      for (const int stated : {1, 2, 5}) {
        SCOPED_TRACE(std::to_string(format) + " said to be " + std::to_string(stated));
        bytes[littleEndian ? 3224 : 3225] = char(stated);
        writeFile(input.file, bytes);
        const SegyScan found = scanSegy(input, warnings);
        EXPECT_EQ(found.samples.words.format(), format);
        EXPECT_EQ(found.facts.format, stated);  // nothing is decoded in another way by itself
        writeFile(folder / "job.toml", suggestJob(found));
        const JobFile job = readJobFile(folder / "job.toml", warnings);
        EXPECT_EQ(job.input.format, stated == format ? 0 : format);
        EXPECT_EQ(SegyFile(job.input, warnings).facts().format, format);
      }
    }
  }
  SegyImage same{.samples = 2000};
  same.add(1, 8.0);
  EXPECT_FALSE(scan(same).samples.words.format());  // one value tells nothing
}

TEST_F(Scan, DeadConstantWildAndNotFiniteTracesAreCounted) {
  SegyImage image{.samples = 6};
  for (int i = 0; i < 40; ++i) {
    image.add(i / 4, 1.0, {{offsetField, 10 * (i % 4)}, {codeField, i == 8 ? 4 : 1}});
    image.traces.back().samples = {9.0, -9.0, 5.0, -5.0, 1.0, -1.0};
  }
  image.traces[3].samples.assign(6, 0.0);
  image.traces[4].samples.assign(6, 2.0);
  image.traces[5].samples[2] = std::nan("");
  for (double& sample : image.traces[6].samples) sample *= 100.0;
  image.traces[7].samples[5] = 8.0;  // noise that the early samples hide
  const SampleFindings found = scan(image).samples;
  EXPECT_EQ(found.traces, 40);
  for (const auto& [tally, first] :
       {std::pair{found.zero, 3}, {found.constant, 4}, {found.notFinite, 5}, {found.silenced, 8}}) {
    EXPECT_EQ(std::tuple(tally.traces, tally.first), std::tuple(1, first));
  }
  EXPECT_EQ(std::tuple(found.notFiniteSamples, found.firstNotFinite, found.lastNotFinite), std::tuple(1, 3, 3));
  ASSERT_EQ(found.loud.size(), 1u);
  EXPECT_EQ(found.loud[0].trace, 6);
  EXPECT_NEAR(found.loud[0].decibels, 40.0, 0.1);
  ASSERT_EQ(found.wild.size(), 2u);
  EXPECT_EQ(found.wild[1].trace, 7);

  const SegyScan spread = scan(image, {.judgedHeaders = 10, .wholeBytes = 1000, .sampledTraces = 5});
  EXPECT_EQ(spread.samples.traces, 5);
  EXPECT_EQ(spread.survey.traces, 10);
  EXPECT_EQ(spread.ensembles.ensembles, 10);  // every header was read
}

TEST_F(Scan, GapsSplitEnsemblesAndRepeatedTracesAreCounted) {
  SegyImage image;
  for (const auto& [cdp, offset] : std::vector<std::pair<int, int>>{
           {2, 100}, {2, 200}, {4, 100}, {4, 100}, {10, 100}, {2, 300}, {2, 100}, {12, 5}}) {
    image.add(cdp, 1.0, {{offsetField, offset}, {sourceXField, int(image.traces.size()) == 3 ? 1 : 0}});
  }
  const EnsembleFindings found = scan(image).ensembles;
  EXPECT_EQ(std::tuple(found.step, found.missing, found.firstMissing), std::tuple(2, 2, 6));
  EXPECT_EQ(std::tuple(found.split, found.firstSplit, found.inOrder), std::tuple(1, 2, false));
  EXPECT_EQ(std::tuple(found.repeated.traces, found.repeated.first, found.sameSpot), std::tuple(2, 3, 1));

  EnsembleSurvey many;  // more pairs than are kept: the repeated ones are found among those that are compared
  constexpr int traces = 3'000'000;
  for (int i = 0; i < traces; ++i) many.look(i, i / 2 % 5000, i / 2, 0);
  const EnsembleFindings all = many.take();
  EXPECT_EQ(all.ensembles, 5000);
  EXPECT_EQ(all.split, 5000);
  EXPECT_LT(all.compared, traces);
  EXPECT_NEAR(double(all.repeated.traces), double(all.compared) / 2.0, 10.0);
}

}  // namespace
}  // namespace host::local
