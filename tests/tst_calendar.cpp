#include "samples/calendarscan.h"
#include "samples/sampledatabase.h"
#include "tests/support/jsonrow.h"
#include "tests/support/samplechecks.h"
#include "tests/support/testfiles.h"

#include <QTemporaryDir>
#include <QtTest>

namespace {

QStringList titlesOf(const FoundCalendars &found)
{
    QStringList titles;
    for (const CalendarRecord &event : found.events) {
        titles.append(event.title.isEmpty() ? QLatin1Char('@') + event.location : event.title);
    }
    for (const ReminderRecord &reminder : found.reminders) {
        titles.append(QLatin1Char('!') + reminder.title);
    }
    return titles;
}

const QString DeleteAll = QStringLiteral("DELETE FROM CalendarItem; DELETE FROM Location;");

} // namespace

/// Events and reminders as SQLite itself deletes them, in every layout, through the public
/// interface.
class TestCalendar : public QObject
{
    Q_OBJECT
private Q_SLOTS:
    void everyLayoutAndDeletion_data()
    {
        addSampleRows(allCalendarLayouts(), allCalendarDeletions());
    }
    void everyLayoutAndDeletion();
    void wholeTableComesBack_data()
    {
        addSampleRows(allCalendarLayouts(), QVector{CalendarDeletion::WholeTable},
                      {1024, 4096, 16384});
    }
    void wholeTableComesBack();
    void rowsFromBeforeTheTableWasWidened_data();
    void rowsFromBeforeTheTableWasWidened();
    void longTypesBehindTheAnchor_data();
    void longTypesBehindTheAnchor();
    void longTitleOfAnOldEvent();
    void signsInTextsAreKept_data();
    void signsInTextsAreKept();
    void locationsWithoutAnOwnerThereWas();
    void locationsOnOtherPages();
    void overflowPages_data();
    void overflowPages();
    void missingTables_data();
    void missingTables();

private:
    QString path() const { return m_dir.filePath(QStringLiteral("Calendar.sqlitedb")); }
    bool makeSample(const CalendarPlan &plan, const SampleOptions &options, CalendarSample *sample)
    {
        return makeSampleFile(path(), options, makeCalendarSample, plan, sample);
    }
    /// Makes the tables of the layout with two calendars and a list of reminders.
    bool makeTables(SampleDatabase *db, CalendarLayout layout)
    {
        return db->create(path(), deviceOptions(layout)) && db->exec(calendarTables(layout))
               && db->exec(QStringLiteral("INSERT INTO Calendar (title, supported_entity_types) "
                                          "VALUES ('Home', 4), ('Work', NULL), "
                                          "('DEFAULT_TASK_CALENDAR_NAME', 8);"));
    }
    /// `more` are columns and values beside those that every event has.
    bool insertEvent(SampleDatabase *db, const QString &title, const QVariantMap &more = {})
    {
        QVariantMap row = rowFromJson(R"({"location_id": 0, "start_date": 400000000,
            "end_date": 400003600, "all_day": 0, "calendar_id": 2, "hidden": 0, "priority": 0,
            "has_recurrences": 0, "has_attendees": 0, "entity_type": 2,
            "UUID": "0B6C7F0E-1D9C-4B52-8D55-3C6B7A9D1E2F"})");
        row[QStringLiteral("summary")] = title;
        for (auto field = more.cbegin(); field != more.cend(); ++field) {
            row[field.key()] = field.value();
        }
        return db->run(QStringLiteral("INSERT INTO CalendarItem (%1) VALUES (?%2)")
                           .arg(QStringList(row.keys()).join(QLatin1Char(',')),
                                QStringLiteral(",?").repeated(row.size() - 1)),
                       row.values());
    }
    FoundCalendars scan() const { return scanCalendars(path()); }
    CalendarResult compare(const CalendarSample &sample) const
    {
        return compareCalendars(sample, readFile(path()), scan());
    }
    QTemporaryDir m_dir;
};

