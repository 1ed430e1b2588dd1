#include "samples/contacttruth.h"

#include <algorithm>

namespace {

using Field = QString PersonRecord::*;

constexpr Field textFields[] = {&PersonRecord::prefix,
                                &PersonRecord::first,
                                &PersonRecord::middle,
                                &PersonRecord::last,
                                &PersonRecord::suffix,
                                &PersonRecord::firstPhonetic,
                                &PersonRecord::middlePhonetic,
                                &PersonRecord::lastPhonetic,
                                &PersonRecord::nickname,
                                &PersonRecord::organization,
                                &PersonRecord::department,
                                &PersonRecord::jobTitle,
                                &PersonRecord::birthday,
                                &PersonRecord::alternateBirthday,
                                &PersonRecord::note};

bool isNameless(const PersonRecord &person)
{
    return sameTexts(person, PersonRecord());
}

bool samePerson(const PersonRecord &a, const PersonRecord &b)
{
    return sameTexts(a, b) && a.modificationDate == b.modificationDate;
}

/// True when both begin alike for longer than chance allows: a note of which an overflow page was
/// used again has other bytes in its middle.
bool isDamaged(const QString &found, const QString &text)
{
    constexpr int enough = 100;
    return text.size() >= enough && found.startsWith(text.leftRef(enough));
}

/// True when `found` is the person with some field cut, damaged or missing, and one that is whole.
bool isCutOf(const PersonRecord &found, const PersonRecord &person)
{
    int whole = 0;
    for (const Field field : textFields) {
        if (!(person.*field).startsWith(found.*field) && !isDamaged(found.*field, person.*field)) {
            return false;
        }
        whole += !(found.*field).isEmpty() && found.*field == person.*field;
    }
    return whole > 0;
}

bool samePart(const PersonValueEntry &a, const PersonValueEntry &b)
{
    return a.key == b.key && a.value == b.value;
}

bool hasPart(const PersonValue &value, const PersonValueEntry &part)
{
    return std::any_of(value.entries.cbegin(), value.entries.cend(),
                       [&part](const PersonValueEntry &e) { return samePart(e, part); });
}

int rightParts(const PersonValue &found, const PersonValue &value)
{
    return int(std::count_if(found.entries.cbegin(), found.entries.cend(),
                             [&value](const auto &part) { return hasPart(value, part); }));
}

/// True when `found` is the value, whatever parts it lacks or has too many.
bool isOf(const PersonValue &found, const PersonValue &value)
{
    return found.property == value.property && found.label == value.label
           && found.value == value.value
           && (value.entries.isEmpty() || rightParts(found, value) > 0);
}

/// Compares one scan with the truth; every found person and value is judged once.
class Comparison
{
public:
    explicit Comparison(const ContactSample &sample)
        : m_sample(sample)
        , m_rows(sample.deletedRows + sample.deletedValueRows)
    {
        for (const SamplePerson &person : m_rows) {
            m_recoveredValues << QVector<int>(person.values.size(), 0);
        }
        m_isRecovered.fill(false, sample.deletedRows.size());
        m_isFormerFound.fill(false, sample.formerVersions.size());
    }

    void judge(const PersonRecord &found);
    ContactReport report();

private:
    bool judgeDeleted(const PersonRecord &found);
    bool judgeFormer(const PersonRecord &found);
    bool judgeLive(const PersonRecord &found);
    bool judgeCut(const PersonRecord &found);
    void recover(int row, const PersonRecord &found);
    void judgeValues(const PersonRecord &found, qint64 personId);
    void judgeValue(const PersonValue &value, qint64 personId);
    bool recoverValue(const PersonValue &value, qint64 personId);
    void countWrongParts(const PersonValue &found, const PersonValue &value, qint64 personId);
    bool isLiveValue(const PersonValue &value) const;
    void count(int *counter, const char *what, const QString &detail);
    void countPersons();
    void countValues(int row);
    void countParts(const SampleValue &value, int recovered);

