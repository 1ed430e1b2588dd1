#include "recoverers/communication/contactdbfile.h"

#include "api/sqliterecovery.h"
#include "recoverers/communication/contactassembler.h"
#include "recoverers/communication/contactmatchers.h"
#include "recoverers/livequery.h"

namespace {

/// The persons' table as of iOS 14. Rows keep the layout under which they were written when a new
/// system adds columns, and are found under this list then.
const char PersonColumns[] =
    "rowid integer primary key autoincrement, first text, last text, middle text, firstphonetic "
    "text, middlephonetic text, lastphonetic text, organization text, department text, note text, "
    "kind integer, birthday text, jobtitle text, nickname text, prefix text, suffix text, "
    "firstsort text, lastsort text, creationdate integer, modificationdate integer, "
    "compositenamefallback text, externalidentifier text, externalmodificationtag text, "
    "externaluuid text, storeid integer, displayname text, externalrepresentation blob, "
    "firstsortsection text, lastsortsection text, firstsortlanguageindex integer default "
    "2147483647, lastsortlanguageindex integer default 2147483647, personlink integer default -1, "
    "imageuri text, ispreferredname integer default 1, guid text not null default, phonemedata "
    "text, alternatebirthday text, mapsdata text, firstpronunciation text, middlepronunciation "
    "text, lastpronunciation text, organizationphonetic text, organizationpronunciation text, "
    "previousfamilyname text, preferredlikenesssource text, preferredpersonaidentifier text, "
    "preferredchannel text, downtimewhitelist text, imagetype text, imagehash blob";

} // namespace

ContactDbFile::ContactDbFile(QObject *parent)
    : SqliteDbFile(parent)
{
}

ContactDbFile::~ContactDbFile() = default;

int ContactDbFile::scanDeletedRecords(SqliteRecovery *resultHolder)
{
    LiveQuery query(path);
    m_live = readAddressBook(query);
    m_livePersonIds = m_live.persons.keys().toVector();
    m_liveValueIds = m_live.values.keys().toVector();
    m_carved = CarvedAddressBook();
    carve();
    const QVector<PersonRecord> contacts = assembleContacts(m_live, m_carved);
    for (const PersonRecord &contact : contacts) {
        resultHolder->m_contacts.append(new PersonRecord(contact));
    }
    return 0;
}

void ContactDbFile::carve()
{
    const double span = progressValue();
    if (carvePersons(span) && carveValues(span)) {
        carveEntries(span);
    }
}

bool ContactDbFile::carvePersons(double span)
{
    const TableSchema *persons = table(QStringLiteral("abperson"));
    if (!persons) {
        return true;
    }
    TableSchema fixed = *persons;
    fixed.columns = parseColumnList(QLatin1String(PersonColumns));
    ABPersonMatcher matcher(this);
    bool goOn = carveTable(*persons, matcher, span, false);
    matcher.startSecondSearch();
    goOn = goOn && carveTable(fixed, matcher, span, false);
    matcher.finish();
    return goOn;
}

bool ContactDbFile::carveValues(double span)
{
    const TableSchema *values = table(QStringLiteral("abmultivalue"));
    if (!values) {
        return true;
    }
    ABMultivalueMatcher matcher(this);
    const bool goOn = carveTable(*values, matcher, span, false);
    matcher.finish();
    return goOn;
}

bool ContactDbFile::carveEntries(double span)
{
    const TableSchema *entries = table(QStringLiteral("abmultivalueentry"));
    if (!entries) {
        return true;
    }
    // Parts have two-byte signatures, which occur everywhere: they are looked for only where this
    // table's rows can be.
    ABMultivalueEntryMatcher matcher(this);
    const bool goOn = carveTable(*entries, matcher, span, true);
    matcher.finish();
    return goOn;
}
