#include "samples/contactlayout.h"

#include <QRegularExpression>

namespace {

struct PersonColumn
{
    const char *declaration;
    QVariant (*value)(const SamplePerson &person); ///< null for a column that stays NULL
};

struct FullTextColumn
{
    const char *name;
    QString (*text)(const SamplePerson &person);
};

constexpr int NoLanguage = 2147483647;
constexpr int GuidLength = 36;

QVariant textOrNull(const QString &text)
{
    return text.isNull() ? QVariant() : QVariant(text);
}

QString sortName(const QString &first, const QString &second)
{
    return (first + QLatin1Char(' ') + second).trimmed();
}

/// A collation key: other characters than the name's own, in the same order.
QString sortKey(const QString &name)
{
    QString key;
    for (const QChar &letter : name.toLower()) {
        const int place = letter.isLetter() ? (letter.unicode() - 'a') % 26 : -1;
        key += place < 0 ? QChar(0x04) : QChar(ushort('*' + 2 * place));
    }
    return key.isEmpty() ? QString() : key + QChar(0x01) + QString::number(name.size());
}

QString firstSortName(const SamplePerson &p)
{
    const QString name = sortName(p.fields.first, p.fields.last);
    return name.isEmpty() ? p.compositeNameFallback : name;
}

QString lastSortName(const SamplePerson &p)
{
    const QString name = sortName(p.fields.last, p.fields.first);
    return name.isEmpty() ? p.compositeNameFallback : name;
}

QVariant section(const QString &name)
{
    return name.isEmpty() ? QVariant() : QVariant(QString(name.at(0).toUpper()));
}

QVariant language(const QString &name)
{
    return QVariant(name.isEmpty() ? NoLanguage : 0);
}

QVariant minusOne(const SamplePerson &)
{
    return QVariant(-1);
}

QVariant one(const SamplePerson &)
{
    return QVariant(1);
}

const PersonColumn oldPersonColumns[] = {
    {"First TEXT", [](const SamplePerson &p) { return textOrNull(p.fields.first); }},
    {"Last TEXT", [](const SamplePerson &p) { return textOrNull(p.fields.last); }},
    {"Middle TEXT", [](const SamplePerson &p) { return textOrNull(p.fields.middle); }},
    {"FirstPhonetic TEXT",
     [](const SamplePerson &p) { return textOrNull(p.fields.firstPhonetic); }},
    {"MiddlePhonetic TEXT",
     [](const SamplePerson &p) { return textOrNull(p.fields.middlePhonetic); }},
    {"LastPhonetic TEXT", [](const SamplePerson &p) { return textOrNull(p.fields.lastPhonetic); }},
    {"Organization TEXT", [](const SamplePerson &p) { return textOrNull(p.fields.organization); }},
    {"Department TEXT", [](const SamplePerson &p) { return textOrNull(p.fields.department); }},
    {"Note TEXT", [](const SamplePerson &p) { return textOrNull(p.fields.note); }},
    {"Kind INTEGER", [](const SamplePerson &p) { return QVariant(p.kind); }},
    {"Birthday TEXT", [](const SamplePerson &p) { return textOrNull(p.fields.birthday); }},
    {"JobTitle TEXT", [](const SamplePerson &p) { return textOrNull(p.fields.jobTitle); }},
    {"Nickname TEXT", [](const SamplePerson &p) { return textOrNull(p.fields.nickname); }},
    {"Prefix TEXT", [](const SamplePerson &p) { return textOrNull(p.fields.prefix); }},
    {"Suffix TEXT", [](const SamplePerson &p) { return textOrNull(p.fields.suffix); }},
    {"FirstSort TEXT", [](const SamplePerson &p) { return textOrNull(sortKey(firstSortName(p))); }},
    {"LastSort TEXT", [](const SamplePerson &p) { return textOrNull(sortKey(lastSortName(p))); }},
    {"CreationDate INTEGER", [](const SamplePerson &p) { return QVariant(p.creationDate); }},
    {"ModificationDate INTEGER",
     [](const SamplePerson &p) { return QVariant(p.fields.modificationDate); }},
    {"CompositeNameFallback TEXT",
     [](const SamplePerson &p) { return textOrNull(p.compositeNameFallback); }},
    {"ExternalIdentifier TEXT",
     [](const SamplePerson &p) { return textOrNull(p.externalIdentifier); }},
    {"ExternalModificationTag TEXT", nullptr},
    {"ExternalUUID TEXT", [](const SamplePerson &p) { return textOrNull(p.externalUuid); }},
    {"StoreID INTEGER", [](const SamplePerson &p) { return QVariant(p.storeId); }},
    {"DisplayName TEXT", nullptr},
    {"ExternalRepresentation BLOB", nullptr},
    {"FirstSortSection TEXT", [](const SamplePerson &p) { return section(firstSortName(p)); }},
    {"LastSortSection TEXT", [](const SamplePerson &p) { return section(lastSortName(p)); }},
    {"FirstSortLanguageIndex INTEGER DEFAULT 2147483647",
     [](const SamplePerson &p) { return language(firstSortName(p)); }},
    {"LastSortLanguageIndex INTEGER DEFAULT 2147483647",
     [](const SamplePerson &p) { return language(lastSortName(p)); }},
    {"PersonLink INTEGER DEFAULT -1", minusOne},
    {"ImageURI TEXT", nullptr},
    {"IsPreferredName INTEGER DEFAULT 1", one},
};

QVariant personGuid(const SamplePerson &person)
{
    return QVariant(person.guid);
}

QVariant alternateBirthday(const SamplePerson &person)
{
    return textOrNull(person.fields.alternateBirthday);
}

const PersonColumn ios8PersonColumns[] = {
    {"guid TEXT DEFAULT (ab_generate_guid())", personGuid},
    {"PhonemeData TEXT", nullptr},
    {"AlternateBirthday TEXT", alternateBirthday},
    {"MapsData TEXT", nullptr},
};

const PersonColumn ios15PersonColumns[] = {
    {"guid TEXT NOT NULL DEFAULT (ab_generate_guid())", personGuid},
    {"PhonemeData TEXT", nullptr},
    {"AlternateBirthday TEXT", alternateBirthday},
    {"MapsData TEXT", nullptr},
    {"FirstPronunciation TEXT", nullptr},
    {"MiddlePronunciation TEXT", nullptr},
    {"LastPronunciation TEXT", nullptr},
    {"OrganizationPhonetic TEXT", nullptr},
    {"OrganizationPronunciation TEXT", nullptr},
    {"PreviousFamilyName TEXT", nullptr},
    {"PreferredLikenessSource TEXT", nullptr},
    {"PreferredPersonaIdentifier TEXT", nullptr},
    {"PreferredChannel TEXT", nullptr},
    {"DowntimeWhitelist TEXT", nullptr},
    {"ImageType TEXT", nullptr},
    {"ImageHash BLOB", nullptr},
    {"MemojiMetadata BLOB", nullptr},
};

template<int size> void append(QVector<PersonColumn> *columns, const PersonColumn (&more)[size])
{
    for (const PersonColumn &column : more) {
        *columns << column;
    }
}

QVector<PersonColumn> columnsOf(ContactLayout layout)
{
    QVector<PersonColumn> columns;
    append(&columns, oldPersonColumns);
    if (layout == ContactLayout::Ios8) {
        append(&columns, ios8PersonColumns);
    } else if (layout == ContactLayout::Ios15) {
        append(&columns, ios15PersonColumns);
    }
    return columns;
}

QString personTable(ContactLayout layout)
{
    QStringList columns{QStringLiteral("ROWID INTEGER PRIMARY KEY AUTOINCREMENT")};
    for (const PersonColumn &column : columnsOf(layout)) {
        columns << QString::fromLatin1(column.declaration);
    }
    if (layout != ContactLayout::Ios4) {
        columns << QStringLiteral("UNIQUE(guid)");
    }
    return QStringLiteral("CREATE TABLE ABPerson (%1)").arg(columns.join(QLatin1String(", ")));
}

QString guidColumn(ContactLayout layout)
{
    switch (layout) {
    case ContactLayout::Ios4:
        return QString();
    case ContactLayout::Ios8:
        return QStringLiteral(", guid TEXT DEFAULT (ab_generate_guid()), UNIQUE(guid)");
    case ContactLayout::Ios15:
        return QStringLiteral(", guid TEXT NOT NULL DEFAULT (ab_generate_guid()), UNIQUE(guid)");
    }
    return QString();
}

QString storeTable(ContactLayout layout)
{
    const char *const columns[] = {
        "AccountIdentifier TEXT, Enabled INTEGER DEFAULT 1, UNIQUE(StoreInternalIdentifier)",
        "AccountID INTEGER DEFAULT -1, Enabled INTEGER DEFAULT 1, SyncData BLOB, "
        "MeIdentifier INTEGER DEFAULT -1, Capabilities INTEGER DEFAULT 0, "
        "UNIQUE(StoreInternalIdentifier)",
        "AccountID INTEGER DEFAULT -1, Enabled INTEGER DEFAULT 1, SyncData BLOB, "
        "MeIdentifier INTEGER DEFAULT -1, Capabilities INTEGER DEFAULT 0, "
        "guid TEXT NOT NULL DEFAULT (ab_generate_guid()), LastSyncDate TEXT, "
        "UNIQUE(StoreInternalIdentifier), UNIQUE(guid)"};
    const QString syncTag =
        layout == ContactLayout::Ios4 ? QString() : QStringLiteral("ExternalSyncTag TEXT, ");
    return QStringLiteral("CREATE TABLE ABStore (ROWID INTEGER PRIMARY KEY AUTOINCREMENT, "
                          "Name TEXT, ExternalIdentifier TEXT, Type INTEGER, ConstraintsPath TEXT, "
                          "ExternalModificationTag TEXT, %1StoreInternalIdentifier TEXT, %2)")
        .arg(syncTag, QString::fromLatin1(columns[int(layout)]));
}

QString changesTable(ContactLayout layout)
{
    return layout == ContactLayout::Ios15
               ? QStringLiteral("CREATE TABLE ABPersonChanges (record INTEGER, type INTEGER, "
                                "sequence_number INTEGER, Image INTEGER, ExternalIdentifier TEXT, "
                                "StoreID INTEGER, PersonLink INTEGER, guid TEXT, Changes INTEGER, "
                                "LinkToPersonUUID TEXT, PersonLinkUUID TEXT)")
               : QStringLiteral("CREATE TABLE ABPersonChanges (record INTEGER, type INTEGER, "
                                "Image INTEGER, ExternalIdentifier TEXT, StoreID INTEGER)");
}

QString linkTable(ContactLayout layout)
{
    const QString guid = layout == ContactLayout::Ios15 ? guidColumn(layout) : QString();
    return QStringLiteral("CREATE TABLE ABPersonLink (ROWID INTEGER PRIMARY KEY AUTOINCREMENT, "
                          "PreferredImagePersonID INTEGER DEFAULT -1, "
                          "PreferredNamePersonID INTEGER DEFAULT -1%1)")
        .arg(guid);
}

QString deletesTable(ContactLayout layout)
{
    return QStringLiteral("CREATE TABLE ABPersonMultiValueDeletes (record_id INTEGER, "
                          "property_id INTEGER, identifier INTEGER%1)")
        .arg(layout == ContactLayout::Ios15
                 ? QStringLiteral(", sequence_number INTEGER, record_uid TEXT, identifier_uid TEXT")
                 : QString());
}

QString searchKeyTable(ContactLayout layout)
{
    return QStringLiteral("CREATE TABLE ABPersonSearchKey (person_id INTEGER, %1, "
                          "UNIQUE(person_id))")
        .arg(layout == ContactLayout::Ios4 ? QStringLiteral("value BLOB")
                                           : QStringLiteral("SearchKey BLOB, "
                                                            "NameOnlySearchKey BLOB"));
}

QStringList valueTables(ContactLayout layout)
{
    return {QStringLiteral("CREATE TABLE ABMultiValue (UID INTEGER PRIMARY KEY, "
                           "record_id INTEGER, property INTEGER, identifier INTEGER, "
                           "label INTEGER, value TEXT%1)")
                .arg(guidColumn(layout)),
            QStringLiteral("CREATE TABLE ABMultiValueLabel (value TEXT, UNIQUE(value))"),
            QStringLiteral("CREATE TABLE ABMultiValueEntry (parent_id INTEGER, key INTEGER, "
                           "value TEXT, UNIQUE(parent_id, key))"),
            QStringLiteral("CREATE TABLE ABMultiValueEntryKey (value TEXT, UNIQUE(value))"),
            QStringLiteral("CREATE TABLE ABPhoneLastFour (multivalue_id INTEGER PRIMARY KEY, "
                           "value TEXT)"),
            deletesTable(layout)};
}

QStringList sectionTables()
{
    QStringList tables;
    for (const char *name : {"FirstSort", "LastSort"}) {
        tables << QStringLiteral("CREATE TABLE %1SectionCount(LanguageIndex, Section TEXT, "
                                 "StoreID, number, UNIQUE(LanguageIndex, Section, StoreID))")
                      .arg(QLatin1String(name))
               << QStringLiteral("CREATE TABLE %1SectionCountTotal(LanguageIndex, Section TEXT, "
                                 "Type INT, number, UNIQUE(LanguageIndex, Section, Type))")
                      .arg(QLatin1String(name));
    }
    return tables;
}

QStringList sortIndexes()
{
    QStringList indexes;
    for (const char *name : {"First", "Last"}) {
        const QString order =
            QStringLiteral("%1SortLanguageIndex, %1SortSection, %1Sort)").arg(QLatin1String(name));
        const QString start = QStringLiteral("CREATE INDEX AB%1%2Sort%3Index on ABPerson(%4");
        indexes << start.arg(QString(), QLatin1String(name), QString(), order)
                << start.arg(QString(), QLatin1String(name), QStringLiteral("Store"),
                             QStringLiteral("StoreID, ") + order)
                << start.arg(QStringLiteral("Preferred"), QLatin1String(name), QString(),
                             QStringLiteral("IsPreferredName, ") + order);
    }
    return indexes;
}

QStringList indexes(ContactLayout layout)
{
    QStringList all = sortIndexes();
    all << QStringLiteral("CREATE INDEX ABPersonPersonLinkIndex on ABPerson(PersonLink)")
        << QStringLiteral("CREATE INDEX ABMultiValueRecordIDIndex on ABMultiValue(record_id)")
        << QStringLiteral("CREATE INDEX ABMultiValueLabelIndex ON ABMultiValue(label)")
        << QStringLiteral("CREATE INDEX ABMultiValuePropertyValueIndex ON "
                          "ABMultiValue(property, value COLLATE NOCASE)")
        << QStringLiteral("CREATE INDEX ABMultiValueEntryKeyIndex ON ABMultiValueEntry(key)")
        << QStringLiteral("CREATE INDEX ABPhoneLastFourIndex ON ABPhoneLastFour(value)");
    if (layout != ContactLayout::Ios4) {
        all << QStringLiteral("CREATE INDEX ABPersonExternalUUIDIndex on ABPerson(ExternalUUID)")
            << QStringLiteral("CREATE INDEX ABPersonExternalIdentifierIndex on "
                              "ABPerson(ExternalIdentifier)");
    }
    if (layout == ContactLayout::Ios15) {
        all << QStringLiteral("CREATE INDEX ABMultiValueGUIDIndex ON ABMultiValue(guid)");
    }
    return all;
}

QString valueText(const PersonValue &value)
{
    QStringList parts;
    for (const PersonValueEntry &entry : value.entries) {
        parts << entry.value;
    }
    return value.entries.isEmpty() ? value.value : parts.join(QLatin1Char(' '));
}

QString digitsOf(const QString &text)
{
    return QString(text).remove(QRegularExpression(QStringLiteral("[^0-9]")));
}

/// A number as typed, as dialled, without country and without area.
QStringList numberSpellings(const QString &number)
{
    const QString digits = digitsOf(number);
    QStringList spellings{number, dialableNumber(number), digits};
    if (digits.size() > 10) {
        spellings << digits.right(10);
    }
    if (digits.size() > 7) {
        spellings << digits.right(7);
    }
    spellings.removeDuplicates();
    return spellings;
}

QStringList mailSpellings(const QString &mail)
{
    return QStringList{mail}
           + mail.split(QRegularExpression(QStringLiteral("[@.+-]")), Qt::SkipEmptyParts);
}

/// All the person's values of the kind, each in all its spellings.
QString searchWords(const SamplePerson &person, qint64 property)
{
    QStringList words;
    for (const SampleValue &value : person.values) {
        if (value.value.property == property) {
            words << (property == 3   ? numberSpellings(value.value.value)
                      : property == 4 ? mailSpellings(value.value.value)
                                      : QStringList{valueText(value.value)});
        }
    }
    return words.isEmpty() ? QString() : words.join(QLatin1Char(' '));
}

template<int property> QString words(const SamplePerson &person)
{
    return searchWords(person, property);
}

const FullTextColumn fullTextNames[] = {
    {"First", [](const SamplePerson &p) { return p.fields.first; }},
    {"Last", [](const SamplePerson &p) { return p.fields.last; }},
    {"Middle", [](const SamplePerson &p) { return p.fields.middle; }},
    {"FirstPhonetic", [](const SamplePerson &p) { return p.fields.firstPhonetic; }},
    {"MiddlePhonetic", [](const SamplePerson &p) { return p.fields.middlePhonetic; }},
    {"LastPhonetic", [](const SamplePerson &p) { return p.fields.lastPhonetic; }},
    {"Organization", [](const SamplePerson &p) { return p.fields.organization; }},
    {"OrganizationPhonetic", nullptr}, // iOS 15 only
    {"Department", [](const SamplePerson &p) { return p.fields.department; }},
    {"Note", [](const SamplePerson &p) { return p.fields.note; }},
    {"Birthday", [](const SamplePerson &p) { return p.fields.birthday; }},
    {"JobTitle", [](const SamplePerson &p) { return p.fields.jobTitle; }},
    {"Nickname", [](const SamplePerson &p) { return p.fields.nickname; }},
    {"Prefix", [](const SamplePerson &p) { return p.fields.prefix; }},
    {"Suffix", [](const SamplePerson &p) { return p.fields.suffix; }},
    {"DisplayName", nullptr},
    {"Phone", words<3>},
    {"Email", words<4>},
    {"Address", words<5>},
    {"SocialProfile", words<46>},
    {"URL", words<22>},
    {"RelatedNames", words<23>},
    {"IM", words<13>},
    {"Date", words<12>},
    {"SupplementalCompositeNameTerms", nullptr},
};

QVector<FullTextColumn> fullTextColumns(ContactLayout layout)
{
    QVector<FullTextColumn> columns;
    for (const FullTextColumn &column : fullTextNames) {
        if (layout == ContactLayout::Ios15
            || QLatin1String(column.name) != QLatin1String("OrganizationPhonetic")) {
            columns << column;
        }
    }
    return columns;
}

/// The virtual table itself has a tokenizer of the device's own; only the row that describes it in
/// the schema can be written here.
QString virtualTableRow(ContactLayout layout)
{
    QStringList names;
    for (const FullTextColumn &column : fullTextColumns(layout)) {
        names << QString::fromLatin1(column.name);
    }
    return QStringLiteral("PRAGMA writable_schema=ON; INSERT INTO sqlite_master VALUES ('table', "
                          "'ABPersonFullTextSearch', 'ABPersonFullTextSearch', 0, "
                          "'CREATE VIRTUAL TABLE ABPersonFullTextSearch USING "
                          "fts4(tokenize=ab_cf_tokenizer language=\"en-US\" "
                          "collator=\"en-US@collation=search\", %1)'); PRAGMA writable_schema=OFF")
        .arg(names.join(QLatin1String(", ")));
}

QString fullTextContentTable(ContactLayout layout)
{
    QStringList columns{QStringLiteral("docid INTEGER PRIMARY KEY")};
    for (const FullTextColumn &column : fullTextColumns(layout)) {
        columns
            << QStringLiteral("'c%1%2'").arg(columns.size() - 1).arg(QLatin1String(column.name));
    }
    return QStringLiteral("CREATE TABLE 'ABPersonFullTextSearch_content'(%1)")
        .arg(columns.join(QLatin1String(", ")));
}

QStringList fullTextTables(ContactLayout layout)
{
    const QString name = QStringLiteral("CREATE TABLE 'ABPersonFullTextSearch_%1'(%2)");
    return {fullTextContentTable(layout),
            name.arg(QStringLiteral("segments"), QStringLiteral("blockid INTEGER PRIMARY KEY, "
                                                                "block BLOB")),
            name.arg(QStringLiteral("segdir"),
                     QStringLiteral("level INTEGER,idx INTEGER,start_block INTEGER,"
                                    "leaves_end_block INTEGER,end_block INTEGER,root BLOB,"
                                    "PRIMARY KEY(level, idx)")),
            name.arg(QStringLiteral("docsize"), QStringLiteral("docid INTEGER PRIMARY KEY, "
                                                               "size BLOB")),
            name.arg(QStringLiteral("stat"), QStringLiteral("id INTEGER PRIMARY KEY, value BLOB")),
            virtualTableRow(layout)};
}

} // namespace