    const ContactSample &m_sample;
    QVector<SamplePerson> m_rows;            ///< deleted persons, then live ones' deleted values
    QVector<QVector<int>> m_recoveredValues; ///< for each row's values: parts found + 1; 0: missed
    QVector<bool> m_isRecovered;
    QVector<bool> m_isFormerFound;
    ContactReport m_report;
};

void Comparison::judge(const PersonRecord &found)
{
    if (isNameless(found)) {
        ++m_report.nameless;
        judgeValues(found, found.rowId);
        if (found.values.isEmpty()) {
            count(&m_report.invented, "empty contact", contactText(found));
        }
        return;
    }
    if (!judgeDeleted(found) && !judgeFormer(found) && !judgeLive(found) && !judgeCut(found)) {
        count(&m_report.invented, "invented person", contactText(found));
    }
}

bool Comparison::judgeDeleted(const PersonRecord &found)
{
    for (int i = 0; i < m_sample.deleted.size(); ++i) {
        if (samePerson(found, m_sample.deleted[i])) {
            recover(i, found);
            return true;
        }
    }
    return false;
}

bool Comparison::judgeFormer(const PersonRecord &found)
{
    for (int i = 0; i < m_sample.formerVersions.size(); ++i) {
        const PersonRecord &former = m_sample.formerVersions[i];
        if (!samePerson(found, former)) {
            continue;
        }
        ++m_report.formerVersions;
        if (m_isFormerFound[i]) {
            count(&m_report.repeated, "repeated former version", contactText(found));
        }
        m_isFormerFound[i] = true;
        judgeValues(found, former.rowId);
        return true;
    }
    return false;
}

bool Comparison::judgeLive(const PersonRecord &found)
{
    const auto live = std::find_if(
        m_sample.live.cbegin(), m_sample.live.cend(), [&found](const PersonRecord &person) {
            return sameTexts(found, person)
                   && (found.rowId == person.rowId
                       || found.modificationDate == person.modificationDate);
        });
    if (live == m_sample.live.cend()) {
        return false;
    }
    // Of a live person only values are to come, and no date.
    if (found.values.isEmpty() || found.modificationDate != 0) {
        count(&m_report.copies, "live person", contactText(found));
    }
    judgeValues(found, live->rowId);
    return true;
}

bool Comparison::judgeCut(const PersonRecord &found)
{
    for (int i = 0; i < m_sample.deleted.size(); ++i) {
        if (isCutOf(found, m_sample.deleted[i])) {
            count(&m_report.cut, "cut person", contactText(found));
            recover(i, found);
            return true;
        }
    }
    for (const PersonRecord &former : m_sample.formerVersions) {
        if (isCutOf(found, former)) {
            count(&m_report.cut, "cut former version", contactText(found));
            judgeValues(found, former.rowId);
            return true;
        }
    }
    return false;
}

void Comparison::recover(int row, const PersonRecord &found)
{
    const PersonRecord &person = m_sample.deleted[row];
    if (m_isRecovered[row]) {
        count(&m_report.repeated, "repeated person", contactText(found));
    }
    m_isRecovered[row] = true;
    if (found.rowId == 0) {
        ++m_report.unknownRowids;
    } else if (found.rowId != person.rowId) {
        count(&m_report.wrongRowids, "wrong row identifier",
              QStringLiteral("%1 instead of %2: ").arg(found.rowId).arg(person.rowId)
                  + contactText(found));
    }
    judgeValues(found, person.rowId);
}

void Comparison::judgeValues(const PersonRecord &found, qint64 personId)
{
    for (const PersonValue &value : found.values) {
        judgeValue(value, personId);
    }
}

void Comparison::judgeValue(const PersonValue &value, qint64 personId)
{
    const QString detail = QStringLiteral("of %1: ").arg(personId) + contactText(value);
    if (recoverValue(value, personId)) {
        return;
    }
    for (const SamplePerson &person : qAsConst(m_rows)) {
        const bool isHis =
            std::any_of(person.values.cbegin(), person.values.cend(),
                        [&value](const SampleValue &v) { return isOf(value, v.value); });
        if (isHis) {
            const bool isRepeated = person.fields.rowId == personId;
            count(isRepeated ? &m_report.repeated : &m_report.wrongPersons,
                  isRepeated ? "repeated value" : "value under another person",
                  detail + QStringLiteral(" belongs to %1").arg(person.fields.rowId));
            return;
        }
    }
    if (isLiveValue(value)) {
        count(&m_report.copies, "live value", detail);
    } else {
        count(&m_report.invented, "invented value", detail);
    }
}

/// Finds the value among those deleted of the person that were not found before.
bool Comparison::recoverValue(const PersonValue &value, qint64 personId)
{
    for (int row = 0; row < m_rows.size(); ++row) {
        const QVector<SampleValue> &values = m_rows[row].values;
        for (int i = 0; i < values.size() && m_rows[row].fields.rowId == personId; ++i) {
            if (m_recoveredValues[row][i] == 0 && isOf(value, values[i].value)) {
                m_recoveredValues[row][i] = 1 + rightParts(value, values[i].value);
                countWrongParts(value, values[i].value, personId);
                return true;
            }
        }
    }
    return false;
}

void Comparison::countWrongParts(const PersonValue &found, const PersonValue &value,
                                 qint64 personId)
{
    for (const PersonValueEntry &part : found.entries) {
        if (!hasPart(value, part)) {
            count(&m_report.wrongParts, "wrong part",
                  QStringLiteral("%1=\"%2\" of %3: ").arg(part.key, part.value).arg(personId)
                      + contactText(value));
        }
    }
}

bool Comparison::isLiveValue(const PersonValue &value) const
{
    return std::any_of(m_sample.live.cbegin(), m_sample.live.cend(), [&value](const auto &person) {
        return std::any_of(person.values.cbegin(), person.values.cend(),
                           [&value](const PersonValue &v) { return isOf(value, v); });
    });
}

void Comparison::count(int *counter, const char *what, const QString &detail)
{
    ++*counter;
    m_report.details << QLatin1String(what) + QStringLiteral(": ") + detail;
}

void Comparison::countPersons()
{
    m_report.persons.deleted = m_sample.deletedRows.size();
    for (int i = 0; i < m_isRecovered.size(); ++i) {
        m_report.persons.recovered += m_isRecovered[i];
        if (!m_isRecovered[i] && isRefused(m_sample.deletedRows[i])) {
            ++m_report.persons.refused;
        } else if (!m_isRecovered[i]) {
            m_report.details << QStringLiteral("missed person: ")
                                    + contactText(m_sample.deletedRows[i].fields);
        }
    }
}

void Comparison::countValues(int row)
{
    const QVector<SampleValue> &values = m_rows[row].values;
    m_report.values.deleted += values.size();
    for (int i = 0; i < values.size(); ++i) {
        const int found = m_recoveredValues[row][i];
        m_report.values.recovered += found > 0;
        m_report.values.refused += found == 0 && isRefused(values[i]);
        if (found == 0 && !isRefused(values[i])) {
            m_report.details << QStringLiteral("missed value %1 of %2: ")
                                        .arg(values[i].uid)
                                        .arg(m_rows[row].fields.rowId)
                                    + contactText(values[i].value);
        }
        countParts(values[i], std::max(found - 1, 0));
    }
}

void Comparison::countParts(const SampleValue &value, int recovered)
{
    const int missed = value.value.entries.size() - recovered;
    m_report.parts.deleted += value.value.entries.size();
    m_report.parts.recovered += recovered;
    m_report.parts.refused += isRefused(value) ? missed : 0;
}

ContactReport Comparison::report()
{
    countPersons();
    for (int row = 0; row < m_rows.size(); ++row) {
        countValues(row);
    }
    return m_report;
}

QString countText(const char *what, const ContactCount &count)
{
    return QStringLiteral("%1 %2 of %3 (%4 refused, %5 missed)")
        .arg(QLatin1String(what))
        .arg(count.recovered)
        .arg(count.deleted)
        .arg(count.refused)
        .arg(count.missed());
}

} // namespace

