#pragma once

#include "recoverers/communication/smsdbfile.h"
#include "recoverers/matchedanchors.h"
#include "recoverers/numberedmatcher.h"

/// Matches rows of the table "message" up to iOS 5.
class SMSDbFile::Message5Matcher : public RowMatcher
{
public:
    explicit Message5Matcher(SMSDbFile *recoverer);

    bool bindColumns(const TableSchema &table) override;
    bool matchHeader(const TableSchema &table, const QByteArray &region, int anchorPos) override;

protected:
    void readRow(const TableSchema &table, const Row &row) override;

private:
    SMSDbFile *m_owner;
    int m_date = -1;
    int m_country = -1;
};

/// Matches rows of the table "madrid_chat".
class SMSDbFile::MadridChatMatcher : public RowMatcher
{
public:
    explicit MadridChatMatcher(SMSDbFile *recoverer);

    bool bindColumns(const TableSchema &table) override;
    bool matchHeader(const TableSchema &table, const QByteArray &region, int anchorPos) override;

protected:
    void readRow(const TableSchema &table, const Row &row) override;

private:
    SMSDbFile *m_owner;
    int m_accountId = -1;
    int m_chatIdentifier = -1;
    int m_serviceName = -1;
};

/// Matches rows of the table "message" since iOS 6.
class SMSDbFile::Message6Matcher : public RowMatcher
{
public:
    explicit Message6Matcher(SMSDbFile *recoverer);

    bool bindColumns(const TableSchema &table) override;
    bool matchHeader(const TableSchema &table, const QByteArray &region, int anchorPos) override;
    void extractRecord(const TableSchema &table, const QByteArray &payload, bool isDeleted,
                       int limit) override;

    /// To be called before the table is searched again under another column list.
    void startSecondSearch();

protected:
    void readRow(const TableSchema &table, const Row &row) override;

private:
    enum Field : char {
        NoField,
        DateField,
        TextField,
        SubjectField,
        HandleField,
        ServiceField,
        RoomField,
        IsFromMeField,
        IsSentField,
        GuidField
    };
    void readField(RecordFields &fields, CarvedMessage *message) const;

    SMSDbFile *m_owner;
    int m_guid = -1;
    int m_handleId = -1;
    int m_service = -1;
    int m_text = -1;
    int m_attributedBody = -1;
    int m_version = -1;
    int m_type = -1;
    QVector<Field> m_fields; ///< by column
    MatchedAnchors m_anchors;
    bool m_isNew = false;     ///< the candidate was not matched by the first search
    bool m_isHeldNew = false; ///< the same of the row that is held back
};

/// Matches rows of the table "handle".
class SMSDbFile::Handle6Matcher : public NumberedMatcher
{
public:
    explicit Handle6Matcher(SMSDbFile *recoverer);

    bool bindColumns(const TableSchema &table) override;
    bool matchHeader(const TableSchema &table, const QByteArray &region, int anchorPos) override;

protected:
    void readRow(const TableSchema &table, const Row &row) override;

private:
    SMSDbFile *m_owner;
    int m_country = -1;
    int m_id = -1;
    int m_service = -1;
};
