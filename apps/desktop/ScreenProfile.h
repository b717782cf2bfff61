// The colour profile of the screen, where the window system tells one.
#pragma once

#include "apps/photo/Picture.h"

namespace desktop {

// ICC, of the first screen; empty: unknown, which is taken as sRGB.
photo::Bytes screenProfile();

} // namespace desktop
