#pragma once

#include "recoverers/messaging/whatsappdbfile.h"
#include "recoverers/numberedmatcher.h"

/// A column and the field of a row that its values go to: a number or a text.
template<typename Fields> struct WhatsappColumn
{
    const char *name;
    qint64 Fields::*number;
    QString Fields::*text;
};

/// Base of the matchers of all four tables, whose first columns are the key and the number of the
/// entity.
template<typename Fields> class WhatsappMatcher : public NumberedMatcher
{
public:
    using Column = WhatsappColumn<Fields>;

    /// `liveKeys` are the keys of the table's live rows, ascending; borrowed.
    WhatsappMatcher(const QVector<qint64> &liveKeys, const WhatsappEntity &entity)
        : NumberedMatcher(liveKeys)
        , m_knownEntity(entity)
    {
    }

    bool matchHeader(const TableSchema &table, const QByteArray &region, int anchorPos) override;

protected:
    /// True when the types of the candidate at hand fit the table.
    virtual bool isRow() const = 0;

    /// Notes the columns that fields are read from; a missing one is never read.
    template<int count> void bindFields(const TableSchema &table, const Column (&columns)[count])
    {
        m_entity = table.columnIndex(QLatin1String("z_ent"));
        m_columns.fill(nullptr, table.columns.size());
        for (const Column &column : columns) {
            const int index = table.columnIndex(QLatin1String(column.name));
            if (index >= 0) {
                m_columns[index] = &column;
            }
        }
    }

    /// Reads the current field. Numbers and names that are covered stay empty; of prose the part in
    /// front is kept.
    void readField(RecordFields &fields, CarvedWhatsappRow<Fields> *carved,
                   QString Fields::*prose = nullptr) const;

    /// Reads all fields; returns false for a row that is cut. Names that nobody writes are cleared.
    bool readFields(const Row &row, CarvedWhatsappRow<Fields> *carved) const;

    /// Numbers the row that was just kept, if it is in sequence with its neighbours: one that is
    /// covered is not, nor one that is no row of the table.
    void numberKept(CarvedWhatsappRow<Fields> *kept, const Row &row);

    int m_anchor = -1; ///< the column of the anchor

private:
    void takeEntityAsByte();

    WhatsappEntity m_knownEntity;
    int m_entity = -1;                 ///< the column; it may be missing
    QVector<const Column *> m_columns; ///< by column; null for those that are not read
};

/// Matches rows of the table "zwachatsession".
class WhatsappDbFile::SessionMatcher : public WhatsappMatcher<WhatsappSession>
{
public:
    explicit SessionMatcher(WhatsappDbFile *recoverer);

    bool bindColumns(const TableSchema &table) override;

protected:
    bool isRow() const override;
    void readRow(const TableSchema &table, const Row &row) override;

private:
    WhatsappDbFile *m_owner;
    int m_lastMessage = -1;
    int m_contactJid = -1;
    int m_partnerName = -1;
    int m_hidden = -1;
};

/// Matches rows of the table "zwagroupmember".
class WhatsappDbFile::MemberMatcher : public WhatsappMatcher<WhatsappMember>
{
public:
    explicit MemberMatcher(WhatsappDbFile *recoverer);

    bool bindColumns(const TableSchema &table) override;

protected:
    bool isRow() const override;
    void readRow(const TableSchema &table, const Row &row) override;

private:
    WhatsappDbFile *m_owner;
    int m_contactId = -1;
    int m_chatSession = -1;
    int m_contactName = -1;
    int m_firstName = -1;
    int m_memberJid = -1;
};

/// Matches rows of the table "zwamediaitem".
class WhatsappDbFile::MediaMatcher : public WhatsappMatcher<WhatsappMedia>
{
public:
    explicit MediaMatcher(WhatsappDbFile *recoverer);

    bool bindColumns(const TableSchema &table) override;

protected:
    bool isRow() const override;
    void readRow(const TableSchema &table, const Row &row) override;

private:
    WhatsappDbFile *m_owner;
    int m_message = -1;
    int m_origin = -1;
    int m_localPath = -1;
    int m_aspectRatio = -1;
    int m_accuracy = -1;
};

/// Matches rows of the table "zwamessage".
class WhatsappDbFile::MessageMatcher : public WhatsappMatcher<WhatsappMessage>
{
public:
    explicit MessageMatcher(WhatsappDbFile *recoverer);

    bool bindColumns(const TableSchema &table) override;

protected:
    bool isRow() const override;
    void readRow(const TableSchema &table, const Row &row) override;

private:
    WhatsappDbFile *m_owner;
    int m_isFromMe = -1;
    int m_status = -1;
    int m_type = -1;
    int m_fromJid = -1;
    int m_pushName = -1;
    int m_stanzaId = -1;
    int m_text = -1;
    int m_toJid = -1;
};
