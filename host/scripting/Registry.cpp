#include "host/scripting/Registry.h"

#include <QByteArray>
#include <QSettings>
#include <QStandardPaths>
#include <QStringList>

#include <cctype>

namespace host {

namespace {

// QSettings treats slashes as groups; the keys here are flat.
QString settingsKey(const std::string& key) {
  return "registry/" + QString::fromLatin1(QByteArray::fromStdString(key).toPercentEncoding());
}

// A key of letters and digits is written as it is, any other as "0x" and eight hex digits.
QString keyText(FourCharCode key) {
  QString text;
  for (int shift = 24; shift >= 0; shift -= 8) {
    const unsigned char c = (key >> shift) & 0xff;
    if (c >= 0x80 || !std::isalnum(c))
      return "0x" + QString::number(key, 16).rightJustified(8, '0');
    text += QLatin1Char(char(c));
  }
  return text;
}

std::optional<FourCharCode> keyFromText(const QString& text) {
  const QByteArray bytes = text.toLatin1();
  if (bytes.size() == 4) {
    FourCharCode key = 0;
    for (const char c : bytes)
      key = key << 8 | uint8_t(c);
    return key;
  }
  bool ok = false;
  const FourCharCode key =
      bytes.size() == 10 && bytes.startsWith("0x") ? bytes.mid(2).toUInt(&ok, 16) : 0;
  return ok ? std::optional(key) : std::nullopt;
}

QStringList toList(const Script& script) {
  QStringList list;
  for (const auto& [key, value] : script)
    list += keyText(key) + (value ? "=true" : "=false");
  return list;
}

// Empty for a list that this class did not write: the user may edit the file.
std::optional<Script> fromList(const QStringList& list) {
  Script script;
  for (const QString& item : list) {
    const qsizetype equals = item.lastIndexOf('=');
    if (equals < 0)
      return std::nullopt;
    const std::optional<FourCharCode> key = keyFromText(item.left(equals));
    const QString value = item.mid(equals + 1);
    if (!key || (value != "true" && value != "false"))
      return std::nullopt;
    script.emplace_back(*key, value == "true");
  }
  return script;
}

QString fileName(const std::filesystem::path& file) {
  return QString::fromStdString(file.string());
}

} // namespace

Registry::Registry(std::filesystem::path file) : file_(std::move(file)) {}

std::filesystem::path Registry::defaultFile() {
  const QString folder = QStandardPaths::writableLocation(QStandardPaths::GenericConfigLocation);
  return std::filesystem::path(folder.toStdString()) / "fogdissolver" / "registry.ini";
}

bool Registry::put(const std::string& key, const Script& script, bool persistent) {
  if (persistent && !file_.empty()) {
    QSettings store(fileName(file_), QSettings::IniFormat);
    // Most runs change nothing and then do not touch the file.
    const QStringList list = toList(script);
    if (!store.contains(settingsKey(key)) || store.value(settingsKey(key)).toStringList() != list) {
      store.setValue(settingsKey(key), list);
      store.sync();
    }
    if (store.status() == QSettings::NoError) {
      inMemory_.erase(key);
      return true;
    }
  }
  inMemory_[key] = script;
  return !persistent || file_.empty();
}

std::optional<Script> Registry::get(const std::string& key) const {
  if (const auto found = inMemory_.find(key); found != inMemory_.end())
    return found->second;
  if (file_.empty())
    return std::nullopt;
  const QSettings store(fileName(file_), QSettings::IniFormat);
  if (!store.contains(settingsKey(key)))
    return std::nullopt;
  return fromList(store.value(settingsKey(key)).toStringList());
}

} // namespace host
