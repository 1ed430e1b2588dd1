// Scans a file with every recoverer. The first byte says as which kind, and in its upper half after
// how many reports the scan is stopped; the rest is the file.

#include "api/databasecheck.h"
#include "api/scanprogress.h"
#include "api/sqliterecovery.h"
#include "fuzz/fuzzsupport.h"
#include "fuzz/pagemutator.h"
#include "fuzz/resultchecks.h"

namespace {

class StoppingProgress final : public ScanProgress
{
public:
    explicit StoppingProgress(int reports)
        : m_reportsLeft(reports)
    {
    }

    double progressValue() override { return 100; }
    bool reportProgress(double step) override
    {
        require(step >= 0, "progress goes on");
        return --m_reportsLeft > 0;
    }
    void scanDone() override { ++doneCalls; }

    int doneCalls = 0;

private:
    int m_reportsLeft;
};

} // namespace

extern "C" size_t LLVMFuzzerCustomMutator(uint8_t *data, size_t size, size_t maxSize, unsigned seed)
{
    return mutatePages(data, size, maxSize, seed, 1);
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    static ScratchFile file("database");
    if (size == 0) {
        return 0;
    }
    file.write(reinterpret_cast<const char *>(data) + 1, size - 1);
    const int type = data[0] & 0x0F;
    const int stop = data[0] >> 4;
    StoppingProgress progress(stop * stop);
    SqliteRecovery recovery;
    const int result = recovery.scanRecoveryForType(type, file.path(), stop ? &progress : nullptr);
    require(result == (type <= ScanTypeIos9Notes || type == ScanTypeWeChat ? 0 : -1),
            "the result tells whether the kind is known");
    require(progress.doneCalls == (stop ? 1 : 0), "the end is reported once");
    checkResults(recovery, qint64(size));
    if (stop == 0) { // as a program does that found nothing
        whyNothingFound(type, file.path());
    }
    releaseNotes(recovery);
    return 0;
}
