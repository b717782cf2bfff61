// Ends of a piece of work, and what is said of them.
#pragma once

#include <stdexcept>
#include <string>

namespace shared {

// Something is wrong with what was asked for.
struct UsageError : std::runtime_error {
  using std::runtime_error::runtime_error;
};

// A person left the dialog by Cancel.
struct Cancelled {};

// One sentence for a person. Where memory has run out, the libraries' words are replaced.
std::string reasonOf(const std::exception& error);

} // namespace shared
