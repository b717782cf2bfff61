#include "ui/toolkit/qt/QtButton.h"

#include <QCheckBox>
#include <QKeyEvent>
#include <QPushButton>
#include <QShortcutEvent>

#include "ui/toolkit/qt/QtKeys.h"

namespace {

class QtButton final : public QtControl {
public:
  QtButton(ControlOwner& owner, const DialogControl& control, QAbstractButton* button)
      : QtControl(owner, control, button), button_(button) {
    QObject::connect(button, &QAbstractButton::clicked, this, [this] { sendCommand(BN_CLICKED); });
  }

  intptr_t behave(uint32_t message, uintptr_t wParam, intptr_t lParam) override {
    switch (message) {
    case BM_SETCHECK:
      button_->setChecked(wParam != 0);
      break;
    case BM_GETCHECK:
      return button_->isChecked();
    case BM_SETSTYLE:
      if (auto* push = qobject_cast<QPushButton*>(button_))
        push->setDefault(wParam != 0);
      break;
    default:
      return QtControl::behave(message, wParam, lParam);
    }
    return 0;
  }

protected:
  std::string text() const override { return button_->text().toStdString(); }
  void setText(const std::string& text) override { button_->setText(QString::fromStdString(text)); }
  bool onEvent(QEvent* event) override {
    switch (event->type()) {
    case QEvent::KeyPress:
      return onKey(*static_cast<QKeyEvent*>(event));
    case QEvent::Shortcut:
      // Clicks at once. Qt would wait a tenth of a second, and the user might release Alt
      // meanwhile: the click would then come after the dialog's reaction to the release.
      if (static_cast<QShortcutEvent*>(event)->isAmbiguous())
        return false;
      button_->setFocus(Qt::ShortcutFocusReason);
      button_->click();
      return true;
    default:
      return false;
    }
  }

private:
  bool onKey(const QKeyEvent& key) {
    if (VirtualKeyOf(key) != VK_RETURN)
      return false;
    if (!qobject_cast<QPushButton*>(button_))
      owner().pressKey(VK_RETURN); // otherwise Qt toggles a check box on some desktops
    else if (!key.isAutoRepeat())  // one click per press
      button_->click();
    return true;
  }

  QAbstractButton* button_;
};

} // namespace

QtControl* MakeButton(ControlOwner& owner, const DialogControl& control) {
  if (control.kind == ControlKind::checkBox)
    return new QtButton(owner, control, new QCheckBox(owner.surface()));
  auto* button = new QPushButton(owner.surface());
  button->setAutoDefault(false); // QtDialog::pressKey decides which button Enter presses
  button->setDefault(control.kind == ControlKind::defaultPushButton);
  return new QtButton(owner, control, button);
}
