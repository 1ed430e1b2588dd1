#pragma once

#include "recoverers/communication/contactdbfile.h"
#include "recoverers/matchedanchors.h"
#include "recoverers/numberedmatcher.h"

/// Matches rows of the table "abperson".
class ContactDbFile::ABPersonMatcher : public NumberedMatcher
{
public:
    explicit ABPersonMatcher(ContactDbFile *recoverer);

    bool bindColumns(const TableSchema &table) override;
    bool matchHeader(const TableSchema &table, const QByteArray &region, int anchorPos) override;
    void extractRecord(const TableSchema &table, const QByteArray &payload, bool isDeleted,
                       int limit) override;

    /// To be called before the table is searched again under another column list.
    void startSecondSearch();

protected:
    void readRow(const TableSchema &table, const Row &row) override;

private:
    using Field = QString PersonRecord::*;

    void bindFields(const TableSchema &table);

    ContactDbFile *m_owner;
    int m_creationDate = -1;
    int m_externalUuid = -1;
    int m_isPreferredName = -1;
    QVector<int> m_textColumns; ///< those that must hold text or NULL
    QVector<Field> m_fields;    ///< by column; null for columns that are not kept
    int m_modificationDate = -1;
    MatchedAnchors m_anchors;
    bool m_isNew = false;     ///< the candidate was not matched by the first search
    bool m_isHeldNew = false; ///< the same of the row that is held back
};

/// Matches rows of the table "abmultivalue".
class ContactDbFile::ABMultivalueMatcher : public NumberedMatcher
{
public:
    explicit ABMultivalueMatcher(ContactDbFile *recoverer);

    bool bindColumns(const TableSchema &table) override;
    bool matchHeader(const TableSchema &table, const QByteArray &region, int anchorPos) override;
    /// Writes the place of the cell to the debug log, for work on the numbering. Not called in a
    /// scan: wantsLiveCells() stays false.
    void inspectLiveCell(const QByteArray &region, int cellOffset) override;

protected:
    void readRow(const TableSchema &table, const Row &row) override;

private:
    ContactDbFile *m_owner;
    int m_property = -1;
};

/// Matches rows of the table "abmultivalueentry".
class ContactDbFile::ABMultivalueEntryMatcher : public RowMatcher
{
public:
    explicit ABMultivalueEntryMatcher(ContactDbFile *recoverer);

    bool bindColumns(const TableSchema &table) override;
    bool matchHeader(const TableSchema &table, const QByteArray &region, int anchorPos) override;

protected:
    void readRow(const TableSchema &table, const Row &row) override;

private:
    ContactDbFile *m_owner;
    int m_key = -1;
};
