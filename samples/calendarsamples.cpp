#include "samples/calendarsamples.h"

#include "samples/messagetext.h"
#include "samples/recordencoder.h"
#include "samples/sampledatabase.h"
#include "samples/samplerandom.h"

#include <QVariantMap>

namespace {

using Row = QVariantMap; ///< values by column; NULL in all others

const char *const eventTitles[] = {"Dentist",
                                   "Team meeting",
                                   "Lunch with %1",
                                   "%1's birthday",
                                   "Flight to %2",
                                   "Parents' evening",
                                   "Jour fixe with %1",
                                   u8"Geburtstag Jürgen Größe",
                                   u8"Встреча с %1",
                                   u8"会議",
                                   "Yoga",
                                   "Review of the budget for next year with everybody from "
                                   "the office in %2 and with %1"};
const char *const reminderTitles[] = {"Milk",           "Call %1",
                                      "Pay the rent",   "Buy tickets to %2",
                                      "Renew passport", u8"Müll rausbringen",
                                      "Water plants"};
const char *const places[] = {"Room 4", "Café Central, %2", "12 Harbour Street, %2", "Gate B7",
                              u8"Bahnhof Zürich"};
const char *const zones[] = {"Europe/Berlin", "America/New_York", "Asia/Tokyo", "_float"};

struct SampleList
{
    const char *title;
    int entityTypes; ///< 0 for NULL
};

/// The calendars of every sample; their row identifiers count from 1.
constexpr SampleList lists[] = {
    {"DEFAULT_CALENDAR_NAME", 0},      {"Home", 4},     {"Work", 4},
    {"DEFAULT_TASK_CALENDAR_NAME", 8}, {"Shopping", 8},
};
constexpr int FirstReminderList = 4;
constexpr int ListCount = 5;

struct Item
{
    qint64 rowid = 0;
    Row row;
    QString place; ///< of the table of locations
    Row placeRow;
};

QString name(const char *column)
{
    return QString::fromLatin1(column);
}

/// Makes up items as of some year.
class Generator
{
public:
    explicit Generator(const CalendarPlan &plan)
        : m_layout(plan.layout)
        , m_random(plan.seed)
        , m_seconds(400000000 + int(plan.layout) * 30000000)
        , m_mostHalfHours(plan.mostHalfHours)
    {
    }

    Item next(qint64 rowid);
    /// Other values for an item that is changed: its title or its time, sometimes its notes.
    Row changes(const Item &item);

    SampleRandom &random() { return m_random; }

private:
    QString filled(QString text)
    {
        const QString place = m_random.city();
        return text.replace(QLatin1String("%1"), m_random.firstName())
            .replace(QLatin1String("%2"), place);
    }
    QVariant notes();
    void addEvent(Row *row);
    void addReminder(Row *row);
    void addShared(Row *row);
    void addPlace(Item *item);

