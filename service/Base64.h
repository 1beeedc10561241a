#pragma once

#include <QByteArray>
#include <QString>

namespace service {

/// Base64 (RFC 4648), with a line feed after every 64 characters and at the end, or without any.
QString encodeBase64WithNewlines(const QByteArray& data, bool newlines);
QString encodeBase64(const QByteArray& data);

/// The string must have the form that `newlines` says, else the result is empty.
QByteArray decodeBase64WithNewlines(const QString& text, bool newlines);
QByteArray decodeBase64(const QString& text);

} // namespace service
