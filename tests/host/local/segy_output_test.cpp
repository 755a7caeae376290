#include <sys/resource.h>

#include <csignal>

#include "host/local/big_endian.h"
#include "host/local/segy_data.h"
#include "host/local/segy_text.h"
#include "segy_image.h"

namespace host::local {
namespace {

using segy_test::Delivered;
using segy_test::nextEnsemble;
using segy_test::readBytes;
using segy_test::SegyImage;
using segy_test::writeBytes;

constexpr StandardHeaders word = standardHeaders;

std::uint32_t big16(const std::string& bytes, std::size_t at) {
  return loadBig16(reinterpret_cast<const unsigned char*>(bytes.data()) + at);
}
std::uint32_t big32(const std::string& bytes, std::size_t at) {
  return loadBig32(reinterpret_cast<const unsigned char*>(bytes.data()) + at);
}

class SegyOutputTest : public segy_test::SegyTest {
 protected:
  /// Two live traces of CDP 6 whose header bytes are all set.
  SegyImage fullHeaders() {
    SegyImage image;
    for (int i = 0; i < 2; ++i) {
      SegyImage::Trace& trace = image.add(6);
      std::vector<std::pair<HeaderField, double>> bytes;
      for (int byte = 1; byte < 240; byte += 2) bytes.push_back({{byte, HeaderFormat::int16}, 257.0 * (byte % 100)});
      trace.fields.insert(trace.fields.begin(), bytes.begin(), bytes.end());
      trace.fields.insert(trace.fields.end(), {{segy_test::samplesField, 4}, {segy_test::intervalField, 2000}});
    }
    return image;
  }

  std::size_t filesInFolder() const {
    return std::size_t(std::distance(std::filesystem::directory_iterator(folder), {}));
  }

