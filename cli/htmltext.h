#pragma once

#include <QByteArray>
#include <QString>

class QCborValue;

/// Text of the program's own as HTML.
QByteArray htmlText(const QString &text);

/// Text that somebody else may have written, as HTML: escaped, isolated from the direction of what
/// stands around it, and with every invisible character made visible.
QByteArray foreignHtml(const QString &text);

/// printable() text that keeps its line breaks and tabs.
QString printableLines(const QString &text);

/// A value as JSON that can stand inside a script element: no text can end that element.
QByteArray scriptJson(const QCborValue &value);

/// A number as people read it: "12,345".
QString numberText(qint64 number);

/// A number with its noun: "1 message", "12,345 messages".
QString countText(qint64 count, const QString &one, const QString &many);
