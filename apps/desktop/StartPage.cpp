#include "apps/desktop/StartPage.h"

#include <QHBoxLayout>
#include <QIcon>
#include <QLabel>
#include <QPushButton>
#include <QVBoxLayout>

namespace desktop {
namespace {

constexpr int logoSide = 96; // logical pixels
constexpr double headingScale = 1.6;

} // namespace

StartPage::StartPage(bool offersSample, QWidget* parent) : QWidget(parent) {
  auto* logo = new QLabel(this);
  logo->setPixmap(QIcon(":/desktop/logo.png").pixmap(logoSide));
  auto* heading = new QLabel(tr("Drop a photograph here, or open one"), this);
  QFont font = heading->font();
  font.setPointSizeF(font.pointSizeF() * headingScale);
  heading->setFont(font);
  heading->setWordWrap(true);
  heading->setAlignment(Qt::AlignCenter);
  auto* hint = new QLabel(tr("The haze is taken out at once. Many photographs, or a folder, make a "
                             "batch."),
                          this);
  hint->setWordWrap(true);
  hint->setAlignment(Qt::AlignCenter);

  auto* buttons = new QHBoxLayout;
  auto* open = new QPushButton(tr("&Open a Photograph…"), this);
  open->setDefault(true);
  connect(open, &QPushButton::clicked, this, &StartPage::openWanted);
  buttons->addStretch();
  buttons->addWidget(open);
  if (offersSample) {
    auto* sample = new QPushButton(tr("Try the &Sample"), this);
    connect(sample, &QPushButton::clicked, this, &StartPage::sampleWanted);
    buttons->addWidget(sample);
  }
  buttons->addStretch();

  auto* layout = new QVBoxLayout(this);
  layout->addStretch(2);
  layout->addWidget(logo, 0, Qt::AlignHCenter);
  layout->addSpacing(12);
  layout->addWidget(heading);
  layout->addWidget(hint);
  layout->addSpacing(12);
  layout->addLayout(buttons);
  layout->addStretch(3);
}

} // namespace desktop
