#include "recoverers/calendar_notes_safari/notedbfile.h"

#include "api/sqliterecovery.h"
#include "engine/spilledpayload.h"
#include "recoverers/calendar_notes_safari/noteassembler.h"
#include "recoverers/calendar_notes_safari/notematchers.h"
#include "recoverers/livequery.h"

NoteDbFile::NoteDbFile(QObject *parent)
    : SqliteDbFile(parent)
{
}

NoteDbFile::~NoteDbFile() = default;

int NoteDbFile::scanDeletedRecords(SqliteRecovery *resultHolder)
{
    m_carved = CarvedNotes();
    m_pagesInUse.clear();
    m_arePagesKnown = false;
    carve();
    LiveQuery query(path);
    // What was carved until a stop is delivered; who stopped that is not asked again.
    const bool isAsked = !isStopped();
    const QVector<NoteRecord> notes =
        assembleNotes(readNotes(query), m_carved, [&] { return !isAsked || mayGoOn(); });
    for (const NoteRecord &note : notes) {
        resultHolder->m_notes.append(note);
    }
    return 0;
}

void NoteDbFile::carve()
{
    const TableSchema *notes = table(QStringLiteral("znote"));
    const TableSchema *bodies = table(QStringLiteral("znotebody"));
    const double span = progressValue() / (notes && bodies ? 2 : 1);
    if (carve<NoteMatcher>(notes, span)) {
        carve<NotebodyMatcher>(bodies, span);
    }
}

/// Returns false when the scan is to stop.
template<typename Matcher> bool NoteDbFile::carve(const TableSchema *table, double span)
{
    if (!table) {
        return true;
    }
    Matcher matcher(this);
    const bool goOn = carveTable(*table, matcher, span, false);
    matcher.finish();
    return goOn;
}

bool NoteDbFile::isPageOfLiveBody(const TableSchema &bodies, quint32 pageNo)
{
    if (!m_arePagesKnown) {
        m_arePagesKnown = true;
        m_pagesInUse = overflowPagesInUse(*reader, file, bodies);
    }
    return m_pagesInUse.contains(pageNo);
}
