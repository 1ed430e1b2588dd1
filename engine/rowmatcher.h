#pragma once

#include "engine/recordmatcher.h"

struct BrokenChain;
struct CandidatePayload;

/// True when the dashes of a guid of 36 characters that begins at `pos` stand where they should.
bool hasGuidDashesAt(const QByteArray &region, qint64 pos);

/// Base of matchers that read whole rows, which other bytes may cover or which may go on elsewhere:
///
/// - A payload that spills is rebuilt across its overflow pages; otherwise its last fields would be
///   read from whatever lies behind the cell.
/// - A row that begins inside the body of another one was written later, and what it covers is not
///   read. To know it, each deleted row is held back until the next match, or until finish().
class RowMatcher : public RecordMatcher
{
public:
    void trackRowid(const TableSchema &table, bool restart, bool isDeleted) override;
    QByteArray readPayload(const QByteArray &region, QIODevice &device,
                           const DatabaseHeader &header, qint64 recordStart,
                           int headerLength) override;
    void extractRecord(const TableSchema &table, const QByteArray &payload, bool isDeleted,
                       int limit) override;

    /// Reads the row that is held back. To be called when a search is over, while its table exists.
    virtual void finish();

protected:
    /// A deleted row that is ready to be read.
    struct Row
    {
        QByteArray payload;
        QVector<qint64> serialTypes;
        qint64 typesStart = 0;
        qint64 bodyStart = 0;
        qint64 localEnd = 0; ///< where its bytes in the region end
        int limit = 0;       ///< where something else begins to cover it; 0 for nowhere
        bool isRebuilt = false;
    };

    /// Reads and keeps the row. Called once for every deleted match, in the order found.
    virtual void readRow(const TableSchema &table, const Row &row) = 0;

    /// As readPayload(), with a rule for overflow chains that are broken.
    QByteArray payloadOf(const QByteArray &region, QIODevice &device, const DatabaseHeader &header,
                         const BrokenChain &broken);

    /// A walk over the fields of the row.
    RecordFields fieldsOf(const Row &row) const;

    /// The same, but where overflow pages are lost, what is left of a text can be read as if
    /// something covered the rest.
    RecordFields proseFieldsOf(const Row &row) const;

    /// What is left of a row of which a field turns out to be another row's: that without what was
    /// taken from overflow pages, or, of a row on one page, its first `count` fields.
    static Row ownPart(const Row &row, int count);

    /// True when the row cannot be read as far as its own types say. The bytes that overflow pages
    /// lost do not count: what is left of so long a row is worth having.
    static bool isCut(const Row &row, const RecordFields &fields)
    {
        return fields.isCut() && !row.isRebuilt;
    }

    /// As decodeHeaderAt(), `typesBefore` types in front of the anchor and `typesAfter` from it on,
    /// with the cell prefix of most tables.
    void decodeAround(const QByteArray &region, int anchorPos, int typesBefore, int typesAfter,
                      int lookBack = CellPrefix, int expectedClass = NoExpectedClass);

    /// For tables whose first column holds texts: takes a longer text's type as such, where the
    /// byte in front of what was taken for the first type belongs to it and a NULL stands before.
    void widenFirstType(const QByteArray &region);

    /// True when the bytes in front of the candidate show it to be a whole cell of a record with
    /// another number of columns: one that was written before the table got more. The types behind
    /// its own are then bytes of its body.
    bool isCellOfOtherLayout(const QByteArray &region) const;

    /// True when the stored header size, of which a freeblock header leaves the second byte, is
    /// another one than that of the decoded types: the candidate has another number of columns.
    bool isHeaderOfOtherSize(const QByteArray &region) const;

    /// True when header size and NULL stand in front of the types as in a whole cell.
    bool hasCellPrefix() const
    {
        constexpr int mostInOneByte = 127;
        const int size = m_typesLength + m_aliasTypes + 1; // with one byte for itself
        return m_cellPrefix.size() == 2 + m_aliasTypes
               && (m_aliasTypes == 0 || m_cellPrefix.last() == 0)
               && m_cellPrefix[1] == size + (size > mostInOneByte ? 1 : 0);
    }

