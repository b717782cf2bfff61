#include "host/lending/Stores.h"

#include <algorithm>
#include <cstring>
#include <limits>
#include <new>

namespace host {

void BlockStore::countBytes(int64_t change) {
  counts_.bytesInUse += change;
  counts_.bytesPeak = std::max(counts_.bytesPeak, counts_.bytesInUse);
}

intptr_t BlockStore::take(int64_t size, bool zeroed, bool forPlugIn) {
  const intptr_t id = tryTake(size, zeroed, forPlugIn);
  if (id == 0)
    counts_.denied++;
  return id;
}

intptr_t BlockStore::tryTake(int64_t size, bool zeroed, bool forPlugIn) {
  if (forPlugIn && !requests_.admit())
    return 0;
  if (size < 0 || size > std::numeric_limits<int32_t>::max() || (forPlugIn && size > space()))
    return 0;
  try {
    Entry entry{allocateArray<std::byte>(size_t(size)), int32_t(size), 0, forPlugIn};
    if (zeroed)
      std::memset(entry.memory.get(), 0, size_t(size));
    blocks_.emplace(last_ + 1, std::move(entry));
  } catch (const std::bad_alloc&) {
    return 0;
  }
  if (forPlugIn) {
    counts_.live++;
    countBytes(size);
  }
  return ++last_;
}

void BlockStore::release(intptr_t id) {
  const auto found = blocks_.find(id);
  if (found == blocks_.end()) {
    counts_.refusedReleases++;
    return;
  }
  if (found->second.forPlugIn) {
    counts_.live--;
    countBytes(-int64_t(found->second.size));
  }
  blocks_.erase(found);
}

void* BlockStore::lock(intptr_t id) {
  const auto found = blocks_.find(id);
  if (found == blocks_.end()) {
    counts_.refusedUses++;
    return nullptr;
  }
  found->second.locks++;
  return found->second.memory.get();
}

bool BlockStore::unlock(intptr_t id) {
  const auto found = blocks_.find(id);
  if (found == blocks_.end() || found->second.locks == 0) {
    counts_.refusedUses++;
    return false;
  }
  found->second.locks--;
  return true;
}

void BlockStore::unlockAll() {
  for (auto& [id, entry] : blocks_)
    entry.locks = 0;
}

int32_t BlockStore::size(intptr_t id) {
  const auto found = blocks_.find(id);
  if (found == blocks_.end()) {
    counts_.refusedUses++;
    return 0;
  }
  return found->second.size;
}

bool BlockStore::resize(intptr_t id, int64_t size) {
  const auto found = blocks_.find(id);
  if (found == blocks_.end()) {
    counts_.refusedUses++;
    return false;
  }
  Entry& entry = found->second;
  if (!requests_.admit() || entry.locks || size < 0 || size > std::numeric_limits<int32_t>::max() ||
      size - entry.size > space())
    return false;
  try {
    HeapArray<std::byte> grown = allocateArray<std::byte>(size_t(size));
    const size_t kept = size_t(std::min<int64_t>(size, entry.size));
    std::memcpy(grown.get(), entry.memory.get(), kept);
    std::memset(grown.get() + kept, 0, size_t(size) - kept);
    entry.memory = std::move(grown);
  } catch (const std::bad_alloc&) {
    return false;
  }
  if (entry.forPlugIn)
    countBytes(size - entry.size);
  entry.size = int32_t(size);
  return true;
}

void* BlockStore::data(intptr_t id) const {
  const auto found = blocks_.find(id);
  return found == blocks_.end() ? nullptr : found->second.memory.get();
}

} // namespace host
