// The look: the filter's settings as the user gives them, on the dialog's scales.
//
// One table of parameters defines the options, their help, the settings file and the block that the
// filter reads.
#pragma once

#include <optional>
#include <span>
#include <string>

#include "frame/contract/Parameters.h"

namespace CLI {
class App;
}

namespace shared {

struct Look {
  // 0 to 100 each; a missing value means the default in the table.
  std::optional<double> foreground, background, strength;
  std::optional<double> foregroundPosition, backgroundPosition, balance;
  std::optional<bool> mask; // the result is the haze mask
};

// A numeric parameter of the look, 0 to 100.
struct LookParameter {
  const char* name; // of the option and of the key in the file
  const char* help;
  std::optional<double> standard; // the default; empty: the photograph's estimate
  std::optional<double> Look::*value;
  void (*set)(Parameters&, double); // on the filter's scale; null: not one of its values
  double (*get)(const Parameters&); // returns it on the look's scale
};
std::span<const LookParameter> lookParameters();

std::string numberText(double value); // the shortest text that parses to this value

// Declares the look's options for a command line. The look must outlive the parsing.
void addLook(CLI::App& app, Look& look);

double strengthOf(const Look& look); // 0 to 1
bool isEmpty(const Look& look);      // nothing is set

// Writes all given values into the filter's settings.
void apply(const Look& look, Parameters& parameters);
Look lookOf(const Parameters& parameters);

// Values of `above` if they are set, otherwise those of `below`.
Look merged(const Look& above, const Look& below);

// Reads the settings file, lines of `key = value` as in TOML and INI. Throws UsageError with the
// file and the key.
Look readLook(const std::string& file);

// Writes the look to the file. Throws UsageError with the file.
void saveLook(const std::string& file, const Look& look, bool replace);

} // namespace shared