void ContactCount::add(const ContactCount &other)
{
    deleted += other.deleted;
    refused += other.refused;
    recovered += other.recovered;
}

void ContactReport::add(const ContactReport &other)
{
    persons.add(other.persons);
    values.add(other.values);
    parts.add(other.parts);
    for (const auto counter :
         {&ContactReport::formerVersions, &ContactReport::cut, &ContactReport::nameless,
          &ContactReport::unknownRowids, &ContactReport::wrongRowids, &ContactReport::wrongPersons,
          &ContactReport::wrongParts, &ContactReport::copies, &ContactReport::repeated,
          &ContactReport::invented}) {
        this->*counter += other.*counter;
    }
    details << other.details;
}

QString ContactReport::summary() const
{
    return countText("persons", persons) + QStringLiteral(", ") + countText("values", values)
           + QStringLiteral(", ") + countText("parts", parts)
           + QStringLiteral(", %1 former versions, %2 cut, %3 nameless, rowids: %4 unknown, "
                            "%5 wrong; values under another person: %6, ")
                 .arg(formerVersions)
                 .arg(cut)
                 .arg(nameless)
                 .arg(unknownRowids)
                 .arg(wrongRowids)
                 .arg(wrongPersons)
           + QStringLiteral("wrong parts %1, copies %2, repeated %3, invented %4")
                 .arg(wrongParts)
                 .arg(copies)
                 .arg(repeated)
                 .arg(invented);
}

ContactReport compareContacts(const ContactSample &sample, const QVector<PersonRecord> &found)
{
    Comparison comparison(sample);
    for (const PersonRecord &person : found) {
        comparison.judge(person);
    }
    return comparison.report();
}

bool sameTexts(const PersonRecord &a, const PersonRecord &b)
{
    return std::all_of(std::begin(textFields), std::end(textFields),
                       [&](Field field) { return a.*field == b.*field; });
}

QString contactText(const PersonRecord &person)
{
    QStringList texts;
    for (const Field field : textFields) {
        if (!(person.*field).isEmpty()) {
            texts << (person.*field).left(40);
        }
    }
    for (const PersonValue &value : person.values) {
        texts << contactText(value);
    }
    return QStringLiteral("%1 (%2) ").arg(person.rowId).arg(person.modificationDate)
           + texts.join(QLatin1String(" | "));
}

QString contactText(const PersonValue &value)
{
    QString text = QStringLiteral("%1 %2 \"%3\"").arg(value.property).arg(value.label, value.value);
    for (const PersonValueEntry &entry : value.entries) {
        text += QStringLiteral(" %1=\"%2\"").arg(entry.key, entry.value);
    }
    return text;
}
