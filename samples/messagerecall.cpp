// Measures on realistic sample databases how many deleted messages a scan recovers, and what else
// it finds. With --verbose it says of every message what is wrong with it.

#include "samples/messagescan.h"
#include "samples/messagetruth.h"
#include "samples/sampledatabase.h"

#include <QCoreApplication>
#include <QFile>
#include <QTemporaryDir>
#include <QTextStream>

namespace {

constexpr int seedsOfEach = 3;

/// Returns false when the sample cannot be made or read.
bool measure(const MessagePlan &plan, const QString &path, MessageResult *result)
{
    SampleDatabase db;
    MessageSample sample;
    QFile file(path);
    if (!db.create(path, deviceOptions(plan.layout)) || !makeMessageSample(&db, plan, &sample)
        || !db.close() || !file.open(QIODevice::ReadOnly)) {
        return false;
    }
    result->add(compareMessages(sample, file.readAll(), scanMessages(path)));
    return true;
}

} // namespace

int main(int argc, char *argv[])
{
    const QCoreApplication application(argc, argv);
    const QStringList arguments = application.arguments().mid(1);
    const bool verbose = arguments == QStringList(QStringLiteral("--verbose"));
    if (!verbose && !arguments.isEmpty()) {
        QTextStream(stderr) << "usage: messagerecall [--verbose]\n";
        return 2;
    }
    QTextStream out(stdout);
    const QTemporaryDir folder;
    const QString path = folder.filePath(QStringLiteral("sms.db"));
    MessageResult total;
    for (const MessageLayout layout : allMessageLayouts()) {
        for (const MessageDeletion deletion : allMessageDeletions()) {
            MessageResult result;
            for (quint32 seed = 1; seed <= seedsOfEach; ++seed) {
                if (!measure({layout, deletion, 400, seed}, path, &result)) {
                    return 1;
                }
            }
            out << layoutName(layout) << ", " << deletionName(deletion) << ": " << result.summary()
                << '\n';
            for (const QString &detail : verbose ? result.details : QStringList()) {
                out << "    " << detail << '\n';
            }
            total.add(result);
        }
    }
    out << "all: " << total.summary() << '\n';
    return 0;
}
