// From a dialog's table to places on the screen: language, fonts, dialog units, and the room that
// texts need.
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

// The desktop's font at the table's size, or smaller where the screen has no room for it.
QFont DialogFont(const DialogTemplate& dialogTemplate, const QScreen& screen);

// A row's text and place in the language of the system.
QString TextOf(const DialogControl& row);
const DialogPlace& PlaceOf(const DialogControl& row);

// What a screen reader says of a slider, an edit box or a check box: the title of the group box
// around it, and its own text or else the first label of its line. Empty for the other kinds, whose
// texts say enough.
QString AccessibleNameOf(const DialogTemplate& dialogTemplate, const DialogControl& row);

// Moves a control to the middle of the label before it, where both are on one line: their middles
// differ by up to two units there, as places are whole units.
void JoinLine(QRect& place, const QRect& label, const DialogUnits& units);

// Gives a text, or a check box's mark, the room that it needs in the desktop's style.
void MakeRoom(QRect& place, ControlKind kind, const QWidget& widget, const QSize& dialog);