void TestCalendar::everyLayoutAndDeletion()
{
    QFETCH(int, layout);
    QFETCH(int, deletion);
    const CalendarPlan plan{CalendarLayout(layout), CalendarDeletion(deletion), 200, 11};
    CalendarSample sample;
    QVERIFY(makeSample(plan, deviceOptions(plan.layout), &sample));
    const CalendarResult result = compare(sample);
    for (const CalendarTally &tally : {result.items, result.locations}) {
        QVERIFY2(tally.invented == 0, detailsOf(result).constData());
        QVERIFY2(tally.mixed <= 1, detailsOf(result).constData());
        // A freeblock of 128 to 255 bytes with a successor hides its row where the first type
        // follows it directly.
        QVERIFY2(tally.missedWhole <= 3, detailsOf(result).constData());
        const int fitting = tally.deleted - tally.refused;
        // Pages that became free are soon used again.
        const int part = plan.deletion == CalendarDeletion::Contiguous ? 2 : 7;
        QVERIFY2(tally.recovered * 10 >= fitting * part, detailsOf(result).constData());
    }
    QVERIFY2(result.items.incomplete <= plan.items / 20, detailsOf(result).constData());
    QVERIFY2(result.items.liveCopies <= plan.items / 4, detailsOf(result).constData());
}

void TestCalendar::wholeTableComesBack()
{
    QFETCH(int, layout);
    QFETCH(int, pageSize);
    const CalendarPlan plan{CalendarLayout(layout), CalendarDeletion::WholeTable, 150, 3};
    CalendarSample sample;
    SampleOptions options;
    options.pageSize = pageSize;
    QVERIFY(makeSample(plan, options, &sample));
    const CalendarResult result = compare(sample);
    const CalendarTally &items = result.items;
    QVERIFY2(items.missedWhole + items.overwritten <= 1, detailsOf(result).constData());
    QVERIFY2(items.recovered >= (items.deleted - items.refused) * 97 / 100,
             detailsOf(result).constData());
    QVERIFY2(items.liveCopies + items.mixed + items.invented <= 1, detailsOf(result).constData());
}

void TestCalendar::rowsFromBeforeTheTableWasWidened_data()
{
    QTest::addColumn<QString>("columns");
    QTest::addColumn<bool>("wholeTable");
    for (const bool wholeTable : {true, false}) {
        const char *how = wholeTable ? "whole table" : "scattered";
        QTest::addRow("numbers, %s", how) << QStringLiteral("a REAL,b INTEGER") << wholeTable;
        QTest::addRow("many, %s", how)
            << QStringLiteral("a TEXT,b INTEGER,c INTEGER,d BLOB,e REAL,f INTEGER") << wholeTable;
    }
}

void TestCalendar::rowsFromBeforeTheTableWasWidened()
{
    QFETCH(QString, columns);
    QFETCH(bool, wholeTable);
    const CalendarPlan plan{CalendarLayout::Ios9,
                            wholeTable ? CalendarDeletion::WholeTable : CalendarDeletion::Scattered,
                            150, 9};
    CalendarSample sample;
    QVERIFY(makeSample(plan, deviceOptions(plan.layout), &sample));
    const int before = compare(sample).items.recovered;
    SampleDatabase db;
    QVERIFY(db.open(path()));
    const QStringList definitions = columns.split(QLatin1Char(','));
    for (const QString &definition : definitions) {
        QVERIFY(db.exec(QStringLiteral("ALTER TABLE CalendarItem ADD COLUMN ") + definition));
    }
    QVERIFY(db.close());
    const CalendarResult result = compare(sample);
    QVERIFY2(result.items.recovered >= before * 97 / 100, detailsOf(result).constData());
    QVERIFY2(result.items.invented == 0, detailsOf(result).constData());
}

