// Layers of GIMP as documents of the host, and what the filter made of them back into the image.
//
// A document holds the layer's nonlinear values, those of an exported file, whichever precision the
// image has: 8 bits as they are, all else as floats, because the filter works on 16 bits in 256
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

// Why the filter cannot work on it, a sentence; empty if it can.
std::string refusal(const Layer& layer);

// The layer's pixels and the part of the image's selection that lies over it.
host::Document documentOf(const Layer& layer);

// Takes the selection's soft edges away: what is selected at all is selected fully.
void harden(host::Document& document);
bool isHard(const host::Document& document);

// Puts the result in place of the layer's pixels, as one step of undo, but for the channels that
// are switched off in GIMP. Both throw std::runtime_error with GIMP's reason.
void replacePixels(const Layer& layer, host::Document& result);

// Adds the mask as a layer above, as one step of undo. It is seen where the image's selection is.
void addMaskLayer(const Layer& layer, const host::Document& mask);

} // namespace gimp
