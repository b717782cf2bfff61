// A generic plug-in of Qt that plays the person before a dialog: when one is shown it presses the
// button that FOG_PILOT names, or closes the window for "close".

#include <QAbstractButton>
#include <QApplication>
#include <QGenericPlugin>
#include <QTimer>

class Pilot : public QGenericPlugin {
  Q_OBJECT
  Q_PLUGIN_METADATA(IID QGenericPluginFactoryInterface_iid FILE "Pilot.json")

public:
  QObject* create(const QString&, const QString&) override {
    auto* timer = new QTimer;
    connect(timer, &QTimer::timeout, [] { act(); });
    timer->start(100);
    return timer;
  }

private:
  static void act() {
    QWidget* dialog = QApplication::activeModalWidget();
    const QString wish = qEnvironmentVariable("FOG_PILOT");
    if (!dialog || !dialog->isVisible())
      return;
    if (wish == "close") {
      dialog->close();
      return;
    }
    for (QAbstractButton* button : dialog->findChildren<QAbstractButton*>())
      if (button->text() == wish)
        button->click();
  }
};

#include "Pilot.moc"
