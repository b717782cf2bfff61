// The property list of a module (resource PIPL 16000), as far as it decides for which documents the
// filter is offered.
//
// The record: int16 1, int32 version, int32 count, then properties of vendor code, key, int32 id,
// int32 length and that many bytes. Little-endian; four-character codes are stored reversed.
// Nothing is read beyond the bytes given.
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

// The cases in their order. Transparency is editable here, never protected.
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
  std::string enableExpression;        // empty: the mode flags decide alone
  int32_t maxRows = 0, maxColumns = 0; // 0: no limit
  bool hasCases = false;               // false: every case is fine
  std::array<FilterCase, filterCaseCount> cases{};
};

// Throws std::runtime_error saying what is wrong with the record. Other properties are skipped.
PropertyList readPropertyList(std::span<const std::byte> record);

// For a filter without a property list: RGB images of any depth and size.
PropertyList assumedPropertyList();

// The reason in words for which the filter cannot take the document; empty if it can. Throws
// std::runtime_error for an enable expression that cannot be understood.
std::string refusalReason(const PropertyList& list, const Document& document);

} // namespace host
