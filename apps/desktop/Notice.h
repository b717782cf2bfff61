// A line above the photograph with an error or a note. It takes no focus, and disappears with its
// button, with Escape, or with the next photograph.
#pragma once

#include <QFrame>

class QLabel;

namespace desktop {

class Notice : public QFrame {
  Q_OBJECT

public:
  enum class Kind { note, failure };

  explicit Notice(QWidget* parent = nullptr);
  void show(Kind kind, const QString& text); // adds the text to a displayed note
  void clear();
  QString text() const;

private:
  QLabel* sign_;
  QLabel* text_;
};

} // namespace desktop