    CalendarLayout m_layout;
    SampleRandom m_random;
    qint64 m_seconds;
    int m_mostHalfHours;
};

Item Generator::next(qint64 rowid)
{
    Item item;
    item.rowid = rowid;
    m_seconds += 1800 * m_random.number(3, m_mostHalfHours);
    for (const char *column : {"orig_item_id",
                               "orig_event_id",
                               "organizer_id",
                               "self_attendee_id",
                               "status",
                               "invitation_status",
                               "availability",
                               "privacy_level",
                               "sequence_num",
                               "modified_properties",
                               "external_tracking_status",
                               "hidden",
                               "location_id",
                               "client_location_id",
                               "all_day",
                               "has_recurrences",
                               "has_attachment",
                               "has_attendees",
                               "priority",
                               "due_all_day",
                               "display_order",
                               "created_by_id",
                               "modified_by_id",
                               "invitation_changed_properties",
                               "default_alarm_removed",
                               "phantom_master",
                               "travel_time",
                               "travel_advisory_behavior",
                               "start_location_id",
                               "end_location_id",
                               "suggested_event_info_id",
                               "location_prediction_state",
                               "fired_ttl",
                               "disallow_propose_new_time",
                               "junk_status",
                               "flags"}) {
        item.row[name(column)] = 0;
    }
    item.row[name("birthday_id")] = -1;
    item.row[name("can_forward")] = 1;
    item.row[name("last_modified")] = double(m_seconds) - 86400.25;
    item.row[name("creation_date")] = double(m_seconds) - 90000.5;
    item.row[name("UUID")] = m_random.guid();
    item.row[name("description")] = notes();
    // Invitations of other services bring identifiers of their own.
    item.row[name("unique_identifier")] =
        m_random.chance(94) ? m_random.guid() : m_random.digits(26) + QLatin1String("@example.com");
    if (hasReminders(m_layout) && m_random.chance(30)) {
        addReminder(&item.row);
    } else {
        addEvent(&item.row);
        addShared(&item.row);
        addPlace(&item);
    }
    return item;
}

QVariant Generator::notes()
{
    const int kind = m_random.number(0, 100);
    if (kind < 60) {
        return QVariant();
    }
    QString text = plainSentence(&m_random);
    while (kind > 96 && text.size() < 4500) { // an invitation with everything in it
        text += QLatin1Char('\n') + plainSentence(&m_random);
    }
    return text;
}

void Generator::addEvent(Row *row)
{
    const bool isWholeDay = m_random.chance(15);
    const QString zone = isWholeDay ? name("_float") : m_random.pick(zones);
    (*row)[name("summary")] = filled(m_random.pick(eventTitles));
    (*row)[name("calendar_id")] = m_random.number(1, FirstReminderList);
    (*row)[name("start_date")] = m_seconds;
    (*row)[name("start_tz")] = zone;
    (*row)[name("end_date")] = m_seconds + (isWholeDay ? 86399 : 900 * m_random.number(1, 9));
    (*row)[name("end_tz")] = m_random.chance(50) ? QVariant(zone) : QVariant();
    (*row)[name("all_day")] = int(isWholeDay);
    (*row)[name("entity_type")] = 2;
    (*row)[name("has_recurrences")] = int(m_random.chance(15));
    (*row)[name("has_attendees")] = int(m_random.chance(15));
    if (m_random.chance(8)) {
        (*row)[name("url")] = QLatin1String("https://www.example.org/e/") + m_random.digits(12);
    }
}

void Generator::addReminder(Row *row)
{
    static const int priorities[] = {0, 0, 0, 1, 5, 9};
    (*row)[name("summary")] = filled(m_random.pick(reminderTitles));
    (*row)[name("calendar_id")] = m_random.number(FirstReminderList, ListCount + 1);
    (*row)[name("entity_type")] = 3;
    (*row)[name("priority")] = priorities[m_random.number(0, 6)];
    if (m_random.chance(50)) {
        (*row)[name("start_date")] = m_seconds;
        (*row)[name("start_tz")] = m_random.pick(zones);
        (*row)[name("due_date")] = m_seconds;
        (*row)[name("due_tz")] = (*row)[name("start_tz")];
    }
    if (m_random.chance(40)) {
        (*row)[name("completion_date")] = m_seconds + 3600 * m_random.number(1, 200);
    }
}

/// What servers and other programs add.
void Generator::addShared(Row *row)
{
    if (m_random.chance(40)) {
        (*row)[name("external_id")] = m_random.guid() + QLatin1String(".ics");
        (*row)[name("external_mod_tag")] =
            QLatin1String("\"C=") + m_random.digits(4) + QLatin1String("@U=mail\"");
        (*row)[name("external_rep")] =
            QByteArray("BEGIN:VCALENDAR\n") + QByteArray(m_random.number(40, 300), 'i');
    }
    if (m_random.chance(20)) {
        (*row)[name("structured_data")] =
            QByteArray("bplist00") + QByteArray(m_random.number(60, 200), '\x5f');
        (*row)[name("local_structured_data")] = QByteArray("bplist00") + QByteArray(60, '\x11');
    }
    if (m_random.chance(15)) {
        (*row)[name("conference_url")] =
            QLatin1String("https://meet.example.org/j/") + m_random.digits(40);
    }
    if (m_random.chance(5)) {
        (*row)[name("app_link")] = QByteArray(20, '\x01');
    }
}

void Generator::addPlace(Item *item)
{
    if (!m_random.chance(40)) {
        return;
    }
    item->place = filled(m_random.pick(places));
    if (m_layout == CalendarLayout::Ios5) {
        item->row[name("location")] = item->place;
        return;
    }
    Row &row = item->placeRow;
    row = {{name("title"), item->place},
           {name("radius"), 0},
           {name("alarm_owner_id"), 0},
           {name("item_owner_id"), item->rowid}};
    for (const char *column : {"start_loc_owner_id", "end_loc_owner_id", "client_loc_owner_id"}) {
        row[name(column)] = 0;
    }
    if (m_random.chance(40)) {
        row[name("latitude")] = 52.0 + m_random.number(1, 999) / 1000.0;
        row[name("longitude")] = 13.0 + m_random.number(1, 999) / 1000.0;
        row[name("address")] = item->place + QLatin1String(", 2nd floor");
        row[name("mapkit_handle")] = QByteArray(m_random.number(60, 160), '\x12');
        row[name("radius")] = m_random.number(20, 200);
    }
}

Row Generator::changes(const Item &item)
{
    Row row;
    if (m_random.chance(50)) {
        row[name("summary")] = filled(m_random.pick(eventTitles)) + QLatin1String(" (new)");
    } else {
        row[name("description")] = plainSentence(&m_random);
    }
    if (item.row.contains(name("start_date")) && m_random.chance(50)) {
        const qint64 later = 7200 * m_random.number(1, 20);
        for (const char *column : {"start_date", "end_date"}) {
            if (item.row.contains(name(column))) {
                row[name(column)] = item.row[name(column)].toLongLong() + later;
            }
        }
    }
    return row;
}

/// Lives one plan through in the database, keeping the truth up to date.
class PlanRunner
{
public:
    PlanRunner(SampleDatabase *db, const CalendarPlan &plan)
        : m_db(db)
        , m_plan(plan)
        , m_items(plan)
        , m_itemColumns(columnNames(itemColumnList(plan.layout)))
        , m_placeColumns(columnNames(locationColumnList(plan.layout)))
    {
    }