QVector<ContactLayout> allContactLayouts()
{
    return {ContactLayout::Ios4, ContactLayout::Ios8, ContactLayout::Ios15};
}

QString layoutName(ContactLayout layout)
{
    static const int versions[] = {4, 8, 15};
    return QStringLiteral("iOS %1").arg(versions[int(layout)]);
}

bool hasFullText(ContactLayout layout)
{
    return layout != ContactLayout::Ios4;
}

QStringList contactTables(ContactLayout layout)
{
    QStringList tables{QStringLiteral("CREATE TABLE _SqliteDatabaseProperties (key TEXT, "
                                      "value TEXT, UNIQUE(key))"),
                       storeTable(layout),
                       personTable(layout),
                       changesTable(layout),
                       linkTable(layout),
                       searchKeyTable(layout)};
    tables << valueTables(layout) << sectionTables() << indexes(layout);
    return hasFullText(layout) ? tables + fullTextTables(layout) : tables;
}

QVariantList personRow(ContactLayout layout, const SamplePerson &person)
{
    QVariantList row{person.fields.rowId};
    for (const PersonColumn &column : columnsOf(layout)) {
        row << (column.value ? column.value(person) : QVariant());
    }
    return row;
}

QVariantList valueRow(ContactLayout layout, qint64 personId, const SampleValue &value)
{
    QVariantList row{value.uid, personId, value.value.property, value.identifier};
    row << (value.labelId == 0 ? QVariant() : QVariant(value.labelId))
        << (value.value.entries.isEmpty() ? QVariant(value.value.value) : QVariant());
    return layout == ContactLayout::Ios4 ? row : row << value.guid;
}

