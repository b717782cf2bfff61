// The module's resource records, composed at compile time from the tables below.
//
// Four-character codes are little-endian numbers, so their bytes are stored in reverse; a Pascal
// string is a length byte and then its characters.
#include "frame/selectors/Resources.h"

#include <iterator>
#include <string_view>

#include "frame/contract/ScriptKeys.h"
#include "hostapi/HostTypes.h"

namespace {

// Appends bytes. Constant evaluation fails if they do not fit.
struct Composer {
  std::array<uint8_t, 512> bytes = {};
  size_t size = 0;

  constexpr void int8(uint32_t value) {
    if (size >= bytes.size())
      throw "the record is too long";
    bytes[size++] = uint8_t(value);
  }
  constexpr void int16(uint32_t value) {
    int8(value);
    int8(value >> 8);
  }
  constexpr void int32(uint32_t value) {
    int16(value);
    int16(value >> 16);
  }
  constexpr void code(const char (&text)[5]) { int32(fourCharCode(text)); }
  constexpr void text(std::string_view text) {
    for (char c : text)
      int8(uint8_t(c));
  }
  constexpr void zeroTerminated(std::string_view value) {
    text(value);
    int8(0);
  }
  constexpr void pascal(std::string_view value) {
    int8(uint32_t(value.size()));
    text(value);
  }
  constexpr void padTo(size_t end) {
    if (size > end)
      throw "the data is longer than its length field";
    while (size < end)
      int8(0);
  }
};

template <size_t size> constexpr std::array<uint8_t, size> exactly(const Composer& record) {
  if (record.size != size)
    throw "the record has another size";
  std::array<uint8_t, size> bytes = {};
  for (size_t i = 0; i < size; ++i)
    bytes[i] = record.bytes[i];
  return bytes;
}

constexpr uint32_t resourceNumber = 16000;
constexpr char pluginName[] = "Fogdissolver";
constexpr char pluginCategory[] = "Velso";
constexpr char entryName[] = "PluginMain"; // the forwarding entry, outside this module
constexpr uint32_t largestSide = 2000000;  // pixels, like the host's limit for 32-bit rectangles

// How the plug-in wants each of the host's filter cases: flat image without and with selection,
// floating selection, editable transparency without and with selection, protected transparency
// without and with selection. The filter never sees transparency: the host mattes it with white.
constexpr int filterCases = 7;
constexpr uint32_t whiteMatte = 4;
constexpr uint32_t worksWithBlankData = 1 << 1, filtersLayerMasks = 1 << 2;

struct Property {
  const char (&key)[5];
  uint32_t length; // bytes, padding included
  void (*compose)(Composer& data);
};

constexpr Property properties[] = {
    // a filter module
    {"kind", 4, [](Composer& c) { c.code("8BFM"); }},
    {"name", 16, [](Composer& c) { c.pascal(pluginName); }},
    {"catg", 8, [](Composer& c) { c.pascal(pluginCategory); }},
    // version of the property list, 4.0
    {"vers", 4, [](Composer& c) { c.int32(0x00040000); }},
    {"wx86", 12, [](Composer& c) { c.zeroTerminated(entryName); }},
    // image modes: only the RGB flag
    {"mode", 4, [](Composer& c) { c.int32(0x10); }},
    // link to the terminology
    {"hstm", 56,
     [](Composer& c) {
       c.int32(0); // version
       c.code("vsO1");
       c.code("null");
       c.int16(resourceNumber);
       c.zeroTerminated(pluginUniqueString);
     }},
    {"enbl", 84,
     [](Composer& c) {
       c.zeroTerminated("in(PSHOP_ImageMode, RGBMode, RGB48Mode, RGB96Mode) && "
                        "PSHOP_NumTrueChannels >= 3");
     }},
    {"ms32", 8,
     [](Composer& c) {
       c.int32(largestSide);
       c.int32(largestSide);
     }},
    // first flag bit: filter layers
    {"flly", 4, [](Composer& c) { c.int32(0x80); }},
    {"fici", 4 * filterCases,
     [](Composer& c) {
       for (int i = 0; i < filterCases; ++i) {
         c.int8(whiteMatte); // input
         c.int8(whiteMatte); // output
         c.int8(worksWithBlankData | filtersLayerMasks);
         c.int8(0);
       }
     }},
};

constexpr Composer composePropertyList() {
  Composer list;
  list.int16(1);
  list.int32(0); // version
  list.int32(std::size(properties));
  for (const Property& property : properties) {
    list.code("8BIM"); // vendor
    list.code(property.key);
    list.int32(0); // id
    list.int32(property.length);
    const size_t end = list.size + property.length;
    property.compose(list);
    list.padTo(end);
  }
  return list;
}

// One suite with one event with one parameter: the names by which a script addresses the filter.
// The parameter's key here differs from the key in recorded actions.
constexpr Composer composeTerminology() {
  Composer t;
  t.int16(1);
  t.int8(1);  // major version
  t.int8(0);  // minor version
  t.int16(0); // language
  t.int16(0); // script
  t.int16(1); // suites

  t.pascal(pluginCategory);
  t.pascal("Velso Fogdissolver plug-in");
  t.code("vsO1");
  t.int16(1); // level
  t.int16(1); // version
  t.int16(1); // events

  t.pascal(pluginName);
  t.pascal("Fogdissolver filter plug-in");
  t.code("vsO1"); // class
  t.code("null"); // event
  t.code("null"); // reply: type, description, flags
  t.pascal("");
  t.int16(0);
  t.code("#ImR"); // direct parameter: type, description, flags
  t.pascal("");
  t.int16(0xb000);
  t.int16(1); // parameters

  t.pascal("outputmap");
  t.code("Amnt");
  t.code("bool");
  t.pascal("Output map");
  t.int16(0); // flags

  t.int16(0); // classes
  t.int16(0); // comparisons
  t.int16(0); // enumerations
  return t;
}

} // namespace

extern "C" {
[[gnu::used]] constinit const std::array<uint8_t, propertyListSize> PIPL_16000 =
    exactly<propertyListSize>(composePropertyList());
[[gnu::used]] constinit const std::array<uint8_t, terminologySize> AETE_16000 =
    exactly<terminologySize>(composeTerminology());
}

[[gnu::used]] constinit const ModuleVersion moduleVersion = {
    {1, 0, 0, 400}, {1, 0, 0, 400}, "Adobe Photoshop® plug-in cleaning haze from images."};
