#pragma once

#include "cli/recordkind.h"

#include <QCborArray>
#include <QSet>

/// Whatever the object holds of the type, kind after kind. Asks for every record.
template<typename Recovery> QVector<QCborMap> recordsOf(ScanType type, Recovery &recovery)
{
    QVector<QCborMap> records;
    for (const RecordKind &kind : resultsOf(type, recovery).kinds) {
        for (unsigned i = 0; i < kind.count(); ++i) {
            records.append(kind.record(i));
        }
    }
    return records;
}

inline void addTexts(const QCborValue &value, QSet<QString> *texts)
{
    if (value.isString()) {
        texts->insert(value.toString());
    } else if (value.isMap()) {
        for (const auto &field : value.toMap()) {
            const bool isTime = field.first.toString().endsWith(QLatin1String("Utc"));
            addTexts(isTime ? QCborValue() : field.second, texts);
        }
    } else {
        for (const QCborValue &element : value.toArray()) {
            addTexts(element, texts);
        }
    }
}

/// Every text in the records; times beside numbers are none.
inline QSet<QString> textsOf(const QVector<QCborMap> &records)
{
    QSet<QString> texts;
    for (const QCborMap &record : records) {
        addTexts(record, &texts);
    }
    return texts;
}
