// A photograph as read from its file, and as a message from the reader process to its parent.
#pragma once

#include <functional>
#include <string>

#include "apps/photo/Message.h"
#include "apps/photo/Metadata.h"
#include "apps/photo/Picture.h"

namespace photo {

struct Photograph {
  Picture picture;
  Metadata metadata;
  std::string unconfined; // a sentence about the reader's limits that this kernel does not support;
                          // or empty
};

// Packs everything except the samples, for which it packs their address in this process.
void pack(const Photograph& photograph, Packer& to);

// Returns the claimed document, with the samples at this address in the packing process.
using FetchDocument = std::function<host::Document(uint64_t address)>;

// Unpacks it again. Throws std::runtime_error for anything that a working process would not pack,
// such as a picture with another size than the claimed one; std::bad_alloc.
Photograph unpackPhotograph(Unpacker& from, const Claim& claim, const FetchDocument& fetch);

} // namespace photo
