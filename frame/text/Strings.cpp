// The string tables, and the search for the documentation pages.
#include "frame/text/Strings.h"

#include <QString>
#include <QUrl>

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <string_view>
#include <system_error>

#include "frame/contract/Version.h"
#include "frame/record/ModuleFile.h"

namespace {

struct Text {
  int number;
  const char* english;
  const char* french; // null: English only
};

constexpr Text texts[] = {
    {stringDialogTitle, "Velso Fogdissolver", "Velso Fogdissolver"},
    {stringCancel, "Cancel", "Annuler"},
    {stringReset, "Reset", "Réinitialiser"},
    {stringAbout,
     "Velso Fogdissolver\n"
     "Version " FOG_VERSION "\n"
     "A photoshop plug-in filter removing white haze from image.",
     nullptr},
    {stringIntegerRange, "An integer is required between ^1 and ^2.", nullptr},
    {stringDecimalRange, "A decimal number is required between ^1 and ^2.", nullptr},
    {stringHostTooOld, "This plug-in requires Adobe Photoshop® ^1 or later functionality.",
     nullptr},
    {stringHostTooNew, "This plug-in is incompatible with this version of the host program.",
     nullptr},
    // The backslashes are part of the text: a resource compiler keeps an escape that it does not
    // know.
    {stringSuiteMissing, R"(the required suite \'^0\' is unavailable)", nullptr},
};

struct Page {
  int number;
  const char* english; // file below the documentation folder
  const char* french;
};

constexpr Page pages[] = {
    {stringHomePage, "index.html", "fr/index.html"},
    {stringHelpPage, "help.html", "fr/help.html"},
};

// Documentation folder, relative to an installation's prefix; a build tree has the same layout.
constexpr char documentationFolder[] = "share/doc/fogdissolver";

// Searches the folders above the module, nearest first, and returns the page's address. The
// module's depth below the prefix depends on the system (lib/, lib/<architecture>/).
std::string pageAddress(const char* page) {
  namespace fs = std::filesystem;
  const fs::path module = ModuleFile();
  for (fs::path folder = module.parent_path(); folder.has_relative_path();
       folder = folder.parent_path()) {
    const fs::path file = folder / documentationFolder / page;
    std::error_code ignored;
    if (fs::is_regular_file(file, ignored))
      return QUrl::fromLocalFile(QString::fromStdString(file.string())).toEncoded().toStdString();
  }
  return {};
}

std::string_view environment(const char* name) {
  const char* value = std::getenv(name);
  return value ? value : "";
}

// Language code of a locale name: language[_territory][.codeset][@modifier].
std::string_view languageOf(std::string_view locale) {
  return locale.substr(0, locale.find_first_of("_.@"));
}

} // namespace

bool systemLanguageIsFrench() {
  std::string_view wanted;
  for (const char* name : {"LC_ALL", "LC_MESSAGES", "LANG"})
    if (wanted.empty())
      wanted = environment(name);
  if (wanted.empty() || wanted == "C" || wanted == "POSIX")
    return false;
  if (const std::string_view list = environment("LANGUAGE"); !list.empty())
    wanted = list;

  // The first language with texts decides; a single locale is a list of one.
  while (!wanted.empty()) {
    const size_t end = std::min(wanted.find(':'), wanted.size());
    const std::string_view language = languageOf(wanted.substr(0, end));
    if (language == "fr" || language == "en" || language == "C" || language == "POSIX")
      return language == "fr";
    wanted.remove_prefix(std::min(end + 1, wanted.size()));
  }
  return false;
}

std::string LoadStringResource(int number) {
  const bool french = systemLanguageIsFrench();
  for (const Text& text : texts)
    if (text.number == number)
      return french && text.french ? text.french : text.english;
  for (const Page& page : pages)
    if (page.number == number)
      return pageAddress(french ? page.french : page.english);
  return {};
}
