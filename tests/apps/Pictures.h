// Pictures for the program and from it, by the image library, as their samples stand in the file.
#pragma once

#include <cstdint>
#include <filesystem>
#include <string>
#include <vector>

struct Samples {
  int width = 0, height = 0, channels = 0;
  int bits = 0; // of a channel in the file
  bool half = false;
  std::vector<float> values; // 0 to 1 for whole numbers; straight alpha where the file has it

  float at(int x, int y, int channel) const {
    return values[size_t((y * width + x) * channels + channel)];
  }
};

// A hazy scene: textured ground that fades into light towards the top. Whole 8-bit levels. With
// four channels alpha runs from 0 at the left to 1.
Samples hazyScene(int width, int height, int channels = 3);

// Writes the values at the bits, 16 as half floats when `half`; alpha as it is.
void writePicture(const std::filesystem::path& file, const Samples& samples, int bits,
                  bool half = false);
// The pictures one after the other in a TIFF file.
void writePages(const std::filesystem::path& file, const std::vector<Samples>& pages);
Samples readPicture(const std::filesystem::path& file);

struct Difference {
  float largest, mean;
};
Difference difference(const Samples& a, const Samples& b);
