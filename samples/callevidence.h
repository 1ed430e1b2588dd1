#pragma once

#include "samples/callsamples.h"
#include "samples/carvedreading.h"
#include "samples/recordencoder.h"

#include <functional>

/// Why a deleted call was not recovered, or why something was that no deleted call explains. Each
/// one is read off the bytes of the file.
enum class Mechanism {
    EmptyAddress,      ///< the row has no address, and such rows are dropped
    RefusedType,       ///< a value is of a width that the header test refuses
    OverwrittenBody,   ///< the row's values are nowhere in the file any more
    OverwrittenHeader, ///< the values are there, the serial types in front of them are not
    FirstTypeMisread,  ///< a freeblock header in front changes how long the first type seems
    DigitsBeforeBody,  ///< the header ends in bytes that are digits and are read as values
    FormerVersion,     ///< a row as it was before it was rewritten: a true find
    StaleCopy,         ///< a copy of a live row that SQLite left behind when it moved the row
    ShiftedHeader,     ///< another text has the width of the unique identifier and is taken for it
    CellPointers,      ///< a list of cell offsets that happens to read as a header
    MixedBytes,        ///< one row's header or values run on into another's bytes
    ChanceMatch,       ///< bytes in the middle of a row that happen to read as a header
    Unexplained,
};

struct Explanation
{
    Mechanism mechanism = Mechanism::Unexplained;
    QString detail; ///< where, and which bytes
};

QVector<Mechanism> allMechanisms();
QString mechanismName(Mechanism mechanism);

/// Explains what a scan of a sample database missed and invented.
class CallEvidence
{
public:
    /// `map` is borrowed; `encoding` is the one the sample was made with.
    CallEvidence(const CallSample &sample, const QByteArray &encoding, const DatabaseMap &map);

    /// False when a live row is not in its cell as encoded here; explanations are worth nothing
    /// then.
    bool encodesLiveRows() const;
    Explanation explainMiss(const SampleCall &call) const;
    Explanation explainInvention(const CallhistoryRecord &record) const;

private:
    struct Row
    {
        CallhistoryRecord record;
        EncodedRow encoded;
    };
    QVector<Row> rowsOf(const QVector<SampleCall> &calls) const;
    QString refusedType(const EncodedRow &row) const;
    Explanation explainRemains(const EncodedRow &row, qint64 bodyAt) const;
    bool isFirstTypeMisread(qint64 typesAt) const;
    Explanation explainReading(const CarvedReading &reading) const;
    Explanation explainFragments(const CarvedReading &reading) const;
    bool isStored(const QVector<Row> &rows, const CarvedReading &reading) const;
    bool hasTypes(const std::function<bool(const QByteArray &)> &fits) const;
    bool isMadeOfRows(const DatabaseMap::Extent &extent) const;
    QString describe(const CarvedReading &reading) const;

    CallLayout m_layout;
    QByteArray m_encoding;
    const DatabaseMap &m_map;
    QVector<Row> m_deleted;
    QVector<Row> m_live;
    QVector<Row> m_former;
    QByteArray m_records; ///< all rows' serial types and values
};
