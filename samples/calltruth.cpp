#include "samples/calltruth.h"

#include <QFile>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>

namespace {

/// A JSON text with its quotes.
QByteArray quoted(const QString &text)
{
    const QByteArray array = QJsonDocument(QJsonArray{text}).toJson(QJsonDocument::Compact);
    return array.mid(1, array.size() - 2);
}

CallhistoryRecord callFromJson(const QJsonObject &object)
{
    CallhistoryRecord call;
    call.address = object.value(QLatin1String("address")).toString();
    call.date = qint64(object.value(QLatin1String("date")).toDouble());
    call.duration = object.value(QLatin1String("duration")).toInt();
    call.flags = object.value(QLatin1String("flags")).toInt();
    return call;
}

} // namespace

QByteArray callToJsonLine(const CallhistoryRecord &call)
{
    return "{\"kind\":\"call\",\"address\":" + quoted(call.address) + ",\"date\":"
           + QByteArray::number(call.date) + ",\"duration\":" + QByteArray::number(call.duration)
           + ",\"flags\":" + QByteArray::number(call.flags) + "}";
}

bool writeCallLines(const QString &path, const QVector<CallhistoryRecord> &calls)
{
    QFile file(path);
    bool ok = file.open(QIODevice::WriteOnly);
    for (const CallhistoryRecord &call : calls) {
        ok = ok && file.write(callToJsonLine(call) + '\n') > 0;
    }
    return ok && file.flush();
}

bool readCallLines(const QString &path, QVector<CallhistoryRecord> *calls, QString *error)
{
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly)) {
        *error = QStringLiteral("cannot read %1: %2").arg(path, file.errorString());
        return false;
    }
    for (int lineNumber = 1; !file.atEnd(); ++lineNumber) {
        const QJsonDocument line = QJsonDocument::fromJson(file.readLine());
        if (!line.isObject()) {
            *error = QStringLiteral("%1, line %2: not a JSON object").arg(path).arg(lineNumber);
            return false;
        }
        if (line.object().value(QLatin1String("kind")).toString() == QLatin1String("call")) {
            *calls << callFromJson(line.object());
        }
    }
    return true;
}
