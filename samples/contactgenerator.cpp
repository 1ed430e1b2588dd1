#include "samples/contactgenerator.h"

namespace {

const char *const middleNames[] = {"Jane", "Lee", "Marie", "Otto", "Quentin", "van der"};
const char *const organizations[] = {"Harbour Bakery",   "North & Son", "City Library",
                                     "Müller Gartenbau", "Studio 24",   "Old Mill Dairy"};
const char *const departments[] = {"Sales", "Support", "Purchasing", "Research"};
const char *const jobTitles[] = {"Engineer", "Head of Sales", "Nurse", "Teacher", "Driver"};
const char *const nicknames[] = {"Benny", "Kat", "Shorty", "Oma", "Doc"};
const char *const streets[] = {"Main Street", "Gartenweg", "Rue des Lilas", "Station Road",
                               "Elm Avenue"};
const char *const noteWords[] = {"met",  "at",  "the",    "market",  "likes", "tea",  "calls",
                                 "on",   "a",   "friday", "evening", "moved", "to",   "new",
                                 "flat", "key", "under",  "mat",     "ring",  "twice"};
const char *const phoneLabels[] = {"_$!<Mobile>!$_", "_$!<Home>!$_", "_$!<Work>!$_",
                                   "_$!<Main>!$_",   "iPhone",       "_$!<Mobile>!$_"};
const char *const placeLabels[] = {"_$!<Home>!$_", "_$!<Work>!$_", "_$!<Other>!$_"};
const char *const relations[] = {"_$!<Mother>!$_", "_$!<Brother>!$_", "_$!<Spouse>!$_",
                                 "Nachbarin"};
const char *const networks[] = {"chirper", "snapbook", "linkpad"};

/// The longest notes of an address book are a page of text or two.
constexpr int everyLongNote = 40;

PersonValueEntry part(const char *key, const QString &value)
{
    return {QString::fromLatin1(key), value};
}

/// When devices of the layout were in use, in seconds since 2001.
qint32 firstDate(ContactLayout layout)
{
    static const qint32 dates[] = {326000000, 434000000, 655000000};
    return dates[int(layout)];
}

} // namespace

ContactGenerator::ContactGenerator(ContactLayout layout, quint32 seed)
    : m_layout(layout)
    , m_random(seed)
    , m_date(firstDate(layout))
{
}

SamplePerson ContactGenerator::next()
{
    SamplePerson person;
    person.creationDate = nextDate();
    person.fields.modificationDate = person.creationDate;
    person.guid = m_random.guid() + QStringLiteral(":ABPerson");
    ++m_count;
    addNames(&person);
    addDetails(&person);
    addNote(&person.fields);
    addOrigin(&person);
    addValues(&person);
    return person;
}

void ContactGenerator::edit(PersonRecord *fields)
{
    switch (m_random.number(0, 4)) {
    case 0:
        fields->last = m_random.lastName() + QLatin1Char('-') + m_random.lastName();
        break;
    case 1:
        fields->organization =
            m_random.pick(organizations) + QStringLiteral(" Branch ") + m_random.digits(2);
        break;
    case 2:
        fields->note = QStringLiteral("Changed: ") + words(m_random.number(10, 120));
        break;
    default:
        fields->nickname = m_random.pick(nicknames) + m_random.digits(2);
    }
    fields->modificationDate = nextDate();
}

qint32 ContactGenerator::nextDate()
{
    m_date += m_random.number(60, 200000);
    return m_date;
}

void ContactGenerator::addNames(SamplePerson *person)
{
    PersonRecord &fields = person->fields;
    if (m_random.chance(6)) {
        person->kind = 1;
        fields.organization = m_random.pick(organizations) + QLatin1Char(' ') + m_random.digits(2);
        person->compositeNameFallback = fields.organization;
        return;
    }
    fields.first = m_random.firstName();
    if (m_random.chance(85)) {
        fields.last = m_random.lastName();
    }
    if (m_random.chance(12)) {
        fields.middle = m_random.pick(middleNames);
    }
    if (m_random.chance(6)) {
        fields.firstPhonetic = fields.first.toLower() + QStringLiteral("-ah");
        fields.lastPhonetic = QStringLiteral("アドラー");
        fields.middlePhonetic = fields.middle.isNull() ? QString() : fields.middle.toUpper();
    }
}

void ContactGenerator::addDetails(SamplePerson *person)
{
    PersonRecord &fields = person->fields;
    if (person->kind == 0 && m_random.chance(20)) {
        fields.organization = m_random.pick(organizations);
        fields.department = m_random.chance(40) ? m_random.pick(departments) : QString();
        fields.jobTitle = m_random.chance(50) ? m_random.pick(jobTitles) : QString();
    }
    if (m_random.chance(15)) {
        fields.birthday =
            QStringLiteral("-%1.0").arg(qint64(m_random.number(1000, 17000)) * 86400 - 43200);
    }
    if (m_layout != ContactLayout::Ios4 && m_random.chance(4)) {
        fields.alternateBirthday = QStringLiteral("chinese-%1").arg(m_random.digits(6));
    }
    fields.nickname = m_random.chance(8) ? m_random.pick(nicknames) : QString();
    fields.prefix = m_random.chance(5) ? QStringLiteral("Dr.") : QString();
    fields.suffix = m_random.chance(3) ? QStringLiteral("Jr.") : QString();
}

