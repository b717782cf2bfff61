#include "ui/toolkit/qt/QtTrackBar.h"

#include <QKeyEvent>
#include <QMouseEvent>
#include <QSignalBlocker>
#include <QSlider>

namespace {

constexpr int pagesInRange = 5; // a page is this part of the range, a line one position

// The effect of a key on a stock slider: down and to the right increases.
struct KeyStep {
  uintptr_t key;
  ScrollCode code;
  int lines, pages;
};
constexpr KeyStep keySteps[] = {
    {VK_LEFT, SB_LINELEFT, -1, 0},        {VK_UP, SB_LINELEFT, -1, 0},
    {VK_RIGHT, SB_LINERIGHT, 1, 0},       {VK_DOWN, SB_LINERIGHT, 1, 0},
    {VK_PRIOR, SB_PAGELEFT, 0, -1},       {VK_NEXT, SB_PAGERIGHT, 0, 1},
    {VK_HOME, SB_LEFT, 0, -pagesInRange}, {VK_END, SB_RIGHT, 0, pagesInRange},
};

const KeyStep* findStep(uintptr_t key) {
  for (const KeyStep& step : keySteps)
    if (step.key == key)
      return &step;
  return nullptr;
}

class QtTrackBar final : public QtControl {
public:
  QtTrackBar(ControlOwner& owner, const DialogControl& control, QSlider* slider)
      : QtControl(owner, control, slider), slider_(slider) {
    // Only the pointer changes the value through the widget itself; all other changes block the
    // signal.
    QObject::connect(slider, &QSlider::valueChanged, this, [this] { scroll(SB_THUMBTRACK); });
  }

  intptr_t behave(uint32_t message, uintptr_t wParam, intptr_t lParam) override {
    switch (message) {
    case TBM_SETRANGE:
      setRange(int16_t(LowWord(uintptr_t(lParam))), int16_t(HighWord(uintptr_t(lParam))));
      break;
    case TBM_SETPOS:
      setPosition(lParam);
      break;
    case TBM_GETPOS:
      return slider_->value();
    case WM_KEYDOWN:
      if (const KeyStep* step = findStep(wParam))
        moveBy(step->lines + step->pages * slider_->pageStep(), step->code);
      break;
    case WM_KEYUP:
      if (findStep(wParam))
        scroll(SB_ENDSCROLL);
      break;
    case WM_MOUSEWHEEL: {
      const bool forward = int16_t(HighWord(wParam)) > 0;
      moveBy(forward ? -1 : 1, forward ? SB_LINELEFT : SB_LINERIGHT);
      scroll(SB_ENDSCROLL);
      break;
    }
    case WM_GETDLGCODE:
      return DLGC_WANTARROWS;
    default:
      return QtControl::behave(message, wParam, lParam);
    }
    return 0;
  }

protected:
  bool onEvent(QEvent* event) override {
    switch (event->type()) {
    case QEvent::KeyPress:
      return sendKeyPress(*static_cast<QKeyEvent*>(event));
    case QEvent::KeyRelease:
      return sendKeyRelease(*static_cast<QKeyEvent*>(event));
    case QEvent::Wheel:
      return sendWheel(event);
    case QEvent::MouseButtonRelease:
      deliver(*event);
      if (static_cast<QMouseEvent*>(event)->button() & (Qt::LeftButton | Qt::MiddleButton))
        scroll(SB_ENDSCROLL);
      return true;
    default:
      return false;
    }
  }

private:
  void setRange(int least, int greatest) {
    const QSignalBlocker quiet(slider_);
    slider_->setRange(least, greatest);
    slider_->setPageStep(std::max((greatest - least) / pagesInRange, 1));
  }

  void setPosition(intptr_t position) {
    const QSignalBlocker quiet(slider_);
    slider_->setValue(int(std::clamp<intptr_t>(position, slider_->minimum(), slider_->maximum())));
  }

  void moveBy(int change, ScrollCode code) {
    setPosition(slider_->value() + change);
    scroll(code);
  }

  void scroll(ScrollCode code) {
    sendToDialog(WM_HSCROLL, MakeWords(code, uint16_t(slider_->value())),
                 reinterpret_cast<intptr_t>(window()));
  }

  QSlider* slider_;
};

} // namespace

QtControl* MakeTrackBar(ControlOwner& owner, const DialogControl& control) {
  return new QtTrackBar(owner, control, new QSlider(Qt::Horizontal, owner.surface()));
}
