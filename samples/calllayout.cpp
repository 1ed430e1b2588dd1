#include "samples/calllayout.h"

namespace {

constexpr qint64 secondsFrom1970To2001 = 978307200;

QVariant textOrNull(const QString &text)
{
    return text.isNull() ? QVariant() : QVariant(text);
}

int storedFlags(const SampleCall &call)
{
    return call.otherFlags | (call.outgoing ? 1 : 0) | (call.faceTime ? 16 : 0);
}

QVariant zero(const SampleCall &)
{
    return QVariant(0);
}

QVariant null(const SampleCall &)
{
    return QVariant();
}

QVariant rowid(const SampleCall &call)
{
    return QVariant(call.rowid);
}

QVariant address(const SampleCall &call)
{
    return textOrNull(call.address);
}

QVariant name(const SampleCall &call)
{
    return textOrNull(call.name);
}

QVariant read(const SampleCall &call)
{
    return QVariant(call.read ? 1 : 0);
}

QVariant answered(const SampleCall &call)
{
    return QVariant(call.answered ? 1 : 0);
}

QVariant faceTimeData(const SampleCall &call)
{
    return call.faceTime ? QVariant(call.bytesMoved) : QVariant();
}

QVariant storeDate(const SampleCall &call)
{
    return QVariant(call.date - double(secondsFrom1970To2001));
}

QVariant participantId(const SampleCall &call)
{
    return call.participantId.isEmpty() ? QVariant() : QVariant(call.participantId);
}

QVariant serviceProvider(const SampleCall &call)
{
    return QVariant(call.faceTime ? QStringLiteral("com.apple.FaceTime")
                                  : QStringLiteral("com.apple.Telephony"));
}

const CallColumn callDate = {"date", "INTEGER",
                             [](const SampleCall &c) { return QVariant(qint64(c.date)); }};
const CallColumn callDuration = {"duration", "INTEGER",
                                 [](const SampleCall &c) { return QVariant(qint64(c.duration)); }};
const CallColumn callFlags = {"flags", "INTEGER",
                              [](const SampleCall &c) { return QVariant(storedFlags(c)); }};
const CallColumn callContact = {"id", "INTEGER",
                                [](const SampleCall &c) { return QVariant(c.contactId); }};
const CallColumn countryCode = {"country_code", "TEXT",
                                [](const SampleCall &c) { return textOrNull(c.countryCode); }};
const CallColumn networkCode = {"network_code", "TEXT",
                                [](const SampleCall &c) { return textOrNull(c.networkCode); }};
const CallColumn originalAddress = {
    "originalAddress", "TEXT", [](const SampleCall &c) { return textOrNull(c.originalAddress); }};

const CallColumn zEntity = {"Z_ENT", "INTEGER", [](const SampleCall &) { return QVariant(2); }};
const CallColumn zChanges = {"Z_OPT", "INTEGER",
                             [](const SampleCall &c) { return QVariant(c.changes); }};
const CallColumn zAnswered = {"ZANSWERED", "INTEGER", answered};
const CallColumn zCategory = {"ZCALL_CATEGORY", "INTEGER",
                              [](const SampleCall &c) { return QVariant(c.faceTime ? 2 : 1); }};
const CallColumn zCallType = {"ZCALLTYPE", "INTEGER",
                              [](const SampleCall &c) { return QVariant(c.faceTime ? 8 : 1); }};
const CallColumn zCause = {"ZDISCONNECTED_CAUSE", "INTEGER", [](const SampleCall &c) {
                               return c.answered ? QVariant() : QVariant(6);
                           }};
const CallColumn zFaceTime = {"ZFACE_TIME_DATA", "INTEGER", faceTimeData};
const CallColumn zHandleType = {"ZHANDLE_TYPE", "INTEGER", [](const SampleCall &c) {
                                    return QVariant(c.address.contains(QLatin1Char('@')) ? 3 : 2);
                                }};
const CallColumn zAvailability = {"ZNUMBER_AVAILABILITY", "INTEGER", zero};
const CallColumn zOriginated = {"ZORIGINATED", "INTEGER",
                                [](const SampleCall &c) { return QVariant(c.outgoing ? 1 : 0); }};
const CallColumn zRead = {"ZREAD", "INTEGER", read};
const CallColumn zDate = {"ZDATE", "TIMESTAMP", storeDate};
const CallColumn zDuration = {"ZDURATION", "FLOAT",
                              [](const SampleCall &c) { return QVariant(c.duration); }};
const CallColumn zDevice = {"ZDEVICE_ID", "VARCHAR", null};
const CallColumn zIsoCountry = {"ZISO_COUNTRY_CODE", "VARCHAR",
                                [](const SampleCall &c) { return textOrNull(c.isoCountry); }};
const CallColumn zLocation = {"ZLOCATION", "VARCHAR",
                              [](const SampleCall &c) { return textOrNull(c.location); }};
const CallColumn zName = {"ZNAME", "VARCHAR", name};
const CallColumn zProvider = {"ZSERVICE_PROVIDER", "VARCHAR", serviceProvider};

QVariant uniqueId(const SampleCall &call)
{
    return QVariant(call.uniqueId);
}

QVector<CallColumn> tableCallColumns(CallLayout layout)
{
    QVector<CallColumn> columns = {{"ROWID", "INTEGER PRIMARY KEY AUTOINCREMENT", rowid},
                                   {"address", "TEXT", address},
                                   callDate,
                                   callDuration,
                                   callFlags,
                                   callContact};
    if (layout >= CallLayout::Ios4) {
        columns << CallColumn{"name", "TEXT", name} << countryCode;
    }
    if (layout >= CallLayout::Ios6) {
        columns << networkCode << CallColumn{"read", "INTEGER", read}
                << CallColumn{"assisted", "INTEGER", zero}
                << CallColumn{"face_time_data", "BLOB", faceTimeData} << originalAddress;
    }
    if (layout >= CallLayout::Ios7) {
        columns << CallColumn{"answered", "INTEGER", answered};
    }
    return columns;
}

QVector<CallColumn> ios9Columns()
{
    return {{"Z_PK", "INTEGER PRIMARY KEY", rowid},
            zEntity,
            zChanges,
            zAnswered,
            zCallType,
            zCause,
            zFaceTime,
            zAvailability,
            zOriginated,
            zRead,
            zDate,
            zDuration,
            zDevice,
            zIsoCountry,
            zLocation,
            zName,
            {"ZUNIQUE_ID", "VARCHAR UNIQUE", uniqueId},
            {"ZADDRESS", "BLOB", address}};
}

QVector<CallColumn> ios10Columns()
{
    return {{"Z_PK", "INTEGER PRIMARY KEY", rowid},
            zEntity,
            zChanges,
            zAnswered,
            zCategory,
            zCallType,
            zCause,
            zFaceTime,
            zHandleType,
            zAvailability,
            zOriginated,
            zRead,
            zDate,
            zDuration,
            zDevice,
            zIsoCountry,
            zLocation,
            zName,
            zProvider,
            {"ZUNIQUE_ID", "VARCHAR UNIQUE", uniqueId},
            {"ZADDRESS", "BLOB", address}};
}

QVector<CallColumn> ios17Columns()
{
    return {{"Z_PK", "INTEGER PRIMARY KEY", rowid},
            zEntity,
            zChanges,
            zAnswered,
            zCategory,
            zCallType,
            zCause,
            zFaceTime,
            {"ZFILTERED_OUT_REASON", "INTEGER", zero},
            zHandleType,
            {"ZJUNKCONFIDENCE", "INTEGER", zero},
            zAvailability,
            zOriginated,
            zRead,
            {"ZVERIFICATIONSTATUS", "INTEGER", zero},
            zDate,
            zDuration,
            {"ZADDRESS", "VARCHAR", address},
            zIsoCountry,
            zLocation,
            zName,
            zProvider,
            {"ZUNIQUE_ID", "VARCHAR", uniqueId},
            {"ZLOCALPARTICIPANTUUID", "BLOB", null},
            {"ZOUTGOINGLOCALPARTICIPANTUUID", "BLOB", null},
            {"ZPARTICIPANTGROUPUUID", "BLOB", participantId},
            {"ZIMAGEURL", "VARCHAR", null},
            {"ZHASMESSAGE", "INTEGER", zero},
            {"ZJUNKIDENTIFICATIONCATEGORY", "VARCHAR", null},
            {"ZCONVERSATIONID", "BLOB", null}};
}

QVector<CallColumn> columnsOf(CallLayout layout)
{
    switch (layout) {
    case CallLayout::Ios9Store:
        return ios9Columns();
    case CallLayout::Ios10Store:
    case CallLayout::Ios11Store:
        return ios10Columns();
    case CallLayout::Ios17Store:
        return ios17Columns();
    default:
        return tableCallColumns(layout);
    }
}

QVector<QVector<CallColumn>> columnsOfAllLayouts()
{
    QVector<QVector<CallColumn>> all;
    for (CallLayout layout : allCallLayouts()) {
        all << columnsOf(layout);
    }
    return all;
}

} // namespace

