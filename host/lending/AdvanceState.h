// advanceState: copies the rectangles that a filter asks for out of the document and back into it.
//
// The in rectangle counts in delivered pixels: at an inputRate above 1.0 each is the box average of
// the document pixels that it covers. The out rectangle always counts in document pixels; at a
// reduced maskRate the mask rectangle counts as the in rectangle does. Beyond the document's edges
// the edge pixels repeat, and what comes back from there is dropped. Rows are packed: width times
// planes samples. Only the rectangles are copied; an out rectangle of whole rows that the filter
// sees unchanged is lent in place.
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
  // The record's image fields must be filled; its rectangles, planes and rates are read at each
  // advance, its data pointers written.
  Transfer(Document& document, FilterRecord& record) : document_(document), record_(record) {}

  // Gives back the last out rectangle and delivers the present ones. filterBadParameters for planes
  // that the document does not have or a rate not above 0, memFullErr.
  HostResult advance();

  // Gives back the last out rectangle and delivers nothing.
  void flush();

  // For the start of a run: forgets an out rectangle that was not given back.
  void drop();

  // Samples of this run that the filter returned as no finite number; they are 0 in the document.
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
  VRect outRect_{};            // what outData holds now; empty: nothing to give back
  bool lentInPlace_ = false;   // outData is the document's own rows
  PlaneRange outRange_{};      // planes of outData
  std::optional<bool> finite_; // whether the document's samples are; asked once a run
  int64_t lostSamples_ = 0;
};

} // namespace host
