// The host's handle procedures, or two-word blocks in their place.
#include "frame/utility/UtilityHandles.h"

#include <algorithm>
#include <cstddef>
#include <memory>
#include <new>
#include <vector>

HostResult gUtilityHandleError = noErr;

namespace {

constexpr int16_t handleProcsVersion = 1;
constexpr int16_t handleProcsCount = 8;

// A handle of our own; the handle is this block's address.
struct Block {
  std::byte* content; // new[]
  intptr_t size;      // bytes
};

struct BlockDelete {
  void operator()(Block* block) const {
    delete[] block->content;
    delete block;
  }
};

// Every block that is not yet disposed of.
std::vector<std::unique_ptr<Block, BlockDelete>>& blocks() {
  static std::vector<std::unique_ptr<Block, BlockDelete>> live;
  return live;
}

bool usable(const HandleProcs* procs) {
  return procs && procs->version == handleProcsVersion && procs->count >= handleProcsCount &&
         procs->newProc && procs->disposeProc && procs->getSizeProc && procs->setSizeProc &&
         procs->lockProc && procs->unlockProc && procs->unused[0] && procs->unused[1];
}

auto findBlock(Handle handle) {
  const auto found = std::find_if(blocks().begin(), blocks().end(), [handle](const auto& block) {
    return reinterpret_cast<Handle>(block.get()) == handle;
  });
  gUtilityHandleError = !handle ? nilHandleErr : found == blocks().end() ? memWZErr : noErr;
  return found;
}

// Null on failure, with gUtilityHandleError set.
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
  std::unique_ptr<Block, BlockDelete> block(new Block{content.release(), size});
  blocks().push_back(std::move(block));
  return reinterpret_cast<Handle>(blocks().back().get());
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
  return block != blocks().end() ? int32_t((*block)->size) : 0;
}

HostResult SetUtilityHandleSize(const HandleProcs* procs, Handle handle, int32_t size) {
  if (usable(procs))
    return procs->setSizeProc(handle, size);
  const auto found = findBlock(handle);
  if (found == blocks().end())
    return gUtilityHandleError;
  std::unique_ptr<std::byte[]> content = newContent(size);
  if (!content)
    return gUtilityHandleError;
  Block& block = **found;
  std::copy_n(block.content, std::min<intptr_t>(block.size, size), content.get());
  delete[] block.content;
  block = {content.release(), size};
  return noErr;
}

void* LockUtilityHandle(const HandleProcs* procs, Handle handle) {
  if (usable(procs))
    return procs->lockProc(handle, 1);
  const auto block = findBlock(handle);
  return block != blocks().end() ? (*block)->content : nullptr;
}

void UnlockUtilityHandle(const HandleProcs* procs, Handle handle) {
  if (usable(procs))
    procs->unlockProc(handle);
  else
    findBlock(handle); // a block of ours never moves; only the error is told
}
