#include "apps/commandline/Terminal.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string_view>

#include <sys/ioctl.h>
#include <unistd.h>

namespace commandline {
namespace {

constexpr char clearLine[] = "\r\033[K";
constexpr int barWidth = 24;
constexpr double tellsFrom = 0.03; // share below which the remaining time is a guess

bool barInUse = false;

void put(const std::string& text) {
  // One call for the whole line, so that lines of several processes do not mix. If standard error
  // itself fails, nothing can be reported.
  const ssize_t ignored = ::write(STDERR_FILENO, text.data(), text.size());
  (void)ignored;
}

// File names and libraries' messages may contain any character; the output stays on one line.
std::string printable(std::string text) {
  for (char& c : text)
    if (static_cast<unsigned char>(c) < 0x20 || c == 0x7f)
      c = '?';
  return text;
}

int terminalWidth() {
  winsize size{};
  return ::ioctl(STDERR_FILENO, TIOCGWINSZ, &size) == 0 && size.ws_col > 0 ? size.ws_col : 80;
}

std::string timeLeft(const BarState& state) {
  if (state.share < tellsFrom)
    return "";
  const std::chrono::duration<double> spent = std::chrono::steady_clock::now() - state.begun;
  const int seconds = int(std::ceil(spent.count() * (1 - state.share) / state.share));
  char text[32];
  std::snprintf(text, sizeof text, "  %d:%02d left", seconds / 60, seconds % 60);
  return text;
}

} // namespace

void say(const std::string& about, const std::string& what) {
  const std::string line =
      "fogdissolver: " + (about.empty() ? "" : printable(about) + ": ") + printable(what) + "\n";
  put((barInUse ? clearLine : "") + line);
}

std::string named(const std::string& photograph) {
  return photograph.empty() ? "\"\"" : photograph;
}

bool barIsPossible() {
  const char* terminal = std::getenv("TERM");
  return ::isatty(STDERR_FILENO) && terminal && std::strcmp(terminal, "dumb") != 0;
}

void setBarInUse(bool inUse) { barInUse = inUse; }

void drawBar(const BarState& state) {
  const int filled = int(state.share * barWidth);
  char figures[64];
  std::snprintf(figures, sizeof figures, "] %3d%%", int(state.share * 100));
  const std::string count =
      state.of > 1 ? "  (" + std::to_string(state.number) + " of " + std::to_string(state.of) + ")"
                   : "";
  const std::string tail = " [" + std::string(size_t(filled), '#') +
                           std::string(size_t(barWidth - filled), '-') + figures + timeLeft(state) +
                           count;
  const size_t room = size_t(std::max(8, terminalWidth() - 1 - int(tail.size())));
  std::string name = printable(state.name);
  if (name.size() > room)
    name = "..." + name.substr(name.size() - room + 3);
  put(clearLine + name + tail);
}

void clearBar() { put(clearLine); }

} // namespace commandline
