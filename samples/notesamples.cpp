#include "samples/notesamples.h"

#include "samples/messagetext.h"
#include "samples/sampledatabase.h"
#include "samples/samplerandom.h"

#include <QVariantMap>

namespace {

const char *const titles[] = {"Shopping list",     "Ideas",        "Passwörter fürs WLAN",
                              "Recipe: soup",      "Meeting",      "Books to read",
                              "Größen der Kinder", "旅行の計画",   "Список дел",
                              "1 < 2 & 3 > 2",     "Gift ideas 🎁", "Wi-Fi"};

using Row = QVariantMap;

QString escaped(const QString &line)
{
    return line.toHtmlEscaped();
}

/// Makes up notes. Equal seeds give equal notes.
class NoteGenerator
{
public:
    explicit NoteGenerator(const NotePlan &plan)
        : m_random(plan.seed)
        , m_mostGap(plan.mostGap)
    {
    }

    SampleNote next()
    {
        SampleNote note;
        note.guid = m_random.guid();
        // Some titles are used again and again.
        note.title = m_random.chance(20) ? m_random.pick(titles) : plainLine();
        m_seconds += m_random.number(600, m_mostGap);
        note.created = later(m_seconds);
        note.modified = later(note.created);
        const int lines =
            m_random.chance(15) ? 0 : m_random.number(1, m_random.chance(20) ? 90 : 8);
        for (int i = 0; i < lines; ++i) {
            note.lines << (m_random.chance(12) ? QString() : plainLine());
        }
        while (!note.lines.isEmpty() && note.lines.last().isEmpty()) {
            note.lines.removeLast();
        }
        return note;
    }

    /// Changes a line, adds one, or takes another title.
    void edit(SampleNote *note)
    {
        ++note->version;
        note->modified = later(note->modified);
        if (m_random.chance(20)) {
            note->title = plainLine();
        } else if (!note->lines.isEmpty() && m_random.chance(50)) {
            note->lines[m_random.number(0, note->lines.size())] = plainLine();
        } else {
            note->lines << plainLine();
        }
    }

    SampleRandom &random() { return m_random; }

private:
    /// Most dates have a fraction; whole ones are stored as integers.
    double later(double date)
    {
        const double whole = date + m_random.number(5, 400);
        return m_random.chance(10) ? whole : whole + m_random.number(1, 1000000) / 1048576.0;
    }

    QString plainLine()
    {
        QString line = m_random.chance(85) ? plainSentence(&m_random) : messageText(&m_random);
        line.truncate(line.indexOf(QLatin1Char('\n')) < 0 ? line.size()
                                                          : line.indexOf(QLatin1Char('\n')));
        return line.simplified();
    }

    SampleRandom m_random;
    int m_mostGap;
    double m_seconds = 400000000;
};

/// Writes notes into a database as a device of the layout does.
class NoteStore
{
public:
    NoteStore(SampleDatabase *db, NoteLayout layout)
        : m_db(db)
        , m_layout(layout)
    {
    }

    bool createTables();
    bool insert(SampleNote *note, SampleRandom *random);
    bool rewrite(const SampleNote &note);
    bool remove(const SampleNote &note);
    bool removeAll();

private:
    bool insertRow(const char *table, const Row &row);
    Row noteRow(const SampleNote &note) const;
    Row objectRow(const SampleNote &note, SampleRandom *random) const;

