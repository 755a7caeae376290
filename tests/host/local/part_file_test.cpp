#include "host/local/part_file.h"

#include "tests/support/host_test.h"

namespace host::local {
namespace {

namespace fs = std::filesystem;
using korvane_test::expectParts;
using korvane_test::readFile;
using korvane_test::refusal;
using korvane_test::writeFile;

class PartFileTest : public korvane_test::HostTest {
 protected:
  const fs::path target = folder / "out.sgy", part = folder / "out.sgy.part";
};

TEST_F(PartFileTest, TakesTheNameOfItsTargetWhenItIsWhole) {
  writeFile(target, "earlier");
  writeFile(part, "left by a program that was killed");
  {
    PartFile file(target, "the output file");
    file.write("new", 3);
    file.secure();
    EXPECT_EQ(readFile(target), "earlier");
    file.commit();
  }
  EXPECT_EQ(readFile(target), "new");
  EXPECT_FALSE(fs::exists(part));
  { PartFile(target, "the output file").write("half", 4); }
  EXPECT_EQ(readFile(target), "new");
  EXPECT_FALSE(fs::exists(part));
}

TEST_F(PartFileTest, KeepsSymbolicLinksAndRefusesFolders) {
  writeFile(folder / "disk.sgy", "earlier");
  fs::create_symlink("disk.sgy", target);
  PartFile file(target, "the output file");
  file.write("new", 3);
  file.commit();
  EXPECT_TRUE(fs::is_symlink(target));
  EXPECT_EQ(readFile(folder / "disk.sgy"), "new");

  fs::create_directory(folder / "folder");
  expectParts(refusal([&] { PartFile(folder / "folder", "the report"); }), {"folder: the report", "Is a directory"});
  expectParts(refusal([&] { PartFile(folder / "no/where", "the report"); }), {"no/where: the report", "No such file"});
}

TEST_F(PartFileTest, OfTwoThatWriteOneFileTheSecondIsRefused) {
  PartFile first(target, "the output file");
  first.write("first", 5);
  expectParts(refusal([&] { PartFile(target, "the output file"); }), {"out.sgy: another program", "Wait"});
  first.commit();
  EXPECT_EQ(readFile(target), "first");
}

}  // namespace
}  // namespace host::local
