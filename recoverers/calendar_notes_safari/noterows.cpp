#include "recoverers/calendar_notes_safari/noterows.h"

#include "engine/fieldreader.h"
#include "recoverers/livequery.h"

namespace {

void readRows(LiveQuery &query, const QString &statement, QVector<NoteRow> *notes)
{
    query.forEachRow(statement, [notes](const LiveRow &row) {
        notes->append({row.text(0), row.text(1), qint32(row.integer(2)), false});
    });
}

} // namespace

LiveNotes readNotes(LiveQuery &query)
{
    LiveNotes live;
    readRows(query, QStringLiteral("select ztitle, zsummary, zmodificationdate from znote"),
             &live.notes);
    query.forEachRow(QStringLiteral("select zcontent from znotebody"),
                     [&live](const LiveRow &row) { live.bodies.append(row.text(0)); });
    return live;
}

LiveNotes readIos9Notes(LiveQuery &query)
{
    LiveNotes live;
    readRows(query,
             QStringLiteral("select ztitle1, zsnippet, zmodificationdate1 from "
                            "ziccloudsyncingobject where ztitle1 is not null"),
             &live.notes);
    return live;
}

bool cutAtDamage(QString *text)
{
    const int damage = firstUnwritableCharacter(*text);
    text->truncate(damage < 0 ? text->size() : damage);
    return damage >= 0;
}
