#include "host/module/PropertyList.h"

#include <algorithm>
#include <stdexcept>
#include <vector>

#include "host/module/EnableExpression.h"

namespace host {

namespace {

// Reads the little-endian fields of a record in sequence, never beyond its end.
class RecordReader {
public:
  // what: the record's name for the message of the std::runtime_error that a missing byte throws.
  RecordReader(std::span<const std::byte> bytes, const char* what) : bytes_(bytes), what_(what) {}

  uint8_t byte() { return uint8_t(take(1)[0]); }
  int16_t int16() { return int16_t(littleEndian(2)); }
  int32_t int32() { return int32_t(littleEndian(4)); }
  FourCharCode code() { return littleEndian(4); } // stored reversed

  // Text up to a zero byte or the end.
  std::string text() {
    std::string result;
    for (const std::byte b : bytes_) {
      if (b == std::byte(0))
        break;
      result += char(b);
    }
    return result;
  }

  // Text after a byte with its length.
  std::string countedText() {
    const auto letters = take(byte());
    return {reinterpret_cast<const char*>(letters.data()), letters.size()};
  }

  std::span<const std::byte> take(size_t count) {
    if (count > bytes_.size())
      throw std::runtime_error(std::string(what_) + " ends too early");
    const auto taken = bytes_.first(count);
    bytes_ = bytes_.subspan(count);
    return taken;
  }

private:
  uint32_t littleEndian(size_t size) {
    const auto bytes = take(size);
    uint32_t value = 0;
    for (size_t i = size; i-- > 0;)
      value = value << 8 | uint32_t(bytes[i]);
    return value;
  }

