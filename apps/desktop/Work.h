// The operations on a photograph in the background: read, correct, write. This code does not depend
// on a window; each function throws like shared::develop.
#pragma once

#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "apps/desktop/History.h"
#include "apps/shared/Develop.h"
#include "host/module/FilterModule.h"

namespace desktop {

// A photograph as read. Only one run at a time uses it.
struct Original {
  std::string path;
  Picture picture;
  photo::Metadata metadata;
  int orientation = 1;   // Exif orientation of the stored picture
  photo::Bytes profile;  // ICC; empty: none
  bool isLinear = false; // floats in linear light, as some formats define them
};
using OriginalPtr = std::shared_ptr<Original>;

OriginalPtr readOriginal(const std::string& path, int threads, const photo::Watch& watch);
State originalState(const Original& original);

// A corrected copy of the photograph: by the look without a dialog, or by any corrector.
State corrected(const Original& original, const host::Module& module, const shared::Look& look,
                int threads, const photo::Watch& watch);
State correctedBy(const Original& original, const shared::Corrector& corrector, Maker maker,
                  const photo::Watch& watch);

// The file for a state, and how to encode it.
struct SaveOrder {
  std::string file;
  int bits = 0; // 8, 16, 32; 0: the photograph's, if the format supports them
  int quality = 95;
  int threads = 1;
};

// The upright photograph for a dialog; empty if it is already upright.
std::optional<host::Document> turnedUpright(const Original& original);

// Writes the state, and returns a sentence about what the format cannot store; empty: nothing. If
// the order wants more bits than were read, this reads and corrects the photograph again with these
// bits, like the command line program.
std::string save(Original& original, const State& state, const host::Module& module,
                 const SaveOrder& order, const photo::Watch& watch);

// The job and the request for an order; refused like in the command line program.
struct PlannedSave {
  shared::Job job;
  shared::Request request;
};
PlannedSave planSave(const Original& original, const SaveOrder& order);

// A shell command that makes the state from the photograph.
std::string commandFor(const Original& original, const State& state);

} // namespace desktop
