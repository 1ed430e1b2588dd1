#pragma once

#include <QByteArray>
#include <QFile>
#include <QRandomGenerator>

/// The bytes of the file; none when it cannot be read.
inline QByteArray readFile(const QString &path)
{
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}

/// Makes a file of the bytes, in place of one that may be there. False when it cannot be written.
inline bool writeFile(const QString &path, const QByteArray &bytes)
{
    QFile file(path);
    return file.open(QIODevice::WriteOnly) && file.write(bytes) == bytes.size();
}

/// Bytes as those of an encrypted file.
inline QByteArray randomBytes(int size)
{
    QRandomGenerator random(7);
    QByteArray bytes(size, '\0');
    for (char &byte : bytes) {
        byte = char(random.generate());
    }
    return bytes;
}
