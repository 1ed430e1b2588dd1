#pragma once

#include "tests/support/testfiles.h"

#include <QDateTime>
#include <QDir>
#include <QFileInfo>
#include <QStringList>

/// Names, times and bytes of everything in a folder, to compare before and after.
inline QStringList folderState(const QString &path)
{
    QStringList state;
    const QFileInfoList entries = QDir(path).entryInfoList(QDir::AllEntries | QDir::Hidden
                                                           | QDir::System | QDir::NoDotAndDotDot);
    for (const QFileInfo &entry : entries) {
        state.append(entry.fileName() + QLatin1Char(' ')
                     + entry.lastModified().toString(Qt::ISODateWithMs) + QLatin1Char(' ')
                     + QString::fromLatin1(readFile(entry.filePath()).toBase64()));
    }
    return state;
}
