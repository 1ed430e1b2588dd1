#include "recoverers/communication/contactassembler.h"

#include <QtTest>

namespace {

PersonRecord named(const char *first, const char *last)
{
    PersonRecord person;
    person.first = QString::fromUtf8(first);
    person.last = QString::fromUtf8(last);
    return person;
}

QString toText(const PersonValue &value)
{
    QStringList texts{QString::number(value.property), value.label, value.value};
    for (const PersonValueEntry &entry : value.entries) {
        texts.append(entry.key + QLatin1Char('=') + entry.value);
    }
    return texts.join(QLatin1Char(' '));
}

QString toText(const PersonRecord &person)
{
    QStringList texts{QStringLiteral("#%1 %2 %3").arg(person.rowId).arg(person.first, person.last)};
    for (const PersonValue &value : person.values) {
        texts.append(toText(value));
    }
    return texts.join(QStringLiteral("; "));
}

} // namespace

/// The rules by which carved rows and live rows become persons. Rows as SQLite leaves them are in
/// tst_contacts.
class TestContactAssembler : public QObject
{
    Q_OBJECT
private Q_SLOTS:
    void init();
    void valuesAndPartsGoToTheirOwners();
    void valuesOfLivePersonsComeUnderTheirNames();
    void partsOfLiveValues();
    void valuesWithoutPersons();
    void copiesOfLiveRowsAreNoDeletions_data();
    void copiesOfLiveRowsAreNoDeletions();
    void nobodyTwice();
    void deletedDuplicates();
    void versionsOfOnePerson();
    void wrongIdentifiersAreForgotten();
    void incompletePersons();
    void nothingEmptyNothingUnreadable();
    void orderOfTheResult();
    void joiningIsLinear();

private:
    void live(qint64 rowid, PersonRecord person)
    {
        person.rowId = rowid;
        m_live.persons.insert(rowid, person);
    }
    CarvedPerson &person(qint64 rowid, const PersonRecord &fields, bool isIntact = true)
    {
        m_carved.persons.push_back({{rowid, isIntact, true}, fields, false});
        return m_carved.persons.back();
    }
    void value(qint64 uid, qint64 recordId, const char *text, qint64 property = 3, qint64 label = 1,
               bool isIntact = true)
    {
        m_carved.values.push_back(
            {{uid, isIntact, true}, {recordId, property, 0, label, QString::fromUtf8(text)}});
    }
    void entry(qint64 parentId, qint64 key, const char *text)
    {
        m_carved.entries.push_back({parentId, key, QString::fromUtf8(text), false});
    }
    QStringList assembled() const
    {
        QStringList texts;
        for (const PersonRecord &contact : assembleContacts(m_live, m_carved)) {
            texts.append(toText(contact));
        }
        return texts;
    }
    QStringList list(std::initializer_list<const char *> texts) const
    {
        QStringList result;
        for (const char *text : texts) {
            result.append(QString::fromUtf8(text));
        }
        return result;
    }

    LiveAddressBook m_live;
    CarvedAddressBook m_carved;
};

void TestContactAssembler::init()
{
    m_live = LiveAddressBook();
    m_carved = CarvedAddressBook();
    m_live.highestPersonId = 100;
    m_live.labels = {{1, QStringLiteral("_$!<Mobile>!$_")}, {2, QStringLiteral("Cabin")}};
    m_live.entryKeys = {{1, QStringLiteral("Street")}, {2, QStringLiteral("City")}};
}

void TestContactAssembler::valuesAndPartsGoToTheirOwners()
{
    person(5, named("Anna", "Adler"));
    person(6, named("Ben", "Becker"));
    value(11, 6, "+4930123");
    value(12, 5, "", 5, 2);
    value(13, 5, "anna@example.com", 4, 0);
    value(14, 5, "5550000", 3, 77); // a label that is gone
    entry(12, 1, "Main Street 1");
    entry(12, 2, "Springfield");
    QCOMPARE(assembled(), list({"#5 Anna Adler; 5 Cabin  Street=Main Street 1 City=Springfield; "
                                "4  anna@example.com; 3  5550000",
                                "#6 Ben Becker; 3 _$!<Mobile>!$_ +4930123"}));
}

void TestContactAssembler::valuesOfLivePersonsComeUnderTheirNames()
{
    live(7, named("Clara", "Castillo"));
    m_live.values.insert(20, {7, 3, 0, 1, QStringLiteral("111")});
    person(7, named("Clara", "Dupont")); // before she married
    value(21, 7, "222");
    value(20, 7, "110"); // the live number before it was changed
    QCOMPARE(assembled(), list({"#7 Clara Dupont", "#7 Clara Castillo; 3 _$!<Mobile>!$_ 222; "
                                                   "3 _$!<Mobile>!$_ 110"}));
}

