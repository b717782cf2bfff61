// Property lists and terminologies: well made, cut short, and made of noise; and what the enable
// expression lets in.
#include "host/module/PropertyList.h"

#include <gmock/gmock.h>

#include <cstring>
#include <memory>

#include "host/module/EnableExpression.h"
#include "host/module/Terminology.h"
#include "tests/support/HostFixture.h"

namespace {

using host::ColourMode;
using host::Document;
using host::PropertyList;
using testing::HasSubstr;

using Bytes = std::vector<std::byte>;

struct Writer {
  Bytes bytes;
  Writer& number(uint32_t v, int size) {
    for (int i = 0; i < size; i++)
      bytes.push_back(std::byte(v >> (8 * i)));
    return *this;
  }
  Writer& code(const char (&c)[5]) { return number(fourCharCode(c), 4); }
  Writer& text(const std::string& s) {
    for (const char c : s)
      bytes.push_back(std::byte(c));
    return *this;
  }
  Writer& pascal(const std::string& s) { return number(uint32_t(s.size()), 1).text(s); }
  Writer& property(const char (&key)[5], Writer data) {
    data.bytes.resize((data.bytes.size() + 3) / 4 * 4);
    code("8BIM").code(key).number(0, 4).number(uint32_t(data.bytes.size()), 4);
    bytes.insert(bytes.end(), data.bytes.begin(), data.bytes.end());
    return *this;
  }
};

const char enable[] =
    "in(PSHOP_ImageMode, RGBMode, RGB48Mode, RGB96Mode) && PSHOP_NumTrueChannels >= 3";

// A list like a filter's own; the case bytes of the picture with transparency can be given.
Bytes filterList(const std::string& expression = enable, uint8_t transparentInput = 4) {
  Writer cases;
  for (int i = 0; i < 7; i++)
    cases.number(i == 3 ? transparentInput : 4, 1).number(4, 1).number(6, 1).number(0, 1);
  Writer list;
  list.number(1, 2).number(0, 4).number(9, 4);
  list.property("kind", Writer().code("8BFM"));
  list.property("zzzz", Writer().text("unknown")); // skipped
  list.property("name", Writer().pascal("Name of it"));
  list.property("catg", Writer().pascal("Maker"));
  list.property("wx86", Writer().text("PluginMain"));
  list.property("mode", Writer().number(0x10, 4));
  list.property("enbl", Writer().text(expression));
  list.property("ms32", Writer().number(300, 4).number(200, 4));
  list.property("fici", cases);
  return list.bytes;
}

// In a block of its exact size, so that the sanitizer sees a byte too many.
template <class Read> auto readExact(const Bytes& bytes, Read read) {
  const std::unique_ptr<std::byte[]> copy(new std::byte[bytes.size()]);
  std::copy(bytes.begin(), bytes.end(), copy.get());
  return read(std::span<const std::byte>(copy.get(), bytes.size()));
}

TEST(PropertyList, ReadsItsFields) {
  const PropertyList list = readExact(filterList(), host::readPropertyList);
  EXPECT_EQ(list.name, "Name of it");
  EXPECT_EQ(list.category, "Maker");
  EXPECT_EQ(list.entryName, "PluginMain");
  EXPECT_EQ(list.enableExpression, enable);
  EXPECT_EQ(list.maxRows, 300);
  EXPECT_EQ(list.maxColumns, 200);
  EXPECT_EQ(list.cases[host::protectedWithSelection].flags1, 6);
}

TEST(PropertyList, SurvivesEveryTruncationAndNoise) {
  const Bytes good = filterList();
  for (size_t length = 0; length < good.size(); length++)
    EXPECT_THROW(
        readExact(Bytes(good.begin(), good.begin() + long(length)), host::readPropertyList),
        std::runtime_error)
        << length;
  std::mt19937 random(3);
  const Document d = fixture::noise(2, 2, 8);
  int understood = 0;
  for (int round = 0; round < 20000; round++) {
    Bytes damaged = good;
    for (uint32_t changes = 1 + random() % 4; changes > 0; changes--)
      damaged[random() % damaged.size()] = std::byte(random());
    try {
      host::refusalReason(readExact(damaged, host::readPropertyList), d);
      understood++;
    } catch (const std::runtime_error&) {
    }
  }
  EXPECT_GT(understood, 0); // damage to a name, say, does no harm
  for (int round = 0; round < 2000; round++) {
    Bytes noise(random() % 200);
    for (std::byte& b : noise)
      b = std::byte(random());
    EXPECT_THROW(readExact(noise, host::readPropertyList), std::runtime_error);
    EXPECT_THROW(readExact(noise, host::readTerminology), std::runtime_error);
  }
}

TEST(PropertyList, SaysWhyADocumentIsRefused) {
  const PropertyList list = readExact(filterList(), host::readPropertyList);
  const auto reason = [&](const Document& d) { return host::refusalReason(list, d); };
  for (const int depth : {8, 16, 32}) {
    EXPECT_EQ(reason(Document(2, 2, 3, depth)), "");
    EXPECT_EQ(reason(Document(2, 2, 4, depth, ColourMode::rgb, true)), "");
    EXPECT_EQ(reason(Document(2, 2, 1, depth, ColourMode::grayscale)),
              "the filter works on RGB images");
    EXPECT_EQ(reason(Document(2, 2, 4, depth, ColourMode::cmyk)), "the filter works on RGB images");
  }
  EXPECT_EQ(reason(Document(200, 300, 3, 8)), "");
  EXPECT_THAT(reason(Document(200, 301, 3, 8)), HasSubstr("at most 300 rows and 200 columns"));
  EXPECT_THAT(reason(Document(201, 300, 3, 8)), HasSubstr("too large"));

  const auto with = [](const std::string& expression, uint8_t input, const Document& d) {
    return host::refusalReason(readExact(filterList(expression, input), host::readPropertyList), d);
  };
  EXPECT_EQ(with("PSHOP_NumTrueChannels > 3", 4, Document(2, 2, 3, 8)),
            "the filter needs at least 4 colour channels");
  EXPECT_EQ(with("PSHOP_ImageMode == RGB48Mode", 4, Document(2, 2, 3, 8)),
            "the filter works on RGB images");
  EXPECT_THAT(with(enable, 0, Document(2, 2, 4, 8, ColourMode::rgb, true)),
              HasSubstr("transparency"));
  EXPECT_EQ(with(enable, 0, Document(2, 2, 3, 8)), "");
  EXPECT_THROW(with("nonsense", 4, Document(2, 2, 3, 8)), std::runtime_error);
  // Without an expression the flags decide alone, and only the 8-bit one is set.
  EXPECT_EQ(with("", 4, Document(2, 2, 3, 8)), "");
  EXPECT_EQ(with("", 4, Document(2, 2, 3, 16)), "the filter works on RGB images");
}

TEST(EnableExpression, Evaluates) {
  const host::EnableFacts facts{plugInModeRGB48, 3};
  for (const char* yes :
       {enable, "1", "true", "!false", "!!7", "1 || 0 && 0", "(1||0)&&1", "in(PSHOP_ImageMode,11)",
        "in(1, 0 < 1)", "-1 < 0", "PSHOP_NumTrueChannels<=3", "3 != 4", "4>3", " 5>=5 ",
        "Gray32Mode == 17"})
    EXPECT_TRUE(host::evaluateEnable(yes, facts)) << yes;
  for (const char* no : {"0", "1 && 0 || 0", "in(PSHOP_ImageMode, RGBMode)", "!1", "3 < 3",
                         "RGBMode == RGB48Mode", "!(1 || 1)"})
    EXPECT_FALSE(host::evaluateEnable(no, facts)) << no;
}

TEST(EnableExpression, SaysWhereItIsWrong) {
  const host::EnableFacts facts{plugInModeRGBColor, 3};
  for (const std::string& wrong :
       {std::string(""), std::string("1 1"), std::string("(1"), std::string("in(1)"),
        std::string("in(1,"), std::string("in 1"), std::string("1 &&"), std::string("0 && foo"),
        std::string("RGBmode"), std::string("1 & 1"), std::string("99999999999"), std::string("1)"),
        std::string("\xff"), std::string(100000, '('), std::string(100000, '!')}) {
    try {
      host::evaluateEnable(wrong, facts);
      ADD_FAILURE() << wrong.substr(0, 20);
    } catch (const std::runtime_error& error) {
      EXPECT_THAT(error.what(), HasSubstr("at character"));
    }
  }
}

Bytes terminology(int classes = 0) {
  Writer w;
  w.number(1, 2).number(1, 1).number(0, 1).number(0, 2).number(0, 2).number(1, 2);
  w.pascal("Suite").pascal("What it does").code("suit").number(1, 2).number(1, 2).number(1, 2);
  w.pascal("Event").pascal("").code("evnt").code("null").code("null").pascal("").number(0, 2);
  w.code("#ImR").pascal("").number(0xb000, 2).number(1, 2);
  w.pascal("flag").code("Amnt").code("bool").pascal("A flag").number(0, 2);
  w.number(uint32_t(classes), 2).number(0, 2).number(0, 2);
  return w.bytes;
}

TEST(Terminology, ReadsOneOfAFilterAndRefusesTheRest) {
  const host::Terminology t = readExact(terminology(), host::readTerminology);
  ASSERT_EQ(t.suites.size(), 1u);
  ASSERT_EQ(t.suites[0].events.size(), 1u);
  const host::TerminologyEvent& event = t.suites[0].events[0];
  EXPECT_EQ(event.eventId, fourCharCode("null"));
  EXPECT_EQ(uint16_t(event.directFlags), 0xb000);
  ASSERT_EQ(event.parameters.size(), 1u);
  EXPECT_EQ(event.parameters[0].key, fourCharCode("Amnt"));
  EXPECT_EQ(event.parameters[0].description, "A flag");

  const Bytes good = terminology();
  for (size_t length = 0; length < good.size(); length++)
    EXPECT_THROW(readExact(Bytes(good.begin(), good.begin() + long(length)), host::readTerminology),
                 std::runtime_error)
        << length;
  Bytes longer = good;
  longer.push_back(std::byte(0));
  EXPECT_THROW(readExact(longer, host::readTerminology), std::runtime_error);
  EXPECT_THROW(readExact(terminology(1), host::readTerminology), std::runtime_error);
}

} // namespace
