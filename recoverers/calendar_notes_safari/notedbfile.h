#pragma once

#include "engine/sqlitedbfile.h"
#include "recoverers/calendar_notes_safari/noterows.h"

#include <QSet>

/// Recovers deleted notes of the older notes database: rows of the table "znote", and their texts,
/// which are HTML, from the table "znotebody".
class NoteDbFile : public SqliteDbFile
{
    Q_OBJECT
public:
    class NoteMatcher;     ///< rows of "znote"
    class NotebodyMatcher; ///< rows of "znotebody"

    explicit NoteDbFile(QObject *parent = nullptr);
    ~NoteDbFile() override;

    int scanDeletedRecords(SqliteRecovery *resultHolder) override;

private:
    template<typename Matcher> bool carve(const TableSchema *table, double span);
    void carve();
    bool isPageOfLiveBody(const TableSchema &bodies, quint32 pageNo);

    CarvedNotes m_carved;
    QSet<quint32> m_pagesInUse; ///< overflow pages of live bodies
    bool m_arePagesKnown = false;
};
