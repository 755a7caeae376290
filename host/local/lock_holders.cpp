#include "host/local/lock_holders.h"

#include <sys/stat.h>
#include <sys/sysmacros.h>
#include <unistd.h>

#include <cstdio>
#include <fstream>
#include <set>
#include <sstream>

namespace host::local {

std::string lockHolders(const std::filesystem::path& file) {
  struct stat facts {};
  if (stat(file.c_str(), &facts) != 0) return {};
  char wanted[64];
  std::snprintf(wanted, sizeof wanted, "%02x:%02x:%llu", major(facts.st_dev), minor(facts.st_dev),
                static_cast<unsigned long long>(facts.st_ino));
  std::set<long> holders;
  std::ifstream locks("/proc/locks");
  for (std::string line; std::getline(locks, line);) {
    // number, kind, strictness, access, process, device and inode, range; one that waits has "->" behind the number
    std::istringstream words(line);
    std::string number, kind, strictness, access, inode;
    long process = 0;
    words >> number >> kind >> strictness >> access >> process >> inode;
    if (words && kind != "->" && inode == wanted && process > 0 && process != getpid()) holders.insert(process);
  }
  std::string text;
  for (const long process : holders) {
    std::ifstream nameFile("/proc/" + std::to_string(process) + "/comm");
    std::string name;
    std::getline(nameFile, name);
    text += (text.empty() ? " (process " : "; process ") + std::to_string(process) + (name.empty() ? "" : ", " + name);
  }
  return text.empty() ? text : text + ")";
}

}  // namespace host::local
