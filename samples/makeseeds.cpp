// Makes the inputs that fuzzing starts from: small sample databases of every kind, layout and way
// of losing rows, with all page sizes and encodings, and logs.

#include "api/scantype.h"
#include "samples/backupsample.h"
#include "samples/calendarsamples.h"
#include "samples/callsamples.h"
#include "samples/contactsamples.h"
#include "samples/messagesamples.h"
#include "samples/notesamples.h"
#include "samples/safarisamples.h"
#include "samples/sampledatabase.h"
#include "samples/samplerandom.h"
#include "samples/weixinsamples.h"
#include "samples/whatsappsamples.h"

#include <QCryptographicHash>
#include <QDir>
#include <QFile>
#include <QTemporaryDir>
#include <QTextStream>

namespace {

bool make(SampleDatabase *db, const CallPlan &plan)
{
    CallSample sample;
    return makeCallSample(db, plan, &sample);
}

bool make(SampleDatabase *db, const ContactPlan &plan)
{
    ContactSample sample;
    return makeContactSample(db, plan, &sample);
}

bool make(SampleDatabase *db, const MessagePlan &plan)
{
    MessageSample sample;
    return makeMessageSample(db, plan, &sample);
}

bool make(SampleDatabase *db, const CalendarPlan &plan)
{
    CalendarSample sample;
    return makeCalendarSample(db, plan, &sample);
}

bool make(SampleDatabase *db, const NotePlan &plan)
{
    NoteSample sample;
    return makeNoteSample(db, plan, &sample);
}

bool make(SampleDatabase *db, const BookmarkPlan &plan)
{
    BookmarkSample sample;
    return makeBookmarkSample(db, plan, &sample);
}

bool make(SampleDatabase *db, const HistoryPlan &plan)
{
    HistorySample sample;
    return makeHistorySample(db, plan, &sample);
}

bool make(SampleDatabase *db, const WhatsappPlan &plan)
{
    WhatsappSample sample;
    return makeWhatsappSample(db, plan, &sample);
}

bool make(SampleDatabase *db, const WeixinPlan &plan)
{
    WeixinSample sample;
    return makeWeixinSample(db, plan, &sample);
}

/// A few pages for each table and index: short inputs are run many times more often.
constexpr int PageSizes[] = {1024, 512, 2048, 512, 4096, 1024, 512};
constexpr int LargePageSizes[] = {8192, 16384, 32768, 65536};

SampleOptions optionsOf(int number, bool isLarge)
{
    SampleOptions options;
    options.pageSize = isLarge ? LargePageSizes[number % 4] : PageSizes[number % 7];
    options.autoVacuum = number % 3;
    if (number % 5 == 4) {
        options.encoding = number % 2 ? "UTF-16le" : "UTF-16be";
    }
    return options;
}

/// Writes seeds into a folder for each target.
class SeedMaker
{
public:
    explicit SeedMaker(const QString &folder)
        : m_folder(folder)
    {
    }

    template<typename Plan, typename Layouts, typename Deletions>
    void addDatabases(ScanType type, const Layouts &layouts, const Deletions &deletions, int rows)
    {
        for (const auto layout : layouts) {
            for (const auto deletion : deletions) {
                addDatabase(type, Plan{layout, deletion, rows, quint32(m_number)}, false);
            }
            addDatabase(type, Plan{layout, deletions.first(), rows, quint32(m_number)}, true);
        }
    }

    template<typename Plan, typename Layouts, typename Deletions>
    void addLogs(ScanType type, const Layouts &layouts, const Deletions &deletions, int rows,
                 const QStringList &statements)
    {
        for (const auto layout : layouts) {
            for (const auto deletion : deletions) {
                const Plan plan{layout, deletion, rows, quint32(m_number)};
                addWholeLog(type, plan);
                addLaterLog(type, plan, statements);
            }
        }
    }

    /// Adds bytes for a target that takes no database.
    void add(const char *target, const QByteArray &bytes) { save(target, bytes); }

