#include "ui/toolkit/qt/DialogLayout.h"

#include <QApplication>
#include <QFontMetricsF>
#include <QScreen>
#include <QStringList>
#include <QWidget>

#include <algorithm>
#include <cmath>
#include <cstdlib>

#include "frame/text/Strings.h"

namespace {

bool contains(const DialogPlace& outer, const DialogPlace& inner) {
  return inner.x >= outer.x && inner.x + inner.width <= outer.x + outer.width &&
         inner.y >= outer.y && inner.y + inner.height <= outer.y + outer.height;
}

bool onOneLine(const DialogPlace& label, const DialogPlace& place) {
  const int middle = label.y + label.height / 2;
  return middle >= place.y && middle < place.y + place.height;
}

bool isNumber(ControlKind kind) {
  return kind == ControlKind::trackBar || kind == ControlKind::edit ||
         kind == ControlKind::digitEdit;
}

} // namespace

DialogUnits::DialogUnits(const QFont& font) {
  const QFontMetricsF metrics(font);
  const QString letters = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz";
  x = metrics.horizontalAdvance(letters) / double(letters.size()) / 4.0;
  y = (metrics.ascent() + metrics.descent()) / 8.0;
}

// Rounds edges, not sizes, so that controls that touch in the table touch on the screen.
QRect DialogUnits::rect(const DialogPlace& place) const {
  const QPoint from(int(std::lround(place.x * x)), int(std::lround(place.y * y)));
  const QPoint to(int(std::lround((place.x + place.width) * x)),
                  int(std::lround((place.y + place.height) * y)));
  return QRect(from, QSize(to.x() - from.x(), to.y() - from.y()));
}

QSize DialogUnits::size(const DialogTemplate& dialogTemplate) const {
  return {int(std::lround(dialogTemplate.width * x)), int(std::lround(dialogTemplate.height * y))};
}

QFont DialogFont(const DialogTemplate& dialogTemplate, const QScreen& screen) {
  constexpr double smallest = 5.0, step = 0.5; // points
  QFont font = QApplication::font();
  for (double size = dialogTemplate.pointSize; size >= smallest; size -= step) {
    font.setPointSizeF(size);
    if (DialogUnits(font).size(dialogTemplate).width() <= screen.availableSize().width())
      break;
  }
  return font;
}

QString TextOf(const DialogControl& row) {
  return QString::fromUtf8(row.french && systemLanguageIsFrench() ? row.french : row.english);
}

const DialogPlace& PlaceOf(const DialogControl& row) {
  return row.frenchPlace.width && systemLanguageIsFrench() ? row.frenchPlace : row.place;
}

QString AccessibleNameOf(const DialogTemplate& dialogTemplate, const DialogControl& row) {
  if (!isNumber(row.kind) && row.kind != ControlKind::checkBox)
    return {};
  QString group, name = TextOf(row).remove('&');
  for (int i = 0; i < dialogTemplate.controlCount; ++i) {
    const DialogControl& other = dialogTemplate.controls[i];
    if (other.kind == ControlKind::groupBox && contains(PlaceOf(other), PlaceOf(row)))
      group = TextOf(other);
    if (other.kind == ControlKind::label && name.isEmpty() &&
        onOneLine(PlaceOf(other), PlaceOf(row)))
      name = TextOf(other);
  }
  return group.isEmpty() ? name : group + ", " + name;
}

void JoinLine(QRect& place, const QRect& label, const DialogUnits& units) {
  const int off = label.center().y() - place.center().y();
  if (std::abs(off) <= 2 * units.y + 1) // edges are rounded
    place.translate(0, off);
}

void MakeRoom(QRect& place, ControlKind kind, const QWidget& widget, const QSize& dialog) {
  if (kind != ControlKind::label && kind != ControlKind::link && kind != ControlKind::checkBox)
    return;
  const QSize needed = widget.sizeHint();
  place.setWidth(std::max(place.width(), needed.width()));
  place.moveRight(std::min(place.right(), dialog.width() - 1));
  if (place.height() < needed.height()) {
    const int middle = place.center().y();
    place.setHeight(needed.height());
    place.moveTop(middle - needed.height() / 2);
  }
}
