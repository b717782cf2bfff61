// advanceState: the rectangles that a filter asks for, copied out of the document and back into it.
//
// The in rectangle counts in delivered pixels: at an inputRate above 1.0 each is the box average of
// the document pixels that it covers. The out rectangle always counts in document pixels; at a
// reduced maskRate the mask rectangle counts as the in rectangle does. Beyond the document's edges
// the edge pixels repeat; what comes back from there is dropped. Rows are packed: width times
// planes samples. Nothing but the rectangles is copied, and where whole rows of the document are
// what the filter would see of them, the out rectangle is lent in place.
#pragma once

#include <cstddef>
#include <optional>

#include "host/document/Blocks.h"
#include "host/document/Document.h"
#include "host/document/PixelRows.h"
#include "hostapi/FilterRecord.h"

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

  // Forgets an out rectangle that was not given back, at the start of a run.
  void drop();

private:
  struct Band { // grows, never shrinks
    Block memory;
    size_t capacity = 0;
    void* reserve(size_t bytes);
  };

  struct Delivery { // one request for pixels, as the record tells it
    VRect rect;
    int32_t low, high; // planes
    Fixed rate;
  };

  bool wide() const;
  bool hasPlanes(const Delivery& delivery) const;
  bool outInPlace(const Delivery& out);
  template <class Sample> void giveBackRows();
  HostResult deliver(const Delivery& delivery, Band& band, void** data, int32_t* rowBytes);
  HostResult deliverMask(const Delivery& delivery);

  Document& document_;
  FilterRecord& record_;
  Band in_, out_, mask_;
  VRect outRect_{};            // of what outData now holds; empty: nothing to give back
  PlaneRange outRange_{};      // its planes
  std::optional<bool> finite_; // whether the document's samples are; asked once a run
};

} // namespace host
