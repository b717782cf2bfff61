// Translates the messages of the programs' common code to the user's language.
//
// That code produces English messages that contain names and numbers. This table translates the
// most common ones; the others stay in English.
#pragma once

#include <exception>
#include <string>

#include <QString>

namespace desktop {

QString inWords(const std::string& sentence);

// The message for a failure; empty for one that the user requested.
QString reasonOf(const std::exception_ptr& failure);

} // namespace desktop
