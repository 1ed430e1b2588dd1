#pragma once

#include "engine/sqlitedbfile.h"
#include "recoverers/calendar_notes_safari/noterows.h"

/// Recovers deleted notes of the newer notes database, in which notes share the table
/// "ziccloudsyncingobject" with folders, accounts and attachments. Their texts are packed; title
/// and the first line stand in clear.
class Ios9NoteDbFile : public SqliteDbFile
{
    Q_OBJECT
public:
    class NoteMatcher; ///< rows of "ziccloudsyncingobject" that are notes

    explicit Ios9NoteDbFile(QObject *parent = nullptr);
    ~Ios9NoteDbFile() override;

    int scanDeletedRecords(SqliteRecovery *resultHolder) override;

private:
    CarvedNotes m_carved;
};
