// The numbered texts that a user sees, in English and French.
//
// The language follows the system's: French of any country, or else English. Texts
// numbered 16000 and above exist in English only and serve both.
#pragma once

#include <string>

// Numbers that the dialogs load; the alerts' numbers stand beside the alerts.
constexpr int stringDialogTitle = 112;
constexpr int stringCancel = 114;
constexpr int stringReset = 115;
constexpr int stringHomePage = 117; // address of a page to open
constexpr int stringHelpPage = 118; // the same
constexpr int stringAbout = 16000;
constexpr int stringIntegerRange = 16990; // ^1 least, ^2 greatest value
constexpr int stringDecimalRange = 16991; // the same
constexpr int stringHostTooOld = 16992;   // ^1 version of the host that is needed
constexpr int stringHostTooNew = 16993;
constexpr int stringSuiteMissing = 16994; // ^0 name of the suite

// The language for messages as GNU gettext finds it: the first of LC_ALL, LC_MESSAGES and LANG that
// is set, or if that is neither C nor POSIX, the first language of the list LANGUAGE that there are
// texts in. Read anew at each call.
bool systemLanguageIsFrench();

// UTF-8; empty if there is no text of that number. The two pages are file:// addresses, found from
// the place of the module's own file; empty as well where the pages are not installed.
std::string LoadStringResource(int number);
