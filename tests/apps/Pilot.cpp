// A generic plug-in of Qt that plays the person before a dialog: soon after one is shown it presses
// the button that FOG_PILOT names, or closes the window for "close".

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
      QWidget* dialog = QApplication::activeModalWidget();
      const QString wish = qEnvironmentVariable("FOG_PILOT");
      if (dialog && wish == "close")
        dialog->close();
      else if (dialog)
        for (QAbstractButton* button : dialog->findChildren<QAbstractButton*>())
          if (button->text() == wish)
            button->click();
    });
    timer->start(700);
    return timer;
  }
};

#include "Pilot.moc"
