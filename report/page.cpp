#include "report/page.h"

// The page as the build has joined it. GCC and Clang both hand the directive to the assembler.
asm(".pushsection .rodata\n"
    ".global korvane_report_page, korvane_report_page_end\n"
    "korvane_report_page:\n"
    ".incbin \"" REPORT_PAGE
    "\"\n"
    "korvane_report_page_end:\n"
    ".popsection\n");
extern "C" const char korvane_report_page[];
extern "C" const char korvane_report_page_end[];

namespace report {

std::string reportPage(std::string_view json) {
  const std::string_view page(korvane_report_page, korvane_report_page_end);
  const std::string_view mark = "@data@";
  const std::size_t place = page.find(mark);

  std::string filled;
  filled.reserve(page.size() + json.size() + json.size() / 64);
  filled += page.substr(0, place);
  for (const char c : json) {
    if (c == '<')
      filled += "\\u003c";
    else
      filled += c;
  }
  filled += page.substr(place + mark.size());
  return filled;
}

}  // namespace report
