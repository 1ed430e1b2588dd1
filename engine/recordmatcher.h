#pragma once

#include "engine/fieldreader.h"
#include "engine/regiondevice.h"
#include "engine/tableschema.h"

#include <QByteArrayMatcher>
#include <QList>
#include <QVector>

class SqliteDbFile;
struct DatabaseHeader;

/// Knows one table: finds and decodes the remains of its deleted rows in bytes of the file.
///
/// The first bytes of a deleted row are usually overwritten, so a row cannot be found from its
/// start. The search looks for bytes that every record header of the table holds at one place (the
/// anchor), and the matcher reads the header around each hit:
///
///   rowid | header size | NULL for the rowid alias | serial types ... ANCHOR ... | body
///   ^ headerStart bytes before the anchor                                          ^ bodyStart
///
/// Life of a candidate: matchHeader(), and only if it fits trackRowid(), readPayload() when
/// deleted, extractRecord(). A candidate that does not fit costs no allocation and no read from the
/// file.
///
/// The order of the data members and of the virtual operations is fixed.
class RecordMatcher
{
public:
    RecordMatcher() = default;
    virtual ~RecordMatcher() = default;
    Q_DISABLE_COPY(RecordMatcher)

    /// Looks up the columns that the matcher needs. Returns false when a required one is missing:
    /// the table is then not searched.
    virtual bool bindColumns(const TableSchema &table) = 0;

    /// Decodes the record header around `anchorPos` with decodeHeaderAt(). Returns true when the
    /// number of serial types and the type of every tested column fit the table.
    virtual bool matchHeader(const TableSchema &table, const QByteArray &region, int anchorPos) = 0;

    /// Counts the match; of a deleted one it also reads the fields from `payload`, starting at
    /// bodyStart, and keeps the record. `limit` is the place of the next live cell in the region (0
    /// when there is none): no field begins at or behind it.
    virtual void extractRecord(const TableSchema &table, const QByteArray &payload, bool isDeleted,
                               int limit) = 0;

    /// Called for every match; `restart` is true for the first one of a region. For matchers that
    /// keep a running estimate of row identifiers.
    virtual void trackRowid(const TableSchema &table, bool restart, bool isDeleted);

    /// Returns the bytes that extractRecord() reads a deleted row from: those of the region, or a
    /// payload rebuilt across overflow pages with the body at the same place. `recordStart` is the
    /// record's place in the file, `headerLength` the distance from there to the body.
    virtual QByteArray readPayload(const QByteArray &region, QIODevice &device,
                                   const DatabaseHeader &header, qint64 recordStart,
                                   int headerLength);

    /// True when inspectLiveCell() is to be called.
    virtual bool wantsLiveCells();

    /// Called for each live cell of a region before the search; `cellOffset` is its place in the
    /// region.
    virtual void inspectLiveCell(const QByteArray &region, int cellOffset);

    /// Appends `count` serial types from the device's position on to `out`. Returns the bytes
    /// consumed; 0 when they cannot be read.
    virtual int readSerialTypes(QIODevice &device, int count, QVector<qint64> &out);

    QList<QByteArrayMatcher> signatures; ///< the patterns that are searched for
    qint32 liveCellTotal = 0;            ///< cells on the table's leaf pages
    qint32 liveMatches = 0;
    qint32 deletedMatches = 0;
    QVector<qint64> serialTypes;   ///< of the current candidate, in column order
    qint32 headerStart = 0;        ///< bytes from the record's start (its rowid) to the anchor
    qint64 bodyStart = 0;          ///< place of the record body in the region
    bool trimTrailingNull = false; ///< corrects bodyStart where the stored header size says so
    SqliteDbFile *owner = nullptr; ///< the recoverer; not owned

protected:
    /// How many varints precede the serial types in a cell: rowid, header size, NULL of the rowid
    /// alias. What most matchers look back over.
    static constexpr int CellPrefix = 3;
    static constexpr int NoExpectedClass = -1;

    /// The serial type of the table's column `column`, where column 0 is the rowid alias and so
    /// stands in no list of types.
    qint64 columnType(int column) const { return serialTypes[column - 1]; }

    /// Decodes a record header of which the serial type at `anchorPos` is known to be one byte or
    /// the first byte of its varint: `typesBefore` types in front of it, then `typesAfter` types
    /// from it on. `lookBack` varints in front of the header go to `out` in file order (rowid,
    /// header size, NULL); `out` stays empty when they cannot be read, as on most freed cells. An
    /// `expectedClass` of 0 or more helps to recognise the first column's type (-1: none).
    /// Sets serialTypes, headerStart and bodyStart.
    /// Returns the bytes of the decoded types; 0 when nothing could be decoded.
    int decodeHeaderAt(const QByteArray &region, int anchorPos, int typesBefore, int typesAfter,
                       QVector<qint64> &out, int lookBack, int expectedClass);

private:
    int readFirstType(const uchar *begin, const uchar *pos, int lookBack, int expectedClass);
    void trimOverrun(const QVector<qint64> &cellPrefix, int decoded);

    RegionDevice m_region; ///< kept, so that a candidate needs no device of its own
};

/// Walks the fields of a candidate in column order, for extractRecord().
///
/// A field that begins at or behind the limit is passed over, unless it has no bytes (NULL and the
/// constants 0 and 1): its value stands in its type alone, also where a live cell follows directly.
/// A field that begins before the limit is read whole.
class RecordFields
{
public:
    /// The payload and the types must outlive the walk.
    RecordFields(const QByteArray &payload, qint64 bodyStart, const QVector<qint64> &serialTypes,
                 int limit, int encoding);

    /// Goes to the next field. Returns false behind the last one that can be read.
    bool next();

    /// The field's place among the decoded serial types.
    int index() const { return m_index; }
    qint64 serialType() const { return m_serialTypes[m_index]; }
    /// The field's value; 0 or an empty text when its bytes are not all there.
    qint64 integer();
    QString text();

    /// Another way to walk, for rows that a live cell may cover from some place on: every field is
    /// visited, and read by the functions below.
    bool nextOfAll();
    /// As integer() and text(), but 0 or an empty text for a value that does not end before the
    /// limit.
    qint64 uncoveredInteger();
    QString uncoveredText();
    /// As text(), but of a text that does not end before the limit the part in front of it: for
    /// prose, of which half is better than nothing.
    QString textBeforeLimit();
    /// True once a value was asked for that the limit covers, wholly or in part.
    bool isCovered() const { return m_isCovered; }

    /// True when the limit covers the current field, wholly or in part.
    bool isFieldCovered() const;

    /// True when the current field cannot be read whole, for whatever reason.
    bool isFieldLost() const;

    /// True once a value was asked for whose bytes are not all there: the row is cut, and a record
    /// of it would pass for a whole one.
    bool isCut() const { return m_isCut; }

private:
    bool noteLimit();

    const QByteArray &m_payload;
    const QVector<qint64> &m_serialTypes;
    qint64 m_size;
    qint64 m_start = 0; ///< of the current field
    qint64 m_next;      ///< of the field behind it
    int m_limit;
    int m_encoding;
    int m_index = -1;
    bool m_isCut = false;
    bool m_isCovered = false;
};