    SampleDatabase *m_db;
    NoteLayout m_layout;
    int m_count = 0;
};

bool NoteStore::createTables()
{
    if (!m_db->exec(noteTables(m_layout))) {
        return false;
    }
    if (!isNoteStore(m_layout)) {
        return m_db->exec(QStringLiteral(
            "INSERT INTO Z_PRIMARYKEY VALUES (1,'Account',0,1),(2,'NextId',0,1),(3,'Note',0,0),"
            "(4,'NoteBody',0,0),(5,'NoteChange',0,0),(6,'Property',0,2),(7,'Store',0,2);"
            "INSERT INTO ZSTORE (Z_ENT, Z_OPT, ZACCOUNT, ZEXTERNALIDENTIFIER, ZNAME) VALUES"
            " (7, 1, 1, 'local://local/Notes', 'LOCAL_NOTES_STORE'),"
            " (7, 3, 1, 'imap://mail.example.org/Notes', 'Notes');"
            "INSERT INTO ZPROPERTY (Z_ENT, Z_OPT, ZPROPERTYKEY, ZPROPERTYVALUE) VALUES"
            " (6, 1, 'kIndexDirty', x'31'), (6, 2, 'kLastSync', x'6162636465')"));
    }
    const auto object = [this](const char *identifier, int entity, const char *title) {
        return insertRow("ZICCLOUDSYNCINGOBJECT",
                         {{QStringLiteral("Z_ENT"), entity},
                          {QStringLiteral("Z_OPT"), 2},
                          {QStringLiteral("ZMARKEDFORDELETION"), 0},
                          {QStringLiteral("ZNEEDSINITIALFETCHFROMCLOUD"), 0},
                          {QStringLiteral("ZIDENTIFIER"), QLatin1String(identifier)},
                          {QStringLiteral("ZTITLE2"), QLatin1String(title)}});
    };
    return object("LocalAccount", 13, "On My iPhone")
           && object("DefaultFolder-LocalAccount", 14, "Notes")
           && object("TrashFolder-LocalAccount", 14, "Recently Deleted")
           && m_db->exec(QStringLiteral("INSERT INTO Z_PRIMARYKEY VALUES (3,"
                                        "'ICCloudSyncingObject',0,3),(11,'ICNote',3,0)"));
}

bool NoteStore::insertRow(const char *table, const Row &row)
{
    QStringList marks;
    for (int i = 0; i < row.size(); ++i) {
        marks << QStringLiteral("?");
    }
    return m_db->run(QStringLiteral("INSERT INTO %1 (%2) VALUES (%3)")
                         .arg(QLatin1String(table), QStringList(row.keys()).join(QLatin1Char(',')),
                              marks.join(QLatin1Char(','))),
                     row.values());
}

Row NoteStore::noteRow(const SampleNote &note) const
{
    return {{QStringLiteral("Z_ENT"), 3},
            {QStringLiteral("Z_OPT"), note.version},
            {QStringLiteral("ZCONTAINSCJK"), 0},
            {QStringLiteral("ZCONTENTTYPE"), 0},
            {QStringLiteral("ZDELETEDFLAG"), 0},
            {QStringLiteral("ZEXTERNALFLAGS"), 0},
            {QStringLiteral("ZEXTERNALSERVERINTID"), qint64(m_count) - 4294967296},
            {QStringLiteral("ZINTEGERID"), m_count},
            {QStringLiteral("ZISBOOKKEEPINGENTRY"), 0},
            {QStringLiteral("ZBODY"), m_count},
            {QStringLiteral("ZSTORE"), 1 + m_count % 5 / 4},
            {QStringLiteral("ZCREATIONDATE"), note.created},
            {QStringLiteral("ZMODIFICATIONDATE"), note.modified},
            {QStringLiteral("ZGUID"), note.guid},
            {QStringLiteral("ZSERVERID"),
             m_count % 5 / 4 ? QVariant(QStringLiteral("%1").arg(m_count)) : QVariant()},
            {QStringLiteral("ZSUMMARY"),
             note.summary().isNull() ? QVariant() : QVariant(note.summary())},
            {QStringLiteral("ZTITLE"), note.title}};
}

Row NoteStore::objectRow(const SampleNote &note, SampleRandom *random) const
{
    Row row{{QStringLiteral("Z_ENT"), 11},
            {QStringLiteral("Z_OPT"), note.version},
            {QStringLiteral("ZMARKEDFORDELETION"), 0},
            {QStringLiteral("ZNEEDSINITIALFETCHFROMCLOUD"), 0},
            {QStringLiteral("ZCLOUDSTATE"), m_count + 2},
            {QStringLiteral("ZNOTEDATA"), m_count},
            {QStringLiteral("ZMODIFICATIONDATE1"), note.modified},
            {QStringLiteral("ZIDENTIFIER"), note.guid},
            {QStringLiteral("ZSNIPPET"),
             note.summary().isNull() ? QVariant() : QVariant(note.summary())},
            {QStringLiteral("ZTITLE1"), note.title},
            {QStringLiteral("ZNOTEHASCHANGES"), 0}};
    row[creationDateColumn(m_layout)] = note.created;
    if (random->chance(60)) {
        const QString column =
            QLatin1String(m_layout <= NoteLayout::Store10 ? "ZSERVERRECORD" : "ZSERVERRECORDDATA");
        row[column] = "bplist00" + random->digits(random->number(300, 1800)).toLatin1();
    }
    return row;
}

bool NoteStore::insert(SampleNote *note, SampleRandom *random)
{
    ++m_count;
    bool ok = m_db->exec(QStringLiteral("BEGIN"));
    if (isNoteStore(m_layout)) {
        ok = ok && insertRow("ZICCLOUDSYNCINGOBJECT", objectRow(*note, random));
        note->key = m_db->lastRowid();
        ok = ok
             && insertRow("ZICNOTEDATA",
                          {{QStringLiteral("Z_ENT"), 6},
                           {QStringLiteral("Z_OPT"), 1},
                           {QStringLiteral("ZNOTE"), note->key},
                           {QStringLiteral("ZDATA"), qCompress(note->text().toUtf8()).mid(4)}});
    } else {
        ok = ok && insertRow("ZNOTE", noteRow(*note));
        note->key = m_db->lastRowid();
        ok = ok
             && insertRow("ZNOTEBODY", {{QStringLiteral("Z_ENT"), 4},
                                        {QStringLiteral("Z_OPT"), note->version},
                                        {QStringLiteral("ZOWNER"), note->key},
                                        {QStringLiteral("ZCONTENT"), note->html()}});
    }
    return ok && m_db->exec(QStringLiteral("COMMIT"));
}

bool NoteStore::rewrite(const SampleNote &note)
{
    const QVariant summary = note.summary().isNull() ? QVariant() : QVariant(note.summary());
    const bool isStore = isNoteStore(m_layout);
    const QString statement =
        isStore ? QStringLiteral("UPDATE ZICCLOUDSYNCINGOBJECT SET Z_OPT=?, ZMODIFICATIONDATE1=?, "
                                 "ZSNIPPET=?, ZTITLE1=? WHERE Z_PK=?")
                : QStringLiteral("UPDATE ZNOTE SET Z_OPT=?, ZMODIFICATIONDATE=?, ZSUMMARY=?, "
                                 "ZTITLE=? WHERE Z_PK=?");
    return m_db->exec(QStringLiteral("BEGIN"))
           && m_db->run(statement, {note.version, note.modified, summary, note.title, note.key})
           && m_db->run(
               isStore ? QStringLiteral("UPDATE ZICNOTEDATA SET Z_OPT=?, ZDATA=? WHERE ZNOTE=?")
                       : QStringLiteral("UPDATE ZNOTEBODY SET Z_OPT=?, ZCONTENT=? WHERE "
                                        "ZOWNER=?"),
               {note.version,
                isStore ? QVariant(qCompress(note.text().toUtf8()).mid(4)) : QVariant(note.html()),
                note.key})
           && m_db->exec(QStringLiteral("COMMIT"));
}

bool NoteStore::remove(const SampleNote &note)
{
    const bool isStore = isNoteStore(m_layout);
    return m_db->exec(QStringLiteral("BEGIN"))
           && m_db->run(isStore ? QStringLiteral("DELETE FROM ZICNOTEDATA WHERE ZNOTE=?")
                                : QStringLiteral("DELETE FROM ZNOTEBODY WHERE ZOWNER=?"),
                        {note.key})
           && m_db->run(isStore ? QStringLiteral("DELETE FROM ZICCLOUDSYNCINGOBJECT WHERE Z_PK=?")
                                : QStringLiteral("DELETE FROM ZNOTE WHERE Z_PK=?"),
                        {note.key})
           && m_db->exec(QStringLiteral("COMMIT"));
}

bool NoteStore::removeAll()
{
    return m_db->exec(isNoteStore(m_layout)
                          ? QStringLiteral("DELETE FROM ZICNOTEDATA; DELETE FROM "
                                           "ZICCLOUDSYNCINGOBJECT WHERE Z_ENT=11")
                          : QStringLiteral("DELETE FROM ZNOTEBODY; DELETE FROM ZNOTE"));
}

/// Lives one plan through in the database, keeping the truth up to date.
class PlanRunner
{
public:
    PlanRunner(SampleDatabase *db, const NotePlan &plan, NoteSample *sample)
        : m_plan(plan)
        , m_generator(plan)
        , m_store(db, plan.layout)
        , m_sample(sample)
    {
        *sample = NoteSample();
        sample->layout = plan.layout;
    }