void ContactGenerator::addNote(PersonRecord *fields)
{
    if (m_count % everyLongNote == 7) {
        fields->note = words(m_random.number(4500, 9000));
    } else if (m_random.chance(4)) {
        fields->note = words(m_random.number(1100, 2500));
    } else if (m_random.chance(20)) {
        fields->note = words(m_random.number(10, 90));
    }
}

/// Cards that came from another store have names of that store's making.
void ContactGenerator::addOrigin(SamplePerson *person)
{
    static const int lengths[] = {9, 10, 15, 16};
    const int kind = m_random.number(0, 100);
    if (kind < 75) {
        person->externalUuid = m_random.guid();
        return;
    }
    person->storeId = 2;
    person->externalIdentifier = QStringLiteral("/card/") + m_random.digits(8);
    if (kind < 85) {
        person->externalUuid = m_random.digits(lengths[m_random.number(0, 4)]);
    }
}

void ContactGenerator::addValues(SamplePerson *person)
{
    for (int left = m_random.number(0, 10) < 7 ? 1 : 2; left > 0; --left) {
        addValue(person, 3, m_random.pick(phoneLabels), telephoneNumber());
    }
    if (m_random.chance(45)) {
        addValue(person, 4, m_random.pick(placeLabels), m_random.mailAddress());
    }
    if (m_random.chance(30)) {
        addAddress(person);
    }
    if (m_random.chance(8)) {
        addValue(person, 22, QStringLiteral("_$!<HomePage>!$_"),
                 QStringLiteral("http://www.example.com/~") + m_random.digits(5));
    }
    if (m_random.chance(6)) {
        addValue(person, 23, m_random.pick(relations),
                 m_random.firstName() + QLatin1Char(' ') + m_random.lastName());
    }
    if (m_random.chance(5)) {
        addValue(person, 12, QStringLiteral("_$!<Anniversary>!$_"),
                 m_random.digits(9) + QStringLiteral(".0"));
    }
    addProfiles(person);
}

void ContactGenerator::addValue(SamplePerson *person, int property, const QString &label,
                                const QString &text)
{
    SampleValue value;
    for (const SampleValue &other : qAsConst(person->values)) {
        value.identifier += other.value.property == property ? 1 : 0;
    }
    value.guid = m_random.guid();
    value.value.property = property;
    value.value.label = m_random.chance(4) ? QString() : label;
    value.value.value = text;
    person->values << value;
}

void ContactGenerator::addParts(SamplePerson *person, int property, const QString &label,
                                const QList<PersonValueEntry> &parts)
{
    addValue(person, property, label, QString());
    person->values.last().value.entries = parts;
}

void ContactGenerator::addAddress(SamplePerson *person)
{
    const QString street = m_random.pick(streets) + QLatin1Char(' ') + m_random.digits(2);
    QList<PersonValueEntry> parts{part("Street", street), part("City", m_random.city())};
    if (m_random.chance(70)) {
        parts << part("ZIP", m_random.digits(5));
    }
    if (m_random.chance(50)) {
        parts << part("Country", QStringLiteral("Germany"));
    }
    parts << part("CountryCode", m_random.chance(50) ? QStringLiteral("de") : QStringLiteral("us"));
    addParts(person, 5, m_random.pick(placeLabels), parts);
}

void ContactGenerator::addProfiles(SamplePerson *person)
{
    const QString user = m_random.firstName().toLower() + m_random.digits(4);
    if (m_layout != ContactLayout::Ios4 && m_random.chance(6)) {
        const QString network = m_random.pick(networks);
        addParts(person, 46, network,
                 {part("username", user), part("service", network),
                  part("url", QStringLiteral("https://example.net/") + user)});
    }
    if (m_random.chance(5)) {
        addParts(person, 13, QStringLiteral("_$!<Home>!$_"),
                 {part("username", user), part("service", QStringLiteral("Jabber"))});
    }
}

QString ContactGenerator::telephoneNumber()
{
    const int kind = m_random.number(0, 10);
    if (kind < 4) {
        return QStringLiteral("+1 (408) 555-%1").arg(m_random.digits(4));
    }
    if (kind < 7) {
        return QStringLiteral("+49 30 %1").arg(m_random.digits(8));
    }
    return kind < 9 ? QStringLiteral("(415) 555-%1").arg(m_random.digits(4))
                    : m_random.telephoneNumber();
}

QString ContactGenerator::words(int size)
{
    QString text;
    while (text.size() < size) {
        text += m_random.pick(noteWords) + QLatin1Char(' ');
    }
    return text.trimmed();
}
