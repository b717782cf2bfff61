// Reads, corrects and writes, with the conversions between the file's samples and the filter's.

#include "apps/shared/Develop.h"

#include <chrono>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <new>
#include <stdexcept>

#include "apps/photo/Codecs.h"
#include "apps/photo/Files.h"
#include "apps/photo/Metadata.h"
#include "apps/photo/Orientation.h"
#include "apps/photo/Samples.h"
#include "frame/contract/Version.h"

namespace fs = std::filesystem;

namespace shared {
namespace {

using Clock = std::chrono::steady_clock;

// Shares of the progress at the end of reading and the start of writing, for a photograph of 24 MP.
constexpr double readEnds = 0.1, writeBegins = 0.85;

photo::Watch between(const photo::Watch& watch, double from, double to) {
  return {[&watch, from, to](double share) { watch.progress(from + (to - from) * share); },
          watch.stopped, watch.claimed, photo::Watch().decoded, watch.sized};
}

// Formats a sentence like printf.
template <class... Values> std::string sentence(const char* format, Values... values) {
  char text[256];
  std::snprintf(text, sizeof text, format, values...);
  return text;
}

void tellCorrection(const CorrectionReport& report, const Listener& listener) {
  if (report.estimate)
    listener.detail(sentence("estimate: foreground %.1f, background %.1f",
                             report.estimate->foreground * 100.0,
                             report.estimate->background * 100.0));
  listener.detail(sentence("used: foreground %.1f, background %.1f",
                           report.used.foregroundIntensity * 100.0,
                           report.used.backgroundIntensity * 100.0));
}

// Requests the memory for a photograph as soon as its size is known, and before that for its file.
class MemoryAsked {
public:
  photo::Watch asking(const Job& job, const Listener& listener, const photo::Watch& watch) {
    photo::Watch asks = watch;
    asks.sized = [this, &listener](int64_t size) {
      const int64_t bytes = memoryForFile(size);
      if (bytes > 0 && (bytes > memoryOfProcess() || !listener.grant(bytes, Need::file)))
        throw NotEnoughMemory(bytes, size);
      fileSize_ = size;
    };
    asks.claimed = [this, &job, &listener](const photo::Claim& claim) {
      claim_ = claim;
      bytes_ = addressSpaceFor(claim, *job.format, fileSize_);
      if (bytes_ > memoryOfProcess())
        refuse();
      bytes_ = memoryFor(claim, *job.format, fileSize_);
      if (!listener.grant(bytes_, Need::all))
        refuse();
    };
    return asks;
  }
  bool isKnown() const { return bytes_ > 0; }
  [[noreturn]] void refuse() const { throw NotEnoughMemory(bytes_, claim_); }

private:
  photo::Claim claim_{};
  int64_t bytes_ = 0, fileSize_ = 0;
};

// Makes the folders on the path that are missing; removes those that are empty at its end.
class NewFolders {
public:
  explicit NewFolders(const fs::path& path) {
    std::error_code error;
    for (fs::path folder = path; !folder.empty() && !fs::exists(folder, error);
         folder = folder.parent_path())
      made_.push_back(folder);
    if (!path.empty() && (fs::create_directories(path, error), error)) {
      remove();
      throw std::runtime_error("the folder " + path.string() +
                               " cannot be made: " + error.message());
    }
  }
  ~NewFolders() { remove(); }
  NewFolders(const NewFolders&) = delete;
  NewFolders& operator=(const NewFolders&) = delete;
  bool any() const { return !made_.empty(); }

private:
  void remove() {
    std::error_code notEmpty;
    for (const fs::path& folder : made_) // from the innermost
      fs::remove(folder, notEmpty);
  }
  std::vector<fs::path> made_;
};

} // namespace

Loaded load(const std::string& path, int minimumBits, int threads, const photo::Watch& watch) {
  Loaded loaded =
      photo::readApart({path, photo::readWhole(path, watch)}, minimumBits, threads, watch);
  if (loaded.picture.premultiplied)
    photo::divideByAlpha(loaded.picture.document);
  return loaded;
}

CorrectionReport correctWith(const Corrector& corrector, host::Document& document, int orientation,
                             const photo::Watch& watch) {
  const bool turn = corrector.isSeen && orientation != 1;
  if (turn)
    document = photo::turned(document, orientation);
  const CorrectionReport report = corrector.run(document, watch);
  if (turn)
    document = photo::turned(document, photo::turnedBack(orientation));
  return report;
}

photo::Encoding encodingFor(const photo::Format& format, const Request& request,
                            const photo::Picture& picture) {
  photo::Encoding encoding;
  encoding.format = &format;
  encoding.bits = request.bits ? request.bits : photo::depthFor(format, picture.fileBits);
  encoding.half = picture.half && request.bits == 0 && encoding.bits == 32 &&
                  std::strcmp(format.name, "OpenEXR") == 0; // the others know no halves
  encoding.quality = request.quality;
  encoding.threads = request.threads;
  const std::string reason = photo::whyNotHeld(format, picture, encoding.bits);
  if (!reason.empty())
    throw std::runtime_error(reason);
  return encoding;
}

photo::Bytes encode(photo::Picture& picture, photo::Metadata& metadata,
                    const photo::Encoding& encoding, const photo::Watch& watch) {
  if (encoding.format->premultiplied)
    photo::multiplyByAlpha(picture.document);
  photo::adaptToResult(metadata, picture, "Fogdissolver " FOG_VERSION);
  const photo::MetadataBlocks blocks = photo::blocksOf(metadata);
  photo::Bytes bytes = photo::encodePicture(picture, encoding, blocks, watch);
  bytes = photo::withMetadata(std::move(bytes), metadata, *encoding.format);
  photo::checkResult(bytes, picture, encoding);
  return bytes;
}

void store(const Job& job, bool replace, const photo::Bytes& bytes) {
  if (job.output == "-") {
    photo::writeToOutput(bytes);
    return;
  }
  for (bool again = false;; again = true) {
    const NewFolders folders(job.folder);
    try {
      return photo::writeSafely(
          {job.output, job.temporary, replace, photo::permissionsLike(job.input)}, bytes);
    } catch (const std::runtime_error&) {
      // Another process may have made the folder, failed and removed it.
      std::error_code ignored;
      if (again || folders.any() || job.folder.empty() || fs::exists(job.folder, ignored))
        throw;
    }
  }
}

namespace {

CorrectionReport developWithin(const Job& job, const Request& request, const Corrector& corrector,
                               const Listener& listener, const photo::Watch& watch) {
  auto seconds = [start = Clock::now()]() mutable {
    const auto last = std::exchange(start, Clock::now());
    return std::chrono::duration<double>(start - last).count();
  };
  const int minimumBits = request.bits ? request.bits : photo::leastDepth(*job.format);
  Loaded loaded = load(job.input, minimumBits, request.threads, between(watch, 0, readEnds));
  host::Document& document = loaded.picture.document;
  const double readSeconds = seconds();
  for (const std::string& text : loaded.picture.notes)
    listener.note(text);
  if (!loaded.unconfined.empty())
    listener.detail(loaded.unconfined);
  const photo::Encoding encoding = encodingFor(*job.format, request, loaded.picture);
  listener.detail(sentence("%d x %d, %d channels, %d bits in, %d bits out", document.width(),
                           document.height(), document.channels(), loaded.picture.fileBits,
                           encoding.bits));
  if (const int64_t count = document.nonFiniteSamples())
    listener.note(std::to_string(count) + " samples are not finite; they are left as they are");

  const CorrectionReport report =
      correctWith(corrector, document, photo::orientationOf(loaded.metadata),
                  between(watch, readEnds, writeBegins));
  if (report.lostSamples)
    listener.note(std::to_string(report.lostSamples) +
                  " samples came out as no number; they are 0");
  tellCorrection(report, listener);

  seconds();
  const photo::Bytes bytes =
      encode(loaded.picture, loaded.metadata, encoding, between(watch, writeBegins, 1));
  if (const std::string lost = photo::leftBehind(loaded.metadata, *job.format); !lost.empty())
    listener.note(lost);
  if (watch.stopped())
    throw photo::Stopped();
  store(job, request.force, bytes);
  listener.detail(sentence("seconds: read %.3f, estimate %.3f, filter %.3f, write %.3f",
                           readSeconds, report.estimateSeconds, report.filterSeconds, seconds()));
  return report;
}

bool ranOutOfMemory(const std::exception& error, const photo::Format& result) {
  return dynamic_cast<const std::bad_alloc*>(&error) || tellsOfMemory(error.what()) ||
         (dynamic_cast<const photo::BrokenResult*>(&error) && leavesBrokenFile(result));
}

} // namespace

CorrectionReport develop(const Job& job, const Request& request, const Corrector& corrector,
                         const Listener& listener, const photo::Watch& watch) {
  MemoryAsked memory;
  try {
    return developWithin(job, request, corrector, listener, memory.asking(job, listener, watch));
  } catch (const std::exception& error) {
    // Whatever code ran out of memory, the message is about the photograph.
    if (!memory.isKnown() || !ranOutOfMemory(error, *job.format))
      throw;
  }
  memory.refuse();
}

} // namespace shared
