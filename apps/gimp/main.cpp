// The plug-in's process, as GIMP's library starts it: once to be asked for its procedures, and anew
// for each call of one. So a crash in it costs the call and not GIMP.

#include "apps/gimp/Arguments.h"
#include "apps/gimp/Run.h"

namespace {

void run(const gchar* name, gint count, const GimpParam* arguments, gint* returned,
         GimpParam** values) {
  static GimpParam answer[2]; // the status, and the sentence where there is one
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
