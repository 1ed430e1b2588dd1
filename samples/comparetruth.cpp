// Shows what was deleted from a sample beside what a scan found. What was found and never was
// deleted is told apart by what still exists: SQLite leaves copies of rows where it moved them, and
// a scan cannot tell such a copy from a deleted row.

#include "cli/texttable.h"
#include "samples/recallreport.h"
#include "samples/truthfile.h"
#include "samples/truthitems.h"

#include <QCoreApplication>
#include <QFile>
#include <QSet>
#include <QTextStream>

namespace {

using Items = QVector<TruthItem>;
using Keys = QSet<QByteArray>;

/// Items of one result, and how many of them are shown.
struct Result
{
    const char *name;
    int shown;
    Items items;
};

/// What became of the items of one sample database.
struct Comparison
{
    Result recovered{"recovered", 8, {}};
    Result incomplete{"incomplete", 3, {}};
    Result missed{"missed", 4, {}};
    Result copies{"live copy", 3, {}};
    Result invented{"invented", 3, {}};
    int found = 0;

    int deleted() const
    {
        return recovered.items.size() + incomplete.items.size() + missed.items.size();
    }
};

Keys keysOf(const Items &items, QByteArray TruthItem::*key)
{
    Keys keys;
    for (const TruthItem &item : items) {
        keys.insert(item.*key);
    }
    return keys;
}

Comparison compare(const Items &deleted, const Items &live, const Items &found)
{
    Comparison comparison;
    comparison.found = found.size();
    const Keys foundWhole = keysOf(found, &TruthItem::identity);
    const Keys foundCores = keysOf(found, &TruthItem::core);
    for (const TruthItem &item : deleted) {
        Result &result = foundWhole.contains(item.identity) ? comparison.recovered
                         : foundCores.contains(item.core)   ? comparison.incomplete
                                                            : comparison.missed;
        result.items.append(item);
    }
    const Keys deletedCores = keysOf(deleted, &TruthItem::core);
    const Keys liveCores = keysOf(live, &TruthItem::core);
    for (const TruthItem &item : found) {
        if (!deletedCores.contains(item.core)) {
            const bool isCopy = liveCores.contains(item.core);
            (isCopy ? comparison.copies : comparison.invented).items.append(item);
        }
    }
    return comparison;
}

void addRows(const Result &result, bool isWhole, TextRows *rows)
{
    const int shown = isWhole ? result.items.size() : qMin(result.shown, result.items.size());
    for (int i = 0; i < shown; ++i) {
        rows->append(QStringList(QLatin1String(result.name)) + result.items.at(i).cells);
    }
    if (shown < result.items.size()) {
        rows->append({QLatin1String(result.name),
                      QStringLiteral("and %1 more").arg(result.items.size() - shown)});
    }
}

QString summary(const Comparison &c)
{
    const int partly = c.incomplete.items.size();
    return QStringLiteral("deleted %1, recovered %2, %3missed %4, copies of live data %5, "
                          "invented %6; recall %7, precision %8\n")
        .arg(c.deleted())
        .arg(c.recovered.items.size())
        .arg(partly > 0 ? QStringLiteral("incomplete %1, ").arg(partly) : QString())
        .arg(c.missed.items.size())
        .arg(c.copies.items.size())
        .arg(c.invented.items.size())
        .arg(percentText(c.recovered.items.size() + partly, c.deleted()))
        .arg(percentText(c.found - c.copies.items.size() - c.invented.items.size(), c.found));
}

bool show(const Comparison &comparison, bool isWhole)
{
    TextRows rows;
    for (const Result *result : {&comparison.recovered, &comparison.incomplete, &comparison.missed,
                                 &comparison.copies, &comparison.invented}) {
        addRows(*result, isWhole, &rows);
    }
    QFile out;
    return out.open(stdout, QIODevice::WriteOnly) && writeTable(out, rows)
           && out.write(summary(comparison).toUtf8()) > 0 && out.flush();
}

bool readItems(const QString &path, Items *items)
{
    QVector<QCborMap> records;
    QString error;
    if (!readTruthFile(path, &records, &error)) {
        QTextStream(stderr) << "comparetruth: " << error << '\n';
        return false;
    }
    *items = truthItems(records);
    return true;
}

} // namespace

int main(int argc, char *argv[])
{
    const QCoreApplication application(argc, argv);
    QStringList arguments = application.arguments().mid(1);
    const bool isWhole = arguments.removeAll(QStringLiteral("--all")) > 0;
    if (arguments.size() != 3) {
        QTextStream(stderr) << "usage: comparetruth [--all] DELETED.jsonl LIVE.jsonl FOUND.jsonl\n";
        return 2;
    }
    Items deleted;
    Items live;
    Items found;
    if (!readItems(arguments.at(0), &deleted) || !readItems(arguments.at(1), &live)
        || !readItems(arguments.at(2), &found)) {
        return 1;
    }
    return show(compare(deleted, live, found), isWhole) ? 0 : 1;
}
