#pragma once

#include "samples/recordencoder.h"

#include <QBuffer>
#include <QByteArray>
#include <QVariant>
#include <QVector>
#include <QtEndian>

template<typename Number> QByteArray bigEndian(Number value)
{
    QByteArray bytes(sizeof(value), '\0');
    qToBigEndian(value, bytes.data());
    return bytes;
}

/// Returns a record of the values: NULL (also for a null text), integers, doubles, texts (UTF-8)
/// and blobs.
QByteArray record(const QVariantList &values);

/// Returns a table leaf cell whose payload is wholly local.
QByteArray leafCell(qint64 rowid, const QByteArray &payload);

/// The bytes of a database file, composed by hand: for files that SQLite would never write.
/// Starts as a valid header and empty pages; page 1 is an empty schema table.
class DatabaseImage
{
public:
    explicit DatabaseImage(int pageSize = 512, int pageCount = 1);

    DatabaseImage &put8(int offset, int value);
    DatabaseImage &put16(int offset, int value);
    DatabaseImage &put32(int offset, quint32 value);
    DatabaseImage &putBytes(int offset, const QByteArray &bytes);

    /// Lays the cells out from the end of the page towards its start, as SQLite does.
    DatabaseImage &leafPage(int pageNo, const QVector<QByteArray> &cells);
    /// The keys of the left children are 1, 2, 3 ... unless they are given.
    DatabaseImage &interiorPage(int pageNo, const QVector<quint32> &leftChildren,
                                quint32 rightMostChild,
                                const QVector<qint64> &keys = QVector<qint64>());
    /// Makes page 1 list this table alone.
    DatabaseImage &schemaTable(const QString &name, quint32 rootPage, const QString &sql);
    DatabaseImage &trunkPage(int pageNo, quint32 next, const QVector<quint32> &leaves,
                             quint32 claimedLeaves);

    int pageStart(int pageNo) const { return (pageNo - 1) * m_pageSize; }
    const QByteArray &bytes() const { return m_bytes; }
    /// Writes the image to `path`.
    bool save(const QString &path) const;

private:
    int btreePage(int pageNo, int type, int headerSize, const QVector<QByteArray> &cells);

    QByteArray m_bytes;
    int m_pageSize;
};

/// A device over an image, open for reading.
class ImageDevice : public QBuffer
{
public:
    explicit ImageDevice(const QByteArray &bytes)
    {
        setData(bytes);
        open(QIODevice::ReadOnly);
    }
};
