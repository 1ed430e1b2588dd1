#pragma once

#include <QString>
#include <QStringList>

/// The words between the blanks of a text, such as a command line; "@" stands for the path.
inline QStringList words(const char *text, const QString &path = QString())
{
    QStringList parts = QString::fromUtf8(text).split(QLatin1Char(' '), Qt::SkipEmptyParts);
    return parts.replaceInStrings(QStringLiteral("@"), path);
}
