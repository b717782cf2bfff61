// Packs values into bytes, for messages between two processes of the same program.
//
// The receiver checks everything: a hostile file may control the other process.
#pragma once

#include <cstring>
#include <stdexcept>
#include <string>
#include <type_traits>
#include <utility>

#include "apps/photo/Picture.h"

namespace photo {

class Packer {
public:
  template <class Value> void put(Value value) {
    static_assert(std::is_trivially_copyable_v<Value> && !std::is_pointer_v<Value>);
    putBytes(&value, sizeof value);
  }
  // A length and this many bytes.
  void putBlock(const void* data, size_t size) {
    put(uint64_t(size));
    putBytes(data, size);
  }
  template <class Block> void putBlock(const Block& block) { putBlock(block.data(), block.size()); }
  const Bytes& bytes() const { return bytes_; }

private:
  void putBytes(const void* data, size_t size) {
    const auto* from = static_cast<const uint8_t*>(data);
    bytes_.insert(bytes_.end(), from, from + size);
  }
  Bytes bytes_;
};

// Unpacks in the order of packing. Throws std::runtime_error for anything else.
class Unpacker {
public:
  [[noreturn]] static void fail() {
    throw std::runtime_error("cannot be read: the file breaks its decoder");
  }

  explicit Unpacker(const Bytes& bytes) : next_(bytes.data()), left_(bytes.size()) {}

  template <class Value> Value get() {
    static_assert(std::is_trivially_copyable_v<Value>);
    Value value;
    std::memcpy(&value, take(sizeof value), sizeof value);
    return value;
  }
  template <class Block> Block getBlock() {
    const uint64_t size = get<uint64_t>();
    const auto* data = reinterpret_cast<const typename Block::value_type*>(take(size));
    return Block(data, data + size);
  }

private:
  const uint8_t* take(uint64_t size) {
    if (size > left_)
      fail();
    left_ -= size;
    return std::exchange(next_, next_ + size);
  }
  const uint8_t* next_;
  uint64_t left_;
};

} // namespace photo
