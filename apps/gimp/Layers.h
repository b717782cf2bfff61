// Converts GIMP's layers to documents of the host, and the filter's results back into the image.
//
// A document holds the layer's nonlinear values, as in an exported file, for every precision of the
// image: 8 bits unchanged, all others as floats, because the filter processes 16 bits with 256
// levels only.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include <libgimp/gimp.h>

#include "host/document/Document.h"

namespace gimp {

struct Layer {
  gint32 image, id;
};

// A sentence that says why the filter cannot process the layer; empty if it can.
std::string refusal(const Layer& layer);

// The layer's pixels and the part of the image's selection over the layer.
host::Document documentOf(const Layer& layer);

// Removes the selection's soft edges: every partly selected pixel becomes fully selected.
void harden(host::Document& document);
bool isHard(const host::Document& document);

// Replaces the layer's pixels by the result, as one undo step, except for channels that are
// switched off in GIMP. Both throw std::runtime_error with GIMP's reason.
void replacePixels(const Layer& layer, host::Document& result);

// Adds the mask as a layer above, as one undo step. It is visible inside the image's selection.
void addMaskLayer(const Layer& layer, const host::Document& mask);

} // namespace gimp
