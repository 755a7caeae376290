#include <sys/resource.h>

#include <csignal>

#include "host/local/segy_text.h"
#include "segy_image.h"

namespace host::local {
namespace {

using korvane_test::expectParts;
using korvane_test::readFile;
using korvane_test::refusal;

constexpr StandardHeaders word = standardHeaders;

class SegyOutputTest : public SegyTest {
 protected:
  /// Two live traces of CDP 6 whose header bytes are all set.
  static SegyImage fullHeaders() {
    SegyImage::Fields fields;
    for (int byte = 1; byte < 240; byte += 2) fields.push_back({{byte, HeaderFormat::int16}, 257.0 * (byte % 100)});
    fields.insert(fields.end(), {{cdpField, 6}, {codeField, 1}, {samplesField, 4}, {intervalField, 2000}});
    SegyImage image;
    for (int i = 0; i < 2; ++i) image.add(6, 1.0, fields);
    return image;
  }

  std::filesystem::path target() const { return folder / "out.sgy"; }
};

TEST_F(SegyOutputTest, CarriesEveryByteOfTheInputHeaderButThoseOfTheRunWhereTheyAreMapped) {
  const HeaderField type = input.layout.fields["TRC_TYPE"] = {177};
  const HeaderField azimuth = input.layout.fields["VEL_AZIM"] = {201, HeaderFormat::float32};
  const SegyImage image = fullHeaders();
  SegyData data = open(image);
  SegyOutput output(target(), data, {});
  Delivered trace = nextEnsemble(data)[1];
  TraceHeader expected, found;
  std::copy_n(&image.bytes()[3600 + 256], 240, expected.begin());
  for (const auto& [at, field, value] :
       std::vector<std::tuple<int, HeaderField, int>>{{word.itrc_type, type, 51},
                                                      {word.itr_fold, {33, HeaderFormat::int16}, -3},
                                                      {word.iend_ens, {237, HeaderFormat::int16}, 1},
                                                      {word.ilseg_seq, {239, HeaderFormat::int16}, 9}}) {
    trace.head[std::size_t(at - 1)] = value;
    writeField(expected, field, value);
  }
  trace.head[std::size_t(data.index("VEL_AZIM"))] = std::bit_cast<std::int32_t>(22.5f);
  writeField(expected, azimuth, 22.5);
  for (const int number : {1, 5}) writeField(expected, {number}, 2);

  for (int i = 0; i < 2; ++i) output.put(trace.samples.data(), trace.head.data());
  output.finish();
  std::copy_n(&readFile(target())[3600 + 256], 240, found.begin());
  EXPECT_EQ(found, expected);
}

TEST_F(SegyOutputTest, IsRevision1IeeeBigEndianWhateverTheInputIs) {
  SegyImage image{.littleEndian = true, .format = 3, .revision = 0, .samples = 6, .interval = 4000, .extraTexts = 7};
  image.add(11, -32768);
  SegyData data = open(image);
  SegyOutput output(target(), data, {});
  const Delivered trace = nextEnsemble(data)[0];
  output.put(trace.samples.data(), trace.head.data());
  output.finish();

  EXPECT_EQ(readFile(target()).substr(3500, 6), std::string({1, 0, 0, 1, 0, 0}));  // revision, fixed length, no texts
  input.file = target();
  SegyData again(input, warnings);
  const Delivered copy = nextEnsemble(again)[0];
  EXPECT_EQ(again.interval(), 4.0f);
  EXPECT_EQ(copy.samples, trace.samples);
  EXPECT_EQ(copy.integer(word.icdp), 11);
  EXPECT_TRUE(warnings.texts.empty());
}

TEST_F(SegyOutputTest, TheTargetChangesOnlyWhenTheOutputIsFinished) {
  SegyData data = open(fullHeaders());
  const Delivered trace = nextEnsemble(data)[0];
  korvane_test::writeFile(target(), "earlier");
  for (const bool whole : {false, true}) {
    SegyOutput output(target(), data, {});
    output.put(trace.samples.data(), trace.head.data());
    EXPECT_EQ(readFile(target()), "earlier");
    if (whole) output.finish();
  }
  EXPECT_EQ(readFile(target()).size(), 3600u + 256);
  EXPECT_EQ(filesInFolder(), 2);
}

TEST_F(SegyOutputTest, WhatCannotBeWrittenIsNamedAndLeavesNothingBehind) {
  SegyData data = open(fullHeaders());
  const Delivered trace = nextEnsemble(data)[0];
  expectParts(refusal([&] { SegyOutput(folder / "none" / "out.sgy", data, {}); }),
              {"none/out.sgy", "No such file or directory"});
  expectParts(refusal([&] { SegyOutput(folder, data, {}); }), {folder.string(), "directory"});
  expectParts(refusal([&] { SegyOutput(input.file, data, {}); }), {"in.sgy", "replace the input", "`output`"});

  // A limit on the size of files stands for a full disk.
  const auto handler = std::signal(SIGXFSZ, SIG_IGN);
  rlimit before{};
  getrlimit(RLIMIT_FSIZE, &before);
  const rlimit small{8000, before.rlim_max};
  setrlimit(RLIMIT_FSIZE, &small);
  const std::string message = refusal([&] {
    SegyOutput output(target(), data, {});
    for (int i = 0; i < 100; ++i) output.put(trace.samples.data(), trace.head.data());
    output.finish();
  });
  setrlimit(RLIMIT_FSIZE, &before);
  std::signal(SIGXFSZ, handler);
  expectParts(message, {"out.sgy", "cannot be written", "File too large"});
  EXPECT_EQ(filesInFolder(), 1);
}

TEST(SegyText, NotesTakeTheLastBlankCardsAndLeaveTheEndMarks) {
  std::vector<std::string> lines(40);
  for (const std::size_t i : {30, 36}) lines[i] = "kept {1} @ 5~6";
  SegyText text = ebcdicText(lines);
  addNotes(text, {"first", std::string(100, 'x')});
  const std::vector<std::string> found = cards(text);
  for (const auto& [number, line] : {std::pair{31u, "C31 kept {1} @ 5~6"},
                                     {34u, "C34"},
                                     {35u, "C35 first"},
                                     {37u, "C37 kept {1} @ 5~6"},
                                     {38u, "C38 xxxxxxxxxxxxxxxxxxxxxxxx"},
                                     {39u, "C39"}}) {
    EXPECT_EQ(found[number - 1].substr(0, found[number - 1].find_last_not_of(' ') + 1), line);
  }
}

}  // namespace
}  // namespace host::local
