#include "apps/desktop/Reasons.h"

#include <QCoreApplication>
#include <QRegularExpression>

#include "apps/shared/Errors.h"

namespace desktop {
namespace {

// %1 and %2 represent the variable parts of a sentence.
constexpr const char* sentences[] = {
    QT_TRANSLATE_NOOP("Reasons", "No such file or directory"),
    QT_TRANSLATE_NOOP("Reasons", "Permission denied"),
    QT_TRANSLATE_NOOP("Reasons", "a folder, not a photograph"),
    QT_TRANSLATE_NOOP("Reasons", "not an image, or of a format that is not read"),
    QT_TRANSLATE_NOOP("Reasons", "not an RGB picture, and the filter works on RGB images"),
    QT_TRANSLATE_NOOP("Reasons", "the file is empty"),
    QT_TRANSLATE_NOOP("Reasons", "truncated: the file ends before the picture does"),
    QT_TRANSLATE_NOOP("Reasons", "not enough memory"),
    QT_TRANSLATE_NOOP("Reasons", "not enough memory (%1 MB were needed at %2 pixels)"),
    QT_TRANSLATE_NOOP("Reasons", "no haze light found"),
    QT_TRANSLATE_NOOP("Reasons", "holds several pictures; the first one is used"),
    QT_TRANSLATE_NOOP("Reasons", "%1 cannot be written: %2"),
    QT_TRANSLATE_NOOP("Reasons", "%1 cannot hold %2 bits a channel"),
    QT_TRANSLATE_NOOP("Reasons", "%1 cannot hold transparency"),
    QT_TRANSLATE_NOOP("Reasons", "%1 holds at most %2 pixels a side"),
    QT_TRANSLATE_NOOP("Reasons", "%1: the output %2 is an input"),
    QT_TRANSLATE_NOOP("Reasons", "the output %1 is a folder"),
    QT_TRANSLATE_NOOP("Reasons", "its result exists already"),
    QT_TRANSLATE_NOOP("Reasons", "is a folder"),
    QT_TRANSLATE_NOOP("Reasons", "the folder %1 cannot be made: %2"),
    QT_TRANSLATE_NOOP("Reasons", "%1 has no place for %2"),
    QT_TRANSLATE_NOOP("Reasons", "the %1 file is without %2"),
    QT_TRANSLATE_NOOP("Reasons", "truncated or damaged"),
    QT_TRANSLATE_NOOP("Reasons", "an animation, not a photograph"),
    QT_TRANSLATE_NOOP("Reasons", "holds several pictures; the largest one is used"),
    QT_TRANSLATE_NOOP("Reasons", "cannot be read: its decoder finds no end"),
    QT_TRANSLATE_NOOP("Reasons", "cannot be read: the file breaks its decoder"),
    // NOLINTNEXTLINE(bugprone-suspicious-missing-comma)
    QT_TRANSLATE_NOOP("Reasons", "cannot be read: its reader was killed, perhaps for lack of "
                                 "memory"),
    // NOLINTNEXTLINE(bugprone-suspicious-missing-comma)
    QT_TRANSLATE_NOOP("Reasons", "has damaged metadata, of which only the readable part is kept: "
                                 "%1"),
    QT_TRANSLATE_NOOP("Reasons", "'%1' is no format that can be written; there are %2"),
    // NOLINTNEXTLINE(bugprone-suspicious-missing-comma)
    QT_TRANSLATE_NOOP("Reasons", "wider than %1 pixels, which the filter corrects from its dialog "
                                 "only"),
    QT_TRANSLATE_NOOP("Reasons", "too large: the filter takes at most %1 pixels"),
    QT_TRANSLATE_NOOP("Reasons", "No space left on device"),
};

QRegularExpression patternOf(const char* sentence) {
  QString pattern = QRegularExpression::escape(QString::fromUtf8(sentence));
  pattern.replace("\\%1", "(.+?)").replace("\\%2", "(.+)");
  return QRegularExpression(QRegularExpression::anchoredPattern(pattern));
}

} // namespace

QString inWords(const std::string& sentence) {
  const QString text = QString::fromStdString(sentence);
  for (const char* known : sentences) {
    const auto match = patternOf(known).match(text);
    if (!match.hasMatch())
      continue;
    QString translated = QCoreApplication::translate("Reasons", known);
    for (int i = 1; i <= match.lastCapturedIndex(); ++i) {
      const QString part = match.captured(i);
      const bool isReason = i == 2 && part != text;
      translated = translated.arg(isReason ? inWords(part.toStdString()) : part);
    }
    return translated;
  }
  return text;
}

QString reasonOf(const std::exception_ptr& failure) {
  try {
    std::rethrow_exception(failure);
  } catch (const std::exception& error) {
    return inWords(shared::reasonOf(error));
  } catch (...) { // Stopped, Cancelled
    return {};
  }
}

} // namespace desktop
