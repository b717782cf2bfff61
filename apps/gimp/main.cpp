// The plug-in's process. GIMP's library starts it once to query its procedures, and again for each
// call of one. A crash therefore affects only the call, not GIMP.

#include "apps/gimp/Arguments.h"
#include "apps/gimp/Run.h"

namespace {

void run(const gchar* name, gint count, const GimpParam* arguments, gint* returned,
         GimpParam** values) {
  static GimpParam answer[2]; // the status, and the message if there is one
  static gimp::End end;
  end = gimp::run(name, {arguments, size_t(count)});
  answer[0].type = GIMP_PDB_STATUS;
  answer[0].data.d_status = end.status;
  answer[1].type = GIMP_PDB_STRING;
  answer[1].data.d_string = end.sentence.data();
  *returned = end.sentence.empty() ? 1 : 2;
  *values = answer;
}

} // namespace

const GimpPlugInInfo PLUG_IN_INFO = {nullptr, nullptr, gimp::installProcedures, run};

MAIN()
