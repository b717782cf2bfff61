// SPBasicSuite: the table of the named suites, and the counting of who has them.
#include <cstring>

#include "host/session/Host.h"
#include "hostapi/UtilitySuites.h"

namespace host {

namespace {

// The suite's handles are those of the handle procedures.
const HandleSuite handleSuite{handleProcs()->newProc,     handleProcs()->disposeProc,
                              handleProcs()->getSizeProc, handleProcs()->setSizeProc,
                              handleProcs()->lockProc,    handleProcs()->unlockProc};

HostResult openAddress(const char* address) {
  Host* host = currentHost();
  if (!host || !address || !host->options.openAddress)
    return errPlugInHostInsufficient;
  try {
    return host->options.openAddress(address) ? noErr : errPlugInHostInsufficient;
  } catch (...) {
    return errPlugInHostInsufficient;
  }
}

const FileListSuite fileListSuite{{unusedProc, unusedProc, unusedProc}, openAddress};

// A number that the front document has, by its key.
HostResult getProperty(FourCharCode signature, FourCharCode key, int32_t, PropertyAnswer* answer) {
  Host* host = currentHost();
  if (!host || !answer || signature != fourCharCode("8BIM"))
    return errPlugInHostInsufficient;
  const Document& document = host->document;
  const struct {
    FourCharCode key;
    intptr_t number;
  } known[] = {
      {fourCharCode("nuch"), document.channels()},
      {fourCharCode("mode"), document.imageMode()},
      {fourCharCode("docH"), document.height()},
      {fourCharCode("docW"), document.width()},
  };
  for (const auto& property : known)
    if (property.key == key) {
      *answer = {property.number, nullptr};
      return noErr;
    }
  return errPlugInHostInsufficient;
}

const PropertySuite propertySuite{getProperty};

const struct {
  const char* name;
  int32_t version;
  const void* procs;
} suites[] = {
    {actionDescriptorSuiteName, actionDescriptorSuiteVersion, &actionDescriptorSuite},
    {descriptorRegistrySuiteName, descriptorRegistrySuiteVersion, &descriptorRegistrySuite},
    {"Photoshop Property Suite for Plug-ins", 1, &propertySuite},
    {"Photoshop Handle Suite for Plug-ins", 2, &handleSuite},
    {"Photoshop GetFileList Suite for Plug-ins", 4, &fileListSuite},
};

const void* findSuite(const char* name, int32_t version) {
  for (const auto& suite : suites)
    if (name && version == suite.version && std::strcmp(name, suite.name) == 0)
      return suite.procs;
  return nullptr;
}

int32_t acquireSuite(const char* name, int32_t version, const void** suite) {
  Host* host = currentHost();
  const void* found = suite ? findSuite(name, version) : nullptr;
  if (suite)
    *suite = found;
  if (host)
    (found ? host->suiteCounts.acquired : host->suiteCounts.refused)++;
  return found ? noErr : errPlugInHostInsufficient;
}

// A module may give back its suites while it is unloaded, when no session runs.
int32_t releaseSuite(const char* name, int32_t version) {
  Host* host = currentHost();
  const bool known = findSuite(name, version);
  if (host)
    (known ? host->suiteCounts.released : host->suiteCounts.refused)++;
  return known ? noErr : errPlugInHostInsufficient;
}

} // namespace

SPBasicSuite* basicSuite() {
  static SPBasicSuite suite{acquireSuite, releaseSuite};
  return &suite;
}

} // namespace host
