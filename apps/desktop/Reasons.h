// The sentences of the programs' common code, in the person's language.
//
// That code speaks English, with names and numbers in its sentences. Those that people meet most
// are translated; the others stay as they are.
#pragma once

#include <exception>
#include <string>

#include <QString>

namespace desktop {

QString inWords(const std::string& sentence);

// Of a failure; empty for one that the person wished for.
QString reasonOf(const std::exception_ptr& failure);

} // namespace desktop