void TestCalendar::longTypesBehindTheAnchor_data()
{
    QTest::addColumn<QVariantMap>("more");
    const QString url = QStringLiteral("https://meet.example.org/") + QString(60, QLatin1Char('7'));
    const QVariant data = QByteArray(100, 'd');
    const auto row = [](const char *name, const QVariantMap &more) { QTest::newRow(name) << more; };
    row("none", {});
    row("bytes", {{QStringLiteral("structured_data"), data}});
    row("bytes twice", {{QStringLiteral("structured_data"), data},
                        {QStringLiteral("local_structured_data"), data}});
    row("a short text and bytes", {{QStringLiteral("action"), QStringLiteral("remind me")},
                                   {QStringLiteral("app_link"), QByteArray(20, 'a')}});
    row("the last column", {{QStringLiteral("conference_url"), url}});
}

void TestCalendar::longTypesBehindTheAnchor()
{
    QFETCH(QVariantMap, more);
    SampleDatabase db;
    QVERIFY(makeTables(&db, CalendarLayout::Ios11));
    QVERIFY(insertEvent(&db, QStringLiteral("Dentist"), more));
    QVERIFY(insertEvent(&db, QStringLiteral("Alone behind the other one"), more));
    QVERIFY(insertEvent(&db, QStringLiteral("Stays")));
    QVERIFY(db.exec(QStringLiteral("DELETE FROM CalendarItem WHERE summary <> 'Stays'")));
    QVERIFY(db.close());
    const FoundCalendars found = scan();
    QStringList titles = titlesOf(found);
    titles.sort();
    QCOMPARE(titles, (QStringList{QStringLiteral("Alone behind the other one"),
                                  QStringLiteral("Dentist")}));
    QCOMPARE(found.events.at(0).startDate, 400000000.0);
    QCOMPARE(found.events.at(1).endDate, 400003600.0);
}

void TestCalendar::longTitleOfAnOldEvent()
{
    const QString title = QString(70, QLatin1Char('T'));
    SampleDatabase db;
    QVERIFY(makeTables(&db, CalendarLayout::Ios5));
    // The size of the freed cell has a low byte of 128 or more, whatever its notes are.
    for (int size = 1; size < 200; size += 9) {
        const QString notes = QString::number(size) + QString(size, QLatin1Char('n'));
        QVERIFY(db.run(QStringLiteral("INSERT INTO Event (ROWID, summary, description, start_date, "
                                      "end_date, all_day, calendar_id, unique_identifier) VALUES "
                                      "(?,?,?,?,?,0,1,'0B6C7F0E-1D9C-4B52-8D55-3C6B7A9D1E2F')"),
                       {size + 200, title, notes, 300000000, 300003600}));
        QVERIFY(db.run(QStringLiteral("INSERT INTO Event (summary, description) VALUES (?,?)"),
                       {QStringLiteral("between"), QString(300, QLatin1Char('b'))}));
    }
    QVERIFY(db.exec(QStringLiteral("DELETE FROM Event WHERE start_date = 300000000")));
    QVERIFY(db.close());
    const QStringList titles = titlesOf(scan());
    QVERIFY(titles.size() >= 12); // what the splitting of pages left
    QCOMPARE(titles.count(title), titles.size());
}

void TestCalendar::signsInTextsAreKept_data()
{
    QTest::addColumn<bool>("isOld");
    QTest::newRow("older table") << true;
    QTest::newRow("newer table") << false;
}

