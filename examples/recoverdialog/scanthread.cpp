#include "scanthread.h"

#include <sqliterecovery/scantype.h>
#include <sqliterecovery/sqliterecovery.h>
#include <sqliterecovery/walrecovery.h>

namespace {

/// How many times a scan takes the span of progress, at most; see scanprogress.h.
int searchesOf(int type)
{
    switch (type) {
    case ScanTypeContacts:
        return 4;
    case ScanTypeMessages:
        return 3;
    default:
        return 1;
    }
}

} // namespace

ScanThread::ScanThread(const Database &database, QObject *parent)
    : QThread(parent)
    , m_database(database)
{
}

ScanThread::~ScanThread()
{
    cancel();
    wait();
}

void ScanThread::run()
{
    SqliteRecovery recovery;
    recovery.scanRecoveryForType(m_database.type, m_database.path, this);
    m_records = recordsOf(recovery);
    if (!m_database.logPath.isEmpty() && !isCanceled()) {
        WalRecovery log;
        log.scanRecoveryForType(m_database.type, m_database.path, m_database.logPath, this);
        m_records += recordsOf(log);
    }
}

double ScanThread::progressValue()
{
    return 1.0 / searchesOf(m_database.type);
}

bool ScanThread::reportProgress(double step)
{
    // The steps add up to the whole only about.
    m_done = qMin(m_done + step, 1.0);
    show(m_done);
    return !m_isCanceled;
}

void ScanThread::scanDone()
{
    show(1);
    ++m_scansDone;
    m_done = 0;
}

/// A step comes for every page: a signal for each would drown the window.
void ScanThread::show(double share)
{
    const int scans = m_database.logPath.isEmpty() ? 1 : 2;
    const int permille = int((m_scansDone + share) * 1000 / scans);
    if (permille > m_shown) {
        m_shown = permille;
        Q_EMIT progressed(permille);
    }
}
