// The two records that a host reads from the module, byte for byte, and the texts in two languages.
#include <gmock/gmock.h>

#include <QUrl>

#include <cstdlib>
#include <fstream>
#include <sstream>
#include <string>

#include "frame/contract/Version.h"
#include "frame/selectors/Resources.h"
#include "frame/text/Strings.h"

namespace {

TEST(Resources, AreGolden) {
  using namespace std::string_literals;
  EXPECT_EQ(
      std::string(PIPL_16000.begin(), PIPL_16000.end()),
      "\1\0\0\0\0\0\13\0\0\0MIB8dnik\0\0\0\0\4\0\0\0MFB8MIB8eman\0\0\0\0\20\0\0\0\14Fogdissolve"
      "r\0\0\0MIB8gtac\0\0\0\0\10\0\0\0\5Velso\0\0MIB8srev\0\0\0\0\4\0\0\0\0\0\4\0MIB868xw\0\0"
      "\0\0\14\0\0\0PluginMain\0\0MIB8edom\0\0\0\0\4\0\0\0\20\0\0\0MIB8mtsh\0\0\0\08\0\0\0\0\0"
      "\0\0001Osvllun\200>3f1c8a52-6d07-4be9-9a41-c27e5d90b1f4\0\0\0\0\0\0MIB8lbne\0\0\0\0T\0\0"
      "\0in(PSHOP_ImageMode, RGBMode, RGB48Mode, RGB96Mode) && PSHOP_NumTrueChannels >= 3\0\0\0"
      "\0MIB823sm\0\0\0\0\10\0\0\0\200\204\36\0\200\204\36\0MIB8yllf\0\0\0\0\4\0\0\0\200\0\0\0M"
      "IB8icif\0\0\0\0\34\0\0\0\4\4\6\0\4\4\6\0\4\4\6\0\4\4\6\0\4\4\6\0\4\4\6\0\4\4\6\0"s);
  EXPECT_EQ(
      std::string(AETE_16000.begin(), AETE_16000.end()),
      "\1\0\1\0\0\0\0\0\1\0\5Velso\32Velso Fogdissolver plug-in1Osv\1\0\1\0\1\0\14Fogdissolver"
      "\33Fogdissolver filter plug-in1Osvllunllun\0\0\0RmI#\0\0\260\1\0\11outputmaptnmAloob\12O"
      "utput map\0\0\0\0\0\0\0\0"s);
  EXPECT_THAT(moduleVersion.file, testing::ElementsAre(1, 0, 0, 400));
  EXPECT_THAT(moduleVersion.product, testing::ElementsAre(1, 0, 0, 400));
  EXPECT_STREQ(moduleVersion.comment, "Adobe Photoshop® plug-in cleaning haze from images.");
}

// Sets these variables of the locale, and removes all others.
void speak(const std::string& assignments) {
  for (const char* name : {"LC_ALL", "LC_MESSAGES", "LANG", "LANGUAGE"})
    unsetenv(name);
  std::istringstream rest(assignments);
  for (std::string name, value; std::getline(rest >> std::ws, name, '=') && rest >> value;)
    setenv(name.c_str(), value.c_str(), 1);
}

TEST(Strings, FollowTheLocaleAndThenTheList) {
  for (const char* locale :
       {"LC_ALL=fr_CA.UTF-8 LC_MESSAGES=en_US LANG=C", "LC_MESSAGES=fr LANG=de_DE", "LANG=fr@euro",
        "LANG=fr.UTF-8 LANGUAGE=de:fr", "LANG=en_US.UTF-8 LANGUAGE=fr", "LANG=de_DE LANGUAGE=:fr",
        "LANG=de_DE LANGUAGE=de_AT:fr_CA:en"})
    EXPECT_TRUE((speak(locale), systemLanguageIsFrench())) << locale;
  for (const char* locale :
       {"LC_ALL=de_DE LC_MESSAGES=fr_FR LANG=fr_FR", "LC_ALL=C LANG=fr_FR LANGUAGE=fr",
        "LC_MESSAGES=POSIX LANG=fr_FR LANGUAGE=fr", "LANGUAGE=fr", "LANG=frr_DE.UTF-8",
        "LANG=fr_FR LANGUAGE=en:fr", "LANG=fr_FR LANGUAGE=C:fr", "LANG=fr_FR LANGUAGE=POSIX:fr",
        "LANG=fr_FR LANGUAGE=de:frr"})
    EXPECT_FALSE((speak(locale), systemLanguageIsFrench())) << locale;
}

// A phrase identifies each page. The build tree has the pages in the same layout as an
// installation.
TEST(Strings, ReadInBothLanguages) {
  using testing::HasSubstr, testing::Matcher;
  const std::string about = "Velso Fogdissolver\nVersion " FOG_VERSION
                            "\nA photoshop plug-in filter removing white haze from image.";
  const char suite[] = "the required suite \\'^0\\' is unavailable";
  const std::tuple<int, Matcher<std::string>, Matcher<std::string>> rows[] = {
      {112, "Velso Fogdissolver", "Velso Fogdissolver"},
      {114, "Cancel", "Annuler"},
      {115, "Reset", "Réinitialiser"},
      {16000, about, about},
      {16994, suite, suite},
      {113, "", ""},
      {117, HasSubstr("<h2>How it works"), HasSubstr("<h2>Comment")},
      {118, HasSubstr("<h2>Positioning"), HasSubstr("<h2>Positions des plans")}};
  for (const auto& [number, english, french] : rows)
    for (const bool inFrench : {false, true}) {
      speak(inFrench ? "LANG=fr_FR" : "LANG=en_GB");
      const std::string text = LoadStringResource(number);
      std::ifstream page(QUrl(QString::fromStdString(text)).toLocalFile().toStdString());
      const std::string content(std::istreambuf_iterator<char>(page), {});
      EXPECT_THAT(page ? content : text, inFrench ? french : english);
    }
  speak("LC_ALL=C");
}

} // namespace
