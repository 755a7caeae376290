#pragma once

#include <string>
#include <string_view>

namespace report {

/// The report page, one HTML file that needs no other, with its data set in.
///
/// @param json  the data, one JSON object in UTF-8; every `<` in it is written as \u003c, so that no text of it ends
///              the element that it stands in
std::string reportPage(std::string_view json);

}  // namespace report
