#pragma once

#include "engine/recordmatcher.h"
#include "recoverers/communication/callhistorydbfile.h"

/// Matches rows of the table "call".
class CallHistoryDbFile::CallhistoryMatcher : public RecordMatcher
{
public:
    explicit CallhistoryMatcher(CallHistoryDbFile *recoverer);

    bool bindColumns(const TableSchema &table) override;
    bool matchHeader(const TableSchema &table, const QByteArray &region, int anchorPos) override;
    void extractRecord(const TableSchema &table, const QByteArray &payload, bool isDeleted,
                       int limit) override;

private:
    CallHistoryDbFile *m_owner;
    int m_address = -1;
    int m_date = -1;
    int m_duration = -1;
    int m_flags = -1;
    int m_countryCode = -1;       ///< missing before iOS 4
    QVector<qint64> m_cellPrefix; ///< kept, so that a candidate needs no list of its own
};

/// Matches rows of the table "zcallrecord".
class CallHistoryDbFile::NewCallhistoryMatcher : public RecordMatcher
{
public:
    explicit NewCallhistoryMatcher(CallHistoryDbFile *recoverer);

    bool bindColumns(const TableSchema &table) override;
    bool matchHeader(const TableSchema &table, const QByteArray &region, int anchorPos) override;
    void extractRecord(const TableSchema &table, const QByteArray &payload, bool isDeleted,
                       int limit) override;

private:
    CallHistoryDbFile *m_owner;
    int m_answered = -1;
    int m_faceTimeData = -1;
    int m_originated = -1;
    int m_date = -1;
    int m_address = -1;
    int m_isoCountryCode = -1;
    int m_uniqueId = -1;
    int m_duration = -1; ///< read where present, not required
    QVector<qint64> m_cellPrefix;
};
