// The bar below the photograph: the strength of the correction, and the resulting values.
#pragma once

#include <QTimer>
#include <QWidget>

#include "apps/desktop/History.h"

class QLabel;
class QSlider;
class QSpinBox;
class QPushButton;

namespace desktop {

class ResultBar : public QWidget {
  Q_OBJECT

public:
  explicit ResultBar(QWidget* parent = nullptr);
  void showState(const State* state); // null: there is none
  void setRunnable(bool runnable);    // whether the filter can run now
  int strength() const;

signals:
  void strengthChosen(double percent); // shortly after the last move
  void adjustWanted();

private:
  void moved(int value);

  QSlider* slider_;
  QSpinBox* number_;
  QPushButton* adjust_;
  QLabel* values_[5];
  QTimer rest_;
};

} // namespace desktop
