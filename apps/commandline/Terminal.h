// The terminal: lines for a person, all on standard error, and the progress bar under them.
#pragma once

#include <chrono>
#include <string>

namespace commandline {

// "fogdissolver: ABOUT: WHAT" as one line in one piece, whatever the texts hold; an empty `about`
// is left out.
void say(const std::string& about, const std::string& what);

// A photograph's name in a line, where an empty one would not be seen.
std::string named(const std::string& photograph);

// The bar is drawn only on a terminal that can move its cursor.
bool barIsPossible();
void setBarInUse(bool inUse); // lines then clear the bar's line first

struct BarState {
  std::string name;       // of the photograph
  double share = 0;       // of it that is done, 0 to 1
  int number = 1, of = 1; // which photograph of how many
  std::chrono::steady_clock::time_point begun;
};
void drawBar(const BarState& state);
void clearBar();

} // namespace commandline
