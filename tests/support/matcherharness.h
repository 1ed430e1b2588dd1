#pragma once

#include "engine/recordmatcher.h"
#include "engine/signaturesearch.h"
#include "engine/sqlitedbfile.h"
#include "tests/support/databaseimage.h"
#include "tests/support/jsonrow.h"

#include <QStringList>
#include <QTemporaryDir>
#include <QVariantMap>
#include <QtTest>

/// A recoverer over a database that holds one empty table, to try its matchers on single rows.
template<typename DbFile> class MatcherHarness
{
public:
    /// False when the recoverer cannot open a database with the table.
    bool open(const QString &name, const QString &statement)
    {
        m_name = name;
        DatabaseImage image(16384, 2); // some statements do not fit into a smaller page
        image.schemaTable(name, 2, statement).leafPage(2, {});
        const QString path = m_dir.filePath(name);
        return image.save(path) && m_file.open(path) && m_file.table(name);
    }

    DbFile &file() { return m_file; }

    QStringList columns()
    {
        QStringList names;
        for (const ColumnDef &column : m_file.table(m_name)->columns) {
            names.append(column.name);
        }
        return names;
    }

    /// A cell with the values of `row` in the columns named there and NULL in all others; the last
    /// `missing` columns are left out, as in rows that are older than they are.
    QByteArray cell(const QVariantMap &row, int missing = 0)
    {
        QVariantList values;
        const QStringList names = columns();
        for (const QString &column : names.mid(0, names.size() - missing)) {
            values.append(row.value(column));
        }
        return leafCell(7, record(values));
    }

    /// How often the matcher takes a header in the cell; -1 when it cannot be bound.
    template<typename Matcher> int matches(const QByteArray &cell)
    {
        const TableSchema &table = *m_file.table(m_name);
        const QByteArray region = QByteArray(16, '\0') + cell + QByteArray(64, '\0');
        Matcher matcher(&m_file);
        if (!matcher.bindColumns(table)) {
            return -1;
        }
        RegionSignatures signatures(matcher.signatures, region);
        int count = 0;
        int pos = 0;
        for (int hit = 0; (hit = findNextSignature(signatures, pos)) >= 0;) {
            count += matcher.matchHeader(table, region, hit);
        }
        return count;
    }

    /// Compares whether the matcher takes the row with what the current test row says of it; see
    /// addValueRow().
    template<typename Matcher> void compare(QVariantMap row)
    {
        QFETCH(QString, column);
        QFETCH(QVariant, value);
        QFETCH(bool, isTaken);
        QVERIFY(columns().contains(column));
        row[column] = value;
        QCOMPARE(matches<Matcher>(cell(row)), int(isTaken));
    }

    /// The columns that the matcher needs: without any one of them it cannot be bound.
    template<typename Matcher> QString neededColumns()
    {
        QStringList needed;
        for (int i = 0; i < columns().size(); ++i) {
            TableSchema table = *m_file.table(m_name);
            table.columns[i].name = QStringLiteral("renamed");
            if (!Matcher(&m_file).bindColumns(table)) {
                needed.append(columns().at(i));
            }
        }
        return needed.join(QLatin1Char(' '));
    }

private:
    QTemporaryDir m_dir;
    QString m_name;
    DbFile m_file;
};

inline void addValueColumns()
{
    QTest::addColumn<QString>("column");
    QTest::addColumn<QVariant>("value");
    QTest::addColumn<bool>("isTaken");
}

/// A row in which one column has another value than devices write, or than most rows have.
inline void addValueRow(const char *name, const char *column, const QVariant &value, bool isTaken)
{
    QTest::newRow(name) << QString::fromLatin1(column) << value << isTaken;
}

/// `count` letters.
inline QString letters(int count)
{
    return QString(count, QLatin1Char('F'));
}
