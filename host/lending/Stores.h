// The blocks that a host lends to a plug-in: buffers, which count against a budget, and handles.
//
// The identity of a block is never reused. A call with an unknown identity (a second release, or a
// number that never was a block) is refused and counted, and does no harm.
#pragma once

#include <cstddef>
#include <cstdint>
#include <unordered_map>

#include "primitives/base/HeapBlock.h"

namespace host {

// Counts the requests of a session to all its stores. Tests can make one of them fail.
struct Requests {
  int failing = 0; // k > 0: the k-th request fails
  int count = 0;
  bool admit() { return ++count != failing; }
};

struct StoreCounts {
  int live = 0;   // blocks not yet released
  int denied = 0; // requests that got no block
  int64_t bytesInUse = 0, bytesPeak = 0;
  int refusedReleases = 0, refusedUses = 0; // of unknown blocks; unlocking an unlocked one
};

class BlockStore {
public:
  // budget: maximum of bytes in use at a time.
  BlockStore(Requests& requests, int64_t budget) : requests_(requests), budget_(budget) {}

  // Returns the identity of a new block of `size` bytes; 0 for a negative size, beyond the budget,
  // or if out of memory. `forPlugIn` false: the host's own block, which does not count against the
  // budget.
  intptr_t take(int64_t size, bool zeroed, bool forPlugIn = true);
  void release(intptr_t id);

  void* lock(intptr_t id);  // null: no such block
  bool unlock(intptr_t id); // false: no such block, or not locked
  void unlockAll();         // after a call that ended with an exception

  int32_t size(intptr_t id); // bytes; 0: no such block
  // Keeps the content and adds zeros. False if out of memory, and for a locked or unknown block.
  bool resize(intptr_t id, int64_t size);

  bool has(intptr_t id) const { return blocks_.contains(id); }
  void* data(intptr_t id) const; // like lock, without locking or counting
  int64_t space() const { return budget_ - counts_.bytesInUse; }
  const StoreCounts& counts() const { return counts_; }

private:
  struct Entry {
    HeapArray<std::byte> memory;
    int32_t size;
    int locks;
    bool forPlugIn;
  };

  intptr_t tryTake(int64_t size, bool zeroed, bool forPlugIn);
  void countBytes(int64_t change);

  Requests& requests_;
  int64_t budget_;
  intptr_t last_ = 0; // newest identity
  std::unordered_map<intptr_t, Entry> blocks_;
  StoreCounts counts_;
};

} // namespace host
