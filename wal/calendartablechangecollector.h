#pragma once

#include "recoverers/calendar_notes_safari/calendarrows.h"
#include "wal/distinctrecords.h"
#include "wal/tablechangecollector.h"
#include "wal/versionedrows.h"

#include <QHash>

#include <deque>

class WalRecovery;
struct RecoveredCalendars;

class CalendarParser : public RecordParser<LiveCalendar>
{
public:
    void parseColumn(LiveCalendar &calendar, const QString &name,
                     const ColumnValue &column) override;
};

/// Titles of locations.
class LocationParser : public RecordParser<QString>
{
public:
    void parseColumn(QString &title, const QString &name, const ColumnValue &column) override;
};

/// Makes events and reminders of the rows of a calendar and appends them to the facade's arrays.
/// What an item is, and its place and list, follow from the rows that its own row names: they are
/// looked for in the version that still had the item, then in the others.
class CalendarTableChangeCollector : public TableChangeCollector
{
public:
    /// Borrows the facade, whose arrays receive the records.
    explicit CalendarTableChangeCollector(WalRecovery *resultHolder);
    ~CalendarTableChangeCollector() override;

    QStringList tableNames() override;
    void collectRow(const TableVersion &earlier, const TableRow &row) override;
    void collectChangedRow(const TableVersion &earlier, const TableRow &earlierRow,
                           const TableVersion &later, const TableRow &laterRow) override;
    void finishCollection() override;

private:
    /// A row of "calendaritem" or of "event". There may be very many: empty lists take no memory.
    struct Row
    {
        QVector<CarvedCalendarItem> items;
        QVector<CarvedEvent> events;
    };

    /// A row with what it names.
    struct Entry
    {
        Row row;
        bool isCalendarKnown = false;
        LiveCalendar calendar;
        bool isLocationKnown = false;
        QString location;
    };

    /// A row that went away, or changed into another one.
    struct Change
    {
        Entry earlier;
        bool isChange = false;
        Entry later;
    };

    Entry entryOf(const TableVersion &table, const TableRow &row);
    void findNames(const TableVersion &calendars, const TableVersion &locations, Entry *entry);
    RecoveredCalendars recordsOf(Entry entry) const;
    void addRecords(const Change &change);
    void addLocations();
    QSet<QString> titlesFound() const;
    void removeLiveEntries(const QString &tableName);
    void removeLiveLocations();

    WalRecovery *m_resultHolder;
    IdentifiedRows<CalendarParser, LiveCalendar> m_calendars;
    IdentifiedRows<LocationParser, QString> m_knownLocations;
    std::deque<Change> m_changes;
    QHash<qint64, LiveCalendar> m_formerCalendars; ///< by row identifier, as they last were
    QHash<qint64, QString> m_formerLocations;
    QStringList m_locations; ///< titles that went away
    DistinctRecords<CalendarRecord> m_events;
    DistinctRecords<ReminderRecord> m_reminders;
    DistinctRecords<CalendarRecord> m_places; ///< locations as events that have nothing else
};
