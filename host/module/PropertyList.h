// The property list of a module (resource PIPL 16000): the parts that decide for which documents
// the filter is offered.
//
// The record: int16 1, int32 version, int32 count, then properties of vendor code, key, int32 id,
// int32 length and that many bytes. Little-endian; four-character codes are stored reversed. The
// reader never reads beyond the given bytes.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <span>
#include <string>

#include "host/document/Document.h"
#include "hostapi/HostTypes.h"

namespace host {

constexpr char propertyListName[] = "PIPL_16000";

// How the filter wants its pixels in one of the seven filter cases.
struct FilterCase {
  uint8_t inputHandling, outputHandling; // 0: cannot filter; 4: white matte
};

// The cases in their order. Transparency is editable in this host, never protected.
enum FilterCaseIndex {
  flatWithoutSelection,
  flatWithSelection,
  floatingSelection,
  transparencyWithoutSelection,
  transparencyWithSelection,
  protectedWithoutSelection,
  protectedWithSelection,
  filterCaseCount
};

struct PropertyList {
  FourCharCode kind = 0;               // '8BFM' for a filter
  std::string name, category;          // of the menu item and of its submenu
  std::array<uint8_t, 4> modeFlags{};  // ImageMode m: byte m / 8, bit 0x80 >> m % 8
  std::string enableExpression;        // empty: only the mode flags decide
  int32_t maxRows = 0, maxColumns = 0; // 0: no limit
  bool hasCases = false;               // false: the filter supports every case
  std::array<FilterCase, filterCaseCount> cases{};
};

// Skips other properties. Throws std::runtime_error that says what is wrong with the record.
PropertyList readPropertyList(std::span<const std::byte> record);

// For a filter without a property list: RGB images of any depth and size.
PropertyList assumedPropertyList();

// A sentence that says why the filter cannot process the document; empty if it can. Throws
// std::runtime_error for an enable expression with a syntax error.
std::string refusalReason(const PropertyList& list, const Document& document);

} // namespace host
