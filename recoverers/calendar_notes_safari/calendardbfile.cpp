#include "recoverers/calendar_notes_safari/calendardbfile.h"

#include "api/sqliterecovery.h"
#include "recoverers/calendar_notes_safari/calendarassembler.h"
#include "recoverers/calendar_notes_safari/calendarmatchers.h"

CalendarDbFile::CalendarDbFile(QObject *parent)
    : SqliteDbFile(parent)
{
}

CalendarDbFile::~CalendarDbFile() = default;

int CalendarDbFile::scanDeletedRecords(SqliteRecovery *resultHolder)
{
    m_live = readCalendars(path);
    m_carved = CarvedCalendars();
    carve();
    const RecoveredCalendars found = assembleCalendars(m_live, m_carved);
    resultHolder->m_reminders += found.reminders;
    resultHolder->m_calendarEvents += found.events;
    return 0;
}

void CalendarDbFile::carve()
{
    const auto search = [this](const TableSchema *table, auto matcher, double span,
                               bool freeListOnly) {
        const bool goOn = !table || carveTable(*table, *matcher, span, freeListOnly);
        matcher->finish();
        return goOn;
    };
    const TableSchema *items = table(QStringLiteral("calendaritem"));
    const TableSchema *events = table(QStringLiteral("event"));
    const int tables = (items != nullptr) + (events != nullptr);
    const double share = tables > 0 ? progressValue() / tables : 0;
    constexpr double noShare = 0;
    // Locations have signatures that occur everywhere: they are looked for only where this table's
    // rows can be.
    if (search(items, std::make_unique<CalendarItemMatcher>(this), share, false)
        && search(events, std::make_unique<EventItemMatcher>(this), share, false)) {
        search(table(QStringLiteral("location")), std::make_unique<LocationMatcher>(this), noShare,
               true);
    }
}
