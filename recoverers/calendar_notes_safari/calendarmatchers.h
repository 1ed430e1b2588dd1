#pragma once

#include "engine/rowmatcher.h"
#include "engine/serialtype.h"
#include "recoverers/calendar_notes_safari/calendardbfile.h"

/// Matches rows of the table "calendaritem".
class CalendarDbFile::CalendarItemMatcher : public RowMatcher
{
public:
    explicit CalendarItemMatcher(CalendarDbFile *recoverer);

    bool bindColumns(const TableSchema &table) override;
    bool matchHeader(const TableSchema &table, const QByteArray &region, int anchorPos) override;
    /// Takes one byte for each type but the first, and ends where text begins: what is missing then
    /// counts as NULL. So a row that is older than the table's last columns is read as well. Where
    /// a type takes more bytes this goes wrong, and matchHeader() puts it right.
    int readSerialTypes(QIODevice &device, int count, QVector<qint64> &out) override;

protected:
    void readRow(const TableSchema &table, const Row &row) override;

private:
    /// `isSound` tells that the identifier behind the texts is whole, and on the same page: then
    /// nothing covers them, and they are kept whatever they hold.
    void readItem(const Row &row, bool isSound);
    void findHeaderEnd(const QByteArray &region, int anchorPos);
    bool takeHeader(const QByteArray &region, int anchorPos, int length);

    CalendarDbFile *m_owner;
    int m_uuid = -1;
    int m_uniqueIdentifier = -1;
    int m_hidden = -1;
    int m_hasRecurrences = -1;
    int m_hasAttendees = -1;
    int m_entityType = -1;
    int m_priority = -1;
    int m_summary = -1;
    int m_locationId = -1; ///< this and the next ones are read where present, not required
    int m_description = -1;
    int m_startDate = -1;
    int m_endDate = -1;
    int m_allDay = -1;
    int m_calendarId = -1;
    int m_completionDate = -1;
    QVector<SerialClass> m_declared; ///< by column; NULL for columns of numbers
    QVector<qint64> m_behindAnchor;  ///< kept, so that a candidate needs no list of its own
};

/// Matches rows of the table "event".
class CalendarDbFile::EventItemMatcher : public RowMatcher
{
public:
    explicit EventItemMatcher(CalendarDbFile *recoverer);

    bool bindColumns(const TableSchema &table) override;
    bool matchHeader(const TableSchema &table, const QByteArray &region, int anchorPos) override;

protected:
    void readRow(const TableSchema &table, const Row &row) override;

private:
    void readEvent(const TableSchema &table, const Row &row, bool isSound);

    CalendarDbFile *m_owner;
    int m_uniqueIdentifier = -1;
};

/// Matches rows of the table "location".
class CalendarDbFile::LocationMatcher : public RowMatcher
{
public:
    explicit LocationMatcher(CalendarDbFile *recoverer);

    bool bindColumns(const TableSchema &table) override;
    bool matchHeader(const TableSchema &table, const QByteArray &region, int anchorPos) override;
    /// Writes the place of the cell to the debug log, for work on the matcher. Not called in a
    /// scan: wantsLiveCells() stays false.
    void inspectLiveCell(const QByteArray &region, int cellOffset) override;

protected:
    void readRow(const TableSchema &table, const Row &row) override;

private:
    CalendarDbFile *m_owner;
    int m_itemOwnerId = -1;
    int m_title = -1;
    int m_latitude = -1;
    int m_longitude = -1;
    int m_addressBookId = -1;
    int m_radius = -1;
    int m_alarmOwnerId = -1;
    QVector<SerialClass> m_declared; ///< by column; NULL for columns of numbers
};
