#pragma once

#include <algorithm>
#include <bit>
#include <cmath>
#include <cstdint>
#include <string>
#include <utility>
#include <vector>

#include "host/local/header_words.h"
#include "host/local/segy_data.h"
#include "tests/support/host_test.h"

namespace host::local {

inline constexpr HeaderField cdpField{21}, codeField{29, HeaderFormat::int16}, offsetField{37};
inline constexpr HeaderField scalarField{71, HeaderFormat::int16}, sourceXField{73};
inline constexpr HeaderField samplesField{115, HeaderFormat::int16}, intervalField{117, HeaderFormat::int16};
inline constexpr HeaderField cdpXField{181}, cdpYField{185}, inlineField{189}, crosslineField{193};

/// A SEG-Y file as bytes, in any byte order and sample format, as right or wrong as a test wants it.
struct SegyImage {
  using Fields = std::vector<std::pair<HeaderField, double>>;
  struct Trace {
    Fields fields;
    std::vector<double> samples;
  };

  bool littleEndian = false;
  int format = 5;
  int revision = 0x0100;
  int samples = 4;
  int interval = 2000;
  int measurement = 1;  // metres
  int extraTexts = 0;   // as the binary header counts them
  std::vector<Trace> traces = {};

  /// A live trace of the CDP whose samples all have the given value; a field that comes again overwrites.
  Trace& add(int cdp, double value = 1.0, const Fields& fields = {}) {
    Trace& trace = traces.emplace_back();
    trace.fields = {{cdpField, cdp}, {codeField, 1}};
    trace.fields.insert(trace.fields.end(), fields.begin(), fields.end());
    trace.samples.assign(std::size_t(samples), value);
    return trace;
  }

  std::string bytes() const {
    std::string all(3200, '\x40'), binary(400, '\0');
    for (const auto& [byte, value] : {std::pair{17, interval},
                                      {21, samples},
                                      {25, format},
                                      {55, measurement},
                                      {301, revision},
                                      {305, extraTexts}}) {
      putWord(binary, byte, std::uint64_t(value), 2);
    }
    all += binary;
    for (const Trace& trace : traces) {
      std::string header(240, '\0');
      for (const auto& [field, value] : trace.fields) {
        const bool real = field.format == HeaderFormat::float32;
        putWord(header, field.byte,
                real ? std::bit_cast<std::uint32_t>(float(value)) : std::uint64_t(std::int64_t(value)),
                bytesOf(field.format));
      }
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

  std::string sample(double value) const {
    std::string bytes(format == 3 ? 2 : format == 8 ? 1 : 4, '\0');
    std::uint64_t word = format == 5 ? std::bit_cast<std::uint32_t>(float(value)) : std::uint64_t(std::int64_t(value));
    // an IBM float of exponent 6 has a whole number for its fraction
    if (format == 1) word = (value < 0.0 ? 0xc6000000 : 0x46000000) | std::uint64_t(std::abs(value));
    putWord(bytes, 1, word, int(bytes.size()));
    return bytes;
  }
};

struct Delivered {
  std::vector<float> samples;
  std::vector<std::int32_t> head;
  int integer(int word) const { return head[std::size_t(word - 1)]; }
  float real(int word) const { return std::bit_cast<float>(head[std::size_t(word - 1)]); }
};
using Ensemble = std::vector<Delivered>;

inline Ensemble nextEnsemble(SegyData& data) {
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
inline std::vector<Ensemble> allEnsembles(SegyData& data) {
  std::vector<Ensemble> all;
  for (Ensemble ensemble = nextEnsemble(data); !ensemble.empty(); ensemble = nextEnsemble(data)) {
    all.push_back(std::move(ensemble));
  }
  return all;
}

/// A test that reads a SEG-Y file in its folder.
class SegyTest : public korvane_test::HostTest {
 protected:
  SegyTest() { input.file = folder / "in.sgy"; }

  SegyData open(const SegyImage& image) {
    korvane_test::writeFile(input.file, image.bytes());
    return SegyData(input, warnings);
  }

  SegyInput input;
};

}  // namespace host::local
