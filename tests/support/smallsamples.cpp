#include "tests/support/smallsamples.h"

#include "tests/support/testfiles.h"

QByteArray makeSmallSample(const SmallSample &sample, const QString &path, int pageSize)
{
    SampleOptions options;
    options.pageSize = pageSize;
    SampleDatabase db;
    const QString freePages = QStringLiteral("create table spare (x);"
                                             "insert into spare values (zeroblob(%1));"
                                             "drop table spare;");
    return db.create(path, options) && sample.fill(&db) && db.exec(freePages.arg(4 * pageSize))
                   && db.close()
               ? readFile(path)
               : QByteArray();
}

bool makeSmallLog(const SmallSample &sample, const QString &path, int pageSize)
{
    SampleOptions options;
    options.pageSize = pageSize;
    SampleDatabase db;
    return db.create(path + QStringLiteral(".live"), options) && db.startLog() && sample.fill(&db)
           && db.copyWithLog(path) && db.close();
}
