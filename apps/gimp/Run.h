// A call of a procedure, from its arguments to its end.
#pragma once

#include <span>
#include <string>

#include <libgimp/gimp.h>

namespace gimp {

struct End {
  GimpPDBStatusType status = GIMP_PDB_SUCCESS;
  std::string sentence; // the reason of a failure, which GIMP shows to the user
};

End run(const std::string& procedure, std::span<const GimpParam> arguments);

} // namespace gimp
