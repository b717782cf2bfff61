// The procedures of scripting descriptors, action descriptors and the descriptor registry.
#include <algorithm>

#include "host/session/Host.h"

namespace host {

namespace {

constexpr HostResult writErr = -20; // the registry's file cannot be written
constexpr FourCharCode typeBoolean = fourCharCode("bool");

ReadToken openRead(Host& host, ScriptDescriptor descriptor, const FourCharCode*) {
  std::optional<Script> script = readDescriptor(host.handles, descriptor);
  return script ? host.readTokens.lend({std::move(*script)}) : nullptr;
}

HostResult closeRead(Host& host, ReadToken token) {
  if (!host.readTokens.has(token))
    return filterBadParameters;
  const HostResult failure = token->failure;
  host.readTokens.takeBack(token);
  return failure;
}

Boolean getKey(Host& host, ReadToken token, FourCharCode* key, FourCharCode* type, int32_t* flags) {
  if (!host.readTokens.has(token) || token->next >= token->script.size())
    return false;
  *key = token->script[token->next++].first;
  *type = typeBoolean;
  *flags = 0;
  return true;
}

// The value of the key that getKey returned last.
HostResult getBoolean(Host& host, ReadToken token, Boolean* value) {
  if (!host.readTokens.has(token))
    return filterBadParameters;
  if (token->next == 0)
    return token->failure = errMissingParameter;
  *value = token->script[token->next - 1].second;
  return noErr;
}

WriteToken openWrite(Host& host) { return host.writeTokens.lend({}); }

HostResult closeWrite(Host& host, WriteToken token, ScriptDescriptor* descriptor) {
  *descriptor = nullptr;
  if (!host.writeTokens.has(token))
    return filterBadParameters;
  *descriptor = makeDescriptor(host.handles, token->script);
  host.writeTokens.takeBack(token);
  return *descriptor ? noErr : memFullErr;
}

HostResult putBoolean(Host& host, WriteToken token, FourCharCode key, Boolean value) {
  if (!host.writeTokens.has(token))
    return filterBadParameters;
  setEntry(token->script, key, value != 0);
  return noErr;
}

int32_t makeAction(Host& host, ActionDescriptor* descriptor) {
  *descriptor = host.actionDescriptors.lend({});
  return noErr;
}

int32_t freeAction(Host& host, ActionDescriptor descriptor) {
  return host.actionDescriptors.takeBack(descriptor) ? noErr : filterBadParameters;
}

int32_t getActionBoolean(Host& host, ActionDescriptor descriptor, FourCharCode key,
                         Boolean* value) {
  if (!host.actionDescriptors.has(descriptor))
    return filterBadParameters;
  const bool* found = findEntry(descriptor->script, key);
  if (!found)
    return errMissingParameter;
  *value = *found;
  return noErr;
}

int32_t putActionBoolean(Host& host, ActionDescriptor descriptor, FourCharCode key, Boolean value) {
  if (!host.actionDescriptors.has(descriptor))
    return filterBadParameters;
  setEntry(descriptor->script, key, value != 0);
  return noErr;
}

int32_t registerAction(Host& host, const char* key, ActionDescriptor descriptor,
                       Boolean isPersistent) {
  if (!host.actionDescriptors.has(descriptor))
    return filterBadParameters;
  return host.registry.put(key, descriptor->script, isPersistent != 0) ? noErr : writErr;
}

int32_t getAction(Host& host, const char* key, ActionDescriptor* descriptor) {
  std::optional<Script> script = host.registry.get(key);
  *descriptor = script ? host.actionDescriptors.lend({std::move(*script)}) : nullptr;
  return noErr;
}

} // namespace

ReadDescriptorProcs* readDescriptorProcs() {
  static ReadDescriptorProcs procs = [] {
    ReadDescriptorProcs p{0,
                          18,
                          Proc<openRead>::call,
                          Proc<closeRead, filterBadParameters>::call,
                          Proc<getKey, false>::call,
                          Proc<getBoolean, filterBadParameters>::call,
                          {}};
    std::fill(std::begin(p.unused), std::end(p.unused), unusedProc);
    return p;
  }();
  return &procs;
}

WriteDescriptorProcs* writeDescriptorProcs() {
  static WriteDescriptorProcs procs = [] {
    WriteDescriptorProcs p{0,
                           16,
                           Proc<openWrite>::call,
                           Proc<closeWrite, memFullErr>::call,
                           Proc<putBoolean, memFullErr>::call,
                           {}};
    std::fill(std::begin(p.unused), std::end(p.unused), unusedProc);
    return p;
  }();
  return &procs;
}

const ActionDescriptorSuite actionDescriptorSuite{
    Proc<makeAction, memFullErr>::call, Proc<freeAction, filterBadParameters>::call,
    Proc<getActionBoolean, filterBadParameters>::call, Proc<putActionBoolean, memFullErr>::call};
const DescriptorRegistrySuite descriptorRegistrySuite{Proc<registerAction, memFullErr>::call,
                                                      Proc<getAction, memFullErr>::call};

} // namespace host
