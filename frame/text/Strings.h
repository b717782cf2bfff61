// The numbered texts that a user sees, in English and French.
//
// The language follows the system's: French for every French-speaking country, otherwise English.
// Texts from number 16000 on exist in English only and serve both.
#pragma once

#include <string>

// Numbers that the dialogs load; the alerts' numbers are next to the alerts.
constexpr int stringDialogTitle = 112;
constexpr int stringCancel = 114;
constexpr int stringReset = 115;
constexpr int stringHomePage = 117; // address of a page to open
constexpr int stringHelpPage = 118; // the same
constexpr int stringAbout = 16000;
constexpr int stringIntegerRange = 16990; // ^1 lowest, ^2 highest value
constexpr int stringDecimalRange = 16991; // the same
constexpr int stringHostTooOld = 16992;   // ^1 required version of the host
constexpr int stringHostTooNew = 16993;
constexpr int stringSuiteMissing = 16994; // ^0 name of the suite

// The language for messages, by the rules of GNU gettext: the first of LC_ALL, LC_MESSAGES and LANG
// that is set; if that is neither C nor POSIX, then the first language of the list LANGUAGE that
// has texts. Reads the environment at each call.
bool systemLanguageIsFrench();

// UTF-8; empty if no text has this number. The two pages are file:// addresses, found relative to
// the module's own file; empty if the pages are not installed.
std::string LoadStringResource(int number);
