// A folder for one test: creates pictures in it with the image library, and runs the real program
// in it.
#pragma once

#include <algorithm>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

#include <OpenImageIO/imageio.h>
#include <gmock/gmock.h>
#include <sys/wait.h>

#include "tests/support/HostFixture.h"

namespace fs = std::filesystem;
using Strings = std::vector<std::string>;

inline std::string contents(const std::string& file) {
  std::ifstream stream(file, std::ios::binary);
  return {std::istreambuf_iterator<char>(stream), {}};
}

inline void write(const std::string& file, const std::string& bytes) {
  std::ofstream(file, std::ios::binary) << bytes;
}

// Stores the samples of a 32-bit document as "uint8", "uint16", "half" or "float"; a fourth channel
// is alpha, stored unchanged.
inline void writePicture(const std::string& file, const host::Document& picture,
                         const char* type = "uint8") {
  OIIO::ImageSpec spec(picture.width(), picture.height(), picture.channels(), OIIO::TypeDesc(type));
  spec["oiio:UnassociatedAlpha"] = int(picture.channels() == 4);
  spec["Compression"] = file.ends_with(".jpg") ? "jpeg:100" : "zip";
  const auto output = OIIO::ImageOutput::create(file);
  ASSERT_TRUE(output->open(file, spec));
  ASSERT_TRUE(output->write_image(OIIO::TypeDesc::FLOAT, picture.row(0)) && output->close());
}

inline auto openPicture(const std::string& file) {
  OIIO::ImageSpec config;
  config["oiio:UnassociatedAlpha"] = 1;
  auto input = OIIO::ImageInput::open(file, &config);
  return input ? std::move(input) : throw std::runtime_error(file + ": " + OIIO::geterror());
}

inline host::Document readPicture(const std::string& file) { // with 32 bits
  const auto input = openPicture(file);
  host::Document picture(input->spec().width, input->spec().height, input->spec().nchannels, 32);
  input->read_image(0, 0, 0, picture.channels(), OIIO::TypeDesc::FLOAT, picture.row(0));
  return picture;
}

inline double difference(const std::string& a, const std::string& b) { // of the two files
  return fixture::largestDifference(readPicture(a), readPicture(b));
}

class FolderTest : public testing::Test {
protected:
  FolderTest() {
    std::string name = fs::temp_directory_path() / "fogdissolver-test-XXXXXX";
    folder = ::mkdtemp(name.data());
    fs::current_path(folder);
  }
  ~FolderTest() override { fs::remove_all(folder); }

  // Runs `before fogdissolver arguments`, and stores its output. Returns its exit status, or 128
  // plus the number of the signal that ended it.
  int run(const std::string& arguments, const std::string& before = "") {
    std::FILE* pipe =
        ::popen(("(" + before + " " FOG_PROGRAM " " + arguments + ") 2>&1").c_str(), "r");
    said.clear();
    for (int c; (c = std::fgetc(pipe)) != EOF;)
      said += char(c);
    const int status = ::pclose(pipe);
    return WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
  }
  static Strings files() { // sorted, including hidden ones
    Strings names;
    for (const auto& entry : fs::recursive_directory_iterator("."))
      names.push_back(entry.path().lexically_normal());
    std::sort(names.begin(), names.end());
    return names;
  }

  fs::path folder;
  std::string said;
};
