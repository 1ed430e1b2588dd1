#pragma once

#include "api/bookmarkrecord.h"
#include "api/calendarrecord.h"
#include "api/reminderrecord.h"

#include <QByteArray>
#include <QCryptographicHash>
#include <QDataStream>
#include <QIODevice>
#include <QSet>
#include <QVector>

/// Returns bytes that are equal for records of equal content.
template<typename... Fields> QByteArray contentOf(const Fields &...fields)
{
    QByteArray content;
    QDataStream stream(&content, QIODevice::WriteOnly);
    (stream << ... << fields);
    return content;
}

inline QByteArray contentKey(const BookmarkRecord &record)
{
    return contentOf(record.title, record.url, record.parent);
}

inline QByteArray contentKey(const CalendarRecord &record)
{
    return contentOf(record.title, record.location, record.notes, record.startDate, record.endDate,
                     record.allDay);
}

inline QByteArray contentKey(const ReminderRecord &record)
{
    return contentOf(record.title, record.location, record.calendar, record.notes, record.startDate,
                     record.completionDate, record.priority);
}

/// As contentKey(), but of few bytes: very many records may have long texts.
template<typename Record> QByteArray contentDigest(const Record &record)
{
    return QCryptographicHash::hash(contentKey(record), QCryptographicHash::Sha1);
}

/// Records in the order found, each content once.
template<typename Record> class DistinctRecords
{
public:
    void add(const Record &record)
    {
        const QByteArray key = contentDigest(record);
        if (!m_keys.contains(key)) {
            m_keys.insert(key);
            m_records.append(record);
        }
    }

    /// Takes the content out again: it still exists.
    void remove(const Record &record) { m_keys.remove(contentDigest(record)); }

    bool isEmpty() const { return m_keys.isEmpty(); }

    /// The records that were not taken out.
    QVector<Record> records() const
    {
        QVector<Record> left;
        for (const Record &record : m_records) {
            if (m_keys.contains(contentDigest(record))) {
                left.append(record);
            }
        }
        return left;
    }

private:
    QVector<Record> m_records;
    QSet<QByteArray> m_keys;
};
