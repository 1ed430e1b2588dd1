#pragma once

#include "engine/databasereader.h"
#include "engine/freedspace.h"

#include <QFile>
#include <QObject>
#include <QSet>

#include <memory>

class RecordMatcher;
class ScanProgress;
class SqliteRecovery;

/// Base of the recoverers, one of which exists per kind of database: holds the open file and carves
/// tables. The file is opened for reading only. One thread at a time uses a recoverer.
class SqliteDbFile : public QObject
{
    Q_OBJECT
public:
    explicit SqliteDbFile(QObject *parent = nullptr);
    ~SqliteDbFile() override;

    /// Opens the database and loads its schema, in place of the one opened before. Returns false
    /// when the path is no regular file that can be read, is no database, or its schema cannot be
    /// loaded; nothing else may then be called but open().
    bool open(const QString &path);

    /// Borrows the progress object for the scans to come; null for none.
    void setProgress(ScanProgress *newProgress);

    /// Makes the scans to come bind their matchers and search nothing: they only tell what tables
    /// of the kind there are.
    void setBindingOnly() { m_isBindingOnly = true; }

    /// How many tables of the file scans could search, and how many they could not, since open().
    int boundTables() const { return m_boundRoots.size(); }
    int refusedTables() const { return m_refusedTables; }

    /// What deletions left free on the pages of those tables that could be searched, and on free
    /// pages.
    FreedSpace freedSpace() { return findFreedSpace(*reader, m_boundRoots); }

    /// As in DatabaseReader; call them only after open() returned true.
    const TableSchema *table(const QString &name) const { return reader->table(name); }
    QVector<const TableSchema *> tablesWithPrefix(const QString &prefix) const
    {
        return reader->tablesWithPrefix(prefix);
    }
    const DatabaseHeader &headerInfo() const { return reader->headerInfo(); }

    /// Searches the table's leaf pages, behind their cell pointer arrays, for deleted rows, then
    /// all other pages of the file; with `freeListOnly` the free regions of the file instead.
    /// Matches go to `matcher`. A tree that cannot be walked counts as having no leaf pages: rows
    /// on a damaged tree are worth having. Steps that add up to about `progressSpan` are reported;
    /// when the progress object answers false the search ends.
    /// Returns false when it was ended so: the scan of the whole database is to stop then.
    bool carveTable(const TableSchema &table, RecordMatcher &matcher, double progressSpan,
                    bool freeListOnly);

    /// Reads `length` bytes from `fileOffset` on (what there is of them) and searches them for
    /// rows. `cellOffsets` are the page's live cells, ascending, relative to the page.
    void carveRegion(const TableSchema &table, qint64 fileOffset, qint64 length,
                     const QVector<quint16> &cellOffsets, RecordMatcher &matcher);

    /// True once the progress object answered false.
    bool isStopped() const { return m_isStopped; }

    /// Where the region that is being searched begins in the file, for matchers that must know a
    /// candidate's place.
    qint64 regionOffset() const { return m_regionOffset; }

    /// Finds the deleted records of this kind of database and appends them to the arrays of
    /// `resultHolder`, which is borrowed for the call. Returns 0.
    virtual int scanDeletedRecords(SqliteRecovery *resultHolder) = 0;

protected:
    /// Binds the matcher to the table, and takes note of what came of it. A list of columns that is
    /// put in place of the table's own tells nothing of the file, and is not noted.
    bool bind(RecordMatcher &matcher, const TableSchema &table);

    /// The two halves of a search in the free-region mode, for recoverers of many tables whose rows
    /// lie in the same free pages: the leaf pages of one table, and the free regions. They report
    /// `step` for each page or region, and return as carveTable(). The matcher must be bound.
    bool carveLeafPages(const TableSchema &table, const QVector<quint32> &leafPages, double step,
                        RecordMatcher &matcher);
    bool carveFreeRegions(const TableSchema &table, double step, RecordMatcher &matcher);

    /// Fills freeRegions unless that was done before.
    void findFreeRegions();

    /// Reports progress; false once the scan is to stop.
    bool reportProgress(double step);

    /// Returns the span of progress for this database; 0 without a progress object.
    double progressValue() const;

    /// Asks whether the scan is to go on; false once it was told to stop.
    bool mayGoOn() { return reportProgress(0); }

    ScanProgress *progress = nullptr; ///< not owned
    QString path;
    QFile file;
    std::unique_ptr<DatabaseReader> reader;
    QVector<FreeRegion> freeRegions; ///< found on first use, kept for all tables of the file

private:
    bool readRegion(qint64 fileOffset, qint64 length, QByteArray &region);
    void carveLeafPage(const TableSchema &table, quint32 pageNo, QByteArray &region,
                       RecordMatcher &matcher);
    bool carveOtherPages(const TableSchema &table, const QVector<quint32> &leafPages, double step,
                         RecordMatcher &matcher);
    void searchRegion(const TableSchema &table, qint64 fileOffset, const QByteArray &region,
                      const QVector<quint16> &cellOffsets, RecordMatcher &matcher);

    QSet<quint32> m_boundRoots;
    int m_refusedTables = 0;
    bool m_isBindingOnly = false;
    qint64 m_regionOffset = 0;
    bool m_isStopped = false;
};

/// True when some live cell offset c satisfies c <= offsetInPage <= c + 4: a candidate begins at
/// its rowid, which the payload size of up to four bytes precedes. `cellOffsets` must be ascending.
bool isLiveCellStart(qint64 offsetInPage, const QVector<quint16> &cellOffsets);
