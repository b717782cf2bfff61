// What is done with a photograph beside the window: read, correct, write. Nothing here knows a
// window; each function throws what shared::develop throws.
#pragma once

#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "apps/desktop/History.h"
#include "apps/shared/Develop.h"
#include "host/module/FilterModule.h"

namespace desktop {

// A photograph as it was read. One run at a time works with it.
struct Original {
  std::string path;
  Picture picture;
  photo::Metadata metadata;
  int orientation = 1;   // of Exif: how the picture is to be turned to be seen
  photo::Bytes profile;  // ICC; empty: none
  bool isLinear = false; // floats in linear light, as some formats define them
};
using OriginalPtr = std::shared_ptr<Original>;

OriginalPtr readOriginal(const std::string& path, int threads, const photo::Watch& watch);
State originalState(const Original& original);

// A copy of the photograph, corrected: by the look without a dialog, or by whatever corrects.
State corrected(const Original& original, const host::Module& module, const shared::Look& look,
                int threads, const photo::Watch& watch);
State correctedBy(const Original& original, const shared::Corrector& corrector, Maker maker,
                  const photo::Watch& watch);

// Where a state goes, and as what.
struct SaveOrder {
  std::string file;
  int bits = 0; // 8, 16, 32; 0: the photograph's, where the format holds them
  int quality = 95;
  int threads = 1;
};

// The photograph as a dialog is to see it, where that is another document.
std::optional<host::Document> turnedUpright(const Original& original);

// Writes the state, and tells what of the photograph the format has no place for; empty: nothing.
// Where the order asks for more bits than the photograph was read with, the whole road is gone
// again with them, as the command line program does.
std::string save(Original& original, const State& state, const host::Module& module,
                 const SaveOrder& order, const photo::Watch& watch);

// The job and the request of an order; refuses as the command line program does.
struct PlannedSave {
  shared::Job job;
  shared::Request request;
};
PlannedSave planSave(const Original& original, const SaveOrder& order);

// The line for a shell that makes the state from the photograph.
std::string commandFor(const Original& original, const State& state);

} // namespace desktop
