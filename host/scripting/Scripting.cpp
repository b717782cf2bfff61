#include "host/scripting/Scripting.h"

#include <cstring>

namespace host {

namespace {

constexpr size_t entryBytes = 5;

} // namespace

void setEntry(Script& script, FourCharCode key, bool value) {
  for (auto& entry : script)
    if (entry.first == key) {
      entry.second = value;
      return;
    }
  script.emplace_back(key, value);
}

const bool* findEntry(const Script& script, FourCharCode key) {
  for (const auto& entry : script)
    if (entry.first == key)
      return &entry.second;
  return nullptr;
}

Handle makeDescriptor(BlockStore& handles, const Script& script) {
  const intptr_t id = handles.take(int64_t(script.size() * entryBytes), true, false);
  if (!id)
    return nullptr;
  auto* bytes = static_cast<uint8_t*>(handles.data(id));
  for (const auto& [key, value] : script) {
    std::memcpy(bytes, &key, sizeof key);
    bytes[sizeof key] = value;
    bytes += entryBytes;
  }
  return reinterpret_cast<Handle>(id);
}

std::optional<Script> readDescriptor(BlockStore& handles, ScriptDescriptor descriptor) {
  const intptr_t id = reinterpret_cast<intptr_t>(descriptor);
  if (!handles.has(id) || size_t(handles.size(id)) % entryBytes)
    return std::nullopt;
  const auto* bytes = static_cast<const uint8_t*>(handles.data(id));
  Script script(size_t(handles.size(id)) / entryBytes);
  for (auto& [key, value] : script) {
    std::memcpy(&key, bytes, sizeof key);
    value = bytes[sizeof key] != 0;
    bytes += entryBytes;
  }
  return script;
}

} // namespace host
