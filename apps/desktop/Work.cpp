#include "apps/desktop/Work.h"

#include <algorithm>
#include <cstring>
#include <filesystem>
#include <string_view>

#include "apps/photo/Files.h"
#include "apps/photo/Orientation.h"
#include "apps/shared/Errors.h"
#include "apps/shared/Memory.h"

namespace desktop {
namespace {

constexpr size_t signatureSize = 16; // bytes; enough to recognise a format

photo::Picture copyOf(const photo::Picture& from) {
  const host::Document& document = from.document;
  host::Document copy(document.width(), document.height(), document.channels(), document.depth(),
                      document.mode(), document.hasTransparency());
  std::memcpy(copy.row(0), document.row(0), bytesOf(from));
  return {std::move(copy), from.fileBits, from.half,          from.premultiplied, from.upright,
          from.resolution, from.blocks,   from.decoderRecord, from.notes,         from.openExrOnly};
}

// OpenEXR and Radiance define their samples as linear light.
bool linearByDefinition(const std::string& path) {
  const photo::Bytes start = photo::readStart(path, signatureSize);
  const photo::Format* format = photo::formatOfBytes(start.data(), start.size());
  return format &&
         (std::string_view(format->codec) == "openexr" || std::string_view(format->codec) == "hdr");
}

// Refuses a photograph that needs more memory than the machine has, before decoding. The result's
// format matters little and is not known yet.
void refuseWithoutMemory(const std::string& path, const photo::Claim& claim) {
  std::error_code ignored;
  const auto size = std::filesystem::file_size(path, ignored);
  const int64_t bytes =
      shared::memoryFor(claim, *photo::formatOfExtension("tif"), ignored ? 0 : int64_t(size));
  if (bytes > std::min(shared::memoryOfMachine(), shared::memoryOfProcess()))
    throw shared::NotEnoughMemory(bytes, claim);
}

// Quotes for a POSIX shell, only if necessary.
std::string quoted(const std::string& word) {
  constexpr char plain[] = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789_./,+@%-";
  if (!word.empty() && word.find_first_not_of(plain) == std::string::npos)
    return word;
  std::string text = "'";
  for (const char c : word)
    text += c == '\'' ? std::string("'\\''") : std::string(1, c);
  return text + "'";
}

} // namespace

OriginalPtr readOriginal(const std::string& path, int threads, const photo::Watch& watch) {
  photo::Watch asking = watch;
  asking.claimed = [&path](const photo::Claim& claim) { refuseWithoutMemory(path, claim); };
  asking.sized = [](int64_t size) {
    const int64_t bytes = shared::memoryForFile(size);
    if (bytes > std::min(shared::memoryOfMachine(), shared::memoryOfProcess()))
      throw shared::NotEnoughMemory(bytes, size);
  };
  shared::Loaded loaded = shared::load(path, 8, threads, asking);
  auto original = std::make_shared<Original>();
  original->path = path;
  original->picture = std::make_shared<photo::Picture>(std::move(loaded.picture));
  original->metadata = std::move(loaded.metadata);
  original->orientation = photo::orientationOf(original->metadata);
  original->profile = photo::blocksOf(original->metadata).icc;
  original->isLinear = original->picture->fileBits == 32 && linearByDefinition(path);
  return original;
}

State originalState(const Original& original) { return {original.picture, {}, {}, Maker::nobody}; }

State corrected(const Original& original, const host::Module& module, const shared::Look& look,
                int threads, const photo::Watch& watch) {
  const shared::Corrector silent{[&](host::Document& document, const photo::Watch& inner) {
    return shared::correct(module, document, look, threads, inner);
  }};
  State state = correctedBy(original, silent, Maker::strength, watch);
  state.look = look;
  return state;
}

State correctedBy(const Original& original, const shared::Corrector& corrector, Maker maker,
                  const photo::Watch& watch) {
  State state{std::make_shared<photo::Picture>(copyOf(*original.picture)), {}, {}, maker};
  state.report =
      shared::correctWith(corrector, state.picture->document, original.orientation, watch);
  state.look = shared::lookOf(state.report->used);
  return state;
}

PlannedSave planSave(const Original& original, const SaveOrder& order) {
  shared::Request request;
  request.inputs = {original.path};
  request.output = order.file;
  request.bits = order.bits;
  request.quality = order.quality;
  request.threads = order.threads;
  request.force = true; // whoever chose the file has already been asked
  shared::Job job = shared::planJobs(request).at(0);
  if (!job.refusal.empty())
    throw shared::UsageError(job.refusal);
  return {std::move(job), std::move(request)};
}

std::optional<host::Document> turnedUpright(const Original& original) {
  if (original.orientation == 1)
    return std::nullopt;
  return photo::turned(original.picture->document, original.orientation);
}

std::string save(Original& original, const State& state, const host::Module& module,
                 const SaveOrder& order, const photo::Watch& watch) {
  const auto [job, request] = planSave(original, order);
  const int wanted = order.bits ? order.bits : photo::leastDepth(*job.format);
  const bool isCorrected = state.maker != Maker::nobody;
  if (wanted > state.picture->document.depth() && state.maker != Maker::otherFilter) {
    const shared::Corrector again{[&](host::Document& document, const photo::Watch& inner) {
      return isCorrected ? shared::correct(module, document, state.look, order.threads, inner)
                         : shared::CorrectionReport{};
    }};
    std::string lost;
    shared::Listener listener;
    listener.note = [&](const std::string& note) {
      const std::vector<std::string>& told = original.picture->notes;
      if (std::find(told.begin(), told.end(), note) == told.end())
        lost += (lost.empty() ? "" : "; ") + note;
    };
    shared::develop(job, request, again, listener, watch);
    return lost;
  }
  const photo::Encoding encoding = shared::encodingFor(*job.format, request, *state.picture);
  // Encoding may multiply the colours by alpha, but the window still shows them.
  const bool changes = encoding.format->premultiplied && state.picture->document.hasTransparency();
  const Picture picture =
      changes ? std::make_shared<photo::Picture>(copyOf(*state.picture)) : state.picture;
  const photo::Bytes bytes = shared::encode(*picture, original.metadata, encoding, watch);
  if (watch.stopped())
    throw photo::Stopped();
  shared::store(job, request.force, bytes);
  return photo::leftBehind(original.metadata, *job.format);
}

std::string commandFor(const Original& original, const State& state) {
  std::string line = "fogdissolver";
  for (const shared::LookParameter& parameter : shared::lookParameters()) {
    const std::optional<double>& value = state.look.*parameter.value;
    if (value && value != parameter.standard)
      line += std::string(" --") + parameter.name + " " + shared::numberText(*value);
  }
  if (state.look.mask.value_or(false))
    line += " --mask";
  return line + " " + quoted(original.path);
}

} // namespace desktop
