// Errors and cancellation, and their messages.
#pragma once

#include <stdexcept>
#include <string>

namespace shared {

// The request is wrong.
struct UsageError : std::runtime_error {
  using std::runtime_error::runtime_error;
};

// The user cancelled the dialog.
struct Cancelled {};

// One sentence for the user. If memory has run out, it replaces the libraries' messages.
std::string reasonOf(const std::exception& error);

} // namespace shared
