#include "ui/toolkit/qt/MakeControl.h"

#include "ui/toolkit/qt/QtButton.h"
#include "ui/toolkit/qt/QtEdit.h"
#include "ui/toolkit/qt/QtLabel.h"
#include "ui/toolkit/qt/QtPicture.h"
#include "ui/toolkit/qt/QtTrackBar.h"

QtControl* MakeControl(ControlOwner& owner, const DialogControl& control) {
  switch (control.kind) {
  case ControlKind::pushButton:
  case ControlKind::defaultPushButton:
  case ControlKind::checkBox:
    return MakeButton(owner, control);
  case ControlKind::label:
    return MakeLabel(owner, control);
  case ControlKind::link:
    return MakeLink(owner, control);
  case ControlKind::trackBar:
    return MakeTrackBar(owner, control);
  case ControlKind::edit:
  case ControlKind::digitEdit:
    return MakeEdit(owner, control);
  case ControlKind::groupBox:
    return MakeGroupBox(owner, control);
  case ControlKind::picture:
  case ControlKind::banner:
    return MakePicture(owner, control);
  case ControlKind::frame:
    break;
  }
  return MakeFrame(owner, control);
}
