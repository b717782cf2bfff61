// The procedures as GIMP's database knows them, and the look that a call asks for.
#pragma once

#include <span>

#include <libgimp/gimp.h>

#include "apps/shared/Look.h"

namespace gimp {

// Menu entries and names. The second makes the haze mask at once, with the look used last.
constexpr char correctName[] = "plug-in-fogdissolver";
constexpr char maskName[] = "plug-in-fogdissolver-mask";

void installProcedures();

// Look in the arguments of a call without a person. Throws shared::UsageError for a value out of
// range.
shared::Look lookOf(std::span<const GimpParam> arguments);

// What a person used last in this run of GIMP, which keeps it.
struct Last {
  shared::Look look;             // an intensity that is left out is the picture's own
  gint32 layer = -1;             // on which it was used
  double foreground, background; // what the intensities were there
};
Last last(); // an empty look at first
void keep(const Last& last);

} // namespace gimp
