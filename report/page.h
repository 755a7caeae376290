#pragma once
#include <string>
namespace report {
std::string reportPage(const std::string& json);
}
