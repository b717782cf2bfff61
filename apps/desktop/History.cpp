#include "apps/desktop/History.h"

#include <utility>

namespace desktop {

size_t bytesOf(const photo::Picture& picture) {
  return picture.document.rowBytes() * size_t(picture.document.height());
}

History::History(State original, size_t budget) : original_(original.picture), budget_(budget) {
  states_.push_back(std::move(original));
  ids_.push_back(nextId_++);
}

void History::undo() { at_ -= canUndo(); }
void History::redo() { at_ += canRedo(); }

void History::push(State state) {
  states_.resize(at_ + 1);
  ids_.resize(at_ + 1);
  states_.push_back(std::move(state));
  ids_.push_back(nextId_++);
  ++at_;
  keepBudget();
}

void History::setBudget(size_t bytes) {
  budget_ = bytes;
  keepBudget();
}

size_t History::bytes() const {
  size_t sum = 0;
  for (size_t i = 0; i < states_.size(); ++i)
    if (i != at_ && states_[i].picture != original_)
      sum += bytesOf(*states_[i].picture);
  return sum;
}

void History::dropAt(size_t place) {
  states_.erase(states_.begin() + std::ptrdiff_t(place));
  ids_.erase(ids_.begin() + std::ptrdiff_t(place));
  at_ -= place < at_;
  ++dropped_;
}

// Drops the oldest states first, then redo states from the far end.
void History::keepBudget() {
  while (bytes() > budget_)
    dropAt(at_ > 0 ? 0 : states_.size() - 1);
}

} // namespace desktop