void TestContactAssembler::partsOfLiveValues()
{
    live(7, named("Clara", "Castillo"));
    m_live.values.insert(20, {7, 5, 0, 2, QString()});
    m_live.values.insert(21, {7, 3, 0, 1, QStringLiteral("111")});
    m_live.entries.append({20, 2, QStringLiteral("Lyon")});
    value(20, 7, "", 5, 1, false); // concluded, and wrong: that number is the live one's
    entry(20, 2, "Lyon");          // still there
    entry(20, 1, "Rue 1");         // removed from the address
    entry(20, 1, "Rue 1");         // a copy
    entry(21, 1, "Rue 2");         // a telephone number has no parts
    entry(99, 1, "Nowhere");       // nobody's
    QCOMPARE(assembled(), list({"#7 Clara Castillo; 5 Cabin  Street=Rue 1"}));
}

void TestContactAssembler::valuesWithoutPersons()
{
    value(1, 100, "1001");
    value(2, 100, "1002");
    value(3, 101, "none was ever given this number");
    value(4, -1, "nor this");
    value(5, 1, "1003");
    QCOMPARE(assembled(), list({"#100  ; 3 _$!<Mobile>!$_ 1001; 3 _$!<Mobile>!$_ 1002",
                                "#1  ; 3 _$!<Mobile>!$_ 1003"}));
}

void TestContactAssembler::copiesOfLiveRowsAreNoDeletions_data()
{
    QTest::addColumn<qint64>("rowid");
    QTest::addColumn<bool>("isIntact");
    QTest::addColumn<bool>("isRecordedAsDeleted");
    QTest::addColumn<bool>("isDelivered");
    const auto row = [](const char *name, qint64 rowid, bool isIntact, bool isRecorded,
                        bool isDelivered) {
        QTest::newRow(name) << rowid << isIntact << isRecorded << isDelivered;
    };
    row("the live person's own identifier", 7, true, false, false);
    row("no identifier", 0, false, false, false);
    row("a concluded identifier", 9, false, false, false);
    row("a concluded identifier of another live person", 8, false, false, false);
    row("a concluded identifier of somebody recorded as deleted", 9, false, true, true);
    row("the identifier of somebody who is gone: a deleted duplicate", 9, true, false, true);
}

void TestContactAssembler::copiesOfLiveRowsAreNoDeletions()
{
    QFETCH(qint64, rowid);
    QFETCH(bool, isIntact);
    QFETCH(bool, isRecordedAsDeleted);
    QFETCH(bool, isDelivered);
    live(7, named("Clara", "Castillo"));
    live(8, named("Clara", "Evans"));
    m_live.values.insert(20, {7, 3, 0, 1, QStringLiteral("111")});
    m_live.values.insert(21, {7, 5, 0, 1, QString()});
    if (isRecordedAsDeleted) {
        m_live.deletedPersons.insert(rowid);
    }
    person(rowid, named("Clara", "Castillo"), isIntact);
    value(20, 7, "111");
    value(0, 7, "111", 3, 1, false);
    value(21, 7, "", 5);
    QCOMPARE(assembled().size(), isDelivered ? 1 : 0);
}

void TestContactAssembler::nobodyTwice()
{
    person(0, named("Anna", "Adler"), false);
    person(5, named("Anna", "Adler"));
    person(5, named("Anna", "Adler"));
    person(6, named("Anna", "Adler"), false);
    person(8, named("Anna", "Adler")); // of the same name, but not the same
    value(11, 5, "111");
    value(11, 5, "111");
    value(0, 5, "111", 3, 1, false);
    QCOMPARE(assembled(), list({"#5 Anna Adler; 3 _$!<Mobile>!$_ 111", "#8 Anna Adler"}));
}

/// Two persons of one name, as people delete duplicates; their rows lost their identifiers.
void TestContactAssembler::deletedDuplicates()
{
    live(7, named("Clara", "Castillo"));
    m_live.persons[7].modificationDate = 50;
    person(8, named("Clara", "Castillo"), false).person.modificationDate = 60; // her duplicate
    person(9, named("Clara", "Castillo"), false).person.modificationDate = 50; // a copy of hers
    person(10, named("Anna", "Adler"), false).person.modificationDate = 100;
    person(11, named("Anna", "Adler"), false).person.modificationDate = 200;
    person(12, named("Anna", "Adler"), false).person.modificationDate = 200; // a copy of 11
    value(1, 10, "111");
    value(2, 11, "222");
    QCOMPARE(assembled(), list({"#8 Clara Castillo", "#10 Anna Adler; 3 _$!<Mobile>!$_ 111",
                                "#11 Anna Adler; 3 _$!<Mobile>!$_ 222"}));
}

