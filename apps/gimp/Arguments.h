// The procedures in GIMP's database, and the look that a call requests.
#pragma once

#include <span>

#include <libgimp/gimp.h>

#include "apps/shared/Look.h"

namespace gimp {

// Menu entries and names. The second procedure makes the haze mask without a dialog, with the last
// look.
constexpr char correctName[] = "plug-in-fogdissolver";
constexpr char maskName[] = "plug-in-fogdissolver-mask";

void installProcedures();

// Look from the arguments of a non-interactive call. Throws shared::UsageError for a value out of
// range.
shared::Look lookOf(std::span<const GimpParam> arguments);

// The last settings in this session of GIMP, which stores them.
struct Last {
  shared::Look look;             // a missing intensity is the picture's estimate
  gint32 layer = -1;             // to which it was applied
  double foreground, background; // the intensities at that time
};
Last last(); // an empty look at first
void keep(const Last& last);

} // namespace gimp
