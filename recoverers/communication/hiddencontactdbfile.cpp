#include "recoverers/communication/hiddencontactdbfile.h"

#include "api/scanprogress.h"
#include "api/sqliterecovery.h"
#include "recoverers/communication/addressbook.h"
#include "recoverers/communication/spellings.h"
#include "recoverers/livequery.h"

#include <QRegularExpression>

namespace {

struct NamedValue
{
    const char *name;
    qint64 property;
    QStringList (*values)(const QString &spellings);
};

constexpr NamedValue NamedValues[] = {
    {"phone", 3, telephoneNumbers},  {"email", 4, mailAddresses},
    {"address", 5, wholeText},       {"date", 12, wholeText},
    {"im", 13, wholeText},           {"url", 22, webAddresses},
    {"relatednames", 23, wholeText}, {"socialprofile", 46, wholeText},
};

/// A column of the index and what it is called without its number.
struct IndexColumn
{
    QString column;
    QString name;
};

QVector<IndexColumn> indexColumns(const TableSchema &table)
{
    // The names keep the quotes of the statement.
    static const QRegularExpression pattern(
        QStringLiteral("^[\"'`\\[]?(c\\d+([a-z]+))[\"'`\\]]?$"));
    QVector<IndexColumn> columns;
    for (const ColumnDef &column : table.columns) {
        const QRegularExpressionMatch match = pattern.match(column.name);
        if (match.hasMatch()) {
            columns.append({match.captured(1), match.captured(2)});
        }
    }
    return columns;
}

void addText(const QString &name, const QString &text, PersonRecord *person)
{
    // Without their number the columns have the names that they have in the table of persons.
    for (const PersonField &field : PersonFields) {
        if (name == QLatin1String(field.column)) {
            person->*field.field = text;
        }
    }
    for (const NamedValue &kind : NamedValues) {
        if (name != QLatin1String(kind.name)) {
            continue;
        }
        const QStringList values = kind.values(text);
        for (const QString &value : values) {
            PersonValue personValue;
            personValue.property = kind.property;
            personValue.value = value;
            person->values.append(personValue);
        }
    }
}

/// The name under which the person was listed serves where the index holds no other.
void nameByDisplayName(const QString &displayName, PersonRecord *person)
{
    const bool isNamed =
        !(person->first + person->middle + person->last + person->organization + person->nickname)
             .isEmpty();
    if (!isNamed) {
        person->first = displayName;
    }
}

PersonRecord personOf(const LiveRow &row, const QVector<IndexColumn> &columns)
{
    PersonRecord person;
    QString displayName;
    person.rowId = row.integer(0);
    for (int i = 0; i < columns.size(); ++i) {
        const QString text = row.text(i + 1);
        if (columns[i].name == QLatin1String("displayname")) {
            displayName = text;
        } else {
            addText(columns[i].name, text, &person);
        }
    }
    nameByDisplayName(displayName, &person);
    return person;
}

} // namespace

HiddenContactDbFile::HiddenContactDbFile(QObject *parent)
    : SqliteDbFile(parent)
{
}

HiddenContactDbFile::~HiddenContactDbFile() = default;

void HiddenContactDbFile::setProgress(ScanProgress *newProgress, double span)
{
    setProgress(newProgress);
    m_span = span;
}

int HiddenContactDbFile::scanDeletedRecords(SqliteRecovery *resultHolder)
{
    const TableSchema *index = table(QStringLiteral("abpersonfulltextsearch_content"));
    if (!index || (progress && !progress->reportProgress(m_span))) {
        return 0;
    }
    const QVector<IndexColumn> columns = indexColumns(*index);
    QString statement = QStringLiteral("select docid");
    for (const IndexColumn &column : columns) {
        statement += QStringLiteral(", ") + column.column;
    }
    statement += QStringLiteral(" from ABPersonFullTextSearch_content where docid not in (select "
                                "rowid from abperson)");
    QSet<qint64> seen; // a damaged page may list one row many times
    LiveQuery(path).forEachRow(statement, [&](const LiveRow &row) {
        if (seen.contains(row.integer(0))) {
            return;
        }
        seen.insert(row.integer(0));
        const PersonRecord person = personOf(row, columns);
        if (hasText(person) || !person.values.isEmpty()) {
            resultHolder->m_hiddenContacts.append(new PersonRecord(person));
        }
    });
    return 0;
}
