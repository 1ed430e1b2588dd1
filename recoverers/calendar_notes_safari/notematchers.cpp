#include "recoverers/calendar_notes_safari/notematchers.h"

#include "engine/serialtype.h"
#include "engine/spilledpayload.h"

#include <algorithm>

namespace {

// Serial types of the anchors.
constexpr char Real[] = "\x07";            // a date
constexpr char FourByteInteger[] = "\x04"; // the same where it is a whole number
constexpr char OneByteInteger[] = "\x01";  // the number of an entity
constexpr char ConstantOne[] = "\x09";     // the same for entity 1

/// So much text in front of damage is no accident: a header that is none is followed by other
/// bytes than letters.
constexpr int BelievableLength = 32;

/// HTML that was cut may end within a tag.
void dropOpenTag(QString *html)
{
    const int begin = html->lastIndexOf(QLatin1Char('<'));
    if (begin >= 0 && html->indexOf(QLatin1Char('>'), begin) < 0) {
        html->truncate(begin);
    }
}

} // namespace

NoteDbFile::NoteMatcher::NoteMatcher(NoteDbFile *recoverer)
    : m_owner(recoverer)
{
    owner = recoverer;
    signatures = {QByteArrayMatcher(Real, 1), QByteArrayMatcher(FourByteInteger, 1)};
}

bool NoteDbFile::NoteMatcher::bindColumns(const TableSchema &table)
{
    m_title = table.columnIndex(QLatin1String("ztitle"));
    m_creationDate = table.columnIndex(QLatin1String("zcreationdate"));
    m_modificationDate = table.columnIndex(QLatin1String("zmodificationdate"));
    m_guid = table.columnIndex(QLatin1String("zguid"));
    m_summary = table.columnIndex(QLatin1String("zsummary"));
    return m_title >= 1 && m_creationDate >= 1 && m_guid >= 1 && m_summary >= 1;
}

bool NoteDbFile::NoteMatcher::matchHeader(const TableSchema &table, const QByteArray &region,
                                          int anchorPos)
{
    const int columnCount = table.columns.size();
    decodeAround(region, anchorPos, m_creationDate - 1, columnCount - m_creationDate);
    return serialTypes.size() == columnCount - 1 && isUuidSerialType(columnType(m_guid), false)
           && isTextSerialType(columnType(m_title), false)
           && isTextSerialType(columnType(m_summary), true) && !isCellOfOtherLayout(region);
}

void NoteDbFile::NoteMatcher::readRow(const TableSchema &, const Row &row)
{
    NoteRow note;
    RecordFields fields = fieldsOf(row);
    while (fields.nextOfAll()) {
        const int column = fields.index() + 1;
        if (column == m_modificationDate) {
            note.date = qint32(fields.uncoveredInteger());
        } else if (column == m_title) {
            note.title = fields.uncoveredText();
        } else if (column == m_summary) {
            note.summary = fields.textBeforeLimit();
        }
    }
    const bool isTitleDamaged = cutAtDamage(&note.title);
    if (isTitleDamaged) {
        note.title.clear();
    }
    const bool isSummaryDamaged = cutAtDamage(&note.summary);
    note.isIncomplete = fields.isCovered() || fields.isCut() || isTitleDamaged || isSummaryDamaged;
    const bool isEmpty = note.title.isEmpty() && note.summary.isEmpty();
    if (!isCut(row, fields) && !(note.isIncomplete && isEmpty)) {
        m_owner->m_carved.notes.append(note);
    }
}

NoteDbFile::NotebodyMatcher::NotebodyMatcher(NoteDbFile *recoverer)
    : m_owner(recoverer)
{
    owner = recoverer;
    signatures = {QByteArrayMatcher(OneByteInteger, 1), QByteArrayMatcher(ConstantOne, 1)};
}

bool NoteDbFile::NotebodyMatcher::bindColumns(const TableSchema &table)
{
    m_table = &table;
    m_entity = table.columnIndex(QLatin1String("z_ent"));
    m_content = table.columnIndex(QLatin1String("zcontent"));
    m_contentReference = table.columnIndex(QLatin1String("zexternalcontentref"));
    m_representation = table.columnIndex(QLatin1String("zexternalrepresentation"));
    return m_entity >= 1 && m_content >= 1 && m_contentReference >= 1 && m_representation >= 1;
}

bool NoteDbFile::NotebodyMatcher::matchHeader(const TableSchema &table, const QByteArray &region,
                                              int anchorPos)
{
    const int columnCount = table.columns.size();
    decodeAround(region, anchorPos, m_entity - 1, columnCount - m_entity);
    if (serialTypes.size() != columnCount - 1 || !isTextSerialType(columnType(m_content), false)
        || !isNullSerialType(columnType(m_contentReference))
        || !isNullSerialType(columnType(m_representation)) || isCellOfOtherLayout(region)) {
        return false;
    }
    // A few bytes of any header look like these types. Text of a body that is none shows it, but an
    // empty one must have more than its types to be believed.
    return serialTypeSize(columnType(m_content)) > 0 || hasCellPrefix();
}

QByteArray NoteDbFile::NotebodyMatcher::readPayload(const QByteArray &region, QIODevice &device,
                                                    const DatabaseHeader &header, qint64, int)
{
    BrokenChain broken;
    broken.use = BrokenChain::WhatWasGathered;
    broken.isInUse = [this](quint32 pageNo) { return m_owner->isPageOfLiveBody(*m_table, pageNo); };
    return payloadOf(region, device, header, broken);
}

void NoteDbFile::NotebodyMatcher::readRow(const TableSchema &, const Row &row)
{
    // Of a chain that broke there is as much as was gathered.
    const int size = row.payload.size();
    const int limit = row.limit > 0 ? std::min(row.limit, size) : size;
    NoteBody body;
    RecordFields fields(row.payload, row.bodyStart, row.serialTypes,
                        row.isRebuilt ? limit : row.limit, owner->headerInfo().textEncoding);
    while (fields.nextOfAll()) {
        if (fields.index() + 1 == m_content) {
            body.content = fields.textBeforeLimit();
        }
    }
    const bool isDamaged = cutAtDamage(&body.content);
    body.isCut = isDamaged || fields.isCovered() || fields.isCut();
    if (body.isCut) {
        dropOpenTag(&body.content);
    }
    const bool isBelievable =
        !isDamaged || row.isRebuilt || body.content.size() >= BelievableLength;
    if (!isCut(row, fields) && isBelievable && !(body.isCut && body.content.isEmpty())) {
        m_owner->m_carved.bodies.append(body);
    }
}
