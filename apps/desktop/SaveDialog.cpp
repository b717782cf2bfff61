#include "apps/desktop/SaveDialog.h"

#include <string>

#include <QComboBox>
#include <QDialogButtonBox>
#include <QFileDialog>
#include <QFileInfo>
#include <QFormLayout>
#include <QHBoxLayout>
#include <QLabel>
#include <QLineEdit>
#include <QMessageBox>
#include <QPushButton>
#include <QSpinBox>

#include "apps/desktop/Reasons.h"
#include "apps/photo/Formats.h"

namespace desktop {
namespace {

constexpr int nameWidth = 46; // letters
constexpr int standardQuality = 95;

// Lossy formats, which have a quality.
bool hasQuality(const photo::Format& format) {
  const std::string_view codec = format.codec;
  return codec == "jpeg" || codec == "webp";
}

} // namespace

QString suggestedName(const Original& original, const QString& word) {
  const QFileInfo info(QString::fromStdString(original.path));
  const std::string extension = info.suffix().toStdString();
  const bool isWritable = photo::formatOfExtension(extension) != nullptr;
  return info.path() + "/" + info.completeBaseName() + "-" + word + "." +
         (isWritable ? info.suffix() : QString("tif"));
}

SaveDialog::SaveDialog(const Original& original, const photo::Picture& picture,
                       const QString& suggested, QWidget* parent)
    : QDialog(parent), original_(original), picture_(picture), name_(new QLineEdit(suggested)),
      format_(new QComboBox), bits_(new QComboBox), quality_(new QSpinBox), reason_(new QLabel) {
  setWindowTitle(tr("Save As"));
  setWindowModality(Qt::WindowModal);
  name_->setMinimumWidth(nameWidth * fontMetrics().averageCharWidth());
  auto* browse = new QPushButton(tr("&Browse…"));
  connect(browse, &QPushButton::clicked, this, &SaveDialog::browse);
  auto* nameRow = new QHBoxLayout;
  nameRow->addWidget(name_, 1);
  nameRow->addWidget(browse);
  quality_->setRange(1, 100);
  quality_->setValue(standardQuality);
  reason_->setWordWrap(true);
  reason_->setTextFormat(Qt::PlainText);
  addFormats();

  auto* form = new QFormLayout(this);
  auto* nameLabel = new QLabel(tr("&Name"));
  nameLabel->setBuddy(name_);
  name_->setAccessibleName(tr("Name"));
  form->addRow(nameLabel, nameRow);
  form->addRow(tr("&Format"), format_);
  form->addRow(tr("B&its a channel"), bits_);
  form->addRow(tr("&Quality"), quality_);
  form->addRow(reason_);
  auto* buttons = new QDialogButtonBox(QDialogButtonBox::Save | QDialogButtonBox::Cancel);
  form->addRow(buttons);
  connect(buttons, &QDialogButtonBox::accepted, this, &SaveDialog::accept);
  connect(buttons, &QDialogButtonBox::rejected, this, &SaveDialog::reject);
  connect(format_, &QComboBox::activated, this, &SaveDialog::formatChosen);
  connect(name_, &QLineEdit::textEdited, this, &SaveDialog::nameEdited);
  nameEdited();
  name_->setFocus();
  const QFileInfo info(suggested);
  name_->setSelection(int(info.path().size()) + 1, int(info.completeBaseName().size()));
}

// Lists all formats for writing; those that cannot store this picture are grey and show the reason.
void SaveDialog::addFormats() {
  for (const QString& name : QString::fromStdString(photo::formatNames()).split(", ")) {
    const photo::Format* format = photo::formatOfExtension(name.toStdString());
    const int bits = photo::leastDepth(*format);
    const std::string why = bits > picture_.document.depth() // the photograph is then read again
                                ? std::string()
                                : photo::whyNotHeld(*format, picture_, bits);
    format_->addItem(QString(format->name) + " (." + name + ")", name);
    const int row = format_->count() - 1;
    if (why.empty())
      continue;
    format_->setItemData(row, inWords(why), Qt::ToolTipRole);
    format_->setItemData(row, 0, Qt::UserRole - 1); // Qt's own flag of a disabled item
  }
}

const photo::Format* SaveDialog::format() const {
  return photo::formatOfExtension(format_->currentData().toString().toStdString());
}

void SaveDialog::formatChosen() {
  const photo::Format* chosen = format();
  const QFileInfo info(name_->text());
  if (photo::formatOfExtension(info.suffix().toStdString()) != chosen)
    name_->setText(info.path() + "/" + info.completeBaseName() + "." +
                   format_->currentData().toString());
  nameEdited();
}

// Format, bits and quality follow the name's extension.
void SaveDialog::nameEdited() {
  const photo::Format* named =
      photo::formatOfExtension(QFileInfo(name_->text()).suffix().toStdString());
  for (int i = 0; named && i < format_->count(); ++i)
    if (photo::formatOfExtension(format_->itemData(i).toString().toStdString()) == named)
      format_->setCurrentIndex(i);
  const photo::Format* chosen = format();
  bits_->clear();
  const int own = photo::depthFor(*chosen, picture_.fileBits);
  for (const int bits : {8, 16, 32})
    if (chosen->depths & unsigned(bits))
      bits_->addItem(QString::number(bits), bits);
  bits_->setCurrentIndex(bits_->findData(own));
  bits_->setEnabled(bits_->count() > 1);
  quality_->setEnabled(hasQuality(*chosen));
  reason_->clear();
}

void SaveDialog::browse() {
  const QString file = QFileDialog::getSaveFileName(this, tr("Save As"), name_->text(), {}, nullptr,
                                                    QFileDialog::DontConfirmOverwrite);
  if (file.isEmpty())
    return;
  name_->setText(file);
  nameEdited();
}

SaveOrder SaveDialog::order() const {
  SaveOrder order;
  order.file = QFileInfo(name_->text()).absoluteFilePath().toStdString();
  const int bits = bits_->currentData().toInt();
  // 0 for the picture's own bits, so that 16-bit floats stay 16-bit floats.
  order.bits = bits == photo::depthFor(*format(), picture_.fileBits) ? 0 : bits;
  order.quality = quality_->value();
  return order;
}

// Refuses what the command line program would refuse.
void SaveDialog::accept() {
  try {
    planSave(original_, order());
  } catch (...) {
    reason_->setText(reasonOf(std::current_exception()));
    return;
  }
  const QFileInfo info(QString::fromStdString(order().file));
  if (info.exists() &&
      QMessageBox::question(
          this, tr("Replace a File"), tr("%1 exists already. Replace it?").arg(info.fileName()),
          QMessageBox::Yes | QMessageBox::No, QMessageBox::No) != QMessageBox::Yes)
    return;
  QDialog::accept();
}

} // namespace desktop
