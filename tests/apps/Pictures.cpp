#include "tests/apps/Pictures.h"

#include <algorithm>
#include <cmath>
#include <stdexcept>
#include <string_view>

#include <OpenImageIO/imageio.h>

using namespace OIIO;

Samples hazyScene(int width, int height, int channels) {
  Samples scene{width, height, channels};
  const float light[] = {0.86f, 0.88f, 0.92f};
  for (int y = 0; y < height; ++y)
    for (int x = 0; x < width; ++x) {
      const float transmission = 0.25f + 0.75f * float(y) / float(height);
      const float texture = 0.5f + 0.5f * std::sin(float(x) * 0.7f) * std::cos(float(y) * 0.45f);
      const float ground[] = {0.45f * texture, 0.35f * texture + 0.05f, 0.2f * texture};
      for (int c = 0; c < channels; ++c) {
        const float value = c < 3 ? ground[c] * transmission + light[c] * (1 - transmission)
                                  : std::min(1.0f, 0.2f + float(x) / float(width));
        scene.values.push_back(std::round(value * 255.0f) / 255.0f);
      }
    }
  return scene;
}

void writePictures(const std::string& file, const std::vector<Samples>& pages, int bits,
                   bool half) {
  const auto output = ImageOutput::create(file);
  auto mode = ImageOutput::Create;
  for (const Samples& page : pages) {
    ImageSpec spec(page.width, page.height, page.channels,
                   half         ? TypeDesc::HALF
                   : bits == 8  ? TypeDesc::UINT8
                   : bits == 16 ? TypeDesc::UINT16
                                : TypeDesc::FLOAT);
    spec["oiio:UnassociatedAlpha"] = int(page.channels == 4);
    spec["Compression"] = file.ends_with(".jpg") ? "jpeg:100" : "zip";
    if (!output || !output->open(file, spec, mode) ||
        !output->write_image(TypeDesc::FLOAT, page.values.data()))
      throw std::runtime_error("cannot write " + file);
    mode = ImageOutput::AppendSubimage;
  }
  output->close();
}

Samples readPicture(const std::string& file) {
  ImageSpec config;
  config["oiio:UnassociatedAlpha"] = 1;
  const auto input = ImageInput::open(file, &config);
  if (!input)
    throw std::runtime_error(OIIO::geterror());
  const ImageSpec& spec = input->spec();
  Samples samples{spec.width, spec.height, spec.nchannels};
  samples.bits = int(spec.format.size()) * 8;
  samples.half = spec.format == TypeDesc::HALF;
  samples.values.resize(spec.image_pixels() * size_t(spec.nchannels));
  if (!input->read_image(0, 0, 0, spec.nchannels, TypeDesc::FLOAT, samples.values.data()))
    throw std::runtime_error(input->geterror());
  // This reader multiplies with alpha, asked or not.
  if (std::string_view(input->format_name()) == "webp" && samples.channels == 4)
    for (size_t i = 0; i < samples.values.size(); ++i)
      if (i % 4 != 3 && samples.values[i / 4 * 4 + 3] > 0)
        samples.values[i] /= samples.values[i / 4 * 4 + 3];
  return samples;
}

float largestDifference(const Samples& a, const Samples& b) {
  if (a.width != b.width || a.values.size() != b.values.size())
    throw std::runtime_error("pictures of different sizes");
  float largest = 0;
  for (size_t i = 0; i < a.values.size(); ++i)
    largest = std::max(largest, std::abs(a.values[i] - b.values[i]));
  return largest;
}
