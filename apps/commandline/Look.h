// The look: the filter's settings as a person gives them, on the scales of the dialog.
//
// One table of parameters feeds the options, their help, the settings file and the block that the
// filter reads.
#pragma once

#include <optional>
#include <span>
#include <stdexcept>
#include <string>

#include "frame/contract/Parameters.h"

namespace commandline {

// Something wrong with what was asked for, not with a photograph: exit status 2.
struct UsageError : std::runtime_error {
  using std::runtime_error::runtime_error;
};

struct Look {
  // 0 to 100 each; without a value the standard of the table holds.
  std::optional<double> foreground, background, strength;
  std::optional<double> foregroundPosition, backgroundPosition, balance;
  std::optional<bool> mask; // the result is the haze mask
};

// A parameter of the look that is a number.
struct LookParameter {
  const char* name; // of the option and of the key in the file
  const char* help;
  double low, high;
  std::optional<double> standard; // none: the photograph's own estimate
  std::optional<double> Look::*value;
  void (*set)(Parameters&, double); // on the filter's scale; null: not a value of the filter
  double (*get)(const Parameters&); // back to the look's scale
};
std::span<const LookParameter> lookParameters();
constexpr char maskName[] = "mask";
constexpr char maskHelp[] = "write the haze mask instead of the corrected photograph";

// The parameter's value or its standard.
std::optional<double> valueOf(const Look& look, const LookParameter& parameter);
double strengthOf(const Look& look); // 0 to 1

// Writes every value that is known into the filter's settings.
void apply(const Look& look, Parameters& parameters);
Look lookOf(const Parameters& parameters);

// The number in the text, whatever the locale; throws UsageError when it is none or lies outside.
double parseNumber(const std::string& text, double low, double high);

// Values of `above` where it has any, else those of `below`.
Look merged(const Look& above, const Look& below);

// The settings file, `key = value` a line, as TOML and INI have it. UsageError names file and key.
Look readLook(const std::string& file);
std::string lookText(const Look& look);

// Writes the text to the file. UsageError names the file.
void saveLook(const std::string& file, const Look& look, bool replace);

} // namespace commandline
