#include "apps/photo/WebpCodec.h"

#include <algorithm>
#include <stdexcept>

#include <webp/decode.h>
#include <webp/encode.h>
#include <webp/mux.h>

#include "apps/photo/Codecs.h"
#include "apps/photo/Samples.h"

namespace photo {
namespace {

constexpr int losslessQuality = 100;

// 8-bit samples of a whole picture: the document's own, or a copy for deeper documents.
struct Pixels {
  Bytes copy;
  uint8_t* samples;
  size_t rowSamples;
  Pixels(const host::Document& document)
      : rowSamples(size_t(document.width()) * size_t(document.channels())) {
    if (document.depth() != 8)
      copy.resize(rowSamples * size_t(document.height()));
    samples = document.depth() == 8
                  ? reinterpret_cast<uint8_t*>(const_cast<std::byte*>(document.row(0)))
                  : copy.data();
  }
};

int tellProgress(int percent, const WebPPicture* picture) {
  const Watch& watch = *static_cast<const Watch*>(picture->user_data);
  watch.progress(percent / 100.0);
  return !watch.stopped();
}

// Owns the encoder's picture and its output.
struct Encoder {
  WebPPicture picture;
  WebPMemoryWriter writer;
  Encoder() {
    WebPMemoryWriterInit(&writer);
    if (!WebPPictureInit(&picture))
      throw std::runtime_error("the WebP library is of another version");
  }
  ~Encoder() {
    WebPPictureFree(&picture);
    WebPMemoryWriterClear(&writer);
  }
};

// The encoded picture together with its metadata blocks.
Bytes assembled(const WebPData& picture, const MetadataBlocks& blocks) {
  const std::unique_ptr<WebPMux, void (*)(WebPMux*)> mux(WebPMuxCreate(&picture, 0), WebPMuxDelete);
  WebPData whole{nullptr, 0};
  auto add = [&mux](const char* name, const void* data, size_t size) {
    const WebPData chunk{static_cast<const uint8_t*>(data), size};
    return size == 0 || WebPMuxSetChunk(mux.get(), name, &chunk, 0) == WEBP_MUX_OK;
  };
  if (!mux || !add("ICCP", blocks.icc.data(), blocks.icc.size()) ||
      !add("EXIF", blocks.exif.data(), blocks.exif.size()) ||
      !add("XMP ", blocks.xmp.data(), blocks.xmp.size()) ||
      WebPMuxAssemble(mux.get(), &whole) != WEBP_MUX_OK)
    throw std::bad_alloc(); // the only possible failure for a picture just encoded
  Bytes bytes(whole.bytes, whole.bytes + whole.size);
  WebPDataClear(&whole);
  return bytes;
}

// The blocks of a file that may be damaged.
MetadataBlocks blocksIn(const Bytes& file) {
  constexpr char exifMark[] = "Exif\0"; // some programs write it, as in JPEG
  const WebPData data{file.data(), file.size()};
  const std::unique_ptr<WebPMux, void (*)(WebPMux*)> mux(WebPMuxCreate(&data, 0), WebPMuxDelete);
  auto get = [&mux](const char* name) {
    WebPData chunk{nullptr, 0};
    if (mux)
      WebPMuxGetChunk(mux.get(), name, &chunk);
    return Bytes(chunk.bytes, chunk.bytes + chunk.size);
  };
  const Bytes xmp = get("XMP ");
  MetadataBlocks blocks{get("EXIF"), {}, std::string(xmp.begin(), xmp.end()), get("ICCP")};
  Bytes& exif = blocks.exif;
  if (exif.size() > sizeof exifMark && std::equal(exifMark, std::end(exifMark), exif.begin()))
    exif.erase(exif.begin(), exif.begin() + sizeof exifMark);
  return blocks;
}

} // namespace

Picture readWebp(const Source& source, int minimumBits, int threads, const Watch& watch) {
  WebPDecoderConfig config;
  const uint8_t* data = source.bytes.data();
  if (!WebPInitDecoderConfig(&config) ||
      WebPGetFeatures(data, source.bytes.size(), &config.input) != VP8_STATUS_OK)
    throw std::runtime_error("truncated or damaged");
  if (config.input.has_animation)
    throw std::runtime_error("an animation, not a photograph");
  const bool alpha = config.input.has_alpha;
  Picture picture{makeDocument(config.input.width, config.input.height, alpha ? 4 : 3, 8,
                               minimumBits, alpha, watch)};
  host::Document& document = picture.document;
  Pixels pixels(document);
  config.options.use_threads = threads > 1;
  config.output.colorspace = alpha ? MODE_RGBA : MODE_RGB;
  config.output.is_external_memory = 1;
  config.output.u.RGBA = {pixels.samples, int(pixels.rowSamples),
                          pixels.rowSamples * size_t(document.height())};
  const VP8StatusCode status = WebPDecode(data, source.bytes.size(), &config);
  if (status == VP8_STATUS_OUT_OF_MEMORY)
    throw std::bad_alloc();
  if (status != VP8_STATUS_OK)
    throw std::runtime_error("truncated or damaged");
  for (int32_t y = 0; y < document.height() && document.depth() != 8; ++y)
    widen(pixels.samples + size_t(y) * pixels.rowSamples, pixels.rowSamples, document.depth(),
          document.row(y));
  picture.blocks = blocksIn(source.bytes);
  watch.progress(1);
  return picture;
}

Bytes writeWebp(const Picture& picture, const Encoding& encoding, const MetadataBlocks& blocks,
                const Watch& watch) {
  const host::Document& document = picture.document;
  WebPConfig config;
  if (!WebPConfigPreset(&config, WEBP_PRESET_PHOTO, float(encoding.quality)))
    throw std::runtime_error("the WebP library is of another version");
  config.lossless = encoding.quality == losslessQuality;
  config.exact = 1; // also keeps colours under full transparency
  config.thread_level = encoding.threads > 1;
  Pixels pixels(document);
  for (int32_t y = 0; y < document.height() && document.depth() != 8; ++y)
    narrow(document.row(y), pixels.rowSamples, document.depth(), 8,
           pixels.samples + size_t(y) * pixels.rowSamples);
  Encoder encoder;
  encoder.picture.use_argb = config.lossless;
  encoder.picture.width = document.width();
  encoder.picture.height = document.height();
  encoder.picture.writer = WebPMemoryWrite;
  encoder.picture.custom_ptr = &encoder.writer;
  encoder.picture.progress_hook = tellProgress;
  encoder.picture.user_data = const_cast<Watch*>(&watch);
  const int stride = int(pixels.rowSamples);
  const bool taken = document.hasTransparency()
                         ? WebPPictureImportRGBA(&encoder.picture, pixels.samples, stride)
                         : WebPPictureImportRGB(&encoder.picture, pixels.samples, stride);
  if (!taken || !WebPEncode(&config, &encoder.picture)) {
    if (watch.stopped())
      throw Stopped();
    if (!taken || encoder.picture.error_code == VP8_ENC_ERROR_OUT_OF_MEMORY)
      throw std::bad_alloc();
    throw std::runtime_error("cannot be encoded as WebP");
  }
  return assembled({encoder.writer.mem, encoder.writer.size}, blocks);
}

Shape checkWebp(const Bytes& file, int threads) {
  constexpr int reduction = 8;
  WebPDecoderConfig config;
  if (!WebPInitDecoderConfig(&config) ||
      WebPGetFeatures(file.data(), file.size(), &config.input) != VP8_STATUS_OK)
    throw std::runtime_error("its header is damaged");
  config.options.use_threads = threads > 1;
  config.options.use_scaling = 1;
  config.options.scaled_width = std::max(1, config.input.width / reduction);
  config.options.scaled_height = std::max(1, config.input.height / reduction);
  const VP8StatusCode status = WebPDecode(file.data(), file.size(), &config);
  WebPFreeDecBuffer(&config.output);
  if (status == VP8_STATUS_OUT_OF_MEMORY)
    throw std::bad_alloc();
  if (status != VP8_STATUS_OK)
    throw std::runtime_error("it is damaged");
  return {config.input.width, config.input.height, 8};
}

} // namespace photo
