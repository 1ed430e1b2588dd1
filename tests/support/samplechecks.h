#pragma once

#include "samples/sampledatabase.h"

#include <QVector>
#include <QtTest>

#include <initializer_list>

// What the tests of all kinds do with their sample databases.

/// Adds a row for every layout, deletion and size of pages, in the columns "layout", "deletion" and
/// "pageSize".
template<typename Layout, typename Deletion>
void addSampleRows(const QVector<Layout> &layouts, const QVector<Deletion> &deletions,
                   std::initializer_list<int> pageSizes = {4096})
{
    QTest::addColumn<int>("layout");
    QTest::addColumn<int>("deletion");
    QTest::addColumn<int>("pageSize");
    for (const Layout layout : layouts) {
        for (const Deletion deletion : deletions) {
            for (const int pageSize : pageSizes) {
                QTest::addRow("%s, %s, pages of %d bytes", qPrintable(layoutName(layout)),
                              qPrintable(deletionName(deletion)), pageSize)
                    << int(layout) << int(deletion) << pageSize;
            }
        }
    }
}

/// Lives the plan through in a new file. Returns false when SQLite refuses a step.
template<typename Plan, typename Sample>
bool makeSampleFile(const QString &path, const SampleOptions &options,
                    bool (*live)(SampleDatabase *, const Plan &, Sample *), const Plan &plan,
                    Sample *sample)
{
    SampleDatabase db;
    return db.create(path, options) && live(&db, plan, sample) && db.close();
}

/// The numbers of a comparison, and a line for each fault.
template<typename Result> QByteArray detailsOf(const Result &result)
{
    return (result.summary() + QLatin1Char('\n') + result.details.join(QLatin1Char('\n'))).toUtf8();
}

inline int percent(int part, int whole)
{
    return whole == 0 ? 100 : part * 100 / whole;
}
