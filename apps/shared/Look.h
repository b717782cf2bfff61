// The look: the filter's settings as a person gives them, on the scales of the dialog.
//
// One table of parameters feeds the options, their help, the settings file and the block that the
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
  // 0 to 100 each; without a value the standard of the table holds.
  std::optional<double> foreground, background, strength;
  std::optional<double> foregroundPosition, backgroundPosition, balance;
  std::optional<bool> mask; // the result is the haze mask
};

// A parameter of the look that is a number from 0 to 100.
struct LookParameter {
  const char* name; // of the option and of the key in the file
  const char* help;
  std::optional<double> standard; // none: the photograph's own estimate
  std::optional<double> Look::*value;
  void (*set)(Parameters&, double); // on the filter's scale; null: not a value of the filter
  double (*get)(const Parameters&); // back to the look's scale
};
std::span<const LookParameter> lookParameters();

std::string numberText(double value); // the shortest that reads as this value

// Declares the look's options to a command line. The look must outlive its parsing.
void addLook(CLI::App& app, Look& look);

double strengthOf(const Look& look); // 0 to 1
bool isEmpty(const Look& look);      // nothing is set

// Writes every value that is known into the filter's settings.
void apply(const Look& look, Parameters& parameters);
Look lookOf(const Parameters& parameters);

// Values of `above` where it has any, else those of `below`.
Look merged(const Look& above, const Look& below);

// The settings file, `key = value` a line, as TOML and INI have it. UsageError names file and key.
Look readLook(const std::string& file);

// Writes the look to the file. UsageError names the file.
void saveLook(const std::string& file, const Look& look, bool replace);

} // namespace shared
