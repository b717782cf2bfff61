// Runs the real program in a folder of its own, and shows what it did.
#pragma once

#include <chrono>
#include <functional>
#include <map>
#include <string>
#include <vector>

#include "tests/apps/Folder.h"

struct Finished {
  int status = -1; // exit status, or -1 when a signal ended it
  int signal = 0;
  std::string out, err;
};

struct Launch {
  std::string input;                              // file for standard input, "" for none
  std::string output;                             // file for standard output, "" to collect it
  std::map<std::string, std::string> environment; // "" takes a variable away
  std::function<void()> inChild = [] {};          // limits, masks; before the program starts
  std::chrono::milliseconds interruptAfter{0};    // then SIGINT; 0: never
};

class ProgramTest : public FolderTest {
protected:
  // Runs `fogdissolver arguments...` inside the folder.
  Finished run(const std::vector<std::string>& arguments, const Launch& launch = {}) const;
};

// The standard error is one line: "fogdissolver: ABOUT: ..." with the text in it.
testing::AssertionResult isOneLine(const std::string& err, const std::string& about,
                                   const std::string& text);
