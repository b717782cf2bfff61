// advanceState: copies the rectangles that a filter requests out of the document and back into it.
//
// The in rectangle counts in delivered pixels: at an inputRate above 1.0 each is the box average of
// the document pixels that it covers. The out rectangle always counts in document pixels. The mask
// rectangle follows maskRate as the in rectangle follows inputRate. Beyond the document's edges the
// edge pixels repeat, and what the filter writes there is dropped. Rows are packed: width times
// planes samples. Only the rectangles are copied; an out rectangle of whole rows that needs no
// conversion is lent in place.
#pragma once

#include <cstddef>
#include <optional>

#include "host/document/Document.h"
#include "host/document/PixelRows.h"
#include "hostapi/FilterRecord.h"
#include "primitives/base/HeapBlock.h"

namespace host {

class Transfer {
public:
  // The record's image fields must be filled; each advance reads its rectangles, planes and rates,
  // and writes its data pointers.
  Transfer(Document& document, FilterRecord& record) : document_(document), record_(record) {}

  // Takes the last out rectangle back and delivers the current ones. Returns filterBadParameters
  // for planes that the document does not have or a rate not above 0, or memFullErr.
  HostResult advance();

  // Takes the last out rectangle back and delivers nothing.
  void flush();

  // For the start of a run: forgets an out rectangle that was not taken back.
  void drop();

  // Number of non-finite samples that the filter returned in this run; they are 0 in the document.
  int64_t lostSamples() const { return lostSamples_; }

private:
  struct Band { // grows, never shrinks
    HeapArray<std::byte> memory;
    size_t capacity = 0;
    std::byte* reserve(size_t bytes);
  };

  struct Delivery { // one request for pixels, from the record
    VRect rect;
    int32_t low, high; // planes
    Fixed rate;
  };

  bool wide() const;
  bool hasPlanes(const Delivery& delivery) const;
  bool outInPlace(const Delivery& out);
  void checkRows();
  template <class Sample> void giveBackRows();
  HostResult deliver(const Delivery& delivery, Band& band, void** data, int32_t* rowBytes);
  HostResult deliverMask(const Delivery& delivery);

  Document& document_;
  FilterRecord& record_;
  Band in_, out_, mask_;
  VRect outRect_{};            // current content of outData; empty: nothing to take back
  bool lentInPlace_ = false;   // outData points into the document's own rows
  PlaneRange outRange_{};      // planes of outData
  std::optional<bool> finite_; // whether the document's samples are finite; determined once per run
  int64_t lostSamples_ = 0;
};

} // namespace host
