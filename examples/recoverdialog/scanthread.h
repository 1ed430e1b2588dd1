#pragma once

#include "databases.h"
#include "foundrecords.h"

#include <sqliterecovery/scanprogress.h>

#include <QThread>

#include <atomic>

/// Scans one database, and the log beside it, on a thread of its own, so that the window lives on.
/// Each object serves one scan.
class ScanThread : public QThread, private ScanProgress
{
    Q_OBJECT

public:
    explicit ScanThread(const Database &database, QObject *parent = nullptr);
    ~ScanThread() override;

    /// May be called from any thread. The scan ends soon; what was found until then is kept.
    void cancel() { m_isCanceled = true; }
    bool isCanceled() const { return m_isCanceled; }

    /// To be asked for once the thread has finished.
    const Database &database() const { return m_database; }
    const QVector<FoundRecord> &records() const { return m_records; }

Q_SIGNALS:
    void progressed(int permille);

protected:
    void run() override;

private:
    // The library calls these on the thread that scans.
    double progressValue() override;
    bool reportProgress(double step) override;
    void scanDone() override;

    void show(double share);

    const Database m_database;
    std::atomic<bool> m_isCanceled{false};
    QVector<FoundRecord> m_records;
    double m_done = 0; ///< of the scan that is running; 1 is all of it
    int m_scansDone = 0;
    int m_shown = 0;
};
