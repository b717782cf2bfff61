// The parameter table. CLI11 reads the options and the settings file, including numbers and ranges.

#include "apps/shared/Look.h"

#include <charconv>
#include <cmath>
#include <set>
#include <sstream>
#include <string_view>

#include <CLI/CLI.hpp>

#include "apps/photo/Files.h"
#include "apps/shared/Errors.h"
#include "frame/contract/Sliders.h"

namespace shared {
namespace {

constexpr double percent = 100.0;
constexpr char maskName[] = "mask";
constexpr int64_t mostBytes = 1 << 20; // of a settings file

constexpr double standardStrength = int(estimateSoftening * percent + 0.5);

// clang-format off
const LookParameter parameters[] = {
  {"foreground", "correction of the foreground, 0 to 100; without it,\nthe photograph's own estimate times --strength",
   {}, &Look::foreground,
   [](Parameters& p, double v) { p.foregroundIntensity = ValueOfPosition(v); },
   [](const Parameters& p) { return p.foregroundIntensity * percent; }},
  {"background", "correction of the background, 0 to 100; without it,\nthe same",
   {}, &Look::background,
   [](Parameters& p, double v) { p.backgroundIntensity = ValueOfPosition(v); },
   [](const Parameters& p) { return p.backgroundIntensity * percent; }},
  {"strength", "share of the estimates that is used, 0 to 100",
   standardStrength, &Look::strength, nullptr, nullptr},
  {"foreground-position", "depth where the foreground ends, 0 to 100",
   0, &Look::foregroundPosition,
   [](Parameters& p, double v) { p.foregroundPosition = ValueOfPosition(v); },
   [](const Parameters& p) { return p.foregroundPosition * percent; }},
  {"background-position", "depth where the background begins, 0 to 100",
   100, &Look::backgroundPosition,
   [](Parameters& p, double v) { p.backgroundPosition = ValueOfPosition(v); },
   [](const Parameters& p) { return p.backgroundPosition * percent; }},
  {"balance", "curve between them: below 50 the background's value\nreaches nearer, above 50 the foreground's farther;\n0 to 100",
   50, &Look::balance,
   [](Parameters& p, double v) { p.power = PowerOfPosition(v); },
   [](const Parameters& p) { return BalanceOfPower(p.power); }},
};
// clang-format on

std::optional<double> valueOf(const Look& look, const LookParameter& parameter) {
  const std::optional<double>& value = look.*parameter.value;
  return value ? value : parameter.standard;
}

// CLI11's own range check accepts NaN.
std::string whyNotInRange(const std::string& text) {
  double value = 0;
  if (CLI::detail::lexical_cast(text, value) && value >= leastPosition && value <= greatestPosition)
    return {};
  return "'" + text + "' is not a number from 0 to 100";
}

// CLI11 silently accepts some lines: the second value of a repeated key, and the names that it
// gives to the begin and the end of a section.
void checkItems(CLI::App& reader, const std::vector<CLI::ConfigItem>& items) {
  std::set<std::string> seen;
  for (const CLI::ConfigItem& item : items) {
    if (!item.parents.empty())
      throw UsageError("there are no sections, such as [" + item.parents.front() + "]");
    if (!reader.get_option_no_throw("--" + item.name))
      throw UsageError("there is no setting " + item.name);
    if (item.inputs.size() > 1 || !seen.insert(item.name).second)
      throw UsageError("more than one value for " + item.name);
  }
}

std::string textOf(const std::string& file) {
  constexpr std::string_view byteOrderMark = "\xef\xbb\xbf"; // some editors write it
  photo::Watch watch;
  watch.sized = [](int64_t size) {
    if (size > mostBytes)
      throw UsageError("too long for settings");
  };
  const photo::Bytes bytes = photo::readWhole(file, watch);
  std::string text(bytes.begin(), bytes.end());
  return text.starts_with(byteOrderMark) ? text.substr(byteOrderMark.size()) : text;
}

} // namespace

std::span<const LookParameter> lookParameters() { return parameters; }

std::string numberText(double value) {
  char text[32];
  return {text, std::to_chars(text, text + sizeof text, value).ptr};
}

void addLook(CLI::App& app, Look& look) {
  for (const LookParameter& parameter : parameters) {
    const std::string standard =
        parameter.standard ? " (" + numberText(*parameter.standard) + ")" : "";
    app.add_option(std::string("--") + parameter.name, look.*parameter.value,
                   parameter.help + standard)
        ->check(whyNotInRange)
        ->option_text("N");
  }
  app.add_flag_callback(
      std::string("--") + maskName, [&look] { look.mask = true; },
      "write the haze mask instead of the photograph");
}

double strengthOf(const Look& look) { return look.strength.value_or(standardStrength) / percent; }

bool isEmpty(const Look& look) {
  for (const LookParameter& parameter : parameters)
    if (look.*parameter.value)
      return false;
  return !look.mask;
}

void apply(const Look& look, Parameters& filter) {
  for (const LookParameter& parameter : parameters)
    if (const auto value = valueOf(look, parameter); value && parameter.set)
      parameter.set(filter, *value);
  filter.outputMap = look.mask.value_or(false);
}

Look lookOf(const Parameters& filter) {
  // A thousandth is finer than any slider, and hides the errors of float arithmetic.
  constexpr double grain = 1000.0;
  Look look;
  for (const LookParameter& parameter : parameters)
    if (parameter.get)
      look.*parameter.value = std::round(parameter.get(filter) * grain) / grain;
  look.mask = filter.outputMap != 0;
  return look;
}

Look merged(const Look& above, const Look& below) {
  Look look = above;
  for (const LookParameter& parameter : parameters)
    if (!(look.*parameter.value))
      look.*parameter.value = below.*parameter.value;
  if (!look.mask)
    look.mask = below.mask;
  return look;
}

Look readLook(const std::string& file) {
  Look look;
  CLI::App reader;
  reader.set_help_flag();
  reader.allow_config_extras(CLI::config_extras_mode::error);
  addLook(reader, look);
  try {
    std::istringstream text(textOf(file));
    checkItems(reader, reader.get_config_formatter()->from_config(text));
    text.clear();
    text.seekg(0);
    reader.parse_from_stream(text);
  } catch (const std::exception& error) {
    throw UsageError(file + ": " + error.what());
  }
  return look;
}

void saveLook(const std::string& file, const Look& look, bool replace) {
  std::string text = "# A look of fogdissolver. Settings that are left out take the standard.\n";
  for (const LookParameter& parameter : parameters)
    if (const auto value = valueOf(look, parameter))
      text += std::string(parameter.name) + " = " + numberText(*value) + "\n";
  text += std::string(maskName) + " = " + (look.mask.value_or(false) ? "true" : "false") + "\n";
  try {
    photo::writeSafely({file, photo::temporaryNameFor(file), replace},
                       photo::Bytes(text.begin(), text.end()));
  } catch (const std::runtime_error& error) {
    throw std::runtime_error(std::string("--save-settings: ") + error.what());
  }
}

} // namespace shared
