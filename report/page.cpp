#include "report/page.h"
namespace report {
std::string reportPage(const std::string& json) { return json; }
}  // namespace report
