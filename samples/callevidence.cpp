#include "samples/callevidence.h"

#include <algorithm>

namespace {

constexpr quint64 emptyTextType = 13;
constexpr quint64 fourByteIntegerType = 4;

/// So many equal bytes in sequence count as a piece of a row.
constexpr int pieceSize = 4;
/// Two starts of cells (payload size, row identifier, header size, NULL), freeblock headers on
/// them.
constexpr int longestGap = 16;
/// So many bytes of the values are looked at.
constexpr qint64 longestFragment = 100;

bool isDigitByte(char byte)
{
    return byte >= '0' && byte <= '9';
}

Explanation explanation(Mechanism mechanism, const QString &detail = QString())
{
    Explanation result;
    result.mechanism = mechanism;
    result.detail = detail;
    return result;
}

/// True when the header test takes the type in the column. Columns that it does not test fit.
bool passesHeaderTest(const QByteArray &column, quint64 type)
{
    if (column == "date") {
        return type == fourByteIntegerType; // what the search looks for
    }
    if (column == "address") {
        return type >= emptyTextType && type % 2 == 1;
    }
    if (column == "country_code") {
        return type == 0 || type == 13 + 2 * 3;
    }
    if (column == "ZISO_COUNTRY_CODE") {
        return type == 0 || type == 13 + 2 * 2;
    }
    if (column == "ZUNIQUE_ID") {
        return type == 13 + 2 * 36 || type == 13 + 2 * 48;
    }
    return true;
}

} // namespace

QVector<Mechanism> allMechanisms()
{
    QVector<Mechanism> all;
    for (int i = 0; i <= int(Mechanism::Unexplained); ++i) {
        all << Mechanism(i);
    }
    return all;
}

QString mechanismName(Mechanism mechanism)
{
    static const char *const names[] = {"empty address",
                                        "text width the header test refuses",
                                        "overwritten bytes",
                                        "overwritten header bytes",
                                        "first type misread behind a freeblock header",
                                        "digits before the body",
                                        "former version",
                                        "stale copy of a live row",
                                        "header read one column off",
                                        "cell pointers read as a header",
                                        "mixed bytes",
                                        "chance match inside a row",
                                        "UNEXPLAINED"};
    return QString::fromLatin1(names[int(mechanism)]);
}

CallEvidence::CallEvidence(const CallSample &sample, const QByteArray &encoding,
                           const DatabaseMap &map)
    : m_layout(sample.layout)
    , m_encoding(encoding)
    , m_map(map)
    , m_deleted(rowsOf(sample.deleted))
    , m_live(rowsOf(sample.live))
    , m_former(rowsOf(sample.formerVersions))
{
    for (const QVector<Row> *rows : {&m_deleted, &m_live, &m_former}) {
        for (const Row &row : *rows) {
            m_records += row.encoded.types + row.encoded.body;
        }
    }
}

QVector<CallEvidence::Row> CallEvidence::rowsOf(const QVector<SampleCall> &calls) const
{
    QVector<Row> rows;
    for (const SampleCall &call : calls) {
        rows << Row{expectedRecord(m_layout, call), encodeRow(callRow(m_layout, call), m_encoding)};
    }
    return rows;
}

bool CallEvidence::encodesLiveRows() const
{
    return m_map.cells().size() == m_live.size()
           && std::all_of(m_live.begin(), m_live.end(), [this](const Row &row) {
                  const QByteArray record = row.encoded.types + row.encoded.body;
                  const QVector<qint64> places = m_map.find(record);
                  return std::any_of(places.begin(), places.end(), [&](qint64 at) {
                      return m_map.overlapsCell({at, at + record.size()});
                  });
              });
}

Explanation CallEvidence::explainMiss(const SampleCall &call) const
{
    if (call.address.isEmpty()) {
        return explanation(Mechanism::EmptyAddress);
    }
    const EncodedRow row = encodeRow(callRow(m_layout, call), m_encoding);
    const QString refused = refusedType(row);
    if (!refused.isEmpty()) {
        return explanation(Mechanism::RefusedType, refused);
    }
    Explanation result = explanation(Mechanism::OverwrittenBody);
    for (const qint64 at : m_map.find(row.body)) {
        if (!m_map.overlapsCell({at, at + row.body.size()})) {
            result = explainRemains(row, at);
            if (result.mechanism == Mechanism::Unexplained) {
                return result;
            }
        }
    }
    return result;
}

/// The first value whose type the header test refuses, or an empty text.
QString CallEvidence::refusedType(const EncodedRow &row) const
{
    const QVector<CallColumn> &columns = callColumns(m_layout);
    for (int i = 0; i < row.serialTypes.size(); ++i) {
        const QByteArray column = columns.at(i + 1).name;
        if (!passesHeaderTest(column, row.serialTypes.at(i))) {
            return QStringLiteral("%1 has serial type %2")
                .arg(QLatin1String(column))
                .arg(row.serialTypes.at(i));
        }
    }
    return QString();
}