  std::span<const std::byte> bytes_;
  const char* what_;
};

constexpr FourCharCode vendor = fourCharCode("8BIM");
constexpr FourCharCode filterKind = fourCharCode("8BFM");
constexpr int32_t mostColourChannels = 56; // limit for any document

void readCases(RecordReader& data, PropertyList& list) {
  for (FilterCase& c : list.cases) {
    c = {data.byte(), data.byte()};
    data.take(2); // flags of cases in which this host's documents never are
  }
  list.hasCases = true;
}

const struct {
  FourCharCode key;
  void (*read)(RecordReader& data, PropertyList& list);
} properties[] = {
    {fourCharCode("kind"), [](RecordReader& d, PropertyList& l) { l.kind = d.code(); }},
    {fourCharCode("name"), [](RecordReader& d, PropertyList& l) { l.name = d.countedText(); }},
    {fourCharCode("catg"), [](RecordReader& d, PropertyList& l) { l.category = d.countedText(); }},
    {fourCharCode("mode"),
     [](RecordReader& d, PropertyList& l) {
       for (uint8_t& flags : l.modeFlags)
         flags = d.byte();
     }},
    {fourCharCode("enbl"), [](RecordReader& d, PropertyList& l) { l.enableExpression = d.text(); }},
    {fourCharCode("ms32"),
     [](RecordReader& d, PropertyList& l) {
       l.maxRows = d.int32();
       l.maxColumns = d.int32();
     }},
    {fourCharCode("fici"), readCases},
};

// The modes that a document can have. The mode flags represent a deep mode by its 8-bit mode.
struct Mode {
  ImageMode mode, shallow;
  const char* name; // for people
};
constexpr Mode modes[] = {
    {plugInModeGrayScale, plugInModeGrayScale, "grayscale"},
    {plugInModeGray16, plugInModeGrayScale, "grayscale"},
    {plugInModeGray32, plugInModeGrayScale, "grayscale"},
    {plugInModeRGBColor, plugInModeRGBColor, "RGB"},
    {plugInModeRGB48, plugInModeRGBColor, "RGB"},
    {plugInModeRGB96, plugInModeRGBColor, "RGB"},
    {plugInModeCMYKColor, plugInModeCMYKColor, "CMYK"},
    {plugInModeCMYK64, plugInModeCMYKColor, "CMYK"},
    {plugInModeMultichannel, plugInModeMultichannel, "multichannel"},
    {plugInModeDeepMultichannel, plugInModeMultichannel, "multichannel"},
};

bool hasModeFlag(const PropertyList& list, int32_t mode) {
  return list.modeFlags[size_t(mode) / 8] & (0x80 >> mode % 8);
}

// This generation's flags cover the 8-bit modes; an expression can also allow the deep modes.
bool allowsMode(const PropertyList& list, const Mode& mode) {
  if (list.enableExpression.empty())
    return hasModeFlag(list, mode.mode);
  return (hasModeFlag(list, mode.shallow) || hasModeFlag(list, mode.mode)) &&
         evaluateEnable(list.enableExpression, {mode.mode, mostColourChannels});
}

// "the filter works on RGB images", or "on grayscale and RGB images"
std::string allowedModes(const PropertyList& list) {
  std::vector<std::string> names;
  for (const Mode& mode : modes)
    if (allowsMode(list, mode) && std::find(names.begin(), names.end(), mode.name) == names.end())
      names.push_back(mode.name);
  if (names.empty())
    return "the filter works on no image that this program knows";
  std::string text = names[0];
  for (size_t i = 1; i < names.size(); i++)
    text += (i + 1 < names.size() ? ", " : " and ") + names[i];
  return "the filter works on " + text + " images";
}

std::string channelReason(const PropertyList& list, int32_t imageMode) {
  int32_t least = 1;
  while (least < mostColourChannels && !evaluateEnable(list.enableExpression, {imageMode, least}))
    least++;
  return "the filter needs at least " + std::to_string(least) + " colour channels";
}

const FilterCase& caseOf(const PropertyList& list, const Document& document) {
  const bool selected = !document.selection().empty();
  if (document.hasTransparency())
    return list.cases[selected ? transparencyWithSelection : transparencyWithoutSelection];
  return list.cases[selected ? flatWithSelection : flatWithoutSelection];
}

} // namespace

PropertyList readPropertyList(std::span<const std::byte> record) {
  RecordReader reader(record, "the property list");
  if (reader.int16() != 1)
    throw std::runtime_error("the property list is of an unknown kind");
  reader.int32(); // version
  const int32_t count = reader.int32();
  PropertyList list;
  for (int32_t i = 0; i < count; i++) {
    const FourCharCode owner = reader.code(), key = reader.code();
    reader.int32(); // id
    const int32_t length = reader.int32();
    if (length < 0)
      throw std::runtime_error("the property list has a property of negative length");
    RecordReader data(reader.take(size_t(length)), "a property of the property list");
    for (const auto& property : properties)
      if (owner == vendor && key == property.key)
        property.read(data, list);
  }
  if (list.kind != filterKind)
    throw std::runtime_error("the property list is not that of a filter");
  return list;
}

PropertyList assumedPropertyList() {
  PropertyList list;
  list.kind = filterKind;
  list.enableExpression = "in(PSHOP_ImageMode, RGBMode, RGB48Mode, RGB96Mode)";
  list.modeFlags[0] = 0x80 >> plugInModeRGBColor;
  return list;
}

std::string refusalReason(const PropertyList& list, const Document& document) {
  const int32_t mode = document.imageMode();
  const Mode* known = std::find_if(std::begin(modes), std::end(modes),
                                   [&](const Mode& m) { return m.mode == mode; });
  if (!allowsMode(list, *known))
    return allowedModes(list);
  if (!list.enableExpression.empty() &&
      !evaluateEnable(list.enableExpression, {mode, document.colourChannels()}))
    return channelReason(list, mode);
  if ((list.maxRows > 0 && document.height() > list.maxRows) ||
      (list.maxColumns > 0 && document.width() > list.maxColumns))
    return "the image is too large: the filter takes at most " + std::to_string(list.maxRows) +
           " rows and " + std::to_string(list.maxColumns) + " columns";
  const FilterCase& c = caseOf(list, document);
  if (list.hasCases && (c.inputHandling == 0 || c.outputHandling == 0))
    return std::string("the filter does not work on images ") +
           (document.hasTransparency() ? "with" : "without") + " transparency" +
           (document.selection().empty() ? "" : " within a selection");
  return "";
}

} // namespace host
