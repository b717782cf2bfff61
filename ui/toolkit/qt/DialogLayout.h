// Computes a dialog's layout on the screen from its table: language, fonts, dialog units, and the
// space that texts need.
#pragma once

#include <QFont>
#include <QRect>
#include <QString>

#include "ui/toolkit/DialogTemplate.h"

class QScreen;
class QWidget;

// Pixels of one dialog unit in a font.
struct DialogUnits {
  double x, y;

  explicit DialogUnits(const QFont& font);
  QRect rect(const DialogPlace& place) const;
  QSize size(const DialogTemplate& dialogTemplate) const;
};

// The desktop's font at the table's size, or smaller if the screen has no room for it.
QFont DialogFont(const DialogTemplate& dialogTemplate, const QScreen& screen);

// A row's text and place in the system's language.
QString TextOf(const DialogControl& row);
const DialogPlace& PlaceOf(const DialogControl& row);

// What a screen reader says for a slider, an edit box or a check box: the title of the group box
// around it, and its own text or the first label of its line. Empty for other kinds, whose own
// texts are enough.
QString AccessibleNameOf(const DialogTemplate& dialogTemplate, const DialogControl& row);

// Centres a control vertically on the label before it if both are on one line: in the table their
// centres differ by up to two units there, because places are whole units.
void JoinLine(QRect& place, const QRect& label, const DialogUnits& units);

// Enlarges a place to the size that a text, or a check box's mark, needs in the desktop's style.
void MakeRoom(QRect& place, ControlKind kind, const QWidget& widget, const QSize& dialog);
