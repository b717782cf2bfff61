#include "ui/toolkit/qt/QtEdit.h"

#include <QClipboard>
#include <QContextMenuEvent>
#include <QFocusEvent>
#include <QLineEdit>
#include <QMenu>
#include <QMouseEvent>

#include "frame/text/Strings.h"
#include "ui/toolkit/qt/QtKeys.h"

namespace {

constexpr char32_t ctrlV = 22, backspace = 8, firstPrintable = 32;

struct MenuRow {
  const char* english;
  const char* french;
  uint32_t message; // 0: select all
};
constexpr MenuRow contextMenu[] = {
    {"Cu&t", "Co&uper", WM_CUT},
    {"&Copy", "&Copier", WM_COPY},
    {"&Paste", "C&oller", WM_PASTE},
    {"Select &All", "&Tout sélectionner", 0},
};

// Selections count bytes of the UTF-8 text, like the texts of the messages.
int byteOf(const QString& text, int character) { return int(text.left(character).toUtf8().size()); }
int characterOf(const QString& text, intptr_t byte) {
  return int(QString::fromUtf8(text.toUtf8().left(qsizetype(byte))).size());
}

class QtEdit final : public QtControl {
public:
  QtEdit(ControlOwner& owner, const DialogControl& control, QLineEdit* edit)
      : QtControl(owner, control, edit), edit_(edit) {
    // Text arrives only as characters or as a paste, and the procedures see both first.
    edit->setAttribute(Qt::WA_InputMethodEnabled, false);
    edit->setAcceptDrops(false);
    QObject::connect(edit, &QLineEdit::textChanged, this, [this] { sendCommand(EN_CHANGE); });
  }

  intptr_t behave(uint32_t message, uintptr_t wParam, intptr_t lParam) override;

protected:
  std::string text() const override { return edit_->text().toStdString(); }
  void setText(const std::string& text) override { edit_->setText(QString::fromStdString(text)); }
  bool onEvent(QEvent* event) override;

private:
  void keyDown(uintptr_t key);
  void character(char32_t c);
  void getSelection(int32_t* start, int32_t* end) const;
  void setSelection(intptr_t start, intptr_t end);
  void showMenu(QPoint where);

  QLineEdit* edit_;
};

intptr_t QtEdit::behave(uint32_t message, uintptr_t wParam, intptr_t lParam) {
  switch (message) {
  case WM_KEYDOWN:
    keyDown(wParam);
    break;
  case WM_CHAR:
    character(char32_t(wParam));
    break;
  case WM_KEYUP:
  case WM_KILLFOCUS:
    deliverCurrent();
    break;
  case WM_CUT:
    edit_->cut();
    break;
  case WM_COPY:
    edit_->copy();
    break;
  case WM_PASTE:
    edit_->paste();
    break;
  case WM_GETDLGCODE:
    return DLGC_WANTARROWS;
  case EM_GETSEL:
    getSelection(reinterpret_cast<int32_t*>(wParam), reinterpret_cast<int32_t*>(lParam));
    break;
  case EM_SETSEL:
    setSelection(intptr_t(wParam), lParam);
    break;
  default:
    return QtControl::behave(message, wParam, lParam);
  }
  return 0;
}

// Keys that move, delete or are clipboard commands; keys that type arrive as characters.
void QtEdit::keyDown(uintptr_t key) {
  QKeyEvent made(QEvent::KeyPress, QtKeyOf(key), Qt::NoModifier);
  QKeyEvent& event = current() && current()->type() == QEvent::KeyPress
                         ? static_cast<QKeyEvent&>(*current())
                         : made;
  if (!CharactersOf(event).empty())
    return;
  if (event.matches(QKeySequence::Paste))
    SendMessage(window(), WM_PASTE);
  else if (event.matches(QKeySequence::Copy))
    SendMessage(window(), WM_COPY);
  else if (event.matches(QKeySequence::Cut))
    SendMessage(window(), WM_CUT);
  else
    deliver(event);
}

void QtEdit::character(char32_t c) {
  if (c == ctrlV) {
    SendMessage(window(), WM_PASTE);
  } else if (c >= firstPrintable) {
    if (kind() == ControlKind::digitEdit && (c < U'0' || c > U'9'))
      return MessageBeep(MB_OK);
    QKeyEvent typed(QEvent::KeyPress, 0, Qt::NoModifier, QString::fromUcs4(&c, 1));
    deliver(typed);
  } else if (current()) {
    deliverCurrent();
  } else if (c == backspace) {
    QKeyEvent typed(QEvent::KeyPress, Qt::Key_Backspace, Qt::NoModifier);
    deliver(typed);
  }
}

void QtEdit::getSelection(int32_t* start, int32_t* end) const {
  const QString text = edit_->text();
  const bool selected = edit_->hasSelectedText();
  const int first = selected ? edit_->selectionStart() : edit_->cursorPosition();
  const int last = selected ? edit_->selectionEnd() : first;
  if (start)
    *start = byteOf(text, first);
  if (end)
    *end = byteOf(text, last);
}

void QtEdit::setSelection(intptr_t start, intptr_t end) {
  const QString text = edit_->text();
  const int first = characterOf(text, std::max<intptr_t>(start, 0));
  const int last = end < 0 ? int(text.size()) : characterOf(text, end);
  edit_->setCursorPosition(first);
  edit_->setSelection(first, last - first);
}

// The stock menu would change the text without the procedures; this one goes through them.
void QtEdit::showMenu(QPoint where) {
  const bool french = systemLanguageIsFrench();
  auto* menu = new QMenu(edit_);
  menu->setAttribute(Qt::WA_DeleteOnClose);
  for (const MenuRow& row : contextMenu) {
    QAction* action = menu->addAction(QString::fromUtf8(french ? row.french : row.english));
    action->setEnabled(row.message == WM_PASTE || row.message == 0 || edit_->hasSelectedText());
    QObject::connect(action, &QAction::triggered, this, [this, message = row.message] {
      owner().guarded([&] {
        if (message)
          SendMessage(window(), message);
        else
          setSelection(0, -1);
      });
    });
  }
  menu->popup(where);
}

bool QtEdit::onEvent(QEvent* event) {
  switch (event->type()) {
  case QEvent::KeyPress:
    return sendKeyPress(*static_cast<QKeyEvent*>(event));
  case QEvent::KeyRelease:
    return sendKeyRelease(*static_cast<QKeyEvent*>(event));
  case QEvent::Wheel:
    return sendWheel(event);
  case QEvent::ContextMenu:
    showMenu(static_cast<QContextMenuEvent*>(event)->globalPos());
    return true;
  case QEvent::MouseButtonPress:
  case QEvent::MouseButtonRelease:
    // The middle button would paste without the procedures.
    return static_cast<QMouseEvent*>(event)->button() == Qt::MiddleButton;
  case QEvent::FocusOut:
    if (static_cast<QFocusEvent*>(event)->reason() == Qt::PopupFocusReason)
      return false;
    sendFor(*event, WM_KILLFOCUS);
    return true;
  default:
    return false;
  }
}

} // namespace

QtControl* MakeEdit(ControlOwner& owner, const DialogControl& control) {
  return new QtEdit(owner, control, new QLineEdit(owner.surface()));
}
