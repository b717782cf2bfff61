// The states of a photograph, for undo and redo.
//
// A state holds a whole picture, so that going back needs no run of the filter. All states except
// the current one share a budget; beyond it the oldest are dropped.
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

// What brought a photograph to a state.
enum class Maker { nobody, opening, strength, dialog, lastFilter, otherFilter };

struct State {
  Picture picture;   // never null; the photograph itself for the uncorrected state
  shared::Look look; // makes it from the photograph
  std::optional<shared::CorrectionReport> report; // empty: no run of the filter
  Maker maker = Maker::nobody;
  std::shared_ptr<const Raster> raster; // of the picture; null until it is displayed
};

size_t bytesOf(const photo::Picture& picture);

class History {
public:
  // `original` is the uncorrected state, which does not count against the budget.
  History(State original, size_t budget); // bytes

  const State& current() const { return states_[at_]; }
  State& current() { return states_[at_]; }
  bool isOriginal() const { return current().picture == original_; }
  bool canUndo() const { return at_ > 0; }
  bool canRedo() const { return at_ + 1 < states_.size(); }
  const State& undone() const { return states_[at_ - 1]; } // undo reverts this state
  void undo();
  void redo();
  // Drops all redo states.
  void push(State state);
  void setBudget(size_t bytes);

  size_t bytes() const;                    // of all states except the current one
  int dropped() const { return dropped_; } // number of states ever dropped because of the budget

  // Identifies the current state during the history's life.
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
