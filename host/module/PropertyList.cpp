#include "host/module/PropertyList.h"

#include <algorithm>
#include <stdexcept>
#include <vector>

#include "host/module/EnableExpression.h"
#include "host/module/RecordReader.h"

namespace host {

namespace {

constexpr FourCharCode vendor = fourCharCode("8BIM");
constexpr FourCharCode filterKind = fourCharCode("8BFM");
constexpr int32_t mostColourChannels = 56; // of any document

void readCases(RecordReader& data, PropertyList& list) {
  for (FilterCase& c : list.cases)
    c = {data.byte(), data.byte(), data.byte(), data.byte()};
  list.hasCases = true;
}

void readTerminologyLink(RecordReader& data, PropertyList& list) {
  data.int32(); // version
  list.eventClass = data.code();
  list.eventId = data.code();
  list.terminologyId = data.int16();
  list.uniqueString = data.text();
}

const struct {
  FourCharCode key;
  void (*read)(RecordReader& data, PropertyList& list);
} properties[] = {
    {fourCharCode("kind"), [](RecordReader& d, PropertyList& l) { l.kind = d.code(); }},
    {fourCharCode("name"), [](RecordReader& d, PropertyList& l) { l.name = d.pascalString(); }},
    {fourCharCode("catg"), [](RecordReader& d, PropertyList& l) { l.category = d.pascalString(); }},
    {fourCharCode("vers"), [](RecordReader& d, PropertyList& l) { l.version = d.int32(); }},
    {fourCharCode("wx86"), [](RecordReader& d, PropertyList& l) { l.entryName = d.text(); }},
    {fourCharCode("mode"),
     [](RecordReader& d, PropertyList& l) {
       for (uint8_t& flags : l.modeFlags)
         flags = d.byte();
     }},
    {fourCharCode("hstm"), readTerminologyLink},
    {fourCharCode("enbl"), [](RecordReader& d, PropertyList& l) { l.enableExpression = d.text(); }},
    {fourCharCode("ms32"),
     [](RecordReader& d, PropertyList& l) {
       l.maxRows = d.int32();
       l.maxColumns = d.int32();
     }},
    {fourCharCode("flly"),
     [](RecordReader& d, PropertyList& l) { l.filterLayers = d.byte() & 0x80; }},
    {fourCharCode("fici"), readCases},
};

// The mode that the mode flags know a deep mode by, and its name for people.
struct ModeName {
  ImageMode mode, shallow;
  const char* name;
};
constexpr ModeName modeNames[] = {
    {plugInModeBitmap, plugInModeBitmap, "bitmap"},
    {plugInModeGrayScale, plugInModeGrayScale, "grayscale"},
    {plugInModeIndexedColor, plugInModeIndexedColor, "indexed"},
    {plugInModeRGBColor, plugInModeRGBColor, "RGB"},
    {plugInModeCMYKColor, plugInModeCMYKColor, "CMYK"},
    {plugInModeHSLColor, plugInModeHSLColor, "HSL"},
    {plugInModeHSBColor, plugInModeHSBColor, "HSB"},
    {plugInModeMultichannel, plugInModeMultichannel, "multichannel"},
    {plugInModeDuotone, plugInModeDuotone, "duotone"},
    {plugInModeLabColor, plugInModeLabColor, "Lab"},
    {plugInModeGray16, plugInModeGrayScale, "grayscale"},
    {plugInModeRGB48, plugInModeRGBColor, "RGB"},
    {plugInModeLab48, plugInModeLabColor, "Lab"},
    {plugInModeCMYK64, plugInModeCMYKColor, "CMYK"},
    {plugInModeDeepMultichannel, plugInModeMultichannel, "multichannel"},
    {plugInModeDuotone16, plugInModeDuotone, "duotone"},
    {plugInModeRGB96, plugInModeRGBColor, "RGB"},
    {plugInModeGray32, plugInModeGrayScale, "grayscale"},
};

bool hasModeFlag(const PropertyList& list, int32_t mode) {
  return list.modeFlags[size_t(mode) / 8] & (0x80 >> mode % 8);
}

// The flags of this generation know the 8-bit modes; an expression lets the deep ones in as well.
bool allowsMode(const PropertyList& list, const ModeName& mode) {
  if (list.enableExpression.empty())
    return hasModeFlag(list, mode.mode);
  return (hasModeFlag(list, mode.shallow) || hasModeFlag(list, mode.mode)) &&
         evaluateEnable(list.enableExpression, {mode.mode, mostColourChannels});
}

// "the filter works on RGB images", or "on grayscale and RGB images"
std::string allowedModes(const PropertyList& list) {
  std::vector<std::string> names;
  for (const ModeName& mode : modeNames)
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
  list.name = "Filter";
  list.enableExpression = "in(PSHOP_ImageMode, RGBMode, RGB48Mode, RGB96Mode)";
  list.modeFlags[0] = 0x80 >> plugInModeRGBColor;
  return list;
}

std::string refusalReason(const PropertyList& list, const Document& document) {
  const int32_t mode = document.imageMode();
  if (!allowsMode(list, modeNames[mode]))
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
    return document.hasTransparency() ? "the filter does not work on images with transparency"
                                      : "the filter does not work within a selection";
  return "";
}

} // namespace host
