// The options, declared for CLI11.

#include "apps/commandline/Options.h"

#include <algorithm>
#include <cmath>
#include <filesystem>
#include <iostream>
#include <stdexcept>
#include <thread>

#include <CLI/CLI.hpp>

#include "apps/photo/Formats.h"
#include "apps/shared/Errors.h"
#include "frame/contract/Version.h"

namespace fs = std::filesystem;

namespace commandline {
namespace {

using shared::UsageError;

constexpr int mostThreads = 256; // far more than the module can use
constexpr int mostJobs = 1024;
constexpr double mostMegabytes = 1e9;
constexpr size_t helpColumn = 28; // column of the descriptions; lines have at most 80 columns

constexpr char examples[] =
    "Examples:\n"
    "  fogdissolver hills.jpg                      writes hills-clear.jpg\n"
    "  fogdissolver *.jpg -o clear/ --strength 90  a folder of them, one a core\n"
    "  fogdissolver hills.tif -o '{name}-mask.{ext}' --mask\n"
    "  fogdissolver hills.jpg --background 60 --save-settings hills.toml\n"
    "\n"
    "Photographs have fewer than 2^28 pixels.\n"
    "Exit status: 0 all written, 1 a file failed or was refused, 2 wrong usage,\n"
    "3 none failed but a dialog was left by Cancel.";

// CLI11's own range check accepts NaN.
std::string notNan(const std::string& text) {
  double value = 0;
  const bool isNan = CLI::detail::lexical_cast(text, value) && std::isnan(value);
  return isNan ? "'" + text + "' is not a number" : "";
}

// Options that are declared after this call belong to the group.
void begin(CLI::App& app, const char* group) { app.option_defaults()->group(group); }

void addOutput(CLI::App& app, Options& options) {
  begin(app, "Result");
  app.add_option("-o,--output", options.output,
                 "a file, a folder (ending in /), a pattern with\n"
                 "{name} and {ext}, or - for standard output;\n"
                 "without it NAME-clear.EXT beside the input.\n"
                 "The extension chooses the format")
      ->option_text("PATH");
  app.add_option("--format", options.format,
                 "format where no name decides it:\n" + photo::formatNames())
      ->option_text("EXT");
  app.add_option("--bits", options.bits,
                 "bits a channel: 8, 16 or 32 (the input's, where\nthe format holds them)")
      ->check(CLI::IsMember({8, 16, 32}))
      ->option_text("N");
  app.add_option("--quality", options.quality, "of JPEG and WebP, 1 to 100 (95)")
      ->check(CLI::Range(1, 100))
      ->option_text("N");
  app.add_flag("-f,--force", options.force, "replace existing files");
  app.add_flag("-n,--dry-run", options.dryRun, "only say what would be done");
}

void addLook(CLI::App& app, Options& options) {
  begin(app, "Look");
  shared::addLook(app, options.look);
  app.add_option("--settings", options.settings,
                 "read the look from a file; options here go\nbefore it")
      ->option_text("FILE");
  app.add_option("--save-settings", options.saveSettings, "write the look to a file")
      ->option_text("FILE");
}

void addRun(CLI::App& app, Options& options) {
  begin(app, "Run");
  app.add_flag("--dialog", options.dialog, "set the look in the filter's dialog, with a\npreview");
  app.add_flag("--about", options.about, "show the filter's about box");
  app.add_option("-t,--threads", options.threads, "threads for one photograph")
      ->check(CLI::Range(1, mostThreads))
      ->option_text("N");
  app.add_option("-j,--jobs", options.jobs,
                 "photographs at a time; both share the cores if\nnot given")
      ->check(CLI::Range(1, mostJobs))
      ->option_text("N");
  app.add_option(
         "--memory", options.memory,
         "megabytes for all photographs at a time; what\nwould take more waits or is refused")
      ->check(CLI::Range(1.0, mostMegabytes))
      ->check(notNan)
      ->option_text("N");
  app.add_flag("-q,--quiet", options.quiet, "say nothing but errors");
  app.add_flag("-v,--verbose", options.verbose, "tell sizes, estimates and times");
  app.set_version_flag("--version", "fogdissolver " FOG_VERSION, "print the version and leave");
  app.set_help_flag("-h,--help", "print this help and leave");
  app.set_help_all_flag("--help-all", "print it with the developers' options");
}

// Hidden except on the second page of the help.
void addForDevelopers(CLI::App& app, Options& options) {
  begin(app, "");
  app.add_option("--trace", options.trace, "write the filter's own trace to a file")
      ->option_text("FILE");
  app.add_option("--plugin", options.plugin, "folder of the filter's modules")->option_text("DIR");
}

// An unset variable of a shell leaves an empty one.
void refuseEmpty(const CLI::App& app) {
  for (const CLI::Option* option : app.get_options())
    if (option->count() > 0 && !option->get_positional() && option->results().front().empty())
      throw UsageError("--" + option->get_lnames().front() + ": an empty name");
}

// Prints the requested text.
void print(const CLI::App& app, const CLI::Success& text) {
  app.exit(text);
  if (!std::cout.flush())
    throw std::runtime_error("standard output cannot be written");
}

void showForDevelopers(CLI::App& app) {
  for (const char* name : {"--trace", "--plugin"})
    app.get_option(name)->group("For developers");
}

void check(const Options& options) {
  if (!options.format.empty() && !photo::formatOfExtension(options.format))
    throw UsageError("--format: '" + options.format + "' is none of " + photo::formatNames());
  if (options.quiet && options.verbose)
    throw UsageError("--quiet and --verbose do not go together");
  if (options.about && !options.inputs.empty())
    throw UsageError("--about takes no photograph");
  if (options.inputs.empty() && options.saveSettings.empty() && !options.about)
    throw UsageError("no photograph is given; --help tells the usage");
  // The dialog always starts with its own defaults, and returns what the user sets.
  if (options.dialog && !isEmpty(options.look))
    throw UsageError("--dialog: the look is set in the dialog, not by options or a file");
}

// Sets threads and jobs if they are not given: many photographs mean many jobs with few threads,
// one photograph means one job with many.
void shareCores(Options& options) {
  const int cores = std::max(1, int(std::thread::hardware_concurrency()));
  const int inputs = std::max(1, int(options.inputs.size()));
  if (options.jobs == 0)
    options.jobs = std::clamp(cores / std::max(1, options.threads), 1, inputs);
  options.jobs = options.dialog ? 1 : std::min(options.jobs, inputs);
  if (options.threads == 0)
    options.threads = std::max(1, cores / options.jobs);
}

// Checks a file that is written in addition to the results: it must not be one of them, nor an
// input, nor exist.
void checkBeside(const char* option, const std::string& file, const std::vector<shared::Job>& jobs,
                 bool force) {
  auto refuse = [&](const std::string& why) {
    throw UsageError(std::string(option) + ": " + file + " " + why);
  };
  for (const shared::Job& job : jobs) {
    if (shared::isSameFile(file, job.input))
      refuse("is an input");
    if (shared::isSameFile(file, job.output))
      refuse("is an output");
  }
  if (const std::string reason = shared::whyNotWritten(file, force); !reason.empty())
    refuse(reason);
}

} // namespace

std::vector<shared::Job> planOf(const Options& options) {
  std::vector<shared::Job> jobs = planJobs(options);
  const std::string &trace = options.trace, &settings = options.saveSettings;
  std::error_code ignored;
  if (!trace.empty() && (!fs::exists(trace, ignored) || fs::is_regular_file(trace, ignored))) {
    checkBeside("--trace", trace, jobs, options.force); // it may be a pipe or a terminal
    if (!options.settings.empty() && shared::isSameFile(trace, options.settings))
      throw UsageError("--trace: " + trace + " is the settings file");
  }
  if (!settings.empty())
    checkBeside("--save-settings", settings, jobs, options.force);
  if (!settings.empty() && !trace.empty() && shared::isSameFile(settings, trace))
    throw UsageError("--save-settings: " + settings + " is the trace");
  return jobs;
}

std::optional<Options> readCommandLine(int argc, char** argv) {
  Options options;
  options.threads = 0;
  CLI::App app("Removes white haze from photographs.", "fogdissolver");
  app.footer(examples);
  app.get_formatter()->column_width(helpColumn);
  app.get_formatter()->label("Positionals", "Photographs");
  app.add_option("INPUT", options.inputs, "files; - is standard input")->option_text("...");
  addOutput(app, options);
  addLook(app, options);
  addRun(app, options);
  addForDevelopers(app, options);
  try {
    app.parse(argc, argv);
  } catch (const CLI::CallForAllHelp& text) {
    showForDevelopers(app);
    print(app, text);
    return std::nullopt;
  } catch (const CLI::Success& text) {
    print(app, text);
    return std::nullopt;
  } catch (const CLI::ParseError& error) {
    throw UsageError(error.what());
  }
  refuseEmpty(app);
  if (!options.settings.empty())
    options.look = merged(options.look, shared::readLook(options.settings));
  check(options);
  shareCores(options);
  return options;
}

} // namespace commandline
