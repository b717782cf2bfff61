// A generic Qt plug-in that acts as the user of a dialog: soon after a dialog appears it presses
// the button that FOG_PILOT names.

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
    timer->callOnTimeout([] {
      if (QWidget* dialog = QApplication::activeModalWidget())
        for (QAbstractButton* button : dialog->findChildren<QAbstractButton*>())
          if (button->text() == qEnvironmentVariable("FOG_PILOT"))
            button->click();
    });
    timer->start(700);
    return timer;
  }
};

#include "Pilot.moc"
