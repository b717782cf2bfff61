// Pictures for the programs and from them, by the image library, as their samples are in the file.
#pragma once

#include <string>
#include <vector>

struct Samples {
  int width = 0, height = 0, channels = 0;
  int bits = 0; // of a channel in the file
  bool half = false;
  std::vector<float> values; // 0 to 1 for whole numbers; straight alpha where the file has it
};

// A hazy scene: textured ground that fades into light towards the top. Whole 8-bit levels. With
// four channels alpha runs from 0.2 at the left to 1.
Samples hazyScene(int width, int height, int channels = 3);

// Writes the pictures one after the other, at the bits or as half floats; alpha as it is.
void writePictures(const std::string& file, const std::vector<Samples>& pages, int bits,
                   bool half = false);
Samples readPicture(const std::string& file);

float largestDifference(const Samples& a, const Samples& b);
