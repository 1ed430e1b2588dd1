#include "samples/calendarlayout.h"

#include "samples/sampledatabase.h"

namespace {

using Layout = CalendarLayout;

const char rowid[] = "ROWID INTEGER PRIMARY KEY AUTOINCREMENT, ";

const char sharedTables[] =
    "CREATE TABLE _SqliteDatabaseProperties (key TEXT, value TEXT, UNIQUE(key));"
    "CREATE TABLE Store (ROWID INTEGER PRIMARY KEY AUTOINCREMENT, name TEXT, default_alarm_offset "
    "INTEGER, type INTEGER, constraint_path TEXT, disabled INTEGER, external_id TEXT, "
    "persistent_id TEXT, flags INTEGER);"
    "CREATE TABLE Alarm (ROWID INTEGER PRIMARY KEY AUTOINCREMENT, trigger_date REAL, "
    "trigger_interval INTEGER, type INTEGER, owner_id INTEGER, external_id TEXT, external_mod_tag "
    "TEXT, external_id_tag TEXT, external_rep BLOB, UUID TEXT, proximity INTEGER, disabled "
    "INTEGER, location_id INTEGER, acknowledgedDate REAL, default_alarm INTEGER, orig_alarm_id "
    "INTEGER);"
    "CREATE INDEX AlarmUUID on Alarm(UUID);"
    "CREATE INDEX AlarmOwnerId on Alarm(owner_id);"
    "CREATE TABLE CalendarItemChanges (record INTEGER, type INTEGER, calendar_id INTEGER, "
    "external_id TEXT, unique_identifier TEXT, UUID TEXT, entity_type INTEGER, store_id INTEGER, "
    "has_dirty_instance_attributes INTEGER, old_calendar_id INTEGER, old_external_id TEXT);";

QString calendarColumns(Layout layout)
{
    const bool since7 = layout >= Layout::Ios7;
    return QStringLiteral("store_id INTEGER, title TEXT, flags INTEGER, color TEXT, %1"
                          "color_is_display INTEGER, type TEXT, supported_entity_types INTEGER, "
                          "external_id TEXT, external_mod_tag TEXT, external_id_tag TEXT, "
                          "external_rep BLOB, display_order INTEGER, UUID TEXT, shared_owner_name "
                          "TEXT, shared_owner_email TEXT, sharing_status INTEGER, "
                          "sharing_invitation_response INTEGER, published_URL TEXT, is_published "
                          "INTEGER, invitation_status INTEGER, sync_token TEXT, self_identity_id "
                          "INTEGER, self_identity_email TEXT, owner_identity_id INTEGER, "
                          "owner_identity_email TEXT%2")
        .arg(QLatin1String(since7 ? "symbolic_color_name TEXT, " : ""),
             QLatin1String(since7 ? ", notes TEXT, bulk_requests BLOB, subcal_account_id TEXT, "
                                    "push_key TEXT, digest BLOB"
                                  : ""));
}

/// Columns that came with the layout `since`.
QString columnsSince(Layout since, Layout layout, const char *columns)
{
    return QLatin1String(layout >= since ? columns : "");
}

QString eventColumns()
{
    return QStringLiteral(
        "summary TEXT, location TEXT, description TEXT, start_date REAL, start_tz TEXT, end_date "
        "REAL, all_day INTEGER, calendar_id INTEGER, orig_event_id INTEGER, orig_start_date REAL, "
        "organizer_id INTEGER, self_attendee_id INTEGER, status INTEGER, invitation_status "
        "INTEGER, availability INTEGER, privacy_level INTEGER, url TEXT, last_modified REAL, "
        "sequence_num INTEGER, birthday_id INTEGER, modified_properties INTEGER, "
        "external_tracking_status INTEGER, external_id TEXT, external_mod_tag TEXT, "
        "unique_identifier TEXT, external_schedule_id TEXT, external_rep BLOB, response_comment "
        "TEXT, hidden INTEGER");
}

/// From the calendar on, up to the identifier that is the anchor of the search.
QString middleColumns(Layout layout)
{
    return QLatin1String(
               ", calendar_id INTEGER, orig_item_id INTEGER, orig_date REAL, organizer_id INTEGER, "
               "self_attendee_id INTEGER, status INTEGER, invitation_status INTEGER, availability "
               "INTEGER, privacy_level INTEGER, url TEXT, last_modified REAL, sequence_num "
               "INTEGER, birthday_id INTEGER, modified_properties INTEGER, "
               "external_tracking_status INTEGER, external_id TEXT, external_mod_tag TEXT, "
               "unique_identifier TEXT, external_schedule_id TEXT, external_rep BLOB, "
               "response_comment TEXT")
           + columnsSince(Layout::Ios9, layout, ", last_synced_response_comment TEXT")
           + QLatin1String(", hidden INTEGER, has_recurrences INTEGER")
           + columnsSince(Layout::Ios26, layout, ", has_attachment INTEGER")
           + QLatin1String(", has_attendees INTEGER, UUID TEXT");
}

QString lastColumns(Layout layout)
{
    return QLatin1String(", entity_type INTEGER, priority INTEGER, due_date REAL, due_tz TEXT, "
                         "due_all_day INTEGER, completion_date REAL, creation_date REAL")
           + QLatin1String(layout >= Layout::Ios11 ? ", action TEXT" : ", conference TEXT")
           + columnsSince(Layout::Ios9, layout, ", app_link BLOB")
           + QLatin1String(", display_order INTEGER, created_by_id INTEGER, modified_by_id "
                           "INTEGER, shared_item_created_date REAL, shared_item_created_tz TEXT, "
                           "shared_item_modified_date REAL, shared_item_modified_tz TEXT, "
                           "invitation_changed_properties INTEGER, default_alarm_removed INTEGER, "
                           "phantom_master INTEGER")
           + columnsSince(Layout::Ios7, layout, ", participation_status_modified_date REAL")
           + columnsSince(Layout::Ios9, layout,
                          ", calendar_scale TEXT, travel_time INTEGER, travel_advisory_behavior "
                          "INTEGER, start_location_id INTEGER")
           + columnsSince(Layout::Ios14, layout, ", end_location_id INTEGER")
           + columnsSince(Layout::Ios9, layout,
                          ", suggested_event_info_id INTEGER, first_alert_date REAL")
           + columnsSince(Layout::Ios10, layout,
                          ", proposed_start_date REAL, can_forward INTEGER, "
                          "location_prediction_state INTEGER, fired_ttl INTEGER, "
                          "disallow_propose_new_time INTEGER")
           + columnsSince(Layout::Ios11, layout,
                          ", structured_data BLOB, local_structured_data BLOB")
           + columnsSince(Layout::Ios10, layout, ", junk_status INTEGER")
           + columnsSince(Layout::Ios11, layout, ", conference_url TEXT")
           + columnsSince(Layout::Ios14, layout,
                          ", contact_identifier TEXT, recurrence_set TEXT, flags INTEGER, "
                          "contact_name TEXT")
           + columnsSince(Layout::Ios26, layout,
                          ", error_id INTEGER, image_id INTEGER, color_id INTEGER, "
                          "conference_url_detected TEXT, creator_identity TEXT, "
                          "creator_team_identity TEXT, special_day TEXT");
}

QString createTable(const QString &name, const QString &columns)
{
    return QStringLiteral("CREATE TABLE %1 (%2);").arg(name, columns);
}

QString itemIndexes(Layout layout)
{
    if (layout == Layout::Ios26) {
        return QStringLiteral("CREATE INDEX EventUUID on CalendarItem(UUID);"
                              "CREATE INDEX EventHiddenEndDateStartDate on CalendarItem(hidden, "
                              "end_date, start_date);");
    }
    const QString shared = QStringLiteral(
        "CREATE INDEX EventStatus on %1(status);"
        "CREATE INDEX EventHiddenEndDateStartDate on %1(hidden, end_date, start_date);"
        "CREATE INDEX EventExternalIdCalId on %1(external_id, calendar_id);"
        "CREATE INDEX EventExternalUniqueIdentifierCalId on %1(unique_identifier, calendar_id);");
    const QString ofItems = QStringLiteral(
        "CREATE INDEX EventUUID on %1(UUID);"
        "CREATE INDEX CalendarItemDueDate on %1(due_date);"
        "CREATE INDEX CalendarItemEntityTypeCompletionDate on %1(entity_type, completion_date);"
        "CREATE INDEX CalendarItemEntityTypeCalendarIdCompletionDateCreationDate on "
        "%1(entity_type, calendar_id, completion_date, creation_date);"
        "CREATE INDEX EventInvitationStatus on %1(invitation_status);"
        "CREATE INDEX CalendarItemOriginalItemId on %1(orig_item_id);"
        "CREATE INDEX CalendarItemOriginalDate on %1(orig_date);");
    return (shared + (layout == Layout::Ios5 ? QString() : ofItems)).arg(itemTable(layout));
}

} // namespace

