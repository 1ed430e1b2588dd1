#pragma once

#include "engine/sqlitedbfile.h"

#include <QSet>

struct CallhistoryRecord;

/// Recovers deleted calls. Knows both layouts of the call history: the table "call" (iOS 7 and
/// earlier) and the table "zcallrecord" (since iOS 8), and carves each that the file has.
class CallHistoryDbFile : public SqliteDbFile
{
    Q_OBJECT
public:
    class CallhistoryMatcher;    ///< rows of "call"
    class NewCallhistoryMatcher; ///< rows of "zcallrecord"

    explicit CallHistoryDbFile(QObject *parent = nullptr);
    ~CallHistoryDbFile() override;

    int scanDeletedRecords(SqliteRecovery *resultHolder) override;

    /// Appends the call to the result holder's array, unless its address is empty or an equal call
    /// was appended before.
    void addRecord(const CallhistoryRecord &record);

private:
    QSet<QByteArray> m_seenKeys; ///< kept for both tables: a call that is in both is reported once
    SqliteRecovery *m_resultHolder = nullptr;
};
