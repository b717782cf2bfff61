// A photograph as its file has it, and as a message from the process that reads files to the one
// that asked for it.
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
  std::string unconfined; // what the kernel has not of the reader's bounds, a sentence; or empty
};

// All but the samples, in whose place is their address in this process.
void pack(const Photograph& photograph, Packer& to);

// The document that was claimed, with the samples at the address in the process that packed.
using FetchDocument = std::function<host::Document(uint64_t address)>;

// The same again. Throws std::runtime_error for what no sound process packs, such as a picture of
// another size than it claimed; std::bad_alloc.
Photograph unpackPhotograph(Unpacker& from, const Claim& claim, const FetchDocument& fetch);

} // namespace photo
