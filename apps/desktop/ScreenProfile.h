// The colour profile of the screen, if the window system knows it.
#pragma once

#include "apps/photo/Picture.h"

namespace desktop {

// ICC, of the first screen; empty: unknown, which counts as sRGB.
photo::Bytes screenProfile();

} // namespace desktop
