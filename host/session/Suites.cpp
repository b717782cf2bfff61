// SPBasicSuite: the table of the named suites.
#include <cstring>

#include "host/session/Host.h"
#include "hostapi/UtilitySuites.h"

namespace host {

namespace {

// The suite's handles are those of the handle procedures.
const HandleSuite handleSuite{handleProcs()->newProc,     handleProcs()->disposeProc,
                              handleProcs()->getSizeProc, handleProcs()->setSizeProc,
                              handleProcs()->lockProc,    handleProcs()->unlockProc};

HostResult openAddress(Host& host, const char* address) {
  const bool opened = host.options.openAddress && host.options.openAddress(address);
  return opened ? noErr : errPlugInHostInsufficient;
}

const FileListSuite fileListSuite{{unusedProc, unusedProc, unusedProc},
                                  Proc<openAddress, errPlugInHostInsufficient>::call};

// A number that the front document has, by its key.
HostResult getProperty(Host& host, FourCharCode signature, FourCharCode key, int32_t,
                       PropertyAnswer* answer) {
  if (signature != fourCharCode("8BIM"))
    return errPlugInHostInsufficient;
  const Document& document = host.document;
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

const PropertySuite propertySuite{Proc<getProperty, errPlugInHostInsufficient>::call};

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
    if (version == suite.version && std::strcmp(name, suite.name) == 0)
      return suite.procs;
  return nullptr;
}

int32_t acquireSuite(Host& host, const char* name, int32_t version, const void** suite) {
  *suite = findSuite(name, version);
  (*suite ? host.suiteCounts.acquired : host.suiteCounts.refused)++;
  return *suite ? noErr : errPlugInHostInsufficient;
}

int32_t releaseSuite(Host& host, const char* name, int32_t version) {
  const bool known = findSuite(name, version);
  (known ? host.suiteCounts.released : host.suiteCounts.refused)++;
  return known ? noErr : errPlugInHostInsufficient;
}

} // namespace

SPBasicSuite* basicSuite() {
  static SPBasicSuite suite{Proc<acquireSuite, errPlugInHostInsufficient>::call,
                            Proc<releaseSuite, errPlugInHostInsufficient>::call};
  return &suite;
}

} // namespace host