/// Texts from elsewhere hold control characters, and signs of characters that were lost there. In a
/// row that nothing covers they are no damage.
void TestCalendar::signsInTextsAreKept()
{
    QFETCH(bool, isOld);
    const QString title = QStringLiteral("Ring\x07 Karin");
    const QString notes = QStringLiteral("Caf\uFFFD\x1b, at four");
    const QString identifier = QStringLiteral("0B6C7F0E-1D9C-4B52-8D55-3C6B7A9D1E2F");
    SampleDatabase db;
    if (isOld) {
        QVERIFY(makeTables(&db, CalendarLayout::Ios5)
                && db.run(QStringLiteral("INSERT INTO Event (summary, description, start_date, "
                                         "end_date, all_day, calendar_id, unique_identifier) "
                                         "VALUES (?,?,300000000,300003600,0,1,?)"),
                          {title, notes, identifier})
                && db.exec(QStringLiteral("DELETE FROM Event")));
    } else {
        QVERIFY(makeTables(&db, CalendarLayout::Ios11)
                && insertEvent(&db, title,
                               {{QStringLiteral("description"), notes},
                                {QStringLiteral("unique_identifier"), identifier}})
                && db.exec(DeleteAll));
    }
    QVERIFY(db.close());
    const FoundCalendars found = scan();
    QCOMPARE(titlesOf(found), QStringList(title));
    QCOMPARE(found.events.at(0).notes, notes);
}

void TestCalendar::locationsWithoutAnOwnerThereWas()
{
    SampleDatabase db;
    QVERIFY(makeTables(&db, CalendarLayout::Ios7));
    QVERIFY(insertEvent(&db, QStringLiteral("Dentist"), {{QStringLiteral("location_id"), 1}}));
    const auto insert = [&db](const char *title, int owner) {
        return db.run(QStringLiteral("INSERT INTO Location (title, latitude, longitude, radius, "
                                     "item_owner_id, alarm_owner_id) VALUES (?,52.5,13.5,0,?,0)"),
                      {QString::fromLatin1(title), owner});
    };
    QVERIFY(insert("Stays", 1) && insert("Room 4", 1) && insert("Nowhere", 2));
    QVERIFY(insert("\x7f\x7f\x7f", 1) && insert("", 1) && insert("Gate B7", 0));
    QVERIFY(db.exec(QStringLiteral("DELETE FROM Location WHERE ROWID > 1;"
                                   "DELETE FROM CalendarItem"))
            && db.close());
    const FoundCalendars found = scan();
    QStringList titles = titlesOf(found);
    titles.sort();
    QCOMPARE(titles, (QStringList{QStringLiteral("@Gate B7"), QStringLiteral("@Room 4"),
                                  QStringLiteral("Dentist")}));
    QCOMPARE(found.events.at(0).location, QStringLiteral("Stays"));
}

/// Places are looked for where their own rows can be, and nowhere else.
void TestCalendar::locationsOnOtherPages()
{
    SampleDatabase db;
    QVERIFY(makeTables(&db, CalendarLayout::Ios7));
    QVERIFY(insertEvent(&db, QStringLiteral("Dentist")));
    QVERIFY(db.exec(QStringLiteral("INSERT INTO Location (title, radius, item_owner_id, "
                                   "alarm_owner_id) VALUES ('Room 4', 0, 1, 0)"))
            && db.close());
    const QByteArray bytes = readFile(path());
    QFile file(path());
    QVERIFY(file.open(QIODevice::WriteOnly));
    file.write(QByteArray(bytes).replace("Dentist", "Doctors")); // the copy is of another event
    file.write(bytes.mid(bytes.indexOf("Room 4") / 4096 * 4096, 4096));
    file.write(bytes.mid(bytes.indexOf("Dentist") / 4096 * 4096, 4096));
    file.close();
    QCOMPARE(titlesOf(scan()), QStringList(QStringLiteral("Dentist")));
}

void TestCalendar::overflowPages_data()
{
    QTest::addColumn<quint32>("next");
    QTest::addColumn<bool>("isWhole");
    QTest::newRow("sound") << 0u << true;
    QTest::newRow("beyond the file") << 999999u << false;
    QTest::newRow("page 1") << 1u << false;
    QTest::newRow("bytes of another row") << 0xfffffffeu << false;
    QTest::newRow("a cycle") << 0xffffffffu << false; // stands for the chain's own first page
}

