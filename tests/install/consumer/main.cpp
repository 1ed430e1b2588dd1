// A program of someone else, written against the installed headers alone.

#include <sqliterecovery/databasecheck.h>
#include <sqliterecovery/scanprogress.h>
#include <sqliterecovery/sqliterecovery.h>
#include <sqliterecovery/walrecovery.h>

#include <QFile>

#include <cstdio>

class Progress : public ScanProgress
{
public:
    double progressValue() override { return 100; }
    bool reportProgress(double step) override
    {
        total += step;
        return true;
    }
    void scanDone() override { ++done; }

    double total = 0;
    int done = 0;
};

int main(int argc, char *argv[])
{
    const QString path = argc > 1 ? QFile::decodeName(argv[1]) : QString();
    const bool readable = checkDatabase(path) == DatabaseState::Readable;
    SqliteRecovery recovery;
    Progress progress;
    const int result = recovery.scanRecoveryForType(ScanTypeCallHistory, path, &progress);
    const CallhistoryRecord *call = recovery.getCallhistory(0);
    // No calls come from logs.
    const int logResult =
        WalRecovery().scanRecoveryForType(ScanTypeCallHistory, path, path, nullptr);
    std::printf("readable %d, result %d, calls %u: %s, done %d, progress %d, log %d\n",
                int(readable), result, recovery.getCallhistoryCount(),
                call != nullptr ? call->address.toUtf8().constData() : "none", progress.done,
                int(progress.total > 0), logResult);
    return 0;
}
