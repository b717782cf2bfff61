// The dialog for a result's file: its name, and the format, bits and quality for writing it.
#pragma once

#include <QDialog>

#include "apps/desktop/Work.h"

class QComboBox;
class QLabel;
class QLineEdit;
class QSpinBox;

namespace desktop {

class SaveDialog : public QDialog {
  Q_OBJECT

public:
  // suggested: the full path. The original and the picture must outlive the dialog.
  SaveDialog(const Original& original, const photo::Picture& picture, const QString& suggested,
             QWidget* parent = nullptr);
  SaveOrder order() const;

private:
  void addFormats();
  void formatChosen();
  void nameEdited();
  void browse();
  void accept() override;
  const photo::Format* format() const;

  const Original& original_;
  const photo::Picture& picture_;
  QLineEdit* name_;
  QComboBox* format_;
  QComboBox* bits_;
  QSpinBox* quality_;
  QLabel* reason_;
};

// NAME-clear.EXT next to the photograph, or with another word than "clear"; with an extension that
// can be written.
QString suggestedName(const Original& original, const QString& word);

} // namespace desktop
