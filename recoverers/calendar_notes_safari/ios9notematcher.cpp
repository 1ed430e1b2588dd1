#include "recoverers/calendar_notes_safari/ios9notematcher.h"

#include "engine/fieldreader.h"
#include "engine/serialtype.h"

namespace {

constexpr char Text36[] = "\x55"; // the identifier of a note

} // namespace

Ios9NoteDbFile::NoteMatcher::NoteMatcher(Ios9NoteDbFile *recoverer)
    : m_owner(recoverer)
{
    owner = recoverer;
    signatures = {QByteArrayMatcher(Text36, 1)};
}

bool Ios9NoteDbFile::NoteMatcher::bindColumns(const TableSchema &table)
{
    using Member = int NoteMatcher::*;
    static const struct
    {
        const char *column;
        Member member;
    } required[] = {
        {"zidentifier", &NoteMatcher::m_identifier},
        {"z_ent", &NoteMatcher::m_entity},
        {"z_opt", &NoteMatcher::m_version},
        {"zmarkedfordeletion", &NoteMatcher::m_isMarkedForDeletion},
        {"zneedsinitialfetchfromcloud", &NoteMatcher::m_needsFirstFetch},
        {"zcloudstate", &NoteMatcher::m_cloudState},
        {"znotedata", &NoteMatcher::m_noteData},
        {"zcreationdate", &NoteMatcher::m_creationDate},
        {"zmodificationdate1", &NoteMatcher::m_modificationDate},
        {"zsnippet", &NoteMatcher::m_snippet},
        {"ztitle1", &NoteMatcher::m_title},
    };
    bool isComplete = true;
    for (const auto &entry : required) {
        this->*entry.member = table.columnIndex(QLatin1String(entry.column));
        isComplete = isComplete && this->*entry.member >= 1;
    }
    m_creationDate1 = table.columnIndex(QLatin1String("zcreationdate1"));
    return isComplete;
}

bool Ios9NoteDbFile::NoteMatcher::matchHeader(const TableSchema &table, const QByteArray &region,
                                              int anchorPos)
{
    const int columnCount = table.columns.size();
    decodeAround(region, anchorPos, m_identifier - 1, columnCount - m_identifier);
    // Every new system adds columns, and rows stay as they were written: the types that such a row
    // lacks would be read from its body.
    return serialTypes.size() == columnCount - 1 && isNote() && !isHeaderOfOtherSize(region)
           && !isCellOfOtherLayout(region);
}

bool Ios9NoteDbFile::NoteMatcher::isNote() const
{
    // Notes keep the date of their creation in another column of each generation. A row that has
    // one here is refused, on purpose, as that of another entity: up to iOS 14 these are all notes.
    const int otherCreationDate = m_creationDate1 >= 1 ? m_creationDate1 : m_creationDate;
    return isNullSerialType(columnType(otherCreationDate))
           && isIntegerSerialType(columnType(m_entity), false)
           && isIntegerSerialType(columnType(m_version), false)
           && isBooleanSerialType(columnType(m_isMarkedForDeletion))
           && isBooleanSerialType(columnType(m_needsFirstFetch))
           && isIntegerSerialType(columnType(m_cloudState), false)
           && isIntegerSerialType(columnType(m_noteData), false)
           && !isNullSerialType(columnType(m_modificationDate))
           && isTextSerialType(columnType(m_snippet), true)
           && isTextSerialType(columnType(m_title), false);
}

void Ios9NoteDbFile::NoteMatcher::readRow(const TableSchema &, const Row &row)
{
    NoteRow note;
    RecordFields fields = fieldsOf(row);
    while (fields.nextOfAll()) {
        const int column = fields.index() + 1;
        if (column == m_modificationDate) {
            note.date = qint32(fields.uncoveredInteger());
        } else if (column == m_title) {
            note.title = fields.uncoveredText();
        } else if (column == m_snippet) {
            note.summary = fields.textBeforeLimit();
        }
    }
    if (isCut(row, fields) || !(isPlausibleText(note.title) || isPlausibleText(note.summary))) {
        return;
    }
    note.isIncomplete = fields.isCovered() || fields.isCut() || hasUnwritableCharacters(note.title)
                        || hasUnwritableCharacters(note.summary);
    m_owner->m_carved.notes.append(note);
}
