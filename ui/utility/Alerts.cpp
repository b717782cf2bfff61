// Message boxes with a numbered text.
#include "ui/utility/Alerts.h"

#include <string>

#include "frame/text/Strings.h"

namespace {

int show(Window owner, int32_t active, int32_t stringId, const PascalString& text1,
         const PascalString& text2, uint32_t style) {
  if (active == 0)
    return 0;
  PascalString text;
  if (stringId > 0)
    text.append(LoadStringResource(stringId));
  ParamString(text, {}, text1, text2);
  return MessageBox(owner, std::string(text.view()), style);
}

} // namespace

int ShowCaution(Window owner, int32_t active, int32_t stringId, const PascalString& text1,
                const PascalString& text2) {
  return show(owner, active, stringId, text1, text2, MB_ICONEXCLAMATION);
}

int ShowAlert(Window owner, int32_t active, int32_t stringId, const PascalString& text1,
              const PascalString& text2, int32_t severity) {
  return show(owner, active, stringId, text1, text2,
              severity == alertSevere ? MB_ICONHAND : MB_ICONEXCLAMATION);
}
