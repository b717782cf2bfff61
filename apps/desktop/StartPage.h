// The window's content when no photograph is open.
#pragma once

#include <QWidget>

namespace desktop {

class StartPage : public QWidget {
  Q_OBJECT

public:
  explicit StartPage(bool offersSample, QWidget* parent = nullptr);

signals:
  void openWanted();
  void sampleWanted();
};

} // namespace desktop