void TestContactAssembler::versionsOfOnePerson()
{
    person(5, named("Anna", "Adler")).person.modificationDate = 100;
    person(5, named("Anna", "Becker")).person.modificationDate = 200;
    person(5, named("Anna", "Zeller")).person.modificationDate = 150;
    value(11, 5, "111");
    QCOMPARE(assembled(),
             list({"#5 Anna Adler", "#5 Anna Becker; 3 _$!<Mobile>!$_ 111", "#5 Anna Zeller"}));
}

void TestContactAssembler::wrongIdentifiersAreForgotten()
{
    live(7, named("Clara", "Castillo"));
    person(7, named("Clara", "Dupont"), false); // a former version
    person(7, named("David", "Evans"), false);  // shares nothing with her
    person(101, named("Emma", "Grant"), false); // never given out
    person(9, named("Felix", "Hansen"), true);
    person(9, named("Grace", "Jensen"), false); // Felix has that number
    value(11, 9, "111");
    QCOMPARE(assembled(), list({"#7 Clara Dupont", "#0 David Evans", "#0 Emma Grant",
                                "#9 Felix Hansen; 3 _$!<Mobile>!$_ 111", "#0 Grace Jensen"}));
}

void TestContactAssembler::incompletePersons()
{
    PersonRecord clara = named("Clara", "Castillo");
    clara.note = QStringLiteral("plays the piano");
    live(7, clara);
    PersonRecord anna = named("Anna", "Adler");
    anna.note = QStringLiteral("plays the violin");
    const auto cut = [this](PersonRecord fields, const char *note) {
        fields.note = QString::fromUtf8(note);
        person(0, fields, false).isIncomplete = true;
    };
    cut(clara, "plays");
    cut(clara, "");
    cut(anna, "plays the vi");
    cut(named("Ben", "Becker"), "cut");
    person(5, anna);
    QCOMPARE(assembled(), list({"#0 Ben Becker", "#5 Anna Adler"}));
}

void TestContactAssembler::nothingEmptyNothingUnreadable()
{
    live(7, named("Clara", "Castillo"));
    person(5, PersonRecord());
    person(6, PersonRecord());
    person(8, named("An\x03na", "Adler"));
    value(11, 6, "111");
    value(12, 7, "", 5);                 // an address whose parts are lost
    value(13, 7, "\x03\x06\x0F\x01", 1); // bytes of an index
    value(14, 7, "", 5);
    entry(14, 1, "\x01Main Stree"); // read one byte early
    entry(14, 1, "lMain Stree");
    m_carved.entries.back().isMisread = true;
    QCOMPARE(assembled(), list({"#6  ; 3 _$!<Mobile>!$_ 111"}));
}

void TestContactAssembler::orderOfTheResult()
{
    live(7, named("Clara", "Castillo"));
    live(8, named("David", "Evans"));
    value(1, 50, "1");
    value(2, 8, "2");
    value(3, 40, "3");
    value(4, 7, "4");
    person(30, named("Zoe", ""));
    person(20, named("Adam", ""));
    QCOMPARE(assembled(), list({"#30 Zoe ", "#20 Adam ", "#8 David Evans; 3 _$!<Mobile>!$_ 2",
                                "#7 Clara Castillo; 3 _$!<Mobile>!$_ 4",
                                "#50  ; 3 _$!<Mobile>!$_ 1", "#40  ; 3 _$!<Mobile>!$_ 3"}));
}

void TestContactAssembler::joiningIsLinear()
{
    constexpr int count = 30000;
    for (int i = 1; i <= count; ++i) {
        live(i, named("Clara", "Castillo"));
        person(i, named("Anna", "Adler")).isIncomplete = i % 2 == 0;
        person(count + i, named("Clara", "Castillo"));
        value(i, i, "111");
        value(i, count + i, "111");
    }
    m_live.highestPersonId = 2 * count;
    QElapsedTimer timer;
    timer.start();
    const int found = assembled().size();
    QVERIFY(found > count);
    QVERIFY2(timer.elapsed() < 20000, qPrintable(QString::number(timer.elapsed())));
}

QTEST_APPLESS_MAIN(TestContactAssembler)
#include "tst_contactassembler.moc"
