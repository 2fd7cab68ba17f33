#pragma once

#include <QByteArray>
#include <QList>
#include <QString>
#include <QUrl>
#include <string>
#include <vector>

// Names of files are bytes; what people see of them is text.
namespace kelvo::window {

inline QString shown(const std::string& path) { return QString::fromUtf8(path.c_str()); }

// The bytes of a name that a dialogue gave.
inline std::string bytesOf(const QString& path) { return path.toUtf8().toStdString(); }

// The bytes that a file URL stands for, whether they are text or not. Empty if it names no file of
// this computer.
inline std::string pathOf(const QUrl& url) {
  if (!url.isLocalFile()) {
    return {};
  }
  return QByteArray::fromPercentEncoding(url.path(QUrl::FullyEncoded).toLatin1()).toStdString();
}

inline QString fileName(const std::string& path) {
  return shown(path.substr(path.find_last_of('/') + 1));
}

// A clause as a sentence of its own.
inline QString sentence(const std::string& clause) {
  QString text = shown(clause);
  if (!text.isEmpty()) {
    text[0] = text[0].toUpper();
    text += QLatin1Char('.');
  }
  return text;
}

}  // namespace kelvo::window
