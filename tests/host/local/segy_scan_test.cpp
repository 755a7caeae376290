#include "host/local/segy_scan.h"

#include "host/local/job_file.h"
#include "segy_image.h"

namespace host::local {
namespace {

using segy_test::SegyImage;
using segy_test::SegyTest;
using segy_test::writeBytes;

constexpr HeaderField inlineField{189}, crosslineField{193};

TEST_F(SegyTest, AScanCountsTracesHeadersAndEnsembles) {
  SegyImage image;
  image.format = 1;
  const int cdps[] = {5, 5, 3, 3, 3, 9};
  for (int i = 0; i < 6; ++i) {
    image.add(cdps[i]).fields.insert(image.traces.back().fields.end(),
                                     {{segy_test::offsetField, 100 * (i - 2)}, {segy_test::codeField, i % 3}});
  }
  writeBytes(input.file, image.bytes() + "tail");
  const SegyScan scan = scanSegy(input, warnings);
  EXPECT_EQ(scan.facts.traces, 6);
  EXPECT_EQ(scan.facts.strayBytes, 4);
  EXPECT_EQ(scan.facts.format, 1);
  EXPECT_EQ(scan.ensembles, 3);
  EXPECT_EQ(scan.firstKey, 3);
  EXPECT_EQ(scan.lastKey, 9);
  EXPECT_EQ(scan.largestKey, 3);
  EXPECT_EQ(scan.largestEnsemble(), 3);
  EXPECT_FALSE(scan.inOrder);
  EXPECT_EQ(scan.folds, (std::map<int, int>{{1, 1}, {2, 1}, {3, 1}}));
  EXPECT_EQ(scan.traceCodes, (std::map<int, int>{{0, 2}, {1, 2}, {2, 2}}));
  EXPECT_EQ(scan.liveTraces, 4);
  const HeaderRange& offset = scan.header("OFFSET");
  EXPECT_EQ(offset.least, -200.0);
  EXPECT_EQ(offset.greatest, 300.0);
  EXPECT_EQ(offset.zeros, 1);
  EXPECT_FALSE(offset.constant());
  EXPECT_TRUE(scan.header("CDP_X").constant());
}

TEST_F(SegyTest, ASuggestedJobIsOneThatCanBeReadAndFitsTheFile) {
  SegyImage image;
  for (int i = 0; i < 24; ++i) {
    image.add(i / 4).fields.insert(image.traces.back().fields.end(),
                                   {{inlineField, 10 + i / 8}, {crosslineField, 50 + i % 8 / 4}});
  }
  input.file = folder / "odd \"name\\.sgy";
  input.layout.fields["SG_CDP"] = {201, HeaderFormat::int16};
  input.layout.fields["OFFSET"] = {233, HeaderFormat::float32};
  for (const bool threeD : {true, false}) {
    SCOPED_TRACE(threeD ? "3D" : "2D");
    if (!threeD) {
      for (SegyImage::Trace& trace : image.traces) trace.fields.push_back({inlineField, 1});
    }
    writeBytes(input.file, image.bytes() + "tail");
    const std::filesystem::path file = folder / "job.toml";
    writeBytes(file, suggestJob(scanSegy(input, warnings)));
    warnings.texts.clear();
    const JobFile job = readJobFile(file, warnings);
    EXPECT_TRUE(warnings.texts.empty());
    EXPECT_EQ(job.is3D, threeD);
    EXPECT_EQ(job.input.file, input.file);
    EXPECT_EQ(job.input.layout.fields, input.layout.fields);
    EXPECT_TRUE(job.input.allowTruncated);
    EXPECT_EQ(job.parameters.integer(threeD ? "MINILINE" : "MINCDP"), threeD ? 10 : 0);
    EXPECT_EQ(job.parameters.integer(threeD ? "MAXXLINE" : "MAXCDP"), threeD ? 51 : 5);
    EXPECT_EQ(job.parameters.integer("FOLD"), 2);
    EXPECT_NO_THROW(SegyData(job.input, warnings));
  }
}

}  // namespace
}  // namespace host::local