    bool run() { return m_store.createTables() && insert(m_plan.notes) && live(); }

private:
    bool live();
    bool insert(int count);
    bool rewrite(SampleNote *note);
    bool removeAt(int index);
    bool removeScattered(int percent);
    bool edit();
    bool removeAll();

    NotePlan m_plan;
    NoteGenerator m_generator;
    NoteStore m_store;
    NoteSample *m_sample;
};

bool PlanRunner::live()
{
    switch (m_plan.deletion) {
    case NoteDeletion::Scattered:
        return removeScattered(30);
    case NoteDeletion::Contiguous: {
        bool ok = true;
        for (int left = m_plan.notes / 3; left > 0; --left) {
            ok = ok && removeAt(m_plan.notes / 3);
        }
        return ok;
    }
    case NoteDeletion::WholeTable:
        return removeAll();
    case NoteDeletion::ThenInserts:
        return removeScattered(30) && insert(m_plan.notes / 10);
    case NoteDeletion::Edited:
        return edit() && removeScattered(20);
    }
    return false;
}

bool PlanRunner::insert(int count)
{
    for (int i = 0; i < count; ++i) {
        SampleNote note = m_generator.next();
        if (!m_store.insert(&note, &m_generator.random())) {
            return false;
        }
        m_sample->live << note;
    }
    return true;
}

bool PlanRunner::rewrite(SampleNote *note)
{
    m_sample->formerVersions << *note;
    m_generator.edit(note);
    return m_store.rewrite(*note);
}

bool PlanRunner::edit()
{
    for (SampleNote &note : m_sample->live) {
        for (int times = 0; m_generator.random().chance(35) && times < 3; ++times) {
            if (!rewrite(&note)) {
                return false;
            }
        }
    }
    return true;
}

bool PlanRunner::removeAt(int index)
{
    const SampleNote note = m_sample->live.takeAt(index);
    m_sample->deleted << note;
    return m_store.remove(note);
}

bool PlanRunner::removeScattered(int percent)
{
    for (int left = m_sample->live.size() * percent / 100; left > 0; --left) {
        if (!removeAt(m_generator.random().number(0, m_sample->live.size()))) {
            return false;
        }
    }
    return true;
}

bool PlanRunner::removeAll()
{
    m_sample->deleted << m_sample->live;
    m_sample->live.clear();
    return m_store.removeAll();
}

} // namespace

