#include "ui/dialog/DialogParts.h"

#include "frame/contract/Version.h"
#include "frame/text/Strings.h"

std::string DialogCaption() { return LoadStringResource(stringDialogTitle) + " " FOG_VERSION; }

void OpenLink(const NotifyHeader& header, uintptr_t linkId) {
  if (header.idFrom == linkId && (header.code == NM_CLICK || header.code == NM_RETURN))
    ShellExecute(LoadStringResource(stringHomePage));
}