    /// The row identifier of the candidate, if all that stands in front of its types is as in a
    /// whole cell, the payload size too; else 0. A freeblock header overwrites that size before
    /// anything else, and with it the first bytes of a long identifier, of which the rest would
    /// pass for a shorter one.
    qint64 intactRowid(const QByteArray &region) const;

    /// For rows that were written before the table got its last columns: they have fewer serial
    /// types, and the first bytes of the body were taken for the others. Where a guid that stands
    /// `offset` bytes behind the beginning of the body shows that, the surplus types are taken
    /// back; those of the first `columns` columns never are.
    void alignToGuid(const QByteArray &region, qint64 offset, int columns);

    /// Where in the body the candidate's value of the column `column` begins.
    qint64 bodyOffset(int column) const;

    /// Finds the body of a row that was written before its table got more columns: such a row has
    /// fewer types than the table, and the first bytes of its body were taken for the others. Takes
    /// back as few types as `isBody(start)` asks for, which tells whether the body can begin at
    /// `start`, but none up to that of column `lastColumn`. `anchorColumn` is the anchor's. Returns
    /// false, and changes nothing, when the body fits nowhere.
    template<typename IsBody>
    bool alignBody(const QByteArray &region, int anchorColumn, int lastColumn, IsBody isBody)
    {
        if (isBody(bodyStart)) {
            return true;
        }
        qint64 body = m_anchorPos;
        qint64 fittingBody = 0;
        int fitting = 0;
        for (int count = anchorColumn; count < serialTypes.size(); ++count) {
            body += varintLengthAt(region, body);
            if (count >= lastColumn && isBody(body)) {
                fitting = count;
                fittingBody = body;
            }
        }
        if (fitting > 0) {
            dropLastTypes(serialTypes.size() - fitting, int(bodyStart - fittingBody));
        }
        return fitting > 0;
    }

    /// Puts another type in place of the first one, which begins `length` bytes in front of it.
    void takeFirstType(qint64 type, int length)
    {
        serialTypes[0] = type;
        m_typesLength += length;
        headerStart += length;
    }

    /// True while a row is held back.
    bool isHolding() const { return m_isHeld; }

    /// Where the candidate's record begins in the region: at its rowid.
    int recordStart() const { return m_anchorPos - headerStart; }
    qint64 typesStart() const { return bodyStart - m_typesLength; }
    /// The size of the candidate's whole payload, by its serial types; 0 when they make no sense.
    qint64 payloadSize() const;
    /// Where its bytes in the region end.
    qint64 localEnd() const;

    /// The bytes of most row identifiers, for tables whose rows have two bytes of payload size at
    /// least: it tells from where on a row whose identifier is overwritten covers another one.
    int rowidLength = 1;
    QVector<qint64> m_cellPrefix; ///< kept, so that a candidate needs no list of its own
    int m_typesLength = 0;        ///< bytes of the candidate's serial types
    /// 1 when the type of the rowid alias, NULL, stands in front of the decoded ones; 0 when it is
    /// one of them, because the alias is not the table's first column.
    int m_aliasTypes = 1;

private:
    CandidatePayload candidatePayload() const;
    static int varintLengthAt(const QByteArray &region, qint64 pos);
    void dropLastTypes(int count, int length);
    void readHeldRow(const TableSchema &table);
    bool coversHeldHeader() const;
    void coverHeldRow();

    Row m_held;
    bool m_isHeld = false;
    const TableSchema *m_table = nullptr; ///< of the held row
    qint64 m_localEnd = 0;
    bool m_isRebuilt = false;
    qint64 m_rebuilt = 0; ///< bytes, of all rows
    int m_anchorPos = 0;
};
