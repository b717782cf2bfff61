#include "apps/desktop/ResultBar.h"

#include <cmath>

#include <QGridLayout>
#include <QHBoxLayout>
#include <QLabel>
#include <QPushButton>
#include <QSignalBlocker>
#include <QSlider>
#include <QSpinBox>

namespace desktop {
namespace {

constexpr int restMilliseconds = 350; // after the last key or wheel movement
constexpr int greatest = 100;

int standardStrength() { return int(std::lround(shared::strengthOf({}) * greatest)); }

// The values of a look in the order of the bar.
constexpr const char* valueNames[] = {"foreground", "background", "foreground-position",
                                      "background-position", "balance"};

// Rounds down like the dialog's sliders. A value slightly below a whole number means this number.
int positionOf(const shared::CorrectionReport& report, const QString& name) {
  constexpr double trace = 1e-3;
  for (const shared::LookParameter& parameter : shared::lookParameters())
    if (name == parameter.name && parameter.get)
      return int(std::floor(parameter.get(report.used) + trace));
  return 0;
}

} // namespace

ResultBar::ResultBar(QWidget* parent) : QWidget(parent) {
  auto* label = new QLabel(tr("St&rength"), this);
  slider_ = new QSlider(Qt::Horizontal, this);
  slider_->setRange(0, greatest);
  slider_->setPageStep(greatest / 10);
  slider_->setTickInterval(greatest / 10);
  slider_->setTickPosition(QSlider::TicksBelow);
  slider_->setAccessibleName(tr("Strength"));
  slider_->setToolTip(tr("The share of the haze that is taken away"));
  label->setBuddy(slider_);
  number_ = new QSpinBox(this);
  number_->setRange(0, greatest);
  number_->setKeyboardTracking(false);
  number_->setSuffix(tr(" %"));
  number_->setAccessibleName(tr("Strength in percent"));
  adjust_ = new QPushButton(tr("&Adjust…"), this);
  adjust_->setToolTip(tr("Foreground, background, positions and balance in the filter's dialog"));
  connect(adjust_, &QPushButton::clicked, this, &ResultBar::adjustWanted);

  auto* controls = new QHBoxLayout;
  controls->addWidget(label);
  controls->addWidget(slider_, 1);
  controls->addWidget(number_);
  controls->addWidget(adjust_);
  auto* values = new QHBoxLayout;
  values->setSpacing(18);
  for (QLabel*& value : values_) {
    value = new QLabel(this);
    value->setTextInteractionFlags(Qt::TextSelectableByMouse);
    values->addWidget(value);
  }
  values->addStretch();
  auto* layout = new QVBoxLayout(this);
  layout->addLayout(controls);
  layout->addLayout(values);

  rest_.setSingleShot(true);
  rest_.setInterval(restMilliseconds);
  connect(&rest_, &QTimer::timeout, this, [this] { emit strengthChosen(slider_->value()); });
  connect(slider_, &QSlider::valueChanged, this, &ResultBar::moved);
  connect(number_, &QSpinBox::valueChanged, this, &ResultBar::moved);
  connect(slider_, &QSlider::sliderReleased, this, [this] { rest_.start(0); });
  slider_->setValue(standardStrength());
  rest_.stop();
  showState(nullptr);
}

int ResultBar::strength() const { return slider_->value(); }

// No run starts while the user holds the slider.
void ResultBar::moved(int value) {
  const QSignalBlocker slider(slider_), number(number_);
  slider_->setValue(value);
  number_->setValue(value);
  if (!slider_->isSliderDown())
    rest_.start(restMilliseconds);
}

void ResultBar::showState(const State* state) {
  const bool hasReport = state && state->report && state->maker != Maker::otherFilter;
  const QString texts[] = {tr("Foreground: %1"), tr("Background: %1"), tr("Foreground until: %1"),
                           tr("Background from: %1"), tr("Balance: %1")};
  for (size_t i = 0; i < std::size(values_); ++i) {
    const QString number =
        hasReport ? QString::number(positionOf(*state->report, valueNames[i])) : "–";
    values_[i]->setText(texts[i].arg(number));
    values_[i]->setAccessibleName(values_[i]->text());
  }
  if (rest_.isActive() || slider_->isSliderDown())
    return; // the user is changing the value
  const QSignalBlocker slider(slider_), number(number_);
  // A look from the dialog has no strength; the slider then does not move.
  if (state && !state->look.foreground) {
    slider_->setValue(int(std::lround(shared::strengthOf(state->look) * greatest)));
    number_->setValue(slider_->value());
  }
}

void ResultBar::setRunnable(bool runnable) {
  for (QWidget* widget : {static_cast<QWidget*>(slider_), static_cast<QWidget*>(number_),
                          static_cast<QWidget*>(adjust_)})
    widget->setEnabled(runnable);
}

} // namespace desktop
