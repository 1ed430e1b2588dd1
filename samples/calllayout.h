#pragma once

#include "api/callhistoryrecord.h"

#include <QVariant>
#include <QVector>

/// The generations of the call history database. The first four keep their calls in the table
/// "call" of call_history.db, the Store ones in the table ZCALLRECORD of CallHistory.storedata.
enum class CallLayout { Ios3, Ios4, Ios6, Ios7, Ios9Store, Ios10Store, Ios11Store, Ios17Store };

/// One call with everything that any layout stores about it. A null text is stored as NULL.
struct SampleCall
{
    qint64 rowid = 0;
    QString address;
    double date = 0; ///< seconds since 1970; whole in the layouts with a table "call"
    double duration = 0;
    bool outgoing = false;
    bool answered = false;
    bool faceTime = false;
    bool read = true;
    int otherFlags = 4;    ///< bits of the table "call" besides outgoing and FaceTime
    int contactId = -1;    ///< person in the address book; -1 when unknown
    int changes = 1;       ///< how often the row was written
    qint64 bytesMoved = 0; ///< FaceTime only
    QString name;
    QString countryCode; ///< three digits
    QString networkCode;
    QString isoCountry; ///< two letters
    QString location;
    QString originalAddress;
    QString uniqueId;
    QByteArray participantId;
};

/// A column of the table that holds the calls, and what a call has there.
struct CallColumn
{
    const char *name;
    const char *type;
    QVariant (*value)(const SampleCall &call);
};

QVector<CallLayout> allCallLayouts();
QString layoutName(CallLayout layout);
/// True for the layouts whose table is ZCALLRECORD.
bool isStore(CallLayout layout);
QString callTable(CallLayout layout);
/// The columns in the order of the table; the first is the row identifier.
const QVector<CallColumn> &callColumns(CallLayout layout);
/// The values of one row in the order of the columns.
QVariantList callRow(CallLayout layout, const SampleCall &call);
/// What recovery is to return for the row; its address is empty when it is to return nothing.
CallhistoryRecord expectedRecord(CallLayout layout, const SampleCall &call);
