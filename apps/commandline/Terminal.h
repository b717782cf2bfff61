// The terminal: messages for the user, all on standard error, and the progress bar below them.
#pragma once

#include <chrono>
#include <string>

namespace commandline {

// Prints "fogdissolver: ABOUT: WHAT" as one line in one call, whatever the texts contain; omits an
// empty `about`.
void say(const std::string& about, const std::string& what);

// A photograph's name for a message, visible even if it is empty.
std::string named(const std::string& photograph);

// The bar needs a terminal that can move its cursor.
bool barIsPossible();
void setBarInUse(bool inUse); // messages then clear the bar's line first

struct BarState {
  std::string name;       // of the photograph
  double share = 0;       // finished share, 0 to 1
  int number = 1, of = 1; // number of the photograph, and their total
  std::chrono::steady_clock::time_point begun;
};
void drawBar(const BarState& state);
void clearBar();

} // namespace commandline