QVector<NoteDeletion> allNoteDeletions()
{
    return {NoteDeletion::Scattered, NoteDeletion::Contiguous, NoteDeletion::WholeTable,
            NoteDeletion::ThenInserts, NoteDeletion::Edited};
}

QString deletionName(NoteDeletion deletion)
{
    static const char *const names[] = {"scattered", "contiguous", "whole table", "then inserts",
                                        "edited"};
    return QString::fromLatin1(names[int(deletion)]);
}

QString SampleNote::summary() const
{
    for (const QString &line : lines) {
        if (!line.isEmpty()) {
            return line.left(100);
        }
    }
    return QString();
}

QString SampleNote::text() const
{
    return (QStringList(title) + lines).join(QLatin1Char('\n'));
}

QString SampleNote::html() const
{
    QString html = escaped(title);
    for (const QString &line : lines) {
        html += QStringLiteral("<div>%1</div>")
                    .arg(line.isEmpty() ? QStringLiteral("<br>") : escaped(line));
    }
    return html;
}

NoteRecord SampleNote::record(NoteLayout layout) const
{
    return {qint32(modified), title, isNoteStore(layout) ? summary() : text()};
}

bool makeNoteSample(SampleDatabase *db, const NotePlan &plan, NoteSample *sample)
{
    return PlanRunner(db, plan, sample).run();
}

QVector<NoteRecord> expectedNotes(NoteLayout layout, const QVector<SampleNote> &notes)
{
    QVector<NoteRecord> records;
    for (const SampleNote &note : notes) {
        records << note.record(layout);
    }
    return records;
}