void TestCalendar::overflowPages()
{
    QFETCH(quint32, next);
    QFETCH(bool, isWhole);
    QString notes;
    while (notes.size() < 9000) {
        notes += QString::number(notes.size()) + QLatin1Char(' ');
    }
    SampleDatabase db;
    QVERIFY(db.create(path()) && db.exec(calendarTables(CalendarLayout::Ios6))
            && db.exec(QStringLiteral("INSERT INTO Calendar (title) VALUES ('a'), ('b')"))
            && insertEvent(&db, QStringLiteral("Dentist"), {{QStringLiteral("description"), notes}})
            && db.close());
    // Freed by hand: the cell's pointer goes, and nothing else is touched.
    QFile file(path());
    QVERIFY(file.open(QIODevice::ReadWrite));
    QByteArray bytes = file.readAll();
    const int row = bytes.indexOf("Dentist");
    const int page = row / 4096 * 4096;
    bytes.replace(page + 3, 2, QByteArray(2, '\0'));
    if (next == 0xfffffffeu) {
        bytes.replace(bytes.indexOf(notes.mid(notes.size() / 2, 20).toLatin1()), 3,
                      QByteArray("\x05\x00\x81", 3));
    } else if (next != 0) {
        const int first = bytes.indexOf(notes.mid(notes.size() / 2, 20).toLatin1()) / 4096;
        const quint32 target = next == 0xffffffffu ? quint32(first) + 1 : next;
        bytes[first * 4096] = char(target >> 24);
        bytes[first * 4096 + 1] = char(target >> 16);
        bytes[first * 4096 + 2] = char(target >> 8);
        bytes[first * 4096 + 3] = char(target);
    }
    QVERIFY(file.seek(0) && file.write(bytes) == bytes.size());
    file.close();
    const FoundCalendars found = scan();
    QCOMPARE(titlesOf(found), QStringList(QStringLiteral("Dentist")));
    const QString &text = found.events.at(0).notes;
    QVERIFY(notes.startsWith(text));
    QCOMPARE(text.size() == notes.size(), isWhole);
    QVERIFY(text.size() > 100);
}

void TestCalendar::missingTables_data()
{
    QTest::addColumn<QString>("statement");
    QTest::addColumn<QStringList>("titles");
    const auto row = [](const char *name, const char *statement, const QStringList &titles) {
        QTest::newRow(name) << QString::fromLatin1(statement) << titles;
    };
    const QString event = QStringLiteral("Dentist");
    const QString reminder = QStringLiteral("!Milk");
    const QString place = QStringLiteral("@Room 4");
    row("none", "", {event, place, reminder});
    row("no locations", "DROP TABLE Location", {event, reminder});
    // With the table goes the number of its items, and then no place is known to have had one.
    row("no items", "DROP TABLE CalendarItem", {});
    row("no calendars", "DROP TABLE Calendar", {place});
    row("no sequence of calendars", "DELETE FROM sqlite_sequence WHERE name='Calendar'", {place});
    row("no sequence of items", "DELETE FROM sqlite_sequence WHERE name='CalendarItem'",
        {event, reminder});
    row("no column of a matcher", "ALTER TABLE Location RENAME COLUMN radius TO spread",
        {event, reminder});
}

void TestCalendar::missingTables()
{
    QFETCH(QString, statement);
    QFETCH(QStringList, titles);
    SampleDatabase db;
    QVERIFY(makeTables(&db, CalendarLayout::Ios6));
    QVERIFY(insertEvent(&db, QStringLiteral("Dentist")));
    QVERIFY(insertEvent(
        &db, QStringLiteral("Milk"),
        {{QStringLiteral("end_date"), QVariant()}, {QStringLiteral("calendar_id"), 3}}));
    QVERIFY(db.exec(QStringLiteral("INSERT INTO Location (title, radius, item_owner_id, "
                                   "alarm_owner_id) VALUES ('Room 4', 0, 1, 0)")));
    QVERIFY(db.exec(DeleteAll + statement) && db.close());
    QStringList found = titlesOf(scan());
    found.sort();
    titles.sort();
    QCOMPARE(found, titles);
}

QTEST_APPLESS_MAIN(TestCalendar)
#include "tst_calendar.moc"