  std::filesystem::path target() const { return folder / "out.sgy"; }
};

TEST_F(SegyOutputTest, CarriesEveryByteOfTheInputHeaderButThoseOfTheRun) {
  const SegyImage image = fullHeaders();
  SegyData data = open(image);
  const int azimuth = data.add("VEL_AZIM", "azimuth", hdrFloat);
  SegyOutput output(target(), data, {});
  Delivered trace = nextEnsemble(data)[1];
  trace.head[std::size_t(word.itrc_type - 1)] = 51;
  trace.head[std::size_t(word.itr_fold - 1)] = -3;
  trace.head[std::size_t(word.iend_ens - 1)] = 1;
  trace.head[std::size_t(word.ilseg_seq - 1)] = 9;
  trace.head[std::size_t(azimuth)] = std::bit_cast<std::int32_t>(22.5f);
  const float samples[] = {1.0f, -2.5f, 0.0f, 1e-40f};
  output.put(samples, trace.head.data());
  output.put(samples, trace.head.data());
  output.finish();

  const std::string in = image.bytes(), out = readBytes(target());
  ASSERT_EQ(out.size(), 3600u + 2 * 256);
  std::string expected = in.substr(3600 + 256, 240);
  const std::string patched = out.substr(3600 + 256, 240);
  for (const auto& [byte, count] : {std::pair{1, 8}, {29, 2}, {33, 2}, {233, 8}}) {
    expected.replace(std::size_t(byte - 1), std::size_t(count), patched, std::size_t(byte - 1), std::size_t(count));
  }
  EXPECT_EQ(patched, expected);
  EXPECT_EQ(big32(patched, 0), 2u);
  EXPECT_EQ(big32(patched, 4), 2u);
  EXPECT_EQ(big16(patched, 28), 51u);
  EXPECT_EQ(big16(patched, 32), 0xfffdu);
  EXPECT_EQ(big32(patched, 232), std::bit_cast<std::uint32_t>(22.5f));
  EXPECT_EQ(big16(patched, 236), 1u);
  EXPECT_EQ(big16(patched, 238), 9u);
  for (std::size_t i = 0; i < 4; ++i) {
    EXPECT_EQ(big32(out, 3840 + 4 * i), std::bit_cast<std::uint32_t>(samples[i]));
  }
}

TEST_F(SegyOutputTest, MappedHeadersAreWrittenWhereTheyWereRead) {
  SegyImage image = fullHeaders();
  input.layout.fields["TRC_TYPE"] = {177, HeaderFormat::int32};
  input.layout.fields["VEL_AZIM"] = {201, HeaderFormat::float32};
  SegyData data = open(image);
  SegyOutput output(target(), data, {});
  Delivered trace = nextEnsemble(data)[0];
  trace.head[std::size_t(word.itrc_type - 1)] = 44;
  trace.head[std::size_t(data.index("VEL_AZIM"))] = std::bit_cast<std::int32_t>(-1.5f);
  output.put(trace.samples.data(), trace.head.data());
  output.finish();
  const std::string out = readBytes(target());
  EXPECT_EQ(big32(out, 3600 + 176), 44u);
  EXPECT_EQ(big32(out, 3600 + 200), std::bit_cast<std::uint32_t>(-1.5f));
  EXPECT_EQ(big16(out, 3600 + 28), big16(image.bytes(), 3600 + 28));
  EXPECT_EQ(out.substr(3832, 4), image.bytes().substr(3832, 4));
}

TEST_F(SegyOutputTest, IsRevision1IeeeBigEndianWhateverTheInputIs) {
  SegyImage image;
  image.littleEndian = true;
  image.format = 3;
  image.revision = 0;
  image.extraTexts = 7;
  image.samples = 6;
  image.interval = 4000;
  image.add(11, -32768);
  SegyData data = open(image);
  SegyOutput output(target(), data, {});
  const Delivered trace = nextEnsemble(data)[0];
  output.put(trace.samples.data(), trace.head.data());
  output.finish();

  const std::string out = readBytes(target());
  const std::pair<std::size_t, std::uint32_t> words[] = {{3216, 4000},  {3220, 6}, {3224, 5},
                                                         {3500, 0x100}, {3502, 1}, {3504, 0}};
  for (const auto& [at, value] : words) EXPECT_EQ(big16(out, at), value) << at;
  input.file = target();
  SegyData again(input, warnings);
  const Delivered copy = nextEnsemble(again)[0];
  EXPECT_EQ(copy.samples, trace.samples);
  EXPECT_EQ(copy.integer(word.icdp), 11);
  EXPECT_TRUE(warnings.texts.empty());
}

TEST_F(SegyOutputTest, TheTargetChangesOnlyWhenTheOutputIsFinished) {
  SegyData data = open(fullHeaders());
  const Delivered trace = nextEnsemble(data)[0];
  writeBytes(target(), "earlier");
  {
    SegyOutput unfinished(target(), data, {});
    unfinished.put(trace.samples.data(), trace.head.data());
  }
  EXPECT_EQ(readBytes(target()), "earlier");
  EXPECT_EQ(filesInFolder(), 2u);
  SegyOutput finished(target(), data, {});
  finished.put(trace.samples.data(), trace.head.data());
  EXPECT_EQ(readBytes(target()), "earlier");
  finished.finish();
  EXPECT_EQ(readBytes(target()).size(), 3600u + 256);
  EXPECT_EQ(filesInFolder(), 2u);
}

TEST_F(SegyOutputTest, WhatCannotBeWrittenIsNamedAndLeavesNothingBehind) {
  SegyData data = open(fullHeaders());
  const Delivered trace = nextEnsemble(data)[0];
  expectMentions(failure([&] { SegyOutput(folder / "none" / "out.sgy", data, {}); }),
                 {"none/out.sgy", "No such file or directory"});
  expectMentions(failure([&] { SegyOutput(folder, data, {}); }), {folder.string(), "directory"});
  expectMentions(failure([&] { SegyOutput(input.file, data, {}); }), {"in.sgy", "replace the input", "`output`"});

  // A limit on the size of files stands for a full disk.
  const auto handler = std::signal(SIGXFSZ, SIG_IGN);
  rlimit before{};
  getrlimit(RLIMIT_FSIZE, &before);
  const rlimit small{8000, before.rlim_max};
  setrlimit(RLIMIT_FSIZE, &small);
  const std::string message = failure([&] {
    SegyOutput output(target(), data, {});
    for (int i = 0; i < 100; ++i) output.put(trace.samples.data(), trace.head.data());
    output.finish();
  });
  setrlimit(RLIMIT_FSIZE, &before);
  std::signal(SIGXFSZ, handler);
  expectMentions(message, {"out.sgy", "cannot be written", "File too large"});
  EXPECT_EQ(filesInFolder(), 1u);
}

TEST(SegyText, NotesTakeTheLastBlankCardsAndLeaveTheEndMarks) {
  std::vector<std::string> lines(40);
  for (std::size_t i = 0; i < 40; ++i) lines[i] = i == 30 || i >= 38 ? "kept {1} @ 5~6" : "";
  SegyText text = ebcdicText(lines);
  ASSERT_TRUE(isEbcdic(text));
  addNotes(text, {"first", std::string(100, 'x')});
  const std::vector<std::string> found = cards(text);
  const auto card = [](std::string line) { return line + std::string(80 - line.size(), ' '); };
  EXPECT_EQ(found[30], card("C31 kept {1} @ 5~6"));
  EXPECT_EQ(found[34], card("C35"));
  EXPECT_EQ(found[35], card("C36 first"));
  EXPECT_EQ(found[36], card("C37 " + std::string(76, 'x')));
  EXPECT_EQ(found[37], card("C38 " + std::string(24, 'x')));
  EXPECT_EQ(found[39], card("C40 kept {1} @ 5~6"));
}

}  // namespace
}  // namespace host::local
