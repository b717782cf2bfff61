// A folder of a test's own.
#pragma once

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

#include <gtest/gtest.h>
#include <stdlib.h>

namespace fs = std::filesystem;

inline std::string contents(const fs::path& file) {
  std::ifstream stream(file, std::ios::binary);
  return {std::istreambuf_iterator<char>(stream), {}};
}

class FolderTest : public testing::Test {
protected:
  FolderTest() {
    std::string name = (fs::temp_directory_path() / "fogdissolver-test-XXXXXX").string();
    folder = ::mkdtemp(name.data());
  }
  ~FolderTest() override { fs::remove_all(folder); }

  std::string operator()(const std::string& name) const { return folder / name; }
  std::string read(const std::string& name) const { return contents(folder / name); }
  void write(const std::string& name, const std::string& bytes) const {
    std::ofstream(folder / name, std::ios::binary) << bytes;
  }
  std::vector<std::string> files() const { // sorted, hidden ones too
    std::vector<std::string> names;
    for (const auto& entry : fs::recursive_directory_iterator(folder))
      names.push_back(fs::relative(entry.path(), folder));
    std::sort(names.begin(), names.end());
    return names;
  }

  fs::path folder;
};
