#pragma once

#include "engine/rowmatcher.h"
#include "recoverers/calendar_notes_safari/notedbfile.h"

/// Matches rows of the table "znote".
class NoteDbFile::NoteMatcher : public RowMatcher
{
public:
    explicit NoteMatcher(NoteDbFile *recoverer);

    bool bindColumns(const TableSchema &table) override;
    bool matchHeader(const TableSchema &table, const QByteArray &region, int anchorPos) override;

protected:
    void readRow(const TableSchema &table, const Row &row) override;

private:
    NoteDbFile *m_owner;
    int m_title = -1;
    int m_creationDate = -1;
    int m_modificationDate = -1; ///< read where present, not required
    int m_guid = -1;
    int m_summary = -1;
};

/// Matches rows of the table "znotebody".
class NoteDbFile::NotebodyMatcher : public RowMatcher
{
public:
    explicit NotebodyMatcher(NoteDbFile *recoverer);

    bool bindColumns(const TableSchema &table) override;
    bool matchHeader(const TableSchema &table, const QByteArray &region, int anchorPos) override;
    /// A text that spills is rebuilt as far as its overflow pages are still its own.
    QByteArray readPayload(const QByteArray &region, QIODevice &device,
                           const DatabaseHeader &header, qint64 recordStart,
                           int headerLength) override;

protected:
    void readRow(const TableSchema &table, const Row &row) override;

private:
    NoteDbFile *m_owner;
    const TableSchema *m_table = nullptr;
    int m_entity = -1;
    int m_content = -1;
    int m_contentReference = -1;
    int m_representation = -1;
};
