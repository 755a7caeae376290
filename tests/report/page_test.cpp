#include "report/page.h"

#include <gtest/gtest.h>

#include <string>

namespace {

std::string dataOf(const std::string& page) {
  const std::string opening = "id=\"report-data\">";
  const std::size_t start = page.find(opening) + opening.size();
  return page.substr(start, page.find("</script>", start) - start);
}

TEST(ReportPage, holdsTheDataAndNothingOfItEndsTheElement) {
  EXPECT_EQ(dataOf(report::reportPage(R"({"title":"a </script> b <!-- c"})")),
            R"({"title":"a \u003c/script> b \u003c!-- c"})");
}

TEST(ReportPage, isWholeAroundTheData) {
  const std::string page = report::reportPage("{}");
  EXPECT_TRUE(page.starts_with("<!DOCTYPE html>"));
  EXPECT_TRUE(page.ends_with("</html>\n"));
  for (const char* unfilled : {"@style@", "@library@", "@scripts@", "@data@"})
    EXPECT_EQ(page.find(unfilled), std::string::npos) << unfilled;
}

}  // namespace