QVector<CalendarLayout> allCalendarLayouts()
{
    return {Layout::Ios5,  Layout::Ios6,  Layout::Ios7,  Layout::Ios9,
            Layout::Ios10, Layout::Ios11, Layout::Ios14, Layout::Ios26};
}

QString layoutName(CalendarLayout layout)
{
    static const int versions[] = {5, 6, 7, 9, 10, 11, 14, 26};
    return QStringLiteral("iOS %1").arg(versions[int(layout)]);
}

bool hasReminders(CalendarLayout layout)
{
    return layout >= Layout::Ios6 && layout <= Layout::Ios11;
}

SampleOptions deviceOptions(CalendarLayout layout)
{
    SampleOptions options;
    options.autoVacuum = layout == Layout::Ios5 ? 0 : 2;
    return options;
}

QString itemTable(CalendarLayout layout)
{
    return QLatin1String(layout == Layout::Ios5 ? "Event" : "CalendarItem");
}

QString itemColumnList(CalendarLayout layout)
{
    if (layout == Layout::Ios5) {
        return QLatin1String(rowid) + eventColumns();
    }
    return QLatin1String(rowid) + QLatin1String("summary TEXT, location_id INTEGER")
           + columnsSince(Layout::Ios9, layout, ", client_location_id INTEGER")
           + QLatin1String(", description TEXT, start_date REAL, start_tz TEXT, end_date REAL")
           + columnsSince(Layout::Ios9, layout, ", end_tz TEXT")
           + QLatin1String(", all_day INTEGER") + middleColumns(layout) + lastColumns(layout);
}

