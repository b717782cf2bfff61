// Read, filter, write, with what stands between the file's samples and the filter's.

#include "apps/commandline/Develop.h"

#include <chrono>
#include <cstdarg>
#include <cstdio>
#include <stdexcept>

#include "apps/commandline/Filter.h"
#include "apps/commandline/Messages.h"
#include "apps/photo/Codecs.h"
#include "apps/photo/Files.h"
#include "apps/photo/Metadata.h"
#include "apps/photo/Samples.h"

namespace commandline {
namespace {

using Clock = std::chrono::steady_clock;

// Shares of the progress where reading ends and writing begins, as on a photograph of 24 MP.
constexpr double readEnds = 0.1, writeBegins = 0.85;

double secondsSince(Clock::time_point start) {
  return std::chrono::duration<double>(Clock::now() - start).count();
}

photo::Watch between(const photo::Watch& watch, double from, double to) {
  return {[&watch, from, to](double share) { watch.progress(from + (to - from) * share); },
          watch.stopped};
}

struct Loaded {
  photo::Picture picture;
  photo::Metadata metadata;
};

Loaded load(const Job& job, const Options& options, const photo::Watch& watch) {
  const photo::Source source{job.input, photo::readWhole(job.input)};
  const int minimumBits = options.bits ? options.bits : photo::leastDepth(*job.format);
  photo::Picture picture = photo::readPicture(source, minimumBits, options.threads, watch);
  return {std::move(picture), photo::readMetadata(source.bytes)};
}

photo::Encoding encodingFor(const Job& job, const Options& options, const photo::Picture& picture) {
  photo::Encoding encoding;
  encoding.format = job.format;
  encoding.bits = options.bits ? options.bits : photo::depthFor(*job.format, picture.fileBits);
  encoding.half = picture.half && options.bits == 0 && encoding.bits == 32;
  encoding.quality = options.quality;
  encoding.threads = options.threads;
  return encoding;
}

void store(const Job& job, const Options& options, const photo::Bytes& bytes) {
  if (job.output == "-")
    photo::writeToOutput(bytes);
  else
    photo::writeSafely(job.output, job.temporary, bytes, options.force);
}

__attribute__((format(printf, 2, 3))) void tell(const Job& job, const char* format, ...) {
  char text[256];
  va_list arguments;
  va_start(arguments, format);
  std::vsnprintf(text, sizeof text, format, arguments);
  va_end(arguments);
  say(job.input, text);
}

void tellFilter(const Job& job, const FilterReport& report, const host::Module& module) {
  if (report.estimate)
    tell(job, "estimate: foreground %.1f, background %.1f", report.estimate->foreground * 100.0,
         report.estimate->background * 100.0);
  tell(job, "used: foreground %.1f, background %.1f; module %s",
       report.used.foregroundIntensity * 100.0, report.used.backgroundIntensity * 100.0,
       module.file().filename().c_str());
}

} // namespace

void develop(const Job& job, const Options& options, const host::Module& module,
             const photo::Watch& watch) {
  const Clock::time_point start = Clock::now();
  Loaded loaded = load(job, options, between(watch, 0, readEnds));
  photo::Picture& picture = loaded.picture;
  host::Document& document = picture.document;
  const double readSeconds = secondsSince(start);
  if (!options.quiet)
    for (const std::string& note : picture.notes)
      say(job.input, note);

  const photo::Encoding encoding = encodingFor(job, options, picture);
  const std::string reason = photo::whyNotHeld(*job.format, picture, encoding.bits);
  if (!reason.empty())
    throw std::runtime_error(reason);
  if (options.verbose)
    tell(job, "%d x %d, %d channels, %d bits in, %d bits out", document.width(), document.height(),
         document.channels(), picture.fileBits, encoding.bits);

  const photo::NotFinite notFinite = photo::takeNotFinite(document);
  if (!notFinite.empty() && !options.quiet)
    tell(job, "%zu samples are not finite; they are left as they are", notFinite.size());
  if (picture.premultiplied)
    photo::divideByAlpha(document);
  const photo::Watch filterWatch = between(watch, readEnds, writeBegins);
  const FilterReport report =
      options.dialog ? runDialog(module, document, options.threads, filterWatch)
                     : runFilter(module, document, options.look, options.threads, filterWatch);
  if (job.format->premultiplied)
    photo::multiplyByAlpha(document);
  photo::giveBack(document, notFinite);

  const Clock::time_point writeStart = Clock::now();
  photo::adaptToResult(loaded.metadata, picture, "Fogdissolver " FOG_VERSION);
  const photo::MetadataBlocks blocks = photo::blocksOf(loaded.metadata);
  photo::Bytes bytes =
      photo::encodePicture(picture, encoding, blocks, between(watch, writeBegins, 1));
  bytes = photo::withMetadata(std::move(bytes), loaded.metadata, *job.format);
  if (const std::string lost = photo::leftBehind(loaded.metadata, *job.format);
      !lost.empty() && !options.quiet)
    say(job.input, lost);
  if (watch.stopped())
    throw photo::Stopped();
  store(job, options, bytes);
  if (options.dialog && !options.saveSettings.empty())
    saveLook(options.saveSettings, lookOf(report.used), options.force);
  if (options.verbose) {
    tellFilter(job, report, module);
    tell(job, "seconds: read %.3f, estimate %.3f, filter %.3f, write %.3f", readSeconds,
         report.estimateSeconds, report.filterSeconds, secondsSince(writeStart));
  }
  if (options.verbose || (!options.quiet && barIsPossible()))
    say(job.input, "written to " + job.output);
}

} // namespace commandline
