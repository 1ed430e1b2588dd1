#include "recoverers/calendar_notes_safari/ios9notedbfile.h"

#include "api/sqliterecovery.h"
#include "recoverers/calendar_notes_safari/ios9notematcher.h"
#include "recoverers/calendar_notes_safari/noteassembler.h"
#include "recoverers/livequery.h"

Ios9NoteDbFile::Ios9NoteDbFile(QObject *parent)
    : SqliteDbFile(parent)
{
}

Ios9NoteDbFile::~Ios9NoteDbFile() = default;

int Ios9NoteDbFile::scanDeletedRecords(SqliteRecovery *resultHolder)
{
    m_carved = CarvedNotes();
    if (const TableSchema *objects = table(QStringLiteral("ziccloudsyncingobject"))) {
        NoteMatcher matcher(this);
        carveTable(*objects, matcher, progressValue(), false);
        matcher.finish();
    }
    LiveQuery query(path);
    const QVector<NoteRecord> notes = assembleIos9Notes(readIos9Notes(query), m_carved);
    for (const NoteRecord &note : notes) {
        resultHolder->m_ios9Notes.append(new NoteRecord(note));
    }
    return 0;
}
