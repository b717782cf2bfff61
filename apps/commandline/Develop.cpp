// Read, filter, write, with what stands between the file's samples and the filter's.

#include "apps/commandline/Develop.h"

#include <cstdarg>
#include <cstdio>
#include <stdexcept>

#include "apps/commandline/Editing.h"
#include "apps/commandline/FilterRun.h"
#include "apps/commandline/Report.h"
#include "apps/photo/Codecs.h"
#include "apps/photo/Files.h"
#include "apps/photo/Metadata.h"
#include "apps/photo/Samples.h"

namespace commandline {
namespace {

// Shares of the progress where reading ends and writing begins, as on a photograph of 24 MP.
constexpr double readEnds = 0.1, writeBegins = 0.85;

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

// Notes are for those who listen.
void note(const Job& job, const Options& options, const std::string& text) {
  if (!options.quiet && !text.empty())
    say(job.input, text);
}

// The filter on the picture's document, which knows neither infinite samples nor multiplied alpha.
FilterReport filter(const Job& job, const Options& options, const host::Module& module,
                    photo::Picture& picture, const photo::Watch& watch) {
  host::Document& document = picture.document;
  const photo::NotFinite notFinite = photo::takeNotFinite(document);
  if (!notFinite.empty())
    note(job, options,
         std::to_string(notFinite.size()) + " samples are not finite; they are left as they are");
  if (picture.premultiplied)
    photo::divideByAlpha(document);
  const FilterReport report =
      options.dialog ? runDialog(module, document, options.threads, watch)
                     : runFilter(module, document, options.look, options.threads, watch);
  if (job.format->premultiplied)
    photo::multiplyByAlpha(document);
  // Without a light in one of the channels (a black picture) the filter computes no numbers.
  if (report.lostSamples)
    note(job, options,
         std::to_string(report.lostSamples) + " samples came out as no number; they are 0");
  photo::giveBack(document, notFinite);
  return report;
}

photo::Bytes encode(const Job& job, const Options& options, Loaded& loaded,
                    const photo::Encoding& encoding, const photo::Watch& watch) {
  photo::adaptToResult(loaded.metadata, loaded.picture, "Fogdissolver " FOG_VERSION);
  const photo::MetadataBlocks blocks = photo::blocksOf(loaded.metadata);
  photo::Bytes bytes = photo::encodePicture(loaded.picture, encoding, blocks, watch);
  note(job, options, photo::leftBehind(loaded.metadata, *job.format));
  return photo::withMetadata(std::move(bytes), loaded.metadata, *job.format);
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
  const Stopwatch readWatch;
  Loaded loaded = load(job, options, between(watch, 0, readEnds));
  const host::Document& document = loaded.picture.document;
  const double readSeconds = readWatch.seconds();
  for (const std::string& text : loaded.picture.notes)
    note(job, options, text);

  const photo::Encoding encoding = encodingFor(job, options, loaded.picture);
  const std::string reason = photo::whyNotHeld(*job.format, loaded.picture, encoding.bits);
  if (!reason.empty())
    throw std::runtime_error(reason);
  if (options.verbose)
    tell(job, "%d x %d, %d channels, %d bits in, %d bits out", document.width(), document.height(),
         document.channels(), loaded.picture.fileBits, encoding.bits);

  const FilterReport report =
      filter(job, options, module, loaded.picture, between(watch, readEnds, writeBegins));
  if (options.verbose)
    tellFilter(job, report, module);

  const Stopwatch writeWatch;
  const photo::Bytes bytes = encode(job, options, loaded, encoding, between(watch, writeBegins, 1));
  if (watch.stopped())
    throw photo::Stopped();
  store(job, options, bytes);
  if (options.dialog && !options.saveSettings.empty())
    saveLook(options.saveSettings, lookOf(report.used), options.force);
  if (options.verbose)
    tell(job, "seconds: read %.3f, estimate %.3f, filter %.3f, write %.3f", readSeconds,
         report.estimateSeconds, report.filterSeconds, writeWatch.seconds());
  if (options.verbose || (!options.quiet && barIsPossible()))
    say(job.input, "written to " + job.output);
}

} // namespace commandline
