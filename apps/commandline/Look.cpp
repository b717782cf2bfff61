// The parameter table, and the settings file read through CLI11's configuration reader.

#include "apps/commandline/Look.h"

#include <charconv>
#include <cmath>
#include <fstream>
#include <set>
#include <sstream>

#include <CLI/CLI.hpp>

#include "apps/photo/Files.h"

namespace commandline {
namespace {

constexpr double percent = 100.0;

// The balance slider's curve, rounded to float where the dialog rounds.
float powerOfBalance(double balance) { return float(std::exp(float(balance / 25.0 - 2.0))); }
double balanceOfPower(double power) { return (std::log(power) + 2.0) * 25.0; }

// clang-format off
const LookParameter parameters[] = {
  {"foreground", "correction of the foreground; without it, the photograph's own estimate times --strength",
   0, 100, {}, &Look::foreground,
   [](Parameters& p, double v) { p.foregroundIntensity = float(v / percent); },
   [](const Parameters& p) { return p.foregroundIntensity * percent; }},
  {"background", "correction of the background; without it, the same",
   0, 100, {}, &Look::background,
   [](Parameters& p, double v) { p.backgroundIntensity = float(v / percent); },
   [](const Parameters& p) { return p.backgroundIntensity * percent; }},
  {"strength", "share of the estimates that is used",
   0, 100, 70, &Look::strength, nullptr, nullptr},
  {"foreground-position", "depth where the foreground ends",
   0, 100, 0, &Look::foregroundPosition,
   [](Parameters& p, double v) { p.foregroundPosition = float(v / percent); },
   [](const Parameters& p) { return p.foregroundPosition * percent; }},
  {"background-position", "depth where the background begins",
   0, 100, 100, &Look::backgroundPosition,
   [](Parameters& p, double v) { p.backgroundPosition = float(v / percent); },
   [](const Parameters& p) { return p.backgroundPosition * percent; }},
  {"balance", "curve between them: below 50 the background's value reaches nearer, above 50 the foreground's farther",
   0, 100, 50, &Look::balance,
   [](Parameters& p, double v) { p.power = powerOfBalance(v); },
   [](const Parameters& p) { return balanceOfPower(p.power); }},
};
// clang-format on

std::string numberText(double value) {
  char text[32];
  const auto end = std::to_chars(text, text + sizeof text, value).ptr;
  return std::string(text, end);
}

const LookParameter* find(const std::string& name) {
  for (const LookParameter& parameter : parameters)
    if (name == parameter.name)
      return &parameter;
  return nullptr;
}

bool parseSwitch(const std::string& text) {
  if (text == "true" || text == "false")
    return text == "true";
  throw UsageError("'" + text + "' is neither true nor false");
}

void takeItem(Look& look, const CLI::ConfigItem& item) {
  const std::string key = item.fullname();
  const LookParameter* parameter = find(key);
  if (!parameter && key != maskName)
    throw UsageError("there is no such setting");
  if (item.inputs.size() != 1)
    throw UsageError("takes one value");
  if (parameter)
    look.*parameter->value = parseNumber(item.inputs[0], parameter->low, parameter->high);
  else
    look.mask = parseSwitch(item.inputs[0]);
}

} // namespace

std::span<const LookParameter> lookParameters() { return parameters; }

std::optional<double> valueOf(const Look& look, const LookParameter& parameter) {
  const std::optional<double>& value = look.*parameter.value;
  return value ? value : parameter.standard;
}

double strengthOf(const Look& look) { return *valueOf(look, *find("strength")) / percent; }

void apply(const Look& look, Parameters& filter) {
  for (const LookParameter& parameter : parameters)
    if (const auto value = valueOf(look, parameter); value && parameter.set)
      parameter.set(filter, *value);
  filter.outputMap = look.mask.value_or(false);
}

Look lookOf(const Parameters& filter) {
  // A thousandth is finer than any slider, and hides what float arithmetic adds.
  constexpr double grain = 1000.0;
  Look look;
  for (const LookParameter& parameter : parameters)
    if (parameter.get)
      look.*parameter.value = std::round(parameter.get(filter) * grain) / grain;
  look.mask = filter.outputMap != 0;
  return look;
}

double parseNumber(const std::string& text, double low, double high) {
  double value = 0;
  const char* end = text.data() + text.size();
  const auto [rest, error] = std::from_chars(text.data(), end, value);
  if (error != std::errc() || rest != end || std::isnan(value))
    throw UsageError("'" + text + "' is not a number");
  if (value < low || value > high)
    throw UsageError(text + " is not within " + numberText(low) + " to " + numberText(high));
  return value;
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
  std::string key;
  try {
    const photo::Bytes bytes = photo::readWhole(file);
    std::istringstream text(std::string(bytes.begin(), bytes.end()));
    std::set<std::string> seen;
    for (const CLI::ConfigItem& item : CLI::ConfigTOML().from_config(text)) {
      if (item.name == "++" || item.name == "--") // how the reader marks sections
        continue;
      key = item.fullname();
      if (!seen.insert(key).second)
        throw UsageError("is set twice");
      takeItem(look, item);
    }
  } catch (const std::exception& error) {
    throw UsageError(file + ": " + (key.empty() ? "" : key + ": ") + error.what());
  }
  return look;
}

std::string lookText(const Look& look) {
  std::string text = "# A look of fogdissolver. Settings that are left out take the standard.\n";
  for (const LookParameter& parameter : parameters)
    if (const auto value = valueOf(look, parameter))
      text += std::string(parameter.name) + " = " + numberText(*value) + "\n";
  return text + maskName + " = " + (look.mask.value_or(false) ? "true" : "false") + "\n";
}

void saveLook(const std::string& file, const Look& look, bool replace) {
  const std::string text = lookText(look);
  try {
    photo::writeSafely(file, file + ".part", photo::Bytes(text.begin(), text.end()), replace);
  } catch (const std::exception& error) {
    throw UsageError(std::string("--save-settings: ") + error.what());
  }
}

} // namespace commandline
