// The procedures of scripting descriptors, action descriptors and the descriptor registry.

#include <algorithm>
#include <new>

#include "host/session/Host.h"

namespace host {

namespace {

constexpr HostResult writErr = -20; // the registry's file cannot be written
constexpr FourCharCode typeBoolean = fourCharCode("bool");

ReadToken openRead(ScriptDescriptor descriptor, const FourCharCode*) {
  Host* host = currentHost();
  if (!host)
    return nullptr;
  std::optional<Script> script = readDescriptor(host->handles, descriptor);
  return script ? host->readTokens.lend({std::move(*script)}) : nullptr;
}

HostResult closeRead(ReadToken token) {
  Host* host = currentHost();
  if (!host || !host->readTokens.has(token))
    return filterBadParameters;
  const HostResult failure = token->failure;
  host->readTokens.takeBack(token);
  return failure;
}

Boolean getKey(ReadToken token, FourCharCode* key, FourCharCode* type, int32_t* flags) {
  Host* host = currentHost();
  if (!host || !host->readTokens.has(token) || token->next >= token->script.size())
    return false;
  if (key)
    *key = token->script[token->next].first;
  if (type)
    *type = typeBoolean;
  if (flags)
    *flags = 0;
  token->next++;
  return true;
}

HostResult getBoolean(ReadToken token, Boolean* value) {
  Host* host = currentHost();
  if (!host || !host->readTokens.has(token))
    return filterBadParameters;
  if (token->next == 0 || !value) { // nothing stands at hand before the first key
    if (token->failure == noErr)
      token->failure = errMissingParameter;
    return errMissingParameter;
  }
  *value = token->script[token->next - 1].second;
  return noErr;
}

WriteToken openWrite() {
  Host* host = currentHost();
  return host ? host->writeTokens.lend({}) : nullptr;
}

HostResult closeWrite(WriteToken token, ScriptDescriptor* descriptor) {
  Host* host = currentHost();
  if (descriptor)
    *descriptor = nullptr;
  if (!host || !host->writeTokens.has(token))
    return filterBadParameters;
  if (descriptor)
    *descriptor = makeDescriptor(host->handles, token->script);
  host->writeTokens.takeBack(token);
  return !descriptor ? filterBadParameters : *descriptor ? noErr : memFullErr;
}

HostResult putBoolean(WriteToken token, FourCharCode key, Boolean value) {
  Host* host = currentHost();
  if (!host || !host->writeTokens.has(token))
    return filterBadParameters;
  setEntry(token->script, key, value != 0);
  return noErr;
}

int32_t makeAction(ActionDescriptor* descriptor) {
  Host* host = currentHost();
  if (!host || !descriptor)
    return filterBadParameters;
  *descriptor = host->actionDescriptors.lend({});
  return noErr;
}

int32_t freeAction(ActionDescriptor descriptor) {
  Host* host = currentHost();
  return host && host->actionDescriptors.takeBack(descriptor) ? noErr : filterBadParameters;
}

int32_t getActionBoolean(ActionDescriptor descriptor, FourCharCode key, Boolean* value) {
  Host* host = currentHost();
  if (!host || !host->actionDescriptors.has(descriptor) || !value)
    return filterBadParameters;
  const bool* found = findEntry(descriptor->script, key);
  if (!found)
    return errMissingParameter;
  *value = *found;
  return noErr;
}

int32_t putActionBoolean(ActionDescriptor descriptor, FourCharCode key, Boolean value) {
  Host* host = currentHost();
  if (!host || !host->actionDescriptors.has(descriptor))
    return filterBadParameters;
  setEntry(descriptor->script, key, value != 0);
  return noErr;
}

int32_t registerAction(const char* key, ActionDescriptor descriptor, Boolean isPersistent) {
  Host* host = currentHost();
  if (!host || !key || !host->actionDescriptors.has(descriptor))
    return filterBadParameters;
  return host->registry.put(key, descriptor->script, isPersistent != 0) ? noErr : writErr;
}

int32_t getAction(const char* key, ActionDescriptor* descriptor) {
  Host* host = currentHost();
  if (!host || !key || !descriptor)
    return filterBadParameters;
  std::optional<Script> script = host->registry.get(key);
  *descriptor = script ? host->actionDescriptors.lend({std::move(*script)}) : nullptr;
  return noErr;
}

} // namespace

ReadDescriptorProcs* readDescriptorProcs() {
  static ReadDescriptorProcs procs = [] {
    ReadDescriptorProcs p{0, 18, openRead, closeRead, getKey, getBoolean, {}};
    std::fill(std::begin(p.unused), std::end(p.unused), unusedProc);
    return p;
  }();
  return &procs;
}

WriteDescriptorProcs* writeDescriptorProcs() {
  static WriteDescriptorProcs procs = [] {
    WriteDescriptorProcs p{0, 16, openWrite, closeWrite, putBoolean, {}};
    std::fill(std::begin(p.unused), std::end(p.unused), unusedProc);
    return p;
  }();
  return &procs;
}

const ActionDescriptorSuite actionDescriptorSuite{makeAction, freeAction, getActionBoolean,
                                                  putActionBoolean};
const DescriptorRegistrySuite descriptorRegistrySuite{registerAction, getAction};

} // namespace host
