// What a host reads from the module without calling it: the property list and the terminology, as
// binary records; and the module's version record, which no code reads.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>

constexpr size_t propertyListSize = 414; // bytes
constexpr size_t terminologySize = 155;  // bytes

// Counts and lengths inside each record tell a reader where it ends. All numbers are little-endian.
extern "C" {
extern __attribute__((visibility("default"))) const std::array<uint8_t, propertyListSize>
    PIPL_16000;
extern __attribute__((visibility("default"))) const std::array<uint8_t, terminologySize> AETE_16000;
}

struct ModuleVersion {
  uint16_t file[4]; // major, minor, revision, build
  uint16_t product[4];
  char comment[64]; // UTF-8
};
extern const ModuleVersion moduleVersion;
