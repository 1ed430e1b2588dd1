#pragma once

#include "sqliterecovery_global.h"

#include <QList>
#include <QString>

/// One part of a value that has parts, such as the street of a postal address. A plain value.
struct PersonValueEntry
{
    /// Name of the part as stored, for example "Street".
    QString key;
    /// The part's text.
    QString value;
};

/// One phone number, e-mail address, postal address and so on of a person. A plain value.
struct PersonValue
{
    /// What kind of value it is, as the address book numbers kinds: 3 phone, 4 e-mail, 5 postal
    /// address, 12 date, 13 instant message, 22 URL, 23 related name, 46 social profile.
    qint64 property = 0;
    /// Label as stored, for example "_$!<Mobile>!$_" or a text of the user's own; may be empty.
    QString label;
    /// The value; empty for a value that consists of parts.
    QString value;
    /// The parts, in the order found.
    QList<PersonValueEntry> entries;
};

/// One recovered contact. A plain value; fields that could not be read keep their defaults.
struct PersonRecord
{
    /// Row identifier of the person in the address book: read from the row, or concluded from the
    /// rows around it where nothing else is possible; 0 when unknown.
    qint64 rowId = 0;
    QString prefix;
    /// First name. Of a hidden contact without any name: the name that was shown for it.
    QString first;
    QString middle;
    QString last;
    QString suffix;
    QString firstPhonetic;
    QString middlePhonetic;
    QString lastPhonetic;
    QString nickname;
    QString organization;
    QString department;
    QString jobTitle;
    /// Birthday as stored: seconds since 2001-01-01 00:00:00 UTC, kept as text.
    QString birthday;
    /// Birthday of another calendar system, as stored.
    QString alternateBirthday;
    QString note;
    /// Date of the last change in seconds since 2001-01-01 00:00:00 UTC, as stored; 0 when it could
    /// not be read, for hidden contacts, and for live persons with recovered values.
    qint32 modificationDate = 0;
    /// The person's values, in the order found.
    QList<PersonValue> values;
};

/// What a value of a person is.
enum class PersonValueKind {
    Unknown, ///< a number that this version does not know
    Phone,
    Email,
    Address,        ///< consists of parts such as "Street" and "City"
    Date,           ///< seconds since 2001-01-01 00:00:00 UTC, kept as text
    InstantMessage, ///< consists of parts such as "username" and "service"
    Url,
    RelatedName,
    SocialProfile, ///< consists of parts such as "username" and "service"
};

/// Returns the kind that PersonValue::property stands for; Unknown for a number without a meaning.
SQLITERECOVERY_EXPORT PersonValueKind personValueKind(qint64 property);

/// Returns a label as people read it: the name inside a label of the system ("_$!<Mobile>!$_" gives
/// "Mobile", in English as stored), and any other text, an empty one included, as it is.
SQLITERECOVERY_EXPORT QString readableLabel(const QString &label);
