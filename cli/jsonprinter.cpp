#include "cli/jsonprinter.h"

#include "cli/displaytext.h"
#include "cli/outputfile.h"
#include "cli/recordkind.h"

#include <QCborArray>
#include <QIODevice>
#include <QJsonArray>
#include <QJsonDocument>

#include <algorithm>

namespace {

// A terminal obeys some characters that JSON allows in a string as they are; escaped, they are
// still the same value to every reader.
QByteArray escaped(const QByteArray &json)
{
    QByteArray result;
    const QVector<uint> characters = QString::fromUtf8(json).toUcs4();
    if (std::none_of(characters.cbegin(), characters.cend(), isUnprintable)) {
        return QString::fromUcs4(characters.constData(), characters.size()).toUtf8();
    }
    for (const uint character : characters) {
        if (!isUnprintable(character)) {
            result += QString::fromUcs4(&character, 1).toUtf8();
            continue;
        }
        const QString units = QString::fromUcs4(&character, 1);
        for (const QChar unit : units) {
            result += "\\u" + QByteArray::number(unit.unicode(), 16).rightJustified(4, '0');
        }
    }
    return result;
}

QByteArray scalarJson(const QCborValue &value)
{
    // QJsonDocument writes whole documents only: the value goes in as an array of one.
    const QByteArray array =
        QJsonDocument(QJsonArray{value.toJsonValue()}).toJson(QJsonDocument::Compact);
    return escaped(array.mid(1, array.size() - 2));
}

QByteArray mapJson(const QCborMap &map)
{
    QByteArray json;
    for (const auto &field : map) {
        json += json.isEmpty() ? '{' : ',';
        json += scalarJson(field.first) + ':' + toJson(field.second);
    }
    return json.isEmpty() ? QByteArray("{}") : json + '}';
}

QByteArray arrayJson(const QCborArray &array)
{
    QByteArray json;
    for (const auto &element : array) {
        json += json.isEmpty() ? '[' : ',';
        json += toJson(element);
    }
    return json.isEmpty() ? QByteArray("[]") : json + ']';
}

/// Writes every record, with `separator` between two of them.
bool writeRecords(const ScanResults &results, QIODevice &out, const QByteArray &separator)
{
    QByteArray before;
    for (const RecordKind &kind : results.kinds) {
        for (unsigned i = 0; i < kind.count(); ++i) {
            if (!writeAll(out, before + toJson(recordAt(kind, i)))) {
                return false;
            }
            before = separator;
        }
    }
    return before.isEmpty() || writeAll(out, "\n");
}

} // namespace

QByteArray toJson(const QCborValue &value)
{
    if (value.isInteger()) {
        return QByteArray::number(value.toInteger()); // QJsonDocument rounds beyond 2^53
    }
    if (value.isMap()) {
        return mapJson(value.toMap());
    }
    return value.isArray() ? arrayJson(value.toArray()) : scalarJson(value);
}

bool printJsonLines(const ScanResults &results, QIODevice &out)
{
    return writeRecords(results, out, "\n");
}

bool printJson(const ScanResults &results, QIODevice &out)
{
    return writeAll(out, "[\n") && writeRecords(results, out, ",\n") && writeAll(out, "]\n");
}