    /// Adds the files of a backup, of which the first byte tells their number.
    void addBackup(const QVector<IndexedFile> &files, const BackupFacts &facts)
    {
        const QString folder = m_scratch.path();
        if (!writeBackupIndex(folder, BackupLayout::Flat, files)
            || !writeBackupIndex(folder, BackupLayout::Folders, files)
            || !writePropertyLists(folder, facts)) {
            fail(QStringLiteral("cannot make a backup"));
        }
        int number = 0;
        for (const char *name : {"Manifest.mbdb", "Manifest.db", "Info.plist"}) {
            save("backup", char(number++) + read(m_scratch.filePath(QLatin1String(name))));
        }
    }

    bool isSound() const { return m_isSound; }
    const QString &error() const { return m_error; }

private:
    template<typename Plan> void addDatabase(ScanType type, const Plan &plan, bool isLarge)
    {
        SampleDatabase db;
        if (!db.create(databasePath(), optionsOf(m_number++, isLarge)) || !make(&db, plan)
            || !db.close()) {
            fail(db.errorText());
            return;
        }
        const QByteArray bytes = read(databasePath());
        save("reader", bytes);
        save("recovery", char(type) + bytes);
    }

    /// The whole life of the database stands in the log.
    template<typename Plan> void addWholeLog(ScanType type, const Plan &plan)
    {
        SampleDatabase db;
        SampleOptions options = optionsOf(m_number++, false);
        options.pageSize = 512;
        if (!db.create(databasePath(), options) || !db.startLog() || !make(&db, plan)) {
            fail(db.errorText());
            return;
        }
        addLog(type, &db);
    }

    /// The log holds the last deletions and changes only.
    template<typename Plan>
    void addLaterLog(ScanType type, const Plan &plan, const QStringList &statements)
    {
        SampleDatabase db;
        if (!db.create(databasePath(), optionsOf(m_number++, false)) || !make(&db, plan)
            || !db.startLog()) {
            fail(db.errorText());
            return;
        }
        for (const QString &statement : statements) {
            db.exec(statement); // not every layout has every table
        }
        addLog(type, &db);
    }

    void addLog(ScanType type, SampleDatabase *db)
    {
        const QString copy = m_scratch.filePath(QStringLiteral("copy.db"));
        if (!db->copyWithLog(copy) || !db->close()) {
            fail(db->errorText());
            return;
        }
        save("wal", char(type) + read(copy) + read(copy + QStringLiteral("-wal")));
    }

    QString databasePath() const { return m_scratch.filePath(QStringLiteral("sample.db")); }

    QByteArray read(const QString &path)
    {
        QFile file(path);
        if (!file.open(QIODevice::ReadOnly)) {
            fail(file.errorString());
        }
        return file.readAll();
    }

    void save(const char *target, const QByteArray &bytes)
    {
        const QString name =
            QString::fromLatin1(QCryptographicHash::hash(bytes, QCryptographicHash::Sha1).toHex());
        const QDir folder(m_folder + QLatin1Char('/') + QLatin1String(target));
        QFile file(folder.filePath(name));
        if (!folder.mkpath(QStringLiteral(".")) || !file.open(QIODevice::WriteOnly)
            || file.write(bytes) != bytes.size()) {
            fail(file.errorString());
        }
    }

    void fail(const QString &error)
    {
        m_isSound = false;
        m_error = error;
    }

