#include "host/local/segy_scan.h"

#include "host/local/job_file.h"
#include "segy_image.h"

namespace host::local {
namespace {

using korvane_test::writeFile;

TEST_F(SegyTest, AScanCountsWhatIsThereAndTheJobThatItSuggestsCanBeReadAndFits) {
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
    EXPECT_EQ(scan.folds, (std::map<int, int>{{2, 1}, {4, 5}}));
    EXPECT_EQ(std::tuple(scan.firstKey, scan.lastKey, scan.largestKey, scan.inOrder), std::tuple(0, 5, 1, false));
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

}  // namespace
}  // namespace host::local
