#pragma once

#include "engine/rowmatcher.h"
#include "recoverers/calendar_notes_safari/ios9notedbfile.h"

/// Matches the notes among the rows of the table "ziccloudsyncingobject".
class Ios9NoteDbFile::NoteMatcher : public RowMatcher
{
public:
    explicit NoteMatcher(Ios9NoteDbFile *recoverer);

    bool bindColumns(const TableSchema &table) override;
    bool matchHeader(const TableSchema &table, const QByteArray &region, int anchorPos) override;

protected:
    void readRow(const TableSchema &table, const Row &row) override;

private:
    bool isNote() const;

    Ios9NoteDbFile *m_owner;
    int m_identifier = -1;
    int m_entity = -1;
    int m_version = -1;
    int m_isMarkedForDeletion = -1;
    int m_needsFirstFetch = -1;
    int m_cloudState = -1;
    int m_noteData = -1;
    int m_creationDate = -1;
    int m_creationDate1 = -1; ///< missing in iOS 9
    int m_modificationDate = -1;
    int m_snippet = -1;
    int m_title = -1;
};
