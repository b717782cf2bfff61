// Runs each target on the cases in its folder: seeds, and inputs that once found a fault. Prints
// the current target to standard output, and fails if a target accepts none of its cases.
//
//   fuzz-replay CASES [TARGET]

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <vector>

#include "apps/photo/Files.h"
#include "fuzz/Target.h"

namespace {

std::vector<std::filesystem::path> casesIn(const std::filesystem::path& folder) {
  std::vector<std::filesystem::path> cases;
  if (!std::filesystem::is_directory(folder))
    return cases;
  for (const auto& entry : std::filesystem::directory_iterator(folder))
    cases.push_back(entry.path());
  std::sort(cases.begin(), cases.end());
  return cases;
}

} // namespace

int main(int argc, char** argv) {
  if (argc < 2)
    return 2;
  int without = 0;
  for (const fuzz::Target& target : fuzz::targets()) {
    if (argc > 2 && std::strcmp(argv[2], target.name) != 0)
      continue;
    int taken = 0;
    for (const std::filesystem::path& file :
         casesIn(std::filesystem::path(argv[1]) / target.name)) {
      std::printf("%s/%s: ", target.name, file.filename().c_str());
      std::fflush(stdout);
      const bool accepted = fuzz::accepts(target, photo::readWhole(file));
      std::printf("%s\n", accepted ? "taken" : "refused");
      taken += accepted;
    }
    if (taken == 0)
      std::printf("%s takes none of its cases\n", target.name);
    without += taken == 0;
  }
  return without ? 1 : 0;
}
