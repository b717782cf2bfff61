#include "tests/apps/Pictures.h"

#include <algorithm>
#include <cmath>
#include <cstring>
#include <stdexcept>

#include <OpenImageIO/imageio.h>

using namespace OIIO;

Samples hazyScene(int width, int height, int channels) {
  Samples scene{width, height, channels, 8, false, {}};
  const float light[] = {0.86f, 0.88f, 0.92f};
  for (int y = 0; y < height; ++y)
    for (int x = 0; x < width; ++x) {
      const float transmission = 0.25f + 0.75f * float(y) / float(height);
      const float texture = 0.5f + 0.5f * std::sin(float(x) * 0.7f) * std::cos(float(y) * 0.45f);
      const float ground[] = {0.45f * texture, 0.35f * texture + 0.05f, 0.2f * texture};
      for (int c = 0; c < channels; ++c) {
        const float value = c < 3 ? ground[c] * transmission + light[c] * (1 - transmission)
                                  : std::min(1.0f, 1.2f * float(x) / float(width));
        scene.values.push_back(std::round(value * 255.0f) / 255.0f);
      }
    }
  return scene;
}

void writePicture(const std::filesystem::path& file, const Samples& samples, int bits, bool half) {
  const TypeDesc type = half         ? TypeDesc::HALF
                        : bits == 8  ? TypeDesc::UINT8
                        : bits == 16 ? TypeDesc::UINT16
                                     : TypeDesc::FLOAT;
  ImageSpec spec(samples.width, samples.height, samples.channels, type);
  if (samples.channels == 4)
    spec["oiio:UnassociatedAlpha"] = 1;
  spec["Compression"] = file.extension() == ".jpg" ? "jpeg:100" : "zip";
  const auto output = ImageOutput::create(file.string());
  if (!output || !output->open(file.string(), spec) ||
      !output->write_image(TypeDesc::FLOAT, samples.values.data()) || !output->close())
    throw std::runtime_error("cannot write " + file.string() + ": " +
                             (output ? output->geterror() : OIIO::geterror()));
}

void writePages(const std::filesystem::path& file, const std::vector<Samples>& pages) {
  const auto output = ImageOutput::create(file.string());
  auto mode = ImageOutput::Create;
  for (const Samples& page : pages) {
    const ImageSpec spec(page.width, page.height, page.channels, TypeDesc::UINT8);
    if (!output->open(file.string(), spec, mode) ||
        !output->write_image(TypeDesc::FLOAT, page.values.data()))
      throw std::runtime_error(output->geterror());
    mode = ImageOutput::AppendSubimage;
  }
  output->close();
}

Samples readPicture(const std::filesystem::path& file) {
  ImageSpec config;
  config["oiio:UnassociatedAlpha"] = 1;
  const auto input = ImageInput::open(file.string(), &config);
  if (!input)
    throw std::runtime_error(OIIO::geterror());
  const ImageSpec& spec = input->spec();
  Samples samples{spec.width,
                  spec.height,
                  spec.nchannels,
                  int(spec.format.size()) * 8,
                  spec.format == TypeDesc::HALF,
                  {}};
  samples.values.resize(size_t(spec.width) * size_t(spec.height) * size_t(spec.nchannels));
  if (!input->read_image(0, 0, 0, spec.nchannels, TypeDesc::FLOAT, samples.values.data()))
    throw std::runtime_error(input->geterror());
  // This reader multiplies with alpha, asked or not.
  if (std::strcmp(input->format_name(), "webp") == 0 && samples.channels == 4)
    for (size_t i = 0; i < samples.values.size(); ++i)
      if (i % 4 != 3 && samples.values[i / 4 * 4 + 3] > 0)
        samples.values[i] /= samples.values[i / 4 * 4 + 3];
  return samples;
}

Difference difference(const Samples& a, const Samples& b) {
  if (a.values.size() != b.values.size())
    throw std::runtime_error("pictures of different sizes");
  Difference found{0, 0};
  double sum = 0;
  for (size_t i = 0; i < a.values.size(); ++i) {
    const float d = std::abs(a.values[i] - b.values[i]);
    found.largest = std::max(found.largest, d);
    sum += d;
  }
  found.mean = float(sum / double(a.values.size()));
  return found;
}
