#pragma once

#include <QJsonDocument>
#include <QJsonObject>
#include <QVariantMap>

/// The row of which the JSON object names columns and values. A whole number is an integer.
inline QVariantMap rowFromJson(const char *json)
{
    QVariantMap row = QJsonDocument::fromJson(json).object().toVariantMap();
    for (QVariant &value : row) {
        const qint64 whole = value.toLongLong();
        if (value.type() == QVariant::Double && value.toDouble() == double(whole)) {
            value = whole;
        }
    }
    return row;
}