/// The values of a missed row stand at `bodyAt`: looks at what precedes them.
Explanation CallEvidence::explainRemains(const EncodedRow &row, qint64 bodyAt) const
{
    const DatabaseMap::Extent types = {bodyAt - row.types.size(), bodyAt};
    const QString where =
        QStringLiteral("values at %1, in front of them %2, wanted %3")
            .arg(bodyAt)
            .arg(m_map.hex({types.begin - 6, bodyAt}), QString::fromLatin1(row.types.toHex(' ')));
    const QByteArray found = m_map.bytes().mid(int(types.begin), row.types.size());
    if (found != row.types) {
        return explanation(Mechanism::OverwrittenHeader, where);
    }
    if (!isStore(m_layout) && isDigitByte(row.types.back())) {
        return explanation(Mechanism::DigitsBeforeBody, where);
    }
    if (isFirstTypeMisread(types.begin)) {
        return explanation(Mechanism::FirstTypeMisread, where);
    }
    return explanation(Mechanism::Unexplained, where);
}

/// The carver reads the first type backwards, and lets the three bytes in front of a long one
/// decide whether it is long; after a freeblock was made there, these three bytes are not the
/// cell's.
bool CallEvidence::isFirstTypeMisread(qint64 typesAt) const
{
    const auto byte = [this](qint64 at) { return quint8(m_map.bytes().at(int(at))); };
    qint64 last = typesAt;
    while (byte(last) & 0x80) {
        ++last;
    }
    qint64 first = last;
    while (byte(first - 1) & 0x80) {
        --first;
    }
    const bool looksLikeCell =
        byte(first - 3) < 0x80 && byte(first - 2) != 0 && byte(first - 1) == 0;
    const qint64 taken = first < last && looksLikeCell ? first : last;
    return taken != typesAt;
}

Explanation CallEvidence::explainInvention(const CallhistoryRecord &record) const
{
    const QVector<CarvedReading> readings = findReadings(m_map, m_layout, record);
    // The same values may stand in several places, the live cell among them: a whole row outside
    // the live cells explains the find, whatever the other places hold.
    for (const CarvedReading &reading : readings) {
        const bool isFormer = isStored(m_former, reading);
        if (isFormer || isStored(m_live, reading)) {
            return explanation(isFormer ? Mechanism::FormerVersion : Mechanism::StaleCopy,
                               describe(reading));
        }
    }
    Explanation result = explanation(Mechanism::Unexplained, QStringLiteral("nowhere in the file"));
    for (const CarvedReading &reading : readings) {
        result = explainReading(reading);
        if (result.mechanism != Mechanism::Unexplained) {
            return result;
        }
    }
    return result;
}

Explanation CallEvidence::explainReading(const CarvedReading &reading) const
{
    return reading.digitsBefore > 0 ? explanation(Mechanism::DigitsBeforeBody, describe(reading))
                                    : explainFragments(reading);
}

Explanation CallEvidence::explainFragments(const CarvedReading &reading) const
{
    const QString where = describe(reading);
    const QByteArray types =
        m_map.bytes().mid(int(reading.types.begin), int(reading.types.end - reading.types.begin));
    if (hasTypes([&types](const QByteArray &row) {
            return row.endsWith(types) != types.endsWith(row);
        })) {
        return explanation(Mechanism::FirstTypeMisread, where);
    }
    if (hasTypes([&types](const QByteArray &row) {
            return types.mid(1) == row.left(types.size() - 1);
        })) {
        return explanation(Mechanism::ShiftedHeader, where);
    }
    if (m_map.isPointerList(reading.types)) {
        return explanation(Mechanism::CellPointers, where);
    }
    const qint64 end = std::min(reading.body.end, reading.types.end + longestFragment);
    if (!isMadeOfRows({reading.types.begin, end})) {
        return explanation(Mechanism::Unexplained, where);
    }
    const bool isHeader = hasTypes([&types](const QByteArray &row) { return row == types; });
    return explanation(isHeader ? Mechanism::MixedBytes : Mechanism::ChanceMatch, where);
}

/// True when the serial types of some row of the sample fit.
bool CallEvidence::hasTypes(const std::function<bool(const QByteArray &)> &fits) const
{
    for (const QVector<Row> *rows : {&m_deleted, &m_live, &m_former}) {
        for (const Row &row : *rows) {
            if (fits(row.encoded.types)) {
                return true;
            }
        }
    }
    return false;
}

/// True when the extent consists of pieces of the sample's rows. Cell starts, freeblock headers,
/// the child pages of interior cells, and zeros with which SQLite fills a tidied page may stand
/// between.
bool CallEvidence::isMadeOfRows(const DatabaseMap::Extent &extent) const
{
    int pieces = 0;
    int gap = 0;
    for (qint64 at = extent.begin; at < extent.end;) {
        const bool isPiece = m_records.contains(m_map.bytes().mid(int(at), pieceSize))
                             || m_map.isZeroOrPageNumber(at);
        pieces += isPiece && !m_map.isZeroOrPageNumber(at);
        gap = isPiece ? 0 : gap + 1;
        if (gap > longestGap) {
            return false;
        }
        at += isPiece ? pieceSize : 1;
    }
    return pieces > 0;
}

/// True when the reading is one of the rows, read from a place outside the live cells.
bool CallEvidence::isStored(const QVector<Row> &rows, const CarvedReading &reading) const
{
    return !m_map.overlapsCell(reading.types)
           && std::any_of(rows.begin(), rows.end(), [&reading](const Row &row) {
                  return row.encoded.serialTypes == reading.serialTypes
                         && sameCall(row.record, reading.record);
              });
}

QString CallEvidence::describe(const CarvedReading &reading) const
{
    return QStringLiteral("types at %1: %2 | values: %3")
        .arg(reading.types.begin)
        .arg(m_map.hex({reading.types.begin - 6, reading.types.end}),
             m_map.hex({reading.types.end, std::min(reading.body.end, reading.types.end + 80)}));
}