QString locationColumnList(CalendarLayout layout)
{
    return QLatin1String(rowid) + QLatin1String("title TEXT")
           + columnsSince(Layout::Ios7, layout, ", address TEXT")
           + QLatin1String(", latitude INTEGER, longitude INTEGER")
           + columnsSince(Layout::Ios9, layout, ", reference_frame INTEGER")
           + QLatin1String(", address_book_id TEXT")
           + columnsSince(Layout::Ios9, layout, ", mapkit_handle BLOB")
           + QLatin1String(", radius INTEGER")
           + columnsSince(Layout::Ios9, layout, ", routing TEXT")
           + columnsSince(Layout::Ios10, layout, ", derived_from TEXT")
           + QLatin1String(", item_owner_id INTEGER, alarm_owner_id INTEGER")
           + columnsSince(Layout::Ios26, layout,
                          ", start_loc_owner_id INTEGER, end_loc_owner_id INTEGER, "
                          "client_loc_owner_id INTEGER");
}

QStringList columnNames(const QString &columnList)
{
    QStringList names;
    const QStringList columns = columnList.split(QStringLiteral(", "));
    for (const QString &column : columns) {
        names.append(column.section(QLatin1Char(' '), 0, 0));
    }
    return names.mid(1);
}

QString calendarTables(CalendarLayout layout)
{
    const bool hasLocations = layout != Layout::Ios5;
    return QLatin1String(sharedTables)
           + createTable(QStringLiteral("Calendar"), QLatin1String(rowid) + calendarColumns(layout))
           + createTable(itemTable(layout), itemColumnList(layout)) + itemIndexes(layout)
           + (hasLocations ? createTable(QStringLiteral("Location"), locationColumnList(layout))
                                 + QLatin1String("CREATE INDEX LocationOwnerItemId on "
                                                 "Location(item_owner_id);")
                           : QString());
}
