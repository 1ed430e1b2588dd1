#pragma once

#include <QByteArray>
#include <QCborMap>
#include <QStringList>
#include <QVector>

/// The smallest thing that a scan recovers or misses: a call, the fields of a person, one value of
/// a person, one message, an event, a reminder.
struct TruthItem
{
    /// Equal for items that are equal in all that a user sees, also in whom they belong to.
    QByteArray identity;
    /// Equal for items with the same main contents: the name, the value, the address of a page, the
    /// message's identifier or else its date and text.
    QByteArray core;
    /// How to show it: what it is, and its contents.
    QStringList cells;
};

/// Takes records apart, in their order.
QVector<TruthItem> truthItems(const QVector<QCborMap> &records);
