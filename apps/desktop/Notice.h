// A line above the photograph that tells what went wrong, or what is to be known. It takes no
// focus, and goes by its button, by Escape, or when another photograph comes.
#pragma once

#include <QFrame>

class QLabel;

namespace desktop {

class Notice : public QFrame {
  Q_OBJECT

public:
  enum class Kind { note, failure };

  explicit Notice(QWidget* parent = nullptr);
  void show(Kind kind, const QString& text); // under what it tells already, if that is a note
  void clear();
  QString text() const;

private:
  QLabel* sign_;
  QLabel* text_;
};

} // namespace desktop
