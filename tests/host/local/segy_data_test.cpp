#include "host/local/segy_data.h"

#include <limits>
#include <random>

#include "host/local/segy_scan.h"
#include "host/local/suggested_job.h"
#include "segy_image.h"

namespace host::local {
namespace {

using korvane_test::expectParts;
using korvane_test::refusal;
using korvane_test::writeFile;

constexpr StandardHeaders word = standardHeaders;

TEST_F(SegyTest, EveryFormatAndByteOrderGivesTheSameTracesAndHeaders) {
  const HeaderField across{203, HeaderFormat::float32};  // two fields of the standard
  input.layout.fields["NA_STAT"] = across;
  std::vector<std::int32_t> first;
  for (const bool littleEndian : {false, true}) {
    for (const int format : {1, 2, 3, 5, 8}) {
      SCOPED_TRACE("format " + std::to_string(format) + (littleEndian ? ", little endian" : ", big endian"));
      SegyImage image{.littleEndian = littleEndian, .format = format, .samples = 5};
      image.add(-70000, 0.0,
                {{offsetField, -2500}, {{65}, 0x01020304}, {{179, HeaderFormat::int16}, -2}, {across, -12.625}});
      image.traces[0].samples = {-128, -1, 0, 7, 127};
      SegyData data = open(image);
      const Delivered trace = nextEnsemble(data).at(0);
      EXPECT_EQ(trace.samples, (std::vector<float>{-128, -1, 0, 7, 127}));
      EXPECT_EQ(trace.integer(word.icdp), -70000);
      EXPECT_EQ(trace.real(word.ioffset), -2500.0f);
      EXPECT_EQ(trace.real(word.ina_stat), -12.625f);
      if (first.empty()) first = trace.head;
      EXPECT_EQ(trace.head, first);
      EXPECT_TRUE(warnings.texts.empty());
    }
  }
}

TEST_F(SegyTest, EnsemblesAscendWithTheOrderOfTheFileInsideAndComeAsOftenAsAskedFor) {
  SegyImage image;
  int number = 0;
  for (const int cdp : {7, 7, -2, 9, 7, -2, 9, 7}) image.add(cdp, number++);
  SegyData data = open(image);
  data.deliver(2);
  std::string found;
  for (const Ensemble& ensemble : allEnsembles(data)) {
    found += std::to_string(ensemble[0].integer(word.idiskiter)) + ":" + std::to_string(ensemble[0].integer(word.icdp));
    for (const Delivered& trace : ensemble) found += " " + std::to_string(int(trace.samples[0]));
    found += "; ";
  }
  EXPECT_EQ(found, "1:-2 2 5; 1:7 0 1 4 7; 1:9 3 6; 2:-2 2 5; 2:7 0 1 4 7; 2:9 3 6; ");
  EXPECT_EQ(data.tracesDelivered(), 16);
}

TEST_F(SegyTest, CoordinateScalarsDivideMultiplyOrDoNothingAndLeaveOutWhatIsBeyondFloats) {
  const HeaderField odd = input.layout.fields["REC_X"] = {161, HeaderFormat::float32};
  SegyImage image;
  for (const int scalar : {-100, 10, 0}) {
    image.add(scalar, 1.0,
              {{scalarField, scalar}, {sourceXField, 12345}, {cdpXField, 617301}, {cdpYField, -3}, {odd, 1e38}});
  }
  SegyData data = open(image);
  EXPECT_EQ(data.find(-100), (Position{6173.01, -0.03}));
  EXPECT_EQ(data.find(10), (Position{6173010.0, -30.0}));
  EXPECT_EQ(data.find(0), (Position{617301.0, -3.0}));
  EXPECT_EQ(data.find(5), std::nullopt);
  const std::vector<Ensemble> all = allEnsembles(data);
  EXPECT_EQ(all[0][0].real(word.isou_x), 123.45f);
  EXPECT_EQ(all[1][0].real(word.isou_x), 12345.0f);
  EXPECT_EQ(all[2][0].real(word.icdp_x), 6173010.0f);
  EXPECT_EQ(all[2][0].real(word.irec_x), 0.0f);
  ASSERT_EQ(warnings.texts.size(), 1u);
  expectParts(warnings.texts[0], {"in.sgy: 1 trace (trace 2)", "taken as 0"});
}

TEST_F(SegyTest, APositionIsTwoNumbersThatTheWordsCanHold) {
  for (const char* name : {"CDP_X", "CDP_Y"}) input.layout.fields[name].format = HeaderFormat::float32;
  const HeaderField x = input.layout.fields["CDP_X"], y = input.layout.fields["CDP_Y"];
  SegyImage image;
  image.add(1, 1.0, {{x, std::numeric_limits<double>::quiet_NaN()}, {y, 5}});
  image.add(2, 1.0, {{x, 5}, {y, -std::numeric_limits<double>::infinity()}});
  image.add(3, 1.0, {{x, 1e38}, {y, 5}, {scalarField, 10}});
  image.add(4, 1.0, {{x, 5}, {y, 6}});
  const SegyData data = open(image);
  for (const int cdp : {1, 2, 3}) EXPECT_EQ(data.find(cdp), std::nullopt) << cdp;
  EXPECT_EQ(data.find(4), (Position{5, 6}));
}

TEST_F(SegyTest, UnsetTraceCodesAreLiveAndTracesWithNonFiniteSamplesDead) {
  SegyImage image;
  for (const int code : {1, 0, 4, 1, 0}) image.add(1, 1.0, {{codeField, code}});
  image.traces[3].samples[2] = std::numeric_limits<double>::quiet_NaN();
  image.traces[4].samples[0] = std::numeric_limits<double>::infinity();
  SegyData data = open(image);
  data.deliver(3);
  std::vector<int> types;
  for (const Ensemble& ensemble : allEnsembles(data)) {
    for (const Delivered& trace : ensemble) types.push_back(trace.integer(word.itrc_type));
  }
  EXPECT_EQ(types, (std::vector{1, 1, 4, 2, 2, 1, 1, 4, 2, 2, 1, 1, 4, 2, 2}));
  ASSERT_EQ(warnings.texts.size(), 1u);
  expectParts(warnings.texts[0], {"in.sgy", "2 traces", "trace 4"});
}

TEST_F(SegyTest, SamplingComesFromTheFirstTraceHeaderWhereTheBinaryHeaderCannotBeRight) {
  SegyImage image;
  for (int i = 0; i < 3; ++i) image.add(i, 1.0, {{samplesField, 4}, {intervalField, 3000}});
  for (const auto& [samples, interval] : {std::pair{0, 3000}, {5, 3000}, {-1, 3000}, {4, 0}, {4, -4000}}) {
    SCOPED_TRACE(std::to_string(samples) + " samples at " + std::to_string(interval));
    warnings.texts.clear();
    image.samples = samples;
    image.interval = interval;
    const SegyData data = open(image);
    EXPECT_EQ(data.samples(), 4);
    EXPECT_EQ(data.interval(), 3.0f);
    EXPECT_EQ(data.traces(), 3);
    EXPECT_EQ(warnings.texts.size(), 1u);
  }
}

TEST_F(SegyTest, AFileCutInsideATraceStopsUnlessThatIsAllowed) {
  SegyImage image;
  for (int i = 0; i < 3; ++i) image.add(i);
  const std::string whole = image.bytes();
  writeFile(input.file, whole.substr(0, whole.size() - 9));
  expectParts(refusal([&] { SegyData(input, warnings); }),
              {"in.sgy", "trace 3", "2 whole traces", "247 stray bytes", "allow_truncated = true"});
  input.allowTruncated = true;
  SegyData data(input, warnings);
  EXPECT_EQ(allEnsembles(data).size(), 2u);
  ASSERT_EQ(warnings.texts.size(), 1u);
  expectParts(warnings.texts[0], {"247 stray bytes"});
}

TEST_F(SegyTest, AddedHeadersTakeTheWordsUpToTheRawHeaderOneEach) {
  SegyImage image;
  image.add(1);
  SegyData data = open(image);
  int next = data.add("VEL_AZIM", "azimuth", hdrFloat);
  EXPECT_EQ(data.index("VEL_AZIM"), next);
  EXPECT_EQ(data.add("VEL_AZIM", "azimuth", hdrFloat), -1);
  do ++next;
  while (data.add("EXTRA" + std::to_string(next), "", hdrInteger) == next);
  EXPECT_EQ(next, rawHeaderWord);
  EXPECT_EQ(nextEnsemble(data).at(0).head[128], -1);  // nothing beyond the words of a trace
}

TEST_F(SegyTest, WhatCannotBeReadIsNamedWithWhatToDo) {
  const auto expectRefused = [&](const std::string& bytes, const std::vector<std::string>& parts) {
    writeFile(input.file, bytes);
    const std::string message = refusal([&] { SegyData(input, warnings); });
    EXPECT_TRUE(message.starts_with(input.file.string() + ": ")) << message;
    expectParts(message, parts);
  };
  expectParts(refusal([&] { SegyData({.file = folder, .layout = {}}, warnings); }), {"is a folder or a device"});
  expectParts(refusal([&] { SegyData(input, warnings); }), {"in.sgy", "no such file", "`input`"});
  SegyImage image;
  image.add(1);
  const std::string whole = image.bytes();
  expectRefused("", {"is empty"});
  expectRefused("not a SEG-Y file", {"16 bytes", "3600"});
  expectRefused(std::string(5000, 'A'), {"is no SEG-Y file", "3225"});
  expectRefused(whole.substr(0, 3600), {"holds no traces"});
  expectRefused(whole.substr(0, 3845), {"no whole trace", "245 bytes", "256"});
  for (const auto& [at, value, what] :
       {std::tuple{3225, 4, "sample format 4 (bytes 3225-3226) cannot be read. Convert"},
        {3221, 0, "(bytes 3221-3222) nor"},
        {3216, -1, "bytes 3217-3218: -"}}) {
    std::string odd = whole;
    odd[std::size_t(at)] = char(value);
    expectRefused(odd, {what});
  }
  std::string unset = whole;
  unset[3225] = 0;
  expectRefused(unset, {"3225-3226 have 0", "`format = \"ibm\"`"});
  input.format = 5;
  writeFile(input.file, unset);
  EXPECT_EQ(SegyData(input, warnings).traces(), 1);
  input.format = 0;
  input.primaryKey = "SG_CDP";
  expectRefused(whole, {"\"SG_CDP\"", "[headers]"});
  input.layout.fields["SG_CDP"] = {197, HeaderFormat::float32};
  expectRefused(whole, {"SG_CDP", "float32", "Map it as int16 or int32"});
  for (const HeaderField field : {HeaderField{238}, HeaderField{0}, HeaderField{240, HeaderFormat::int16}}) {
    input.layout.fields["SG_CDP"] = field;
    expectRefused(whole, {"SG_CDP at byte " + std::to_string(field.byte), "1 to 240"});
  }
}

TEST_F(SegyTest, AFileThatShrinksWhileItIsReadStopsWithTheTrace) {
  SegyImage image{.samples = 5000};
  for (int i = 0; i < 80; ++i) image.add(i);  // more than is fetched at once
  SegyData data = open(image);
  std::filesystem::resize_file(input.file, 3600 + 20240 + 300);
  EXPECT_EQ(nextEnsemble(data).size(), 1u);
  expectParts(refusal([&] { nextEnsemble(data); }), {"in.sgy", "trace 2 cannot be read"});
}

TEST_F(SegyTest, AnyBytesAreEitherReadOrRefused) {
  const unsigned seed = std::random_device{}();
  SCOPED_TRACE("seed " + std::to_string(seed));
  std::mt19937 random(seed);
  const auto below = [&](std::size_t bound) { return random() % bound; };
  int read = 0, refused = 0;
  for (int round = 0; round < 600; ++round) {
    SegyImage image{.littleEndian = below(2) == 0, .format = std::vector{1, 2, 3, 5, 8}[below(5)]};
    image.samples = int(1 + below(40));
    for (std::size_t i = 1 + below(12); i > 0; --i) image.add(int(below(4)));
    std::string bytes = image.bytes();
    // sampling, format and extended texts; the file headers; any bytes; the length
    if (below(3) == 0) bytes[3216 + below(10)] = char(random());
    if (below(3) == 0) bytes[3500 + below(6)] = char(random());
    for (std::size_t i = below(3); i > 0; --i) bytes[3200 + below(400)] = char(random());
    for (std::size_t i = below(3); i > 0; --i) bytes[below(bytes.size())] = char(random());
    if (below(3) == 0) bytes.resize(below(bytes.size()));
    writeFile(input.file, bytes);
    input.allowTruncated = below(2) == 0;
    input.layout.fields["NA_STAT"] = {int(1 + below(237)), HeaderFormat::float32};
    const std::string message = refusal([&] {
      SegyData data(input, warnings);
      data.deliver(2);
      std::int64_t traces = 0;
      for (const Ensemble& ensemble : allEnsembles(data)) traces += std::int64_t(ensemble.size());
      EXPECT_EQ(traces, 2 * data.traces());
      EXPECT_LE(data.traces() * (240 + data.samples()), std::int64_t(bytes.size()));
      EXPECT_FALSE(suggestJob(scanSegy(input, warnings)).empty());
      ++read;
    });
    if (message == "not refused") continue;
    expectParts(message, {input.file.string()});
    ++refused;
  }
  EXPECT_GT(read, 50);
  EXPECT_GT(refused, 50);
}

TEST_F(SegyTest, TheFactsOfAnEnsembleAreThoseOfTheTraceThatItStandsAt) {
  const HeaderField key{197};
  SegyImage image;
  image.add(7, 1, {{codeField, 2}, {inlineField, 9}});
  image.add(7, 1, {{inlineField, 2}, {crosslineField, 3}, {offsetField, 100}});
  image.add(8, 1, {{codeField, 2}});
  image.add(5, 1, {{key, 6}, {sourceXField, 10}});
  image.add(6, 1, {{key, 6}});
  SegyData data = open(image);
  std::string facts;
  const auto describe = [&](const SegyData& from) {
    facts.clear();
    for (const EnsembleFacts& e : from.ensembles()) {
      facts += std::to_string(e.traces) + (e.live ? " live at " : " dead at ") + std::to_string(e.cdp) + " " +
               std::to_string(e.iline) + " " + std::to_string(e.xline) + (e.offset ? " offset" : "") +
               (e.azimuth ? " azimuth; " : "; ");
    }
    return facts;
  };
  EXPECT_EQ(describe(data), "1 live at 5 0 0 azimuth; 1 live at 6 0 0; 2 live at 7 2 3 offset; 1 dead at 0 0 0; ");
  input.primaryKey = "SG_CDP";
  input.layout.fields["SG_CDP"] = key;
  EXPECT_EQ(describe(SegyData(input, warnings)), "3 live at 7 2 3 offset; 2 live at 6 0 0 azimuth; ");
}

}  // namespace
}  // namespace host::local
