#pragma once

#include <gtest/gtest.h>

#include <algorithm>
#include <bit>
#include <cmath>
#include <cstdint>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <utility>
#include <vector>

#include "host/local/header_words.h"
#include "host/local/segy_data.h"

namespace segy_test {

using host::local::HeaderField;
using host::local::HeaderFormat;

inline constexpr HeaderField cdpField{21}, codeField{29, HeaderFormat::int16}, foldField{33, HeaderFormat::int16};
inline constexpr HeaderField offsetField{37}, scalarField{71, HeaderFormat::int16}, sourceXField{73};
inline constexpr HeaderField samplesField{115, HeaderFormat::int16}, intervalField{117, HeaderFormat::int16};
inline constexpr HeaderField cdpXField{181}, cdpYField{185};

/// A SEG-Y file as bytes, in any byte order and sample format, as right or wrong as a test wants it.
struct SegyImage {
  struct Trace {
    std::vector<std::pair<HeaderField, double>> fields;
    std::vector<double> samples;
  };

  bool littleEndian = false;
  int format = 5;
  int revision = 0x0100;
  int samples = 4;
  int interval = 2000;
  int extraTexts = 0;  // as the binary header counts them
  std::string behindHeaders;
  std::string text = std::string(3200, '\x40');
  std::vector<Trace> traces;

  /// A live trace of the CDP whose samples all have the given value.
  Trace& add(int cdp, double value = 1.0) {
    traces.push_back({{{cdpField, double(cdp)}, {codeField, 1.0}}, std::vector<double>(std::size_t(samples), value)});
    return traces.back();
  }

  std::string bytes() const {
    std::string all = text;
    std::string binary(400, '\0');
    for (const auto& [byte, value] :
         {std::pair{17, interval}, {21, samples}, {25, format}, {301, revision}, {305, extraTexts}}) {
      putWord(binary, byte, std::uint64_t(value), 2);
    }
    all += binary + behindHeaders;
    for (const Trace& trace : traces) {
      std::string header(240, '\0');
      for (const auto& [field, value] : trace.fields) putField(header, field, value);
      all += header;
      for (const double value : trace.samples) all += sample(value);
    }
    return all;
  }

 private:
  void putWord(std::string& to, int byte, std::uint64_t value, int size) const {
    for (int i = 0; i < size; ++i) {
      to[std::size_t(byte - 1 + (littleEndian ? i : size - 1 - i))] = char(value >> (8 * i));
    }
  }

  void putField(std::string& header, HeaderField field, double value) const {
    if (field.format == HeaderFormat::float32) {
      putWord(header, field.byte, std::bit_cast<std::uint32_t>(float(value)), 4);
    } else {
      putWord(header, field.byte, std::uint64_t(std::int64_t(value)), field.format == HeaderFormat::int16 ? 2 : 4);
    }
  }

  std::string sample(double value) const {
    const int size = format == 3 ? 2 : format == 8 ? 1 : 4;
    std::string bytes(std::size_t(size), '\0');
    std::uint64_t word = 0;
    if (format == 5) {
      word = std::bit_cast<std::uint32_t>(float(value));
    } else if (format == 1) {
      int exponent = 64;
      double fraction = std::abs(value);
      for (; fraction >= 1.0; fraction /= 16.0) ++exponent;
      for (; fraction > 0.0 && fraction < 1.0 / 16.0; fraction *= 16.0) --exponent;
      word = std::uint64_t(value < 0.0) << 31 | std::uint64_t(exponent) << 24 | std::uint64_t(fraction * 0x1p24);
    } else {
      word = std::uint64_t(std::int64_t(value));
    }
    putWord(bytes, 1, word, size);
    return bytes;
  }
};

inline std::string readBytes(const std::filesystem::path& file) {
  std::ifstream stream(file, std::ios::binary);
  return {std::istreambuf_iterator<char>(stream), {}};
}

inline void writeBytes(const std::filesystem::path& file, const std::string& bytes) {
  std::ofstream(file, std::ios::binary) << bytes;
}

struct Warnings : host::local::MessageSink {
  std::vector<std::string> texts;
  void warn(const std::string& text) override { texts.push_back(text); }
};

struct Delivered {
  std::vector<float> samples;
  std::vector<std::int32_t> head;
  int integer(int word) const { return head[std::size_t(word - 1)]; }
  float real(int word) const { return std::bit_cast<float>(head[std::size_t(word - 1)]); }
};
using Ensemble = std::vector<Delivered>;

inline Ensemble nextEnsemble(host::local::SegyData& data) {
  Ensemble ensemble(std::size_t(data.largestEnsemble()),
                    {std::vector<float>(std::size_t(data.samples())), std::vector<std::int32_t>(129, -1)});
  std::vector<float*> traces;
  std::vector<std::int32_t*> heads;
  for (Delivered& trace : ensemble) {
    traces.push_back(trace.samples.data());
    heads.push_back(trace.head.data());
  }
  ensemble.resize(std::size_t(std::max(data.next(traces.data(), heads.data()), 0)));
  return ensemble;
}

/// Everything that the data source delivers from now on.
inline std::vector<Ensemble> allEnsembles(host::local::SegyData& data) {
  std::vector<Ensemble> all;
  for (Ensemble ensemble = nextEnsemble(data); !ensemble.empty(); ensemble = nextEnsemble(data)) {
    all.push_back(std::move(ensemble));
  }
  return all;
}

/// A folder of its own for each test, and the message of what goes wrong in it.
class SegyTest : public testing::Test {
 protected:
  void SetUp() override {
    std::string name = (std::filesystem::temp_directory_path() / "segy-XXXXXX").string();
    ASSERT_NE(mkdtemp(name.data()), nullptr);
    folder = name;
    input.file = folder / "in.sgy";
  }
  void TearDown() override { std::filesystem::remove_all(folder); }

  host::local::SegyData open(const SegyImage& image) {
    writeBytes(input.file, image.bytes());
    return host::local::SegyData(input, warnings);
  }

  template <class Action>
  static std::string failure(Action&& action) {
    try {
      action();
    } catch (const host::local::RunError& error) {
      return error.what();
    }
    return "no failure";
  }

  static void expectMentions(const std::string& message, const std::vector<std::string>& parts) {
    for (const std::string& part : parts) EXPECT_NE(message.find(part), std::string::npos) << part << "\n" << message;
  }

  std::filesystem::path folder;
  host::local::SegyInput input;
  Warnings warnings;
};

}  // namespace segy_test