    bool run();
    void fill(CalendarSample *sample) const;

private:
    bool live();
    bool makeLists();
    bool insert(int count);
    bool insertRow(const QString &table, const QStringList &columns, const Row &row);
    bool removeAt(int index);
    bool removeRange(int first, int count);
    bool removeScattered(int percent);
    bool removeAll();
    bool edit(int percent);
    SampleCalendarRow truthOf(const Item &item, bool isPlaceLive) const;
    SampleCalendarRow truthOfPlace(const Item &item) const;

    SampleDatabase *m_db;
    CalendarPlan m_plan;
    Generator m_items;
    QStringList m_itemColumns;
    QStringList m_placeColumns;
    QVector<Item> m_live;
    QVector<Item> m_deleted;
    struct Former
    {
        Item item;
        int owner;
    };
    QVector<Former> m_former;
    qint64 m_nextRowid = 1;
    qint64 m_nextPlace = 1;
};

bool PlanRunner::run()
{
    return m_db->exec(calendarTables(m_plan.layout)) && makeLists() && insert(m_plan.items)
           && live();
}

bool PlanRunner::live()
{
    switch (m_plan.deletion) {
    case CalendarDeletion::Scattered:
        return removeScattered(30);
    case CalendarDeletion::Contiguous:
        return removeRange(m_live.size() / 3, m_live.size() / 3);
    case CalendarDeletion::WholeTable:
        return removeAll();
    case CalendarDeletion::ThenInserts:
        return removeScattered(30) && insert(m_plan.items / 12);
    case CalendarDeletion::Edited:
        return edit(25) && removeScattered(20);
    }
    return false;
}

bool PlanRunner::makeLists()
{
    bool ok = m_db->run(QStringLiteral("INSERT INTO Store (name, type) VALUES ('Default', 0)"));
    for (const SampleList &list : lists) {
        const QVariant types = list.entityTypes == 0 ? QVariant() : QVariant(list.entityTypes);
        ok = ok
             && m_db->run(QStringLiteral("INSERT INTO Calendar (store_id, title, "
                                         "supported_entity_types, UUID) VALUES (1,?,?,?)"),
                          {QLatin1String(list.title), types, m_items.random().guid()});
    }
    return ok;
}

bool PlanRunner::insertRow(const QString &table, const QStringList &columns, const Row &row)
{
    QVariantList values;
    QStringList marks;
    for (const QString &column : columns) {
        values.append(row.value(column));
        marks.append(QStringLiteral("?"));
    }
    return m_db->run(QStringLiteral("INSERT INTO %1 (%2) VALUES (%3)")
                         .arg(table, columns.join(QLatin1Char(',')), marks.join(QLatin1Char(','))),
                     values);
}

bool PlanRunner::insert(int count)
{
    bool ok = true;
    for (int i = 0; i < count && ok; ++i) {
        Item item = m_items.next(m_nextRowid++);
        ok = m_db->exec(QStringLiteral("BEGIN"));
        if (!item.placeRow.isEmpty()) {
            item.row[name("location_id")] = m_nextPlace++;
            ok = ok && insertRow(QStringLiteral("Location"), m_placeColumns, item.placeRow);
        }
        ok = ok && insertRow(itemTable(m_plan.layout), m_itemColumns, item.row)
             && m_db->lastRowid() == item.rowid;
        if (m_items.random().chance(40)) {
            ok = ok
                 && m_db->run(QStringLiteral("INSERT INTO Alarm (trigger_interval, type, owner_id, "
                                             "UUID, disabled) VALUES (-900, 0, ?, ?, 0)"),
                              {item.rowid, m_items.random().guid()});
        }
        ok = ok && m_db->exec(QStringLiteral("COMMIT"));
        m_live.append(item);
    }
    return ok;
}

/// Deletes the item and what belongs to it, and notes that for the next synchronisation.
bool PlanRunner::removeAt(int index)
{
    const Item item = m_live.takeAt(index);
    m_deleted.append(item);
    const QString table = itemTable(m_plan.layout);
    return m_db->exec(QStringLiteral("BEGIN"))
           && m_db->run(QStringLiteral("DELETE FROM %1 WHERE ROWID=?").arg(table), {item.rowid})
           && m_db->run(QStringLiteral("DELETE FROM Alarm WHERE owner_id=?"), {item.rowid})
           && (item.placeRow.isEmpty()
               || m_db->run(QStringLiteral("DELETE FROM Location WHERE item_owner_id=?"),
                            {item.rowid}))
           && m_db->run(QStringLiteral("INSERT INTO CalendarItemChanges (record, type, "
                                       "calendar_id, unique_identifier, UUID, entity_type, "
                                       "store_id) VALUES (?,2,?,?,?,?,1)"),
                        {item.rowid, item.row[name("calendar_id")],
                         item.row[name("unique_identifier")], item.row[name("UUID")],
                         item.row.value(name("entity_type"))})
           && m_db->exec(QStringLiteral("COMMIT"));
}

bool PlanRunner::removeRange(int first, int count)
{
    bool ok = true;
    for (; count > 0 && ok; --count) {
        ok = removeAt(first);
    }
    return ok;
}

bool PlanRunner::removeScattered(int percent)
{
    bool ok = true;
    for (int left = m_live.size() * percent / 100; left > 0 && ok; --left) {
        ok = removeAt(m_items.random().number(0, m_live.size()));
    }
    return ok;
}

bool PlanRunner::removeAll()
{
    m_deleted += m_live;
    m_live.clear();
    const QString table = itemTable(m_plan.layout);
    return m_db->exec(QStringLiteral("DELETE FROM %1; DELETE FROM Alarm;").arg(table))
           && (m_plan.layout == CalendarLayout::Ios5
               || m_db->exec(QStringLiteral("DELETE FROM Location")));
}

bool PlanRunner::edit(int percent)
{
    for (Item &item : m_live) {
        if (!m_items.random().chance(percent)) {
            continue;
        }
        const Row changes = m_items.changes(item);
        m_former.append({item, int(item.rowid)});
        QStringList assignments;
        QVariantList values;
        for (auto change = changes.cbegin(); change != changes.cend(); ++change) {
            assignments.append(change.key() + QLatin1String("=?"));
            values.append(change.value());
            item.row[change.key()] = change.value();
        }
        const QString update =
            QStringLiteral("UPDATE %1 SET %2 WHERE ROWID=?")
                .arg(itemTable(m_plan.layout), assignments.join(QLatin1Char(',')));
        if (!m_db->run(update, values << item.rowid)) {
            return false;
        }
    }
    return true;
}

EncodedRow encode(const QStringList &columns, const Row &row)
{
    QVariantList values;
    for (const QString &column : columns) {
        values.append(row.value(column));
    }
    return encodeValues(values, QByteArrayLiteral("UTF-8"));
}

SampleCalendarRow PlanRunner::truthOf(const Item &item, bool isPlaceLive) const
{
    const auto text = [&item](const char *column) { return item.row[name(column)].toString(); };
    const auto number = [&item](const char *column) { return item.row[name(column)].toInt(); };
    const bool isInRow = m_plan.layout == CalendarLayout::Ios5;
    const QString place = isInRow || isPlaceLive ? item.place : QString();
    const EncodedRow encoded = encode(m_itemColumns, item.row);
    SampleCalendarRow row;
    row.types = encoded.types;
    row.body = encoded.body;
    row.isRefused = isInRow && text("unique_identifier").size() != 36;
    if (number("entity_type") == 3) {
        row.kind = SampleCalendarRow::Reminder;
        const QString list = QLatin1String(lists[number("calendar_id") - 1].title);
        const bool isDefault = list == QLatin1String("DEFAULT_TASK_CALENDAR_NAME");
        row.reminder = {text("summary"),
                        place,
                        isDefault ? QStringLiteral("Reminders") : list,
                        text("description"),
                        double(number("start_date")),
                        double(number("completion_date")),
                        number("priority")};
    } else {
        row.event = {text("summary"),
                     place,
                     text("description"),
                     double(number("start_date")),
                     double(number("end_date")),
                     number("all_day")};
    }
    return row;
}

SampleCalendarRow PlanRunner::truthOfPlace(const Item &item) const
{
    const EncodedRow encoded = encode(m_placeColumns, item.placeRow);
    SampleCalendarRow row;
    row.kind = SampleCalendarRow::Location;
    row.event.location = item.place;
    row.types = encoded.types;
    row.body = encoded.body;
    return row;
}

void PlanRunner::fill(CalendarSample *sample) const
{
    *sample = CalendarSample();
    sample->layout = m_plan.layout;
    QVector<qint64> liveIds;
    for (const Item &item : m_live) {
        liveIds.append(item.rowid);
        sample->live.append(truthOf(item, true));
        if (!item.placeRow.isEmpty()) {
            sample->live.append(truthOfPlace(item));
        }
    }
    for (const Item &item : m_deleted) {
        sample->deleted.append(truthOf(item, false));
        if (!item.placeRow.isEmpty()) {
            sample->deleted.append(truthOfPlace(item));
        }
    }
    for (const Former &former : m_former) {
        sample->former.append(truthOf(former.item, liveIds.contains(former.owner)));
    }
}

} // namespace

QVector<CalendarDeletion> allCalendarDeletions()
{
    return {CalendarDeletion::Scattered, CalendarDeletion::Contiguous, CalendarDeletion::WholeTable,
            CalendarDeletion::ThenInserts, CalendarDeletion::Edited};
}

QString deletionName(CalendarDeletion deletion)
{
    static const char *const names[] = {"scattered", "contiguous", "whole table", "then inserts",
                                        "edited"};
    return QString::fromLatin1(names[int(deletion)]);
}

bool makeCalendarSample(SampleDatabase *db, const CalendarPlan &plan, CalendarSample *sample)
{
    PlanRunner runner(db, plan);
    const bool ok = runner.run();
    runner.fill(sample);
    return ok;
}
