// Scripting descriptors for the filter, and the keyed collections of the action descriptor suite.
//
// A scripting descriptor is a handle, because the plug-in disposes of it as a handle. Its block
// holds the entries in sequence, four bytes of key and one of value each.
#pragma once

#include <algorithm>
#include <memory>
#include <optional>
#include <vector>

#include "host/lending/Stores.h"
#include "host/scripting/Registry.h"
#include "hostapi/Procs.h"

// A descriptor that is being read.
struct HostReadToken {
  host::Script script;
  size_t next = 0;            // entry that getKey returns next
  HostResult failure = noErr; // of the reading so far
};

struct HostWriteToken {
  host::Script script;
};

struct HostActionDescriptor {
  host::Script script;
};

namespace host {

// Sets a key's value; a new key goes to the end.
void setEntry(Script& script, FourCharCode key, bool value);
const bool* findEntry(const Script& script, FourCharCode key); // null: none

// Handle of a new block with the script, or null if out of memory. The host owns it; it is not
// counted.
Handle makeDescriptor(BlockStore& handles, const Script& script);
// Empty for a null or unknown descriptor, and for a block with another layout.
std::optional<Script> readDescriptor(BlockStore& handles, ScriptDescriptor descriptor);

// Objects lent to the plug-in by address; other addresses are refused.
template <class Object> class Lent {
public:
  Object* lend(Object object) {
    objects_.push_back(std::make_unique<Object>(std::move(object)));
    return objects_.back().get();
  }
  bool has(const Object* object) const { return place(object) != objects_.end(); }
  bool takeBack(const Object* object) {
    const auto found = place(object);
    if (found == objects_.end())
      return false;
    objects_.erase(found);
    return true;
  }
  size_t count() const { return objects_.size(); }

private:
  auto place(const Object* object) const {
    return std::find_if(objects_.begin(), objects_.end(),
                        [&](const auto& lent) { return lent.get() == object; });
  }
  std::vector<std::unique_ptr<Object>> objects_;
};

} // namespace host
