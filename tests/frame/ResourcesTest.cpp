// The two records that a host reads of the module, byte for byte, and the texts in two languages.
#include <gmock/gmock.h>

#include <QUrl>

#include <array>
#include <cstdlib>
#include <fstream>
#include <string>

#include "frame/contract/Version.h"
#include "frame/selectors/Resources.h"
#include "frame/text/Strings.h"

namespace {

// clang-format off
constexpr char goldenPropertyList[] =
    "0100000000000b0000004d494238646e696b00000000040000004d4642384d494238656d616e000000001000"
    "00000c466f67646973736f6c7665720000004d4942386774616300000000080000000556656c736f00004d49"
    "4238737265760000000004000000000004004d49423836387877000000000c000000506c7567696e4d61696e"
    "00004d49423865646f6d0000000004000000100000004d4942386d747368000000003800000000000000314f"
    "73766c6c756e803e33663163386135322d366430372d346265392d396134312d633237653564393062316634"
    "0000000000004d4942386c626e650000000054000000696e285053484f505f496d6167654d6f64652c205247"
    "424d6f64652c2052474234384d6f64652c2052474239364d6f646529202626205053484f505f4e756d547275"
    "654368616e6e656c73203e3d2033000000004d4942383233736d000000000800000080841e0080841e004d49"
    "4238796c6c660000000004000000800000004d49423869636966000000001c00000004040600040406000404"
    "060004040600040406000404060004040600";
constexpr char goldenTerminology[] =
    "010001000000000001000556656c736f1a56656c736f20466f67646973736f6c76657220706c75672d696e31"
    "4f73760100010001000c466f67646973736f6c7665721b466f67646973736f6c7665722066696c7465722070"
    "6c75672d696e314f73766c6c756e6c6c756e000000526d49230000b00100096f75747075746d6170746e6d41"
    "6c6f6f620a4f7574707574206d61700000000000000000";
// clang-format on

template <class Record> std::string hexOf(const Record& record) {
  std::string hex;
  for (uint8_t byte : record)
    for (int digit : {byte >> 4, byte & 15})
      hex += "0123456789abcdef"[digit];
  return hex;
}

TEST(Resources, AreGolden) {
  EXPECT_EQ(hexOf(PIPL_16000), goldenPropertyList);
  EXPECT_EQ(hexOf(AETE_16000), goldenTerminology);
  EXPECT_THAT(moduleVersion.file, testing::ElementsAre(1, 0, 0, 400));
  EXPECT_THAT(moduleVersion.product, testing::ElementsAre(1, 0, 0, 400));
  EXPECT_STREQ(moduleVersion.comment, "Adobe Photoshop® plug-in cleaning haze from images.");
}

// Sets LC_ALL, LC_MESSAGES, LANG and LANGUAGE.
void speak(const std::array<const char*, 4>& values) {
  const char* const names[] = {"LC_ALL", "LC_MESSAGES", "LANG", "LANGUAGE"};
  for (size_t i = 0; i < values.size(); ++i)
    setenv(names[i], values[i], 1);
}

// clang-format off
TEST(Strings, FollowTheLocaleAndThenTheList) {
  using Locale = std::array<const char*, 4>;
  for (const Locale& locale : {
           Locale{"fr_CA.UTF-8", "en_US", "C", ""}, {"", "fr", "de_DE", ""}, {"", "", "fr@euro", ""},
           {"", "", "fr.UTF-8", "de:fr"}, {"", "", "en_US.UTF-8", "fr"}, {"", "", "de_DE", ":fr"},
           {"", "", "de_DE", "de_AT:fr_CA:en"}})
    EXPECT_TRUE((speak(locale), systemLanguageIsFrench())) << locale[0] << locale[2] << locale[3];
  for (const Locale& locale : {
           Locale{"de_DE", "fr_FR", "fr_FR", ""}, {"C", "", "fr_FR", "fr"}, {"", "POSIX", "fr_FR", "fr"},
           {"", "", "", "fr"}, {"", "", "frr_DE.UTF-8", ""}, {"", "", "fr_FR", "en:fr"},
           {"", "", "fr_FR", "C:fr"}, {"", "", "fr_FR", "POSIX:fr"}, {"", "", "fr_FR", "de:frr"}})
    EXPECT_FALSE((speak(locale), systemLanguageIsFrench())) << locale[0] << locale[2] << locale[3];
}
// clang-format on

TEST(Strings, ReadInBothLanguages) {
  const std::tuple<int, const char*, const char*> rows[] = {
      {112, "Velso Fogdissolver", "Velso Fogdissolver"},
      {114, "Cancel", "Annuler"},
      {115, "Reset", "Réinitialiser"},
      {16000,
       "Velso Fogdissolver\nVersion " FOG_VERSION
       "\nA photoshop plug-in filter removing white haze from image.",
       nullptr},
      {16994, "the required suite \\'^0\\' is unavailable", nullptr}, // alerts show the others
      {113, "", ""}};
  for (const auto& [number, english, french] : rows) {
    speak({"", "", "en_GB", ""});
    EXPECT_EQ(LoadStringResource(number), english);
    speak({"", "", "fr_FR", ""});
    EXPECT_EQ(LoadStringResource(number), french ? french : english);
  }
}

// Which page a number opens, by what only that page says. The build tree has them as an
// installation does.
TEST(Strings, LeadToPagesInTheReadersLanguage) {
  const std::tuple<const char*, int, const char*> pages[] = {
      {"en", 117, "<h2>How it works"},
      {"en", 118, "<h2>Positioning"},
      {"fr", 117, "<h2>Comment"},
      {"fr", 118, "<h2>Positions des plans"}};
  for (const auto& [language, number, text] : pages) {
    speak({language, "", "", ""});
    const QUrl address(QString::fromStdString(LoadStringResource(number)));
    std::ifstream file(address.toLocalFile().toStdString());
    EXPECT_THAT(std::string(std::istreambuf_iterator<char>(file), {}), testing::HasSubstr(text));
  }
  speak({"C", "", "", ""});
}

} // namespace
