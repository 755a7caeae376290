#include "host/local/segy_data.h"

#include <iostream>
#include <limits>
#include <random>

#include "host/local/segy_scan.h"
#include "segy_image.h"

namespace host::local {
namespace {

using segy_test::allEnsembles;
using segy_test::Delivered;
using segy_test::Ensemble;
using segy_test::nextEnsemble;
using segy_test::SegyImage;
using segy_test::SegyTest;
using segy_test::writeBytes;

constexpr StandardHeaders word = standardHeaders;
constexpr double nan = std::numeric_limits<double>::quiet_NaN();

TEST_F(SegyTest, EveryFormatAndByteOrderGivesTheSameTracesAndHeaders) {
  input.layout.fields["NA_STAT"] = {203, HeaderFormat::float32};  // across two fields of the standard
  std::vector<std::int32_t> first;
  for (const bool littleEndian : {false, true}) {
    for (const int format : {1, 2, 3, 5, 8}) {
      SCOPED_TRACE("format " + std::to_string(format) + (littleEndian ? ", little endian" : ", big endian"));
      SegyImage image;
      image.littleEndian = littleEndian;
      image.format = format;
      image.samples = 5;
      SegyImage::Trace& trace = image.add(-70000);
      trace.samples = {-128, -1, 0, 7, 127};
      trace.fields.insert(trace.fields.end(), {{segy_test::offsetField, -2500},
                                               {{61, HeaderFormat::int32}, 0x01020304},
                                               {{179, HeaderFormat::int16}, -2},
                                               {{203, HeaderFormat::float32}, -12.625}});
      SegyData data = open(image);
      EXPECT_EQ(data.samples(), 5);
      EXPECT_EQ(data.interval(), 2.0f);
      const std::vector<Ensemble> all = allEnsembles(data);
      ASSERT_EQ(all.size(), 1u);
      const Delivered& delivered = all[0][0];
      EXPECT_EQ(delivered.samples, (std::vector<float>{-128, -1, 0, 7, 127}));
      EXPECT_EQ(delivered.integer(word.icdp), -70000);
      EXPECT_EQ(delivered.real(word.ioffset), -2500.0f);
      EXPECT_EQ(delivered.real(word.ina_stat), -12.625f);
      if (first.empty()) first = delivered.head;
      EXPECT_EQ(delivered.head, first);
      EXPECT_TRUE(warnings.texts.empty());
    }
  }
}

TEST_F(SegyTest, DecodesIbmFloatsExactlyNormalisedOrNot) {
  SegyImage image;
  image.format = 1;
  image.samples = 10;
  image.add(1);
  const std::pair<std::uint32_t, float> words[] = {
      {0x42640000, 100.0f},       {0xc276a000, -118.625f},
      {0x46000064, 100.0f},  // five leading zero digits
      {0x4d000000, 0.0f},    // an exponent but no fraction
      {0x41100001, 0x1.00001p0f}, {0x60ffffff, 0x1.fffffep127f},
      {0x63000647, 0x1.91cp126f}, {0x21100000, 0x1p-128f},  // below the normal range of a float
      {0x80000000, -0.0f},        {0x40800000, 0.5f}};
  std::string bytes = image.bytes();
  for (std::size_t i = 0; i < std::size(words); ++i) {
    for (std::size_t k = 0; k < 4; ++k) bytes[3840 + 4 * i + k] = char(words[i].first >> (24 - 8 * k));
  }
  writeBytes(input.file, bytes);
  SegyData data(input, warnings);
  const Ensemble ensemble = nextEnsemble(data);
  for (std::size_t i = 0; i < std::size(words); ++i) {
    EXPECT_EQ(ensemble[0].samples[i], words[i].second) << std::hex << words[i].first;
  }
}

TEST_F(SegyTest, EnsemblesAscendWithTheOrderOfTheFileInsideAndComeAsOftenAsAskedFor) {
  SegyImage image;
  const int cdps[] = {7, 7, -2, 9, 7, -2, 9, 7};
  for (int i = 0; i < 8; ++i) image.add(cdps[i], i);
  SegyData data = open(image);
  EXPECT_EQ(data.traces(), 8);
  EXPECT_EQ(data.largestEnsemble(), 4);
  data.deliver(2);
  const std::vector<Ensemble> all = allEnsembles(data);
  ASSERT_EQ(all.size(), 6u);
  const std::vector<std::vector<float>> values{{2, 5}, {0, 1, 4, 7}, {3, 6}};
  for (std::size_t i = 0; i < all.size(); ++i) {
    std::vector<float> found;
    for (const Delivered& trace : all[i]) {
      found.push_back(trace.samples[0]);
      EXPECT_EQ(trace.integer(word.icdp), (std::vector{-2, 7, 9})[i % 3]);
      EXPECT_EQ(trace.integer(word.idiskiter), i < 3 ? 1 : 2);
    }
    EXPECT_EQ(found, values[i % 3]);
  }
  EXPECT_EQ(data.tracesDelivered(), 16);
}

TEST_F(SegyTest, CoordinateScalarsDivideMultiplyOrDoNothing) {
  SegyImage image;
  for (const int scalar : {-100, 10, 0, -1}) {
    image.add(scalar).fields.insert(image.traces.back().fields.end(), {{segy_test::scalarField, scalar},
                                                                       {segy_test::sourceXField, 12345},
                                                                       {segy_test::cdpXField, 617301},
                                                                       {segy_test::cdpYField, -3}});
  }
  SegyData data = open(image);
  EXPECT_EQ(data.find(-100), (Position{6173.01, -0.03}));
  EXPECT_EQ(data.find(10), (Position{6173010.0, -30.0}));
  EXPECT_EQ(data.find(0), (Position{617301.0, -3.0}));
  EXPECT_EQ(data.find(5), std::nullopt);
  const std::vector<Ensemble> all = allEnsembles(data);
  EXPECT_EQ(all[0][0].real(word.isou_x), 123.45f);
  EXPECT_EQ(all[1][0].real(word.isou_x), 12345.0f);
  EXPECT_EQ(all[3][0].real(word.icdp_x), 6173010.0f);
}

TEST_F(SegyTest, UnsetTraceCodesAreLiveAndTracesWithNonFiniteSamplesDead) {
  SegyImage image;
  for (const int code : {1, 0, 4, 1, 0}) image.add(1).fields.push_back({segy_test::codeField, code});
  image.traces[3].samples[2] = nan;
  image.traces[4].samples[0] = std::numeric_limits<double>::infinity();
  SegyData data = open(image);
  data.deliver(3);
  for (const Ensemble& ensemble : allEnsembles(data)) {
    std::vector<int> types;
    for (const Delivered& trace : ensemble) types.push_back(trace.integer(word.itrc_type));
    EXPECT_EQ(types, (std::vector{1, 1, 4, 2, 2}));
  }
  ASSERT_EQ(warnings.texts.size(), 1u);
  expectMentions(warnings.texts[0], {"in.sgy", "2 traces", "trace 4"});
}

TEST_F(SegyTest, SamplingComesFromTheFirstTraceHeaderWhereTheBinaryHeaderCannotBeRight) {
  SegyImage image;
  for (int i = 0; i < 3; ++i) {
    image.add(i).fields.insert(image.traces.back().fields.end(),
                               {{segy_test::samplesField, 4}, {segy_test::intervalField, 3000}});
  }
  for (const int samples : {0, 5, -1}) {
    SCOPED_TRACE(samples);
    warnings.texts.clear();
    image.samples = samples;
    image.interval = 3000;
    SegyData data = open(image);
    EXPECT_EQ(data.samples(), 4);
    EXPECT_EQ(data.traces(), 3);
    EXPECT_EQ(warnings.texts.size(), 1u);
  }
  image.samples = 4;
  for (const int interval : {0, -4000}) {
    SCOPED_TRACE(interval);
    warnings.texts.clear();
    image.interval = interval;
    EXPECT_EQ(open(image).interval(), 3.0f);
    EXPECT_EQ(warnings.texts.size(), 1u);
  }
}

TEST_F(SegyTest, AFileCutInsideATraceStopsUnlessThatIsAllowed) {
  SegyImage image;
  for (int i = 0; i < 3; ++i) image.add(i);
  const std::string whole = image.bytes();
  writeBytes(input.file, whole.substr(0, whole.size() - 9));
  expectMentions(failure([&] { SegyData(input, warnings); }),
                 {"in.sgy", "trace 3", "2 whole traces", "247 stray bytes", "allow_truncated = true"});
  input.allowTruncated = true;
  SegyData data(input, warnings);
  EXPECT_EQ(data.traces(), 2);
  EXPECT_EQ(allEnsembles(data).size(), 2u);
  ASSERT_EQ(warnings.texts.size(), 1u);
  expectMentions(warnings.texts[0], {"247 stray bytes"});
}

TEST_F(SegyTest, MappedHeadersHaveWordsOfTheirOwnInTheFormatOfTheirMapping) {
  SegyImage image;
  image.add(5).fields.insert(image.traces.back().fields.end(),
                             {{{197, HeaderFormat::int32}, 50}, {{201, HeaderFormat::int16}, -7}});
  input.layout.fields["SG_CDP"] = {197, HeaderFormat::int32};
  input.layout.fields["NA_STAT"] = {201, HeaderFormat::int16};
  input.primaryKey = "SG_CDP";
  SegyData data = open(image);
  EXPECT_EQ(data.format("SG_CDP"), hdrInteger);
  EXPECT_EQ(data.primaryKeyWord(), data.index("SG_CDP") + 1);
  EXPECT_FALSE(data.exists("VEL_AZIM"));
  const int added = data.add("VEL_AZIM", "azimuth", hdrFloat);
  EXPECT_EQ(data.index("VEL_AZIM"), added);
  EXPECT_EQ(data.add("VEL_AZIM", "azimuth", hdrFloat), -1);

  const Delivered trace = nextEnsemble(data)[0];
  EXPECT_EQ(trace.head[std::size_t(data.index("SG_CDP"))], 50);
  EXPECT_EQ(trace.head[std::size_t(data.index("NA_STAT"))], -7);
  EXPECT_EQ(trace.real(word.ina_stat), -7.0f);
  EXPECT_EQ(trace.head[std::size_t(added)], 0);
  EXPECT_EQ(trace.head[128], -1);  // nothing beyond the words of a trace

  int last = added;
  for (int i = 0, index = added; index >= 0; ++i) {
    index = data.add("EXTRA" + std::to_string(i), "", hdrInteger);
    last = std::max(last, index);
  }
  EXPECT_EQ(last, rawHeaderWord - 1);
}

TEST_F(SegyTest, ACoordinateThatItsScalarTakesBeyondFloatsIsTakenAsZeroWithAWarning) {
  SegyImage image;
  image.add(1).fields = {{{73, HeaderFormat::float32}, 1e36}, {{71, HeaderFormat::int16}, 10000}};
  input.layout.fields["SOU_X"] = {73, HeaderFormat::float32};
  SegyData data = open(image);
  EXPECT_EQ(nextEnsemble(data)[0].real(word.isou_x), 0.0f);
  EXPECT_EQ(warnings.texts.size(), 1u);
}

TEST_F(SegyTest, WhatCannotBeReadIsNamedWithWhatToDo) {
  SegyImage image;
  image.add(1);
  const auto refusal = [&](const std::string& bytes) {
    writeBytes(input.file, bytes);
    return failure([&] { SegyData(input, warnings); });
  };
  expectMentions(failure([&] { SegyData(input, warnings); }), {"in.sgy", "no such file", "`input`"});
  expectMentions(refusal(""), {"in.sgy", "is empty"});
  expectMentions(refusal("not a SEG-Y file"), {"16 bytes", "3600"});
  expectMentions(refusal(std::string(5000, 'A')), {"is no SEG-Y file", "3225"});
  expectMentions(refusal(image.bytes().substr(0, 3600)), {"holds no traces"});
  expectMentions(refusal(image.bytes().substr(0, 3845)), {"no whole trace", "245 bytes", "256"});

  SegyImage odd = image;
  odd.format = 4;
  expectMentions(refusal(odd.bytes()), {"sample format 4", "Convert"});
  odd = image;
  odd.samples = 0;
  expectMentions(refusal(odd.bytes()), {"3221-3222", "samples per trace"});
  odd = image;
  odd.interval = -1;
  expectMentions(refusal(odd.bytes()), {"3217-3218: -1", "sample interval"});

  input.primaryKey = "SG_CDP";
  expectMentions(refusal(image.bytes()), {"\"SG_CDP\"", "[headers]"});
  input.layout.fields["SG_CDP"] = {197, HeaderFormat::float32};
  expectMentions(refusal(image.bytes()), {"SG_CDP", "float32", "Map it as int16 or int32"});
  for (const HeaderField field : {HeaderField{238}, HeaderField{0}, HeaderField{240, HeaderFormat::int16}}) {
    input.layout.fields["SG_CDP"] = field;
    expectMentions(refusal(image.bytes()), {"SG_CDP at byte " + std::to_string(field.byte), "1 to 240"});
  }
  input.layout.fields.erase("SG_CDP");
  std::filesystem::remove(input.file);
  std::filesystem::create_directory(input.file);
  expectMentions(failure([&] { SegyData(input, warnings); }), {"is no file"});
}

TEST_F(SegyTest, AFileThatShrinksWhileItIsReadStopsWithTheTrace) {
  SegyImage image;
  image.samples = 5000;
  for (int i = 0; i < 80; ++i) image.add(i);  // more than is fetched at once
  SegyData data = open(image);
  std::filesystem::resize_file(input.file, 3600 + 20240 + 300);
  EXPECT_EQ(nextEnsemble(data).size(), 1u);
  expectMentions(failure([&] { nextEnsemble(data); }), {"in.sgy", "trace 2 cannot be read"});
}

TEST_F(SegyTest, AnyBytesAreEitherReadOrRefused) {
  const unsigned seed = std::random_device{}();
  std::cout << "seed " << seed << '\n';
  std::mt19937 random(seed);
  const auto below = [&](std::size_t bound) {
    return std::uniform_int_distribution<std::size_t>(0, bound - 1)(random);
  };

  int read = 0, refused = 0;
  for (int round = 0; round < 600; ++round) {
    SegyImage image;
    image.littleEndian = below(2) == 0;
    image.format = std::vector{1, 2, 3, 5, 8}[below(5)];
    image.samples = int(1 + below(40));
    for (std::size_t i = 1 + below(12); i > 0; --i) image.add(int(below(4)));
    std::string bytes = image.bytes();
    // Most changes where the sizes stand.
    for (std::size_t i = below(6); i > 0; --i) {
      const std::size_t at = below(2) == 0 ? 3200 + below(400) : below(bytes.size());
      bytes[at] = char(below(256));
    }
    if (below(3) == 0) bytes[3216 + below(10)] = char(below(256));
    if (below(3) == 0) bytes[3500 + below(6)] = char(below(256));
    if (below(3) == 0) bytes.resize(below(bytes.size()));
    writeBytes(input.file, bytes);
    input.allowTruncated = below(2) == 0;
    input.layout.fields["NA_STAT"] = {int(1 + below(237)), HeaderFormat::float32};
    try {
      SegyData data(input, warnings);
      data.deliver(2);
      std::int64_t traces = 0;
      for (const Ensemble& ensemble : allEnsembles(data)) traces += std::int64_t(ensemble.size());
      EXPECT_EQ(traces, 2 * data.traces());
      EXPECT_LE(data.traces() * (240 + data.samples()), std::int64_t(bytes.size()));
      EXPECT_FALSE(suggestJob(scanSegy(input, warnings)).empty());
      ++read;
    } catch (const RunError& error) {
      EXPECT_NE(std::string(error.what()).find(input.file.string()), std::string::npos) << error.what();
      ++refused;
    }
  }
  EXPECT_GT(read, 50);
  EXPECT_GT(refused, 50);
}

}  // namespace
}  // namespace host::local
