#include "apps/desktop/Notice.h"

#include <QAccessible>
#include <QHBoxLayout>
#include <QLabel>
#include <QStyle>
#include <QToolButton>

namespace desktop {

Notice::Notice(QWidget* parent) : QFrame(parent), sign_(new QLabel(this)), text_(new QLabel(this)) {
  setFrameShape(QFrame::StyledPanel);
  setAutoFillBackground(true);
  setBackgroundRole(QPalette::ToolTipBase);
  text_->setForegroundRole(QPalette::ToolTipText);
  text_->setWordWrap(true);
  text_->setTextFormat(Qt::PlainText);
  text_->setTextInteractionFlags(Qt::TextSelectableByMouse);
  auto* close = new QToolButton(this);
  close->setIcon(style()->standardIcon(QStyle::SP_TitleBarCloseButton));
  close->setAutoRaise(true);
  close->setAccessibleName(tr("Hide the message"));
  close->setToolTip(tr("Hide the message"));
  connect(close, &QToolButton::clicked, this, &Notice::clear);
  auto* layout = new QHBoxLayout(this);
  layout->addWidget(sign_, 0, Qt::AlignTop);
  layout->addWidget(text_, 1);
  layout->addWidget(close, 0, Qt::AlignTop);
  hide();
}

void Notice::show(Kind kind, const QString& text) {
  const bool isMore = kind == Kind::note && isVisible() && !text_->text().isEmpty();
  text_->setText(isMore ? text_->text() + "\n" + text : text);
  const int side = style()->pixelMetric(QStyle::PM_SmallIconSize);
  const auto icon =
      kind == Kind::failure ? QStyle::SP_MessageBoxWarning : QStyle::SP_MessageBoxInformation;
  sign_->setPixmap(style()->standardIcon(icon).pixmap(side));
  setAccessibleName(kind == Kind::failure ? tr("Error") : tr("Note"));
  setAccessibleDescription(text);
  setVisible(true);
  QAccessibleEvent event(this, QAccessible::Alert);
  QAccessible::updateAccessibility(&event);
}

void Notice::clear() {
  text_->clear();
  hide();
}

QString Notice::text() const { return text_->text(); }

} // namespace desktop
