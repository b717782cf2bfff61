// The states that a photograph has been brought to, for undo and redo.
//
// A state holds a whole picture, so that going back costs no run of the filter. What the states
// hold beside the one on show is kept within a budget: beyond it the oldest fall away.
#pragma once

#include <cstddef>
#include <memory>
#include <optional>
#include <vector>

#include "apps/photo/Picture.h"
#include "apps/shared/Correction.h"
#include "apps/shared/Look.h"

namespace desktop {

class Raster;

using Picture = std::shared_ptr<photo::Picture>;

// Who brought a photograph to a state.
enum class Maker { nobody, opening, strength, dialog, lastFilter, otherFilter };

struct State {
  Picture picture;   // never null; of the uncorrected state that of the photograph itself
  shared::Look look; // that makes it from the photograph
  std::optional<shared::CorrectionReport> report; // none: no run of the filter
  Maker maker = Maker::nobody;
  std::shared_ptr<const Raster> raster; // of the picture; null until it is to be shown
};

size_t bytesOf(const photo::Picture& picture);

class History {
public:
  // `original` is the uncorrected state, which does not count.
  History(State original, size_t budget); // bytes

  const State& current() const { return states_[at_]; }
  State& current() { return states_[at_]; }
  bool isOriginal() const { return current().picture == original_; }
  bool canUndo() const { return at_ > 0; }
  bool canRedo() const { return at_ + 1 < states_.size(); }
  const State& undone() const { return states_[at_ - 1]; } // what undo would bring back
  void undo();
  void redo();
  // What could be redone is dropped.
  void push(State state);
  void setBudget(size_t bytes);

  size_t bytes() const;                    // of all states but the current one
  int dropped() const { return dropped_; } // states that fell away for the budget, ever

  // Identifies the current state for as long as the history lives.
  int id() const { return ids_[at_]; }

private:
  void keepBudget();
  void dropAt(size_t place);

  Picture original_;
  std::vector<State> states_;
  std::vector<int> ids_; // of the states
  size_t at_ = 0;
  size_t budget_;
  int nextId_ = 0, dropped_ = 0;
};

} // namespace desktop
