#pragma once

#include <QByteArray>
#include <QString>
#include <QVector>

/// The record of one row of a sound database, to make hostile ones of.
struct SampleRow
{
    QString table;
    qint64 rowid = 0;
    QByteArray record;
};

/// Returns the first row of every table of the database that has one.
QVector<SampleRow> firstRows(const QByteArray &database);

/// The root pages of its tables.
QVector<quint32> rootPages(const QByteArray &database);

/// The beginning of a record in which one field claims to be longer than it is.
struct LongRecord
{
    QByteArray header; ///< with its own size in front
    QByteArray front;  ///< the fields before the long one
    qint64 size = 0;   ///< of the whole record as its header describes it
};

/// For each text of the row, a record in which that text is `length` bytes long.
QVector<LongRecord> withLongTexts(const QByteArray &record, qint64 length);

/// A page of a tree and the highest row identifier on it.
struct Branch
{
    quint32 pageNo;
    qint64 lastRowid;
};

/// A sound database, of which pages are added to, and the tables then lead anywhere.
class HostileDatabase
{
public:
    explicit HostileDatabase(const QByteArray &sound);

    int pageSize() const { return m_pageSize; }
    quint32 nextPage() const { return quint32(m_bytes.size() / m_pageSize) + 1; }
    /// Adds a page, filled up with zeros, and returns its number.
    quint32 add(const QByteArray &page);
    /// A leaf page of cells that are all listed.
    quint32 addLeaf(const QVector<QByteArray> &cells);
    quint32 addInterior(const QVector<quint32> &children,
                        const QVector<qint64> &keys = QVector<qint64>());
    /// A tree above the pages; returns its root.
    quint32 addTree(QVector<Branch> pages);
    /// Adds the overflow chain that all cells of long records share.
    void addChain(int pages);
    /// Lets page after page, which `next` makes, follow until the file has `size` bytes.
    template<typename Next> void fillUp(int size, Next next)
    {
        while (m_bytes.size() + m_pageSize <= size) {
            add(next());
        }
    }
    /// A cell whose payload takes the end of the chain, and is sound as far as it alone tells.
    QByteArray cell(qint64 rowid, const LongRecord &record) const;

    void put32(int offset, quint32 value);
    const QByteArray &bytes();

private:
    QByteArray m_bytes;
    int m_pageSize;
    quint32 m_chainEnd = 0;
};

/// Changes the schema of the database at `path` as SQL would not allow; returns its bytes, none on
/// failure.
QByteArray changeSchema(const QString &path, const QString &sql);

/// Lets tables begin at another page; all of them unless one is named.
QString rootPageSql(quint32 page, const QString &table = QString());
