// The scripting terminology of a module (resource AETE 16000): suites, their events, and the
// events' parameters. Nothing is read beyond the bytes given.
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <string>
#include <vector>

#include "hostapi/HostTypes.h"

namespace host {

constexpr char terminologyName[] = "AETE_16000";

struct TerminologyParameter {
  std::string name, description;
  FourCharCode key, type;
  int16_t flags;
};

struct TerminologyEvent {
  std::string name, description;
  FourCharCode eventClass, eventId;
  FourCharCode replyType, directType;
  int16_t replyFlags, directFlags;
  std::vector<TerminologyParameter> parameters;
};

struct TerminologySuite {
  std::string name, description;
  FourCharCode code;
  int16_t level, version;
  std::vector<TerminologyEvent> events;
};

struct Terminology {
  uint8_t majorVersion, minorVersion;
  int16_t language, script;
  std::vector<TerminologySuite> suites;
};

// Throws std::runtime_error saying what is wrong with the record. Suites with classes, comparisons
// or enumerations are refused: a filter has none.
Terminology readTerminology(std::span<const std::byte> record);

} // namespace host
