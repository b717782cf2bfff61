// The host's handle procedures, or our own blocks instead.
#include "frame/utility/UtilityHandles.h"

#include <algorithm>
#include <cstddef>
#include <list>
#include <memory>
#include <new>
#include <utility>

#include "frame/utility/HostRecords.h"

HostResult gUtilityHandleError = noErr;

namespace {

// A handle of our own is the address of a Block; its first word points to the content.
struct Block {
  std::unique_ptr<std::byte[]> content;
  intptr_t size; // bytes
};

// Every block that is not yet disposed of.
std::list<Block>& blocks() {
  static std::list<Block> live;
  return live;
}

bool usable(const HandleProcs* procs) {
  constexpr HostRecordRule complete = {1, 8, 8};
  return FitnessOf(complete, procs) == HostRecordFitness::usable;
}

auto findBlock(Handle handle) {
  const auto found = std::find_if(blocks().begin(), blocks().end(), [handle](const Block& block) {
    return reinterpret_cast<intptr_t>(&block) == reinterpret_cast<intptr_t>(handle);
  });
  gUtilityHandleError = !handle ? nilHandleErr : found == blocks().end() ? memWZErr : noErr;
  return found;
}

// Returns null on failure, and sets gUtilityHandleError.
std::unique_ptr<std::byte[]> newContent(int32_t size) {
  std::unique_ptr<std::byte[]> content(size >= 0 ? new (std::nothrow) std::byte[size]() : nullptr);
  gUtilityHandleError = content ? noErr : memFullErr;
  return content;
}

} // namespace

Handle NewUtilityHandle(const HandleProcs* procs, int32_t size) {
  if (usable(procs))
    return procs->newProc(size);
  std::unique_ptr<std::byte[]> content = newContent(size);
  if (!content)
    return nullptr;
  blocks().push_back({std::move(content), size});
  return reinterpret_cast<Handle>(&blocks().back());
}

void DisposeUtilityHandle(const HandleProcs* procs, Handle handle) {
  if (usable(procs))
    return procs->disposeProc(handle);
  if (const auto block = findBlock(handle); block != blocks().end())
    blocks().erase(block);
}

int32_t GetUtilityHandleSize(const HandleProcs* procs, Handle handle) {
  if (usable(procs))
    return procs->getSizeProc(handle);
  const auto block = findBlock(handle);
  return block != blocks().end() ? int32_t(block->size) : 0;
}

HostResult SetUtilityHandleSize(const HandleProcs* procs, Handle handle, int32_t size) {
  if (usable(procs))
    return procs->setSizeProc(handle, size);
  const auto block = findBlock(handle);
  if (block == blocks().end())
    return gUtilityHandleError;
  std::unique_ptr<std::byte[]> content = newContent(size);
  if (content) {
    std::copy_n(block->content.get(), std::min<intptr_t>(block->size, size), content.get());
    *block = {std::move(content), size};
  }
  return gUtilityHandleError;
}

void* LockUtilityHandle(const HandleProcs* procs, Handle handle) {
  if (usable(procs))
    return procs->lockProc(handle, 1);
  const auto block = findBlock(handle);
  return block != blocks().end() ? block->content.get() : nullptr;
}

void UnlockUtilityHandle(const HandleProcs* procs, Handle handle) {
  if (usable(procs))
    procs->unlockProc(handle);
  else
    findBlock(handle); // our own blocks never move: this only sets the error code
}