QVariantList fullTextRow(ContactLayout layout, const SamplePerson &person)
{
    QVariantList row{person.fields.rowId};
    for (const FullTextColumn &column : fullTextColumns(layout)) {
        row << (column.text ? textOrNull(column.text(person)) : QVariant());
    }
    return row;
}

QStringList personColumns(ContactLayout layout)
{
    QStringList names;
    for (const PersonColumn &column : columnsOf(layout)) {
        names << QString::fromLatin1(column.declaration).section(QLatin1Char(' '), 0, 0);
    }
    return names;
}

QString dialableNumber(const QString &number)
{
    return (number.startsWith(QLatin1Char('+')) ? QStringLiteral("+") : QString())
           + digitsOf(number);
}

PersonRecord expectedPerson(const SamplePerson &person)
{
    PersonRecord record = person.fields;
    for (const SampleValue &value : person.values) {
        record.values << value.value;
    }
    return record;
}

PersonRecord expectedHiddenPerson(const SamplePerson &person)
{
    PersonRecord record = person.fields;
    record.modificationDate = 0;
    record.alternateBirthday.clear();
    for (const SampleValue &sample : person.values) {
        PersonValue value = sample.value;
        value.label.clear();
        if (value.property == 3) {
            value.value = dialableNumber(value.value);
            record.values << value;
        } else if (value.property == 4) {
            record.values << value;
        }
    }
    return record;
}

bool isRefused(const SamplePerson &person)
{
    return !person.externalUuid.isNull() && person.externalUuid.size() != GuidLength;
}

bool isRefused(const SampleValue &value)
{
    return value.labelId == 0 || value.labelId > 127 || value.identifier > 127
           || (!value.value.entries.isEmpty() && arePartsRefused(value));
}

bool arePartsRefused(const SampleValue &value)
{
    return value.uid > 127;
}