QVector<CallLayout> allCallLayouts()
{
    return {CallLayout::Ios3,       CallLayout::Ios4,      CallLayout::Ios6,
            CallLayout::Ios7,       CallLayout::Ios9Store, CallLayout::Ios10Store,
            CallLayout::Ios11Store, CallLayout::Ios17Store};
}

QString layoutName(CallLayout layout)
{
    static const int versions[] = {3, 4, 6, 7, 9, 10, 11, 17};
    return QStringLiteral("iOS %1").arg(versions[int(layout)]);
}

bool isStore(CallLayout layout)
{
    return layout >= CallLayout::Ios9Store;
}

QString callTable(CallLayout layout)
{
    return isStore(layout) ? QStringLiteral("ZCALLRECORD") : QStringLiteral("call");
}

const QVector<CallColumn> &callColumns(CallLayout layout)
{
    static const QVector<QVector<CallColumn>> all = columnsOfAllLayouts();
    return all.at(int(layout));
}

QVariantList callRow(CallLayout layout, const SampleCall &call)
{
    const QVector<CallColumn> &columns = callColumns(layout);
    QVariantList row;
    row.reserve(columns.size());
    for (const CallColumn &column : columns) {
        row << column.value(call);
    }
    return row;
}

CallhistoryRecord expectedRecord(CallLayout layout, const SampleCall &call)
{
    CallhistoryRecord record;
    record.address = call.address;
    record.duration = qint32(call.duration);
    if (isStore(layout)) {
        record.date = qint64(storeDate(call).toDouble()) + secondsFrom1970To2001;
        record.flags = storedFlags(call) & (1 | 16);
    } else {
        record.date = qint64(call.date);
        record.flags = storedFlags(call);
    }
    return record;
}
