// The binary records against a reader that shares nothing with their composer, and the strings.
#include <gmock/gmock.h>

#include <QUrl>

#include <cstdlib>
#include <fstream>
#include <string>
#include <vector>

#include "frame/selectors/Resources.h"
#include "frame/text/Strings.h"

namespace {

using namespace std::string_literals;

template <size_t size> std::string bytesOf(const std::array<uint8_t, size>& record) {
  return {reinterpret_cast<const char*>(record.data()), size};
}

uint32_t numberAt(const std::string& bytes, size_t offset, int size) {
  uint32_t value = 0;
  for (int i = 0; i < size; ++i)
    value |= uint32_t(uint8_t(bytes.at(offset + size_t(i)))) << 8 * i;
  return value;
}

TEST(PropertyList, HoldsElevenPropertiesInOrder) {
  const std::vector<std::pair<std::string, std::string>> expected = {
      {"dnik", "MFB8"},
      {"eman", "\x0c"
               "Fogdissolver\0\0\0"s},
      {"gtac", "\x05Velso\0\0"s},
      {"srev", "\0\0\4\0"s},
      {"68xw", "PluginMain\0\0"s},
      {"edom", "\x10\0\0\0"s},
      {"mtsh", "\0\0\0\0"
               "1Osv"
               "llun"
               "\x80\x3e"
               "3f1c8a52-6d07-4be9-9a41-c27e5d90b1f4\0"
               "\0\0\0\0\0"s},
      {"lbne", "in(PSHOP_ImageMode, RGBMode, RGB48Mode, RGB96Mode) && "
               "PSHOP_NumTrueChannels >= 3\0\0\0\0"s},
      {"23sm", "\x80\x84\x1e\0\x80\x84\x1e\0"s},
      {"yllf", "\x80\0\0\0"s},
      {"icif", "\4\4\6\0\4\4\6\0\4\4\6\0\4\4\6\0\4\4\6\0\4\4\6\0\4\4\6\0"s},
  };
  const std::vector<size_t> lengths = {4, 16, 8, 4, 12, 4, 56, 84, 8, 4, 28};

  const std::string list = bytesOf(PIPL_16000);
  EXPECT_EQ(list.substr(0, 10), "\1\0\0\0\0\0\x0b\0\0\0"s);
  size_t at = 10;
  for (size_t i = 0; i < expected.size(); ++i) {
    const auto& [key, data] = expected[i];
    SCOPED_TRACE(key);
    ASSERT_GE(list.size(), at + 16 + lengths[i]);
    EXPECT_EQ(list.substr(at, 4), "MIB8");
    EXPECT_EQ(list.substr(at + 4, 4), key);
    EXPECT_EQ(numberAt(list, at + 8, 4), 0u);
    EXPECT_EQ(numberAt(list, at + 12, 4), lengths[i]);
    EXPECT_EQ(list.substr(at + 16, lengths[i]), data);
    at += 16 + lengths[i];
  }
  EXPECT_EQ(at, list.size());
}

TEST(Terminology, HasEachFieldAtItsOffset) {
  struct Field {
    size_t offset;
    std::string bytes;
  };
  const std::vector<Field> fields = {
      {0, "\1\0"s},
      {2, "\1\0"s},
      {4, "\0\0"s},
      {6, "\0\0"s},
      {8, "\1\0"s},
      {10, "\x05Velso"},
      {16, "\x1aVelso Fogdissolver plug-in"},
      {43, "1Osv"},
      {47, "\1\0"s},
      {49, "\1\0"s},
      {51, "\1\0"s},
      {53, "\x0c"
           "Fogdissolver"},
      {66, "\x1b"
           "Fogdissolver filter plug-in"},
      {94, "1Osv"},
      {98, "llun"},
      {102, "llun"},
      {106, "\0"s},
      {107, "\0\0"s},
      {109, "RmI#"},
      {113, "\0"s},
      {114, "\0\xb0"s},
      {116, "\1\0"s},
      {118, "\x09outputmap"},
      {128, "tnmA"},
      {132, "loob"},
      {136, "\x0aOutput map"},
      {147, "\0\0"s},
      {149, "\0\0"s},
      {151, "\0\0"s},
      {153, "\0\0"s},
  };
  const std::string record = bytesOf(AETE_16000);
  size_t end = 0;
  for (const Field& field : fields) {
    SCOPED_TRACE(field.offset);
    EXPECT_EQ(field.offset, end); // no byte between two fields
    EXPECT_EQ(record.substr(field.offset, field.bytes.size()), field.bytes);
    end = field.offset + field.bytes.size();
  }
  EXPECT_EQ(record.size(), 155u);
  EXPECT_EQ(end, 155u);
}

TEST(ModuleVersionRecord, TellsTheRelease) {
  EXPECT_THAT(moduleVersion.file, testing::ElementsAre(1, 0, 0, 400));
  EXPECT_THAT(moduleVersion.product, testing::ElementsAre(1, 0, 0, 400));
  EXPECT_STREQ(moduleVersion.comment, "Adobe Photoshop\xc2\xae plug-in cleaning haze from images.");
}

// Sets the language of messages for one test.
struct Strings : testing::Test {
  void speak(const char* all, const char* messages, const char* lang) {
    setenv("LC_ALL", all, 1);
    setenv("LC_MESSAGES", messages, 1);
    setenv("LANG", lang, 1);
  }
  void TearDown() override { speak("C", "", ""); }
};

TEST_F(Strings, FollowTheFirstLocaleVariableThatIsSet) {
  speak("fr_CA.UTF-8", "en_US.UTF-8", "C");
  EXPECT_TRUE(systemLanguageIsFrench());
  speak("", "fr", "C");
  EXPECT_TRUE(systemLanguageIsFrench());
  speak("", "", "fr_FR");
  EXPECT_TRUE(systemLanguageIsFrench());
  speak("de_DE.UTF-8", "fr_FR.UTF-8", "fr_FR.UTF-8");
  EXPECT_FALSE(systemLanguageIsFrench());
  speak("", "", "");
  EXPECT_FALSE(systemLanguageIsFrench());
}

TEST_F(Strings, ReadInBothLanguages) {
  struct Row {
    int number;
    const char *english, *french;
  };
  const std::vector<Row> rows = {
      {112, "Velso Fogdissolver", "Velso Fogdissolver"},
      {114, "Cancel", "Annuler"},
      {115, "Reset", "R\xc3\xa9initialiser"},
      {16990, "An integer is required between ^1 and ^2.", nullptr},
      {16991, "A decimal number is required between ^1 and ^2.", nullptr},
      {16992, "This plug-in requires Adobe Photoshop\xc2\xae ^1 or later functionality.", nullptr},
      {16993, "This plug-in is incompatible with this version of the host program.", nullptr},
      {16994, "the required suite \\'^0\\' is unavailable", nullptr},
      {113, "", nullptr},
      {0, "", nullptr},
  };
  for (const Row& row : rows) {
    speak("en_GB", "", "");
    EXPECT_EQ(LoadStringResource(row.number), row.english);
    speak("fr_FR", "", "");
    EXPECT_EQ(LoadStringResource(row.number), row.french ? row.french : row.english);
  }
  EXPECT_THAT(LoadStringResource(16000),
              testing::EndsWith("\nA photoshop plug-in filter removing white haze from image."));
}

// The pages are looked for beside the file that runs, as an installed module does.
TEST_F(Strings, LeadToPagesInTheReadersLanguage) {
  const auto page = [](int number) {
    const QUrl address(QString::fromStdString(LoadStringResource(number)));
    EXPECT_TRUE(address.isLocalFile());
    std::ifstream file(address.toLocalFile().toStdString());
    return std::string(std::istreambuf_iterator<char>(file), {});
  };
  speak("C", "", "");
  EXPECT_THAT(page(117), testing::HasSubstr("<html lang=\"en\">"));
  EXPECT_THAT(page(118), testing::HasSubstr("Positioning"));
  speak("fr_FR.UTF-8", "", "");
  EXPECT_THAT(page(117), testing::HasSubstr("<html lang=\"fr\">"));
  EXPECT_THAT(page(118), testing::HasSubstr("Positions des plans"));
}

} // namespace
