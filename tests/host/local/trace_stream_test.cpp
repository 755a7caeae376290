#include "host/local/sample_format.h"
#include "segy_image.h"

namespace host::local {
namespace {

TEST_F(SegyTest, TracesKeepTheirPlacesAcrossTheBlocksTheyAreFetchedAndWrittenIn) {
  SegyImage image{.format = 3, .samples = 30000};
  std::vector<std::pair<int, float>> expected, found;
  for (int i = 0; i < 40; ++i) expected.emplace_back(i < 20 ? i / 3 : i * i % 7, i);
  for (const auto& [cdp, value] : expected) image.add(cdp, value, {{cdpXField, value}});
  std::sort(expected.begin(), expected.end());
  SegyData data = open(image);
  SegyOutput output(folder / "out.sgy", data, {});
  data.deliver(2);
  for (const Ensemble& ensemble : allEnsembles(data)) {
    for (const Delivered& trace : ensemble) {
      found.emplace_back(trace.integer(standardHeaders.icdp), trace.samples.back());
      output.put(trace.samples.data(), trace.head.data());
    }
  }
  output.finish();
  EXPECT_EQ(data.find(6)->x, 18.0);
  const std::string written = korvane_test::readFile(folder / "out.sgy");
  ASSERT_EQ(written.size(), 3600u + 80 * (240 + 4 * 30000));
  for (std::size_t i = 0; i < 80; ++i) {
    EXPECT_EQ(found[i], expected[i % 40]);
    float last = 0.0f;
    const auto* end = reinterpret_cast<const unsigned char*>(&written[3600 + (i + 1) * (240 + 4 * 30000)]);
    EXPECT_TRUE(decodeSamples(5, false, end - 4, 1, &last) && last == found[i].second) << i;
  }
}

}  // namespace
}  // namespace host::local