    QString m_folder;
    QTemporaryDir m_scratch;
    int m_number = 0; ///< of samples so far
    bool m_isSound = true;
    QString m_error;
};

void addDatabases(SeedMaker *seeds)
{
    seeds->addDatabases<CallPlan>(ScanTypeCallHistory, allCallLayouts(), allDeletions(), 24);
    seeds->addDatabases<ContactPlan>(ScanTypeContacts, allContactLayouts(), allContactDeletions(),
                                     12);
    seeds->addDatabases<MessagePlan>(ScanTypeMessages, allMessageLayouts(), allMessageDeletions(),
                                     24);
    seeds->addDatabases<CalendarPlan>(ScanTypeCalendar, allCalendarLayouts(),
                                      allCalendarDeletions(), 20);
    seeds->addDatabases<BookmarkPlan>(ScanTypeBookmarks, allBookmarkLayouts(),
                                      allBookmarkDeletions(), 24);
    seeds->addDatabases<HistoryPlan>(ScanTypeSafariHistory, allHistoryLayouts(),
                                     allHistoryDeletions(), 30);
    seeds->addDatabases<WhatsappPlan>(ScanTypeWhatsapp, allWhatsappLayouts(),
                                      allWhatsappDeletions(), 30);
    seeds->addDatabases<WeixinPlan>(ScanTypeWeChat, allWeixinLayouts(), allWeixinDeletions(), 40);
}

void addNotes(SeedMaker *seeds)
{
    QVector<NoteLayout> older;
    QVector<NoteLayout> newer;
    for (const NoteLayout layout : allNoteLayouts()) {
        (isNoteStore(layout) ? newer : older).append(layout);
    }
    seeds->addDatabases<NotePlan>(ScanTypeNotes, older, allNoteDeletions(), 12);
    seeds->addDatabases<NotePlan>(ScanTypeIos9Notes, newer, allNoteDeletions(), 12);
}

/// Statements that delete and change rows of each table.
QStringList changes(const QStringList &tables, const QStringList &columns)
{
    QStringList statements;
    for (int i = 0; i < tables.size(); ++i) {
        const QString &table = tables.at(i);
        statements << QStringLiteral("DELETE FROM %1 WHERE rowid % 4 = 1").arg(table)
                   << QStringLiteral("UPDATE %1 SET %2 = 'other' WHERE rowid % 4 = 2")
                          .arg(table, columns.at(i));
    }
    return statements;
}

void addLogs(SeedMaker *seeds)
{
    const auto names = [](const char *list) {
        return QString::fromLatin1(list).split(QLatin1Char(' '));
    };
    seeds->addLogs<ContactPlan>(ScanTypeContacts, allContactLayouts(), allContactDeletions(), 6,
                                changes(names("ABPerson ABMultiValue"), names("First value")));
    seeds->addLogs<MessagePlan>(
        ScanTypeMessages, allMessageLayouts(), allMessageDeletions(), 8,
        changes(names("message handle chat group_member"), names("text id room_name address")));
    seeds->addLogs<CalendarPlan>(
        ScanTypeCalendar, allCalendarLayouts(), allCalendarDeletions(), 8,
        changes(names("CalendarItem Event Location"), names("summary summary title")));
    seeds->addLogs<BookmarkPlan>(ScanTypeBookmarks, allBookmarkLayouts(), allBookmarkDeletions(),
                                 10, changes(names("bookmarks"), names("title")));
}

void addTexts(SeedMaker *seeds)
{
    for (const NoteDeletion deletion : allNoteDeletions()) {
        SampleDatabase db;
        QTemporaryDir folder;
        NoteSample sample;
        db.create(folder.filePath(QStringLiteral("notes.db")));
        makeNoteSample(&db, {NoteLayout::Ios7, deletion, 12, 3}, &sample);
        for (const SampleNote &note : qAsConst(sample.live)) {
            seeds->add("notehtml", char(deletion) + note.html().toUtf8());
        }
    }
}

void addRecords(SeedMaker *seeds)
{
    SampleRandom random(1);
    for (int i = 0; i < 40; ++i) {
        QByteArray bytes;
        for (int left = 40; left > 0; --left) {
            const QByteArray text = (random.firstName() + random.mailAddress()).toUtf8();
            bytes += char(random.number(0, 256)) + text.left(random.number(0, 20));
        }
        seeds->add("writers", bytes);
    }
}

void addBackups(SeedMaker *seeds)
{
    QVector<IndexedFile> files;
    BackupFacts facts;
    facts.date = QDateTime::fromSecsSinceEpoch(1400000000, Qt::UTC);
    for (const char *name : {"Library", "Library/SMS/sms.db", "Media/\xC3\xA9.jpg"}) {
        files.append(
            {QStringLiteral("HomeDomain"), QString::fromUtf8(name), 4096, files.isEmpty()});
        facts.deviceName += QString::fromUtf8(name);
        seeds->addBackup(files, facts);
    }
}

} // namespace

int main(int argc, char *argv[])
{
    if (argc != 2) {
        QTextStream(stderr) << "usage: makeseeds FOLDER\n";
        return 2;
    }
    SeedMaker seeds(QFile::decodeName(argv[1]));
    addDatabases(&seeds);
    addNotes(&seeds);
    addLogs(&seeds);
    addTexts(&seeds);
    addRecords(&seeds);
    addBackups(&seeds);
    if (!seeds.isSound()) {
        QTextStream(stderr) << "makeseeds: " << seeds.error() << '\n';
        return 1;
    }
    return 0;
}
