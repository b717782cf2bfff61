// Keeps the export flag between runs: in the host's persistent registry and in the scripting
// descriptor.
#include "frame/selectors/Persistence.h"

#include "frame/contract/ScriptKeys.h"
#include "frame/record/Globals.h"

namespace {

// The two suites of a registry access, released in the order of their acquisition.
class RegistrySuites {
public:
  RegistrySuites() {
    code_ = acquire(descriptorRegistrySuiteName, descriptorRegistrySuiteVersion, &registry_);
    if (code_ == 0)
      code_ = acquire(actionDescriptorSuiteName, actionDescriptorSuiteVersion, &descriptors_);
  }
  RegistrySuites(const RegistrySuites&) = delete;
  RegistrySuites& operator=(const RegistrySuites&) = delete;
  ~RegistrySuites() {
    SPBasicSuite* basic = gFilterRecord->sSPBasic;
    if (registry_)
      basic->ReleaseSuite(descriptorRegistrySuiteName, descriptorRegistrySuiteVersion);
    if (descriptors_)
      basic->ReleaseSuite(actionDescriptorSuiteName, actionDescriptorSuiteVersion);
  }

  int32_t code() const { return code_; }
  const DescriptorRegistrySuite* registry() const {
    return static_cast<const DescriptorRegistrySuite*>(registry_);
  }
  const ActionDescriptorSuite* descriptors() const {
    return static_cast<const ActionDescriptorSuite*>(descriptors_);
  }

private:
  static int32_t acquire(const char* name, int32_t version, const void** suite) {
    const int32_t code = gFilterRecord->sSPBasic->AcquireSuite(name, version, suite);
    if (code != 0)
      *suite = nullptr;
    return code;
  }

  const void* registry_ = nullptr;
  const void* descriptors_ = nullptr;
  int32_t code_ = 0;
};

Boolean lowByte(int32_t flag) { return Boolean(uint32_t(flag) & 0xff); }

// Reads the flag from the open descriptor; any other key is an error.
int32_t readKeys(const ReadDescriptorProcs* procs, ReadToken token) {
  FourCharCode key = 0, type = 0;
  int32_t flags = 0, code = noErr;
  while (code == noErr && procs->getKeyProc(token, &key, &type, &flags)) {
    if (key != keyOutputMap)
      return readErr;
    Boolean value = 0;
    code = procs->getBooleanProc(token, &value);
    if (code == noErr)
      gParams->outputMap = value != 0;
  }
  return code;
}

} // namespace

int32_t ReadRegistryParameters() {
  if (!gFilterRecord->sSPBasic)
    return errPlugInHostInsufficient;
  const RegistrySuites suites;
  if (suites.code() != 0)
    return suites.code();

  ActionDescriptor stored = nullptr;
  int32_t code = suites.registry()->Get(pluginUniqueString, &stored);
  if (code != 0 || !stored) // nothing stored: the first run on this host
    return code;
  Boolean value = 0;
  code = suites.descriptors()->GetBoolean(stored, keyOutputMap, &value);
  if (code == 0)
    gParams->outputMap = value;
  suites.descriptors()->Free(stored);
  return code;
}

int32_t WriteRegistryParameters() {
  if (!gFilterRecord->sSPBasic)
    return errPlugInHostInsufficient;
  const RegistrySuites suites;
  if (suites.code() != 0)
    return suites.code();

  ActionDescriptor made = nullptr;
  int32_t code = suites.descriptors()->Make(&made);
  if (code != 0)
    return code;
  code = suites.descriptors()->PutBoolean(made, keyOutputMap, lowByte(gParams->outputMap));
  if (code == 0)
    code = suites.registry()->Register(pluginUniqueString, made, 1);
  suites.descriptors()->Free(made);
  return code;
}

int32_t ReadScriptParameters(uint8_t* displayDialog) {
  if (!displayDialog)
    return errMissingParameter;
  *displayDialog = lowByte(gData->queryForParameters);

  DescriptorParameters* script = gFilterRecord->descriptorParameters;
  if (!script || !script->readDescriptorProcs || !script->descriptor)
    return noErr;

  const FourCharCode keys[] = {keyOutputMap, 0};
  const ReadDescriptorProcs* procs = script->readDescriptorProcs;
  int32_t code = noErr;
  if (const ReadToken token = procs->openReadDescriptorProc(script->descriptor, keys)) {
    code = readKeys(procs, token);
    // Closing returns the code of the whole reading; only its low half replaces ours.
    const uint32_t closeCode = uint16_t(procs->closeReadDescriptorProc(token));
    code = int32_t((uint32_t(code) & 0xffff0000u) | closeCode);
    gFilterRecord->handleProcs->disposeProc(script->descriptor);
    script->descriptor = nullptr;
  }

  // If the run has a descriptor, the host's options decide about the dialog, not our own wish.
  *displayDialog =
      script->recordInfo == plugInDialogRequired || script->playInfo == plugInDialogDisplay;
  return code;
}

int32_t WriteScriptParameters() {
  DescriptorParameters* script = gFilterRecord->descriptorParameters;
  if (!script || !script->writeDescriptorProcs)
    return noErr;
  const WriteDescriptorProcs* procs = script->writeDescriptorProcs;
  const WriteToken token = procs->openWriteDescriptorProc();
  if (!token)
    return errMissingParameter;

  procs->putBooleanProc(token, keyOutputMap, lowByte(gParams->outputMap));
  gFilterRecord->handleProcs->disposeProc(script->descriptor);
  ScriptDescriptor recorded = nullptr;
  procs->closeWriteDescriptorProc(token, &recorded);
  // The recording holds no intensities, so a replay must show the dialog.
  script->recordInfo = plugInDialogRequired;
  script->descriptor = recorded;
  return noErr;
}
