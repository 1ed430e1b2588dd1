#pragma once

#include "tests/support/testfiles.h"

#include <QDateTime>
#include <QDirIterator>
#include <QFileInfo>
#include <QStringList>

/// Names, times and bytes of everything in a folder and below, to compare before and after.
inline QStringList folderState(const QString &path)
{
    QStringList state;
    QDirIterator entries(path,
                         QDir::AllEntries | QDir::Hidden | QDir::System | QDir::NoDotAndDotDot,
                         QDirIterator::Subdirectories);
    while (entries.hasNext()) {
        const QFileInfo entry(entries.next());
        state.append(entry.filePath().mid(path.size()) + QLatin1Char(' ')
                     + entry.lastModified().toString(Qt::ISODateWithMs) + QLatin1Char(' ')
                     + QString::fromLatin1(readFile(entry.filePath()).toBase64()));
    }
    state.sort();
    return state;
}
