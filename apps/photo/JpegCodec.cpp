// JPEG by libjpeg. The library reports errors with longjmp. Every call of it is therefore in a
// `guarded` function whose frame has nothing to destroy; the surrounding record holds what must
// survive.

#include "apps/photo/JpegCodec.h"

#include <algorithm>
#include <csetjmp>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <future>
#include <stdexcept>

#include <jpeglib.h>

#include <jerror.h>

#include "apps/photo/Codecs.h"
#include "apps/photo/Formats.h"
#include "apps/photo/Samples.h"

namespace photo {
namespace {

constexpr int stripe = 16;        // rows per call: one row of blocks at 4:2:0
constexpr int scansAtMost = 1000; // of a progressive file; only a hostile file has more

constexpr char endsEarly[] = "truncated: the file ends before the picture does";

struct Errors {
  jpeg_error_mgr manager; // first, so that the library's pointer is ours
  std::jmp_buf jump;
  char message[JMSG_LENGTH_MAX];
  bool endsEarly; // the data ended before the picture
  char damage[JMSG_LENGTH_MAX];
};

Errors* errorsOf(j_common_ptr codec) { return reinterpret_cast<Errors*>(codec->err); }

[[noreturn]] void leave(j_common_ptr codec) {
  codec->err->format_message(codec, errorsOf(codec)->message);
  std::longjmp(errorsOf(codec)->jump, 1);
}

// Warnings have a negative level: the data is wrong, and the library continues with the rest.
void note(j_common_ptr codec, int level) {
  Errors* errors = errorsOf(codec);
  if (level >= 0)
    return;
  errors->manager.num_warnings++;
  if (errors->manager.msg_code == JWRN_JPEG_EOF)
    errors->endsEarly = true;
  else if (errors->manager.msg_code == JWRN_HIT_MARKER && !errors->damage[0])
    codec->err->format_message(codec, errors->damage);
}

jpeg_error_mgr* prepare(Errors& errors) {
  jpeg_std_error(&errors.manager);
  errors.manager.error_exit = leave;
  errors.manager.emit_message = note;
  errors.manager.output_message = [](j_common_ptr) {};
  return &errors.manager;
}

// Runs the step; throws the library's error message. The step must not throw.
template <class Step> void guarded(Errors& errors, Step step) {
  if (setjmp(errors.jump))
    throw std::runtime_error(errors.endsEarly ? endsEarly : errors.message);
  step();
}

struct Decoder {
  jpeg_decompress_struct codec{};
  Errors errors{};
  Decoder() { codec.err = prepare(errors); }
  ~Decoder() { jpeg_destroy_decompress(&codec); }
};

struct Encoder {
  jpeg_compress_struct codec{};
  Errors errors{};
  unsigned char* room = nullptr;  // initial output buffer, from malloc
  unsigned char* bytes = nullptr; // final output buffer: the same, or a larger one of the library
  unsigned long size = 0;
  Encoder() { codec.err = prepare(errors); }
  ~Encoder() {
    if (codec.dest)
      codec.dest->term_destination(&codec); // sets `bytes`, also if the picture is not finished
    jpeg_destroy_compress(&codec);
    if (bytes != room)
      std::free(bytes);
    std::free(room);
  }
};

void readHeader(Decoder& decoder, const Bytes& file) {
  jpeg_decompress_struct& codec = decoder.codec;
  guarded(decoder.errors, [&] {
    jpeg_create_decompress(&codec);
    jpeg_mem_src(&codec, file.data(), file.size());
    jpeg_save_markers(&codec, JPEG_APP0 + 2, 0xffff); // of the profile
    jpeg_read_header(&codec, TRUE);
  });
  if (codec.num_components != 3 || codec.jpeg_color_space == JCS_CMYK)
    throw std::runtime_error(notRgb);
}

// A Huffman code has at least one bit for each block: refuses a small file that claims a huge
// picture before memory and time are spent on it.
void refuseWithoutData(const Decoder& decoder, const Bytes& file) {
  uint64_t blocks = 0;
  for (int i = 0; i < decoder.codec.num_components; ++i) {
    const jpeg_component_info& component = decoder.codec.comp_info[i];
    blocks += uint64_t(component.width_in_blocks) * component.height_in_blocks;
  }
  if (!decoder.codec.arith_code && file.size() * 8 < blocks)
    throw std::runtime_error(endsEarly);
}

Bytes profileOf(Decoder& decoder) {
  JOCTET* data = nullptr;
  unsigned int size = 0;
  guarded(decoder.errors, [&] { jpeg_read_icc_profile(&decoder.codec, &data, &size); });
  const std::unique_ptr<JOCTET, void (*)(void*)> owner(data, std::free);
  return Bytes(data, data + (data ? size : 0));
}

Resolution resolutionOf(const jpeg_decompress_struct& codec) {
  if (!codec.saw_JFIF_marker || codec.density_unit == 0)
    return {};
  return {double(codec.X_density), double(codec.Y_density), codec.density_unit == 2};
}

// Decodes the next rows, at most a stripe; deeper documents are converted from `line`.
void readStripe(Decoder& decoder, host::Document& document, Bytes& line) {
  jpeg_decompress_struct& codec = decoder.codec;
  const int32_t y = int32_t(codec.output_scanline);
  if (document.depth() == 8) {
    guarded(decoder.errors, [&] {
      JSAMPROW rows[stripe];
      const int count = std::min<int>(stripe, document.height() - y);
      for (int i = 0; i < count; ++i)
        rows[i] = reinterpret_cast<JSAMPROW>(document.row(y + i));
      jpeg_read_scanlines(&codec, rows, JDIMENSION(count));
    });
    return;
  }
  guarded(decoder.errors, [&] {
    JSAMPROW row = line.data();
    jpeg_read_scanlines(&codec, &row, 1);
  });
  widen(line.data(), line.size(), document.depth(), document.row(y));
}

} // namespace

Picture readJpeg(const Source& source, int minimumBits, int, const Watch& watch) {
  Decoder decoder;
  jpeg_decompress_struct& codec = decoder.codec;
  readHeader(decoder, source.bytes);
  refuseWithoutData(decoder, source.bytes);
  Picture picture{
      makeDocument(codec.image_width, codec.image_height, 3, 8, minimumBits, false, watch)};
  picture.blocks.icc = profileOf(decoder);
  picture.resolution = resolutionOf(codec);
  guarded(decoder.errors, [&] {
    codec.out_color_space = JCS_RGB;
    // Processes the scans of a progressive file one by one, to limit their number.
    codec.buffered_image = jpeg_has_multiple_scans(&codec);
    jpeg_start_decompress(&codec);
  });
  const auto goOn = [&] {
    if (watch.stopped())
      throw Stopped();
    if (decoder.errors.endsEarly)
      throw std::runtime_error(endsEarly);
  };
  if (codec.buffered_image) {
    int status = JPEG_SUSPENDED;
    while (status != JPEG_REACHED_EOI) {
      goOn();
      if (codec.input_scan_number > scansAtMost)
        throw std::runtime_error("more scans than any picture needs");
      guarded(decoder.errors, [&] { status = jpeg_consume_input(&codec); });
    }
    guarded(decoder.errors, [&] { jpeg_start_output(&codec, codec.input_scan_number); });
  }
  Bytes line(picture.document.depth() == 8 ? 0 : size_t(codec.output_width) * 3);
  while (codec.output_scanline < codec.output_height) {
    goOn();
    readStripe(decoder, picture.document, line);
    watch.progress(double(codec.output_scanline) / codec.output_height);
    watch.decoded(picture.document, int32_t(codec.output_scanline));
  }
  guarded(decoder.errors, [&] {
    if (codec.buffered_image)
      jpeg_finish_output(&codec);
    jpeg_finish_decompress(&codec);
  });
  goOn();
  if (decoder.errors.damage[0])
    picture.notes.push_back(std::string("damaged: ") + decoder.errors.damage);
  return picture;
}

namespace {

constexpr int blockSide = 8;                  // pixels
constexpr int64_t leastOfHalves = 12'000'000; // pixels; below this, a second thread gains little
constexpr int32_t mostBlocks = 65535; // between two restart markers, a 16-bit number in the file
constexpr int32_t restartMarkers = 8; // different numbers, used cyclically

// How a picture is encoded: in one piece, or as two halves on two threads.
struct Halves {
  int32_t upperRows; // in pixels
  unsigned interval; // blocks from one restart marker to the next; 0: one piece
};

// The upper half ends after a full cycle of restart markers, so that the lower half, encoded as a
// separate picture, begins with the right number.
Halves halvesOf(const host::Document& document, int threads) {
  const int32_t width = document.width(), height = document.height();
  const int32_t across = (width + blockSide - 1) / blockSide, down = height / blockSide;
  if (threads > 1 && int64_t(width) * height >= leastOfHalves)
    for (int32_t intervals = restartMarkers; intervals <= down / 2; intervals += restartMarkers)
      if (const int32_t rows = down / 2 / intervals; int64_t(rows) * across <= mostBlocks)
        return {intervals * rows * blockSide, unsigned(rows * across)};
  return {height, 0};
}

// Encodes the rows from `begin` to `end` as a separate picture.
void encodeRows(Encoder& encoder, const Picture& picture, int quality, const Bytes& icc,
                int32_t begin, int32_t end, unsigned interval, const Watch& watch) {
  const host::Document& document = picture.document;
  jpeg_compress_struct& codec = encoder.codec;
  // Enough for most photographs; unused memory costs nothing.
  encoder.size = size_t(document.width()) * size_t(end - begin) / 2 + 1;
  encoder.bytes = encoder.room = static_cast<unsigned char*>(std::malloc(encoder.size));
  guarded(encoder.errors, [&] {
    jpeg_create_compress(&codec);
    jpeg_mem_dest(&codec, &encoder.bytes, &encoder.size);
    codec.image_width = JDIMENSION(document.width());
    codec.image_height = JDIMENSION(end - begin);
    codec.input_components = 3;
    codec.in_color_space = JCS_RGB;
    jpeg_set_defaults(&codec);
    jpeg_set_quality(&codec, quality, TRUE);
    codec.restart_interval = interval;
    codec.comp_info[0].h_samp_factor = codec.comp_info[0].v_samp_factor = 1;
    if (picture.resolution.x > 0) {
      codec.density_unit = picture.resolution.perCentimetre ? 2 : 1;
      codec.X_density = UINT16(std::clamp(picture.resolution.x, 1.0, 65535.0));
      codec.Y_density = UINT16(std::clamp(picture.resolution.y, 1.0, 65535.0));
    }
    jpeg_start_compress(&codec, TRUE);
    if (!icc.empty())
      jpeg_write_icc_profile(&codec, icc.data(), unsigned(icc.size()));
  });
  const size_t rowSamples = size_t(document.width()) * 3;
  Bytes lines(document.depth() == 8 ? 0 : rowSamples * stripe);
  while (codec.next_scanline < codec.image_height) {
    if (watch.stopped())
      throw Stopped();
    const int32_t y = begin + int32_t(codec.next_scanline);
    const int count = std::min<int>(stripe, end - y);
    JSAMPROW rows[stripe];
    for (int i = 0; i < count; ++i) {
      if (document.depth() == 8) {
        rows[i] = reinterpret_cast<JSAMPROW>(const_cast<std::byte*>(document.row(y + i)));
      } else {
        rows[i] = lines.data() + size_t(i) * rowSamples;
        narrow(document.row(y + i), rowSamples, document.depth(), 8, rows[i]);
      }
    }
    guarded(encoder.errors, [&] { jpeg_write_scanlines(&codec, rows, JDIMENSION(count)); });
    watch.progress(double(codec.next_scanline) / codec.image_height);
  }
  guarded(encoder.errors, [&] { jpeg_finish_compress(&codec); });
}

constexpr unsigned char startOfScan = 0xda, lastRestart = 0xd7;

// The position of the segment with this marker, in a file that an encoder has just made: it has
// one.
size_t segment(const unsigned char* file, unsigned char marker) {
  size_t at = 2; // after the marker that starts the file
  while (file[at + 1] != marker)
    at += size_t(2) + size_t(file[at + 2] << 8) + file[at + 3];
  return at;
}

// One file from two halves: the upper half with the total height, a restart marker, and the lower
// half without its headers.
Bytes joined(const Encoder& upper, const Encoder& lower, int32_t height) {
  constexpr unsigned char frame = 0xc0;
  constexpr int heightPlace = 5;
  constexpr size_t endMarker = 2; // bytes
  unsigned char* place = upper.bytes + segment(upper.bytes, frame) + heightPlace;
  place[0] = uint8_t(height >> 8);
  place[1] = uint8_t(height & 0xff);
  const unsigned char* header = lower.bytes + segment(lower.bytes, startOfScan);
  const unsigned char* data = header + 2 + (header[2] << 8) + header[3];
  Bytes all;
  all.reserve(upper.size + lower.size);
  all.assign(upper.bytes, upper.bytes + upper.size - endMarker);
  all.insert(all.end(), {0xff, lastRestart});
  all.insert(all.end(), data, static_cast<const unsigned char*>(lower.bytes) + lower.size);
  return all;
}

} // namespace

Bytes writeJpeg(const Picture& picture, const Encoding& encoding, const MetadataBlocks& blocks,
                const Watch& watch) {
  const int32_t height = picture.document.height();
  const Halves halves = halvesOf(picture.document, encoding.threads);
  Encoder upper, lower;
  std::future<void> other;
  if (halves.interval)
    other = std::async(std::launch::async | std::launch::deferred, [&] {
      encodeRows(lower, picture, encoding.quality, {}, halves.upperRows, height, halves.interval,
                 {[](double) {}, watch.stopped});
    });
  encodeRows(upper, picture, encoding.quality, blocks.icc, 0, halves.upperRows, halves.interval,
             watch);
  if (!halves.interval)
    return Bytes(upper.bytes, upper.bytes + upper.size);
  other.get();
  return joined(upper, lower, height);
}

size_t scanPlace(const Bytes& file) { return segment(file.data(), startOfScan); }

namespace {

// Where two decoders can divide a file; rows is 0 if they cannot.
struct Division {
  size_t place;    // of the first byte after a restart marker with the last number
  JDIMENSION rows; // rows of blocks before it
};

// The last possible place in the first half of a file from writeJpeg. A decoder that starts there
// expects the first marker number, as at the scan's start.
Division divisionOf(const jpeg_decompress_struct& codec, const Bytes& file) {
  const size_t across = (codec.image_width + size_t(blockSide) - 1) / blockSide;
  const JOCTET* middle = file.data() + file.size() / 2;
  const JOCTET* at = codec.src->next_input_byte;
  Division last{};
  size_t intervals = 0;
  while (at < middle &&
         (at = static_cast<const JOCTET*>(std::memchr(at, 0xff, size_t(middle - at))))) {
    intervals += at[1] >= JPEG_RST0 && at[1] <= lastRestart;
    at += 2;
    const size_t blocks = intervals * codec.restart_interval;
    if (at[-1] == lastRestart && blocks % across == 0)
      last = {size_t(at - file.data()), JDIMENSION(blocks / across)};
  }
  return last;
}

// Decodes this number of rows of blocks (0: all), starting at the place (0: the scan's start);
// keeps nothing.
void checkRows(Decoder& decoder, const Bytes& file, size_t place, JDIMENSION rows) {
  jpeg_decompress_struct& codec = decoder.codec;
  if (place > 0) {
    codec.src->next_input_byte = file.data() + place;
    codec.src->bytes_in_buffer = file.size() - place;
  }
  guarded(decoder.errors, [&] {
    codec.scale_num = 1; // decodes every coefficient, but uses only the first one of a block
    codec.scale_denom = 8;
    codec.dct_method = JDCT_IFAST;
    jpeg_start_decompress(&codec);
  });
  Bytes line(size_t(codec.output_width) * 3);
  guarded(decoder.errors, [&] {
    JSAMPROW row = line.data();
    while (codec.output_scanline < (rows ? rows : codec.output_height))
      jpeg_read_scanlines(&codec, &row, 1);
  });
  if (decoder.errors.manager.num_warnings)
    throw std::runtime_error("it is damaged");
}

} // namespace

Shape checkJpeg(const Bytes& file, int threads) {
  Decoder upper, lower;
  readHeader(upper, file);
  const jpeg_decompress_struct& codec = upper.codec;
  const Division division =
      threads > 1 && codec.restart_interval ? divisionOf(codec, file) : Division{};
  std::future<void> other;
  if (division.rows)
    other = std::async(std::launch::async | std::launch::deferred, [&] {
      readHeader(lower, file);
      const JDIMENSION rows = (codec.image_height + blockSide - 1) / blockSide;
      checkRows(lower, file, division.place, rows - division.rows);
    });
  checkRows(upper, file, 0, division.rows);
  if (division.rows)
    other.get();
  if (file.size() < 2 || file[file.size() - 2] != 0xff || file.back() != JPEG_EOI)
    throw std::runtime_error("it has no end");
  return {codec.image_width, codec.image_height, codec.data_precision};
}

} // namespace photo
