// The table of hosts, and the detection of the running program's name and version.
#include "frame/utility/HostIdentity.h"

#include <QCoreApplication>
#include <QFileInfo>

#include <algorithm>
#include <charconv>
#include <iterator>
#include <string>

namespace {

struct Host {
  const char* namePart; // part of the program's internal name
  FourCharCode signature;
};

// The first matching row counts.
constexpr Host hosts[] = {
    {"CorelDrw", fourCharCode("Cdrw")},
    {"PhotoPnt", fourCharCode("Mprn")},
    {"DeBabelizer Pro", fourCharCode("BABL")},
    {"Adobe After Effects", fourCharCode("FXTC")},
    {"Adobe Illustrator", fourCharCode("ART5")},
    {"PM5", fourCharCode("ALD5")},
    {"PM6", fourCharCode("ALD6")},
    {"PM65", fourCharCode("AD65")},
    {"PhotoDeluxe", fourCharCode("PHUT")},
    {"Photoshp", fourCharCode("8BIM")},
    {"Adobe Premiere", fourCharCode("PrMr")},
};

// Signatures that count as one host; zeros fill the rows.
constexpr FourCharCode groups[][4] = {
    {fourCharCode("Cdrw")},
    {fourCharCode("Mprn")},
    {fourCharCode("BABL")},
    {fourCharCode("FXTC")},
    {fourCharCode("ART3"), fourCharCode("ARTZ"), fourCharCode("ARTY"), fourCharCode("ART5")},
    {fourCharCode("ALD5"), fourCharCode("ALD6"), fourCharCode("AD65")},
    {fourCharCode("PHUT")},
    {fourCharCode("8BIM")},
    {fourCharCode("PrMr")},
};

struct Identity {
  FourCharCode signature; // 0: not a known host
  uint32_t version;
};

// Programs on this system have no version block: the file name serves as the internal name, and the
// version is the one that the program has set in its toolkit.
Identity identifyRunningProgram() {
  const std::string name =
      QFileInfo("/proc/self/exe").canonicalFilePath().section('/', -1).toStdString();
  return {HostSignature(name), PackVersion(QCoreApplication::applicationVersion().toStdString())};
}

} // namespace

FourCharCode HostSignature(std::string_view internalName) {
  for (const Host& host : hosts)
    if (internalName.find(host.namePart) != std::string_view::npos)
      return host.signature;
  return 0;
}

bool SameHostGroup(FourCharCode a, FourCharCode b) {
  const auto has = [](const auto& group, FourCharCode code) {
    return code != 0 && std::find(std::begin(group), std::end(group), code) != std::end(group);
  };
  return std::any_of(std::begin(groups), std::end(groups),
                     [&](const auto& group) { return has(group, a) && has(group, b); });
}

uint32_t PackVersion(std::string_view fileVersion) {
  uint32_t parts[4] = {};
  const char* at = fileVersion.data();
  const char* const end = at + fileVersion.size();
  for (uint32_t& part : parts) {
    const auto [next, error] = std::from_chars(at, end, part);
    if (error != std::errc() || next == end || *next != '.')
      break;
    at = next + 1;
  }
  return (parts[0] & 15) << 24 | (parts[1] & 15) << 20 | (parts[2] & 15) << 16 |
         (parts[3] & 0xffff);
}

uint32_t HostVersion(FourCharCode signature) {
  static const Identity host = identifyRunningProgram();
  return SameHostGroup(signature, host.signature) ? host.version : 0;
}
