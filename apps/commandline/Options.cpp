// The options, declared to CLI11.

#include "apps/commandline/Options.h"

#include <algorithm>
#include <sstream>
#include <thread>

#include <CLI/CLI.hpp>

#include "apps/photo/Formats.h"

namespace commandline {
namespace {

constexpr int mostThreads = 256; // far beyond what the method gains from
constexpr int mostJobs = 1024;

constexpr char examples[] =
    "Examples:\n"
    "  fogdissolver hills.jpg                      writes hills-clear.jpg\n"
    "  fogdissolver *.jpg -o clear/ --strength 90  a folder of them, one a core\n"
    "  fogdissolver hills.tif -o '{name}-mask.{ext}' --mask\n"
    "  fogdissolver hills.jpg --background 60 --save-settings hills.toml\n"
    "\n"
    "Exit status: 0 all written, 1 a photograph failed or was refused, 2 wrong usage.";

constexpr char groupOutput[] = "Result", groupLook[] = "Look", groupRun[] = "Run";

// Help for a terminal of 80 columns: names in one column, descriptions wrapped in another.
class HelpFormat : public CLI::Formatter {
public:
  std::string make_usage(const CLI::App*, std::string) const override {
    return "\nUsage: fogdissolver [OPTIONS] INPUT... [-o OUTPUT]\n";
  }
  std::string make_option(const CLI::Option* option, bool) const override {
    const std::string name = replacedComma(option->get_name(false, true)) +
                             (option->get_type_name().empty() ? "" : " " + option->get_type_name());
    std::string text = (name.starts_with("--") ? "      " : "  ") + name;
    text += text.size() < helpColumn ? std::string(helpColumn - text.size(), ' ')
                                     : "\n" + std::string(helpColumn, ' ');
    size_t column = helpColumn;
    std::istringstream words(option->get_description());
    for (std::string word; words >> word; column += word.size() + 1) {
      if (column > helpColumn && column + word.size() >= helpWidth) {
        text += "\n" + std::string(helpColumn, ' ');
        column = helpColumn;
      }
      text += (column > helpColumn ? " " : "") + word;
    }
    return text + "\n";
  }

private:
  static constexpr size_t helpColumn = 32, helpWidth = 80;
  static std::string replacedComma(std::string names) {
    const size_t comma = names.find(',');
    return comma == std::string::npos ? names : names.replace(comma, 1, ", ");
  }
};

// A number given as text, so that neither locale nor rounding has a say in what is accepted.
template <class Number>
CLI::Option* addNumber(CLI::App& app, const std::string& names, Number& value, int low, int high,
                       const std::string& help) {
  return app
      .add_option_function<std::string>(
          names,
          [&value, names, low, high](const std::string& text) {
            try {
              const double number = parseNumber(text, low, high);
              if (number != int(number))
                throw UsageError("'" + text + "' is not a whole number");
              value = int(number);
            } catch (const UsageError& error) {
              throw CLI::ValidationError(names.substr(names.find("--")), error.what());
            }
          },
          help)
      ->type_name("N");
}

std::string rangeText(const LookParameter& parameter) {
  auto whole = [](double v) { return std::to_string(int(v)); };
  std::string text =
      std::string(parameter.help) + "; " + whole(parameter.low) + " to " + whole(parameter.high);
  return parameter.standard ? text + " (" + whole(*parameter.standard) + ")" : text;
}

void addLook(CLI::App& app, Look& look, std::string& settings, std::string& saveSettings) {
  for (const LookParameter& parameter : lookParameters())
    app.add_option_function<std::string>(
           std::string("--") + parameter.name,
           [&look, &parameter](const std::string& text) {
             try {
               look.*parameter.value = parseNumber(text, parameter.low, parameter.high);
             } catch (const UsageError& error) {
               throw CLI::ValidationError(std::string("--") + parameter.name, error.what());
             }
           },
           rangeText(parameter))
        ->type_name("N")
        ->group(groupLook);
  app.add_flag_callback(
         std::string("--") + maskName, [&look] { look.mask = true; }, maskHelp)
      ->group(groupLook);
  app.add_option("--settings", settings, "read the look from a file; options here go before it")
      ->type_name("FILE")
      ->group(groupLook);
  app.add_option("--save-settings", saveSettings, "write the look to a file")
      ->type_name("FILE")
      ->group(groupLook);
}

void addOutput(CLI::App& app, Options& options) {
  app.add_option("-o,--output", options.output,
                 "a file, a folder (ending in /), a pattern with {name} and {ext}, or - for "
                 "standard output; without it NAME-clear.EXT beside the input. The extension "
                 "chooses the format")
      ->type_name("PATH")
      ->group(groupOutput);
  app.add_option("--format", options.format,
                 "format where no name tells it: " + photo::formatNames())
      ->type_name("EXT")
      ->group(groupOutput);
  addNumber(app, "--bits", options.bits, 8, 32,
            "bits a channel: 8, 16 or 32 (the input's, where the format holds them)")
      ->group(groupOutput);
  addNumber(app, "--quality", options.quality, 1, 100, "of JPEG and WebP, 1 to 100 (95)")
      ->group(groupOutput);
  app.add_flag("-f,--force", options.force, "replace existing files")->group(groupOutput);
  app.add_flag("-n,--dry-run", options.dryRun, "only say what would be done")->group(groupOutput);
}

void addRun(CLI::App& app, Options& options, bool& version) {
  app.add_flag("--dialog", options.dialog, "set the look in the filter's dialog, with a preview")
      ->group(groupRun);
  app.add_flag("--about", options.about, "show the filter's about box")->group(groupRun);
  addNumber(app, "-t,--threads", options.threads, 1, mostThreads, "threads for one photograph")
      ->group(groupRun);
  addNumber(app, "-j,--jobs", options.jobs, 1, mostJobs,
            "photographs at a time; both share the cores if not given")
      ->group(groupRun);
  app.add_flag("-q,--quiet", options.quiet, "say nothing but errors")->group(groupRun);
  app.add_flag("-v,--verbose", options.verbose, "tell sizes, estimates and times")->group(groupRun);
  app.add_option("--trace", options.trace, "write the filter's own trace to a file")
      ->type_name("FILE")
      ->group(groupRun);
  app.add_option("--plugin", options.plugin, "folder of the filter's modules")
      ->type_name("DIR")
      ->group(groupRun);
  app.add_flag("--version", version, "print the version and leave")->group(groupRun);
  app.set_help_flag("-h,--help", "print this help and leave")->group(groupRun);
}

void check(const Options& options) {
  if (options.bits != 0 && options.bits != 8 && options.bits != 16 && options.bits != 32)
    throw UsageError("--bits: must be 8, 16 or 32");
  if (!options.format.empty() && !photo::formatOfExtension(options.format))
    throw UsageError("--format: '" + options.format + "' is none of " + photo::formatNames());
  if (options.quiet && options.verbose)
    throw UsageError("--quiet and --verbose do not go together");
  if (options.about && !options.inputs.empty())
    throw UsageError("--about takes no photograph");
  if (options.inputs.empty() && options.saveSettings.empty() && !options.about)
    throw UsageError("no photograph is given; --help tells the usage");
}

// The dialog starts from its own standards each time, and holds what it is set to.
void checkDialog(const Options& options) {
  if (!options.dialog)
    return;
  bool set = options.look.mask.has_value();
  for (const LookParameter& parameter : lookParameters())
    set = set || (options.look.*parameter.value).has_value();
  if (set)
    throw UsageError("--dialog: the look is set in the dialog, not by options or a file");
}

} // namespace

std::optional<Options> readCommandLine(int argc, char** argv) {
  Options options;
  std::string settings;
  bool version = false;
  CLI::App app("Removes white haze from photographs.", "fogdissolver");
  app.formatter(std::make_shared<HelpFormat>());
  app.footer(examples);
  app.add_option("INPUT", options.inputs, "photographs; - is standard input")
      ->type_name("")
      ->group("");
  addOutput(app, options);
  addLook(app, options.look, settings, options.saveSettings);
  addRun(app, options, version);
  try {
    app.parse(argc, argv);
  } catch (const CLI::CallForHelp&) {
    std::fputs(app.help().c_str(), stdout);
    return std::nullopt;
  } catch (const CLI::ParseError& error) {
    throw UsageError(error.what());
  }
  if (version) {
    std::puts("fogdissolver " FOG_VERSION);
    return std::nullopt;
  }
  if (!settings.empty())
    options.look = merged(options.look, readLook(settings));
  check(options);
  checkDialog(options);
  return options;
}

void shareCores(Options& options) {
  const int cores = std::max(1, int(std::thread::hardware_concurrency()));
  const int inputs = std::max(1, int(options.inputs.size()));
  if (options.jobs == 0)
    options.jobs = std::clamp(cores / std::max(1, options.threads), 1, inputs);
  options.jobs = options.dialog ? 1 : std::min(options.jobs, inputs);
  if (options.threads == 0)
    options.threads = std::max(1, cores / options.jobs);
}

} // namespace commandline
