#include "cli/jsonprinter.h"

#include "cli/displaytext.h"
#include "cli/outputfile.h"
#include "cli/report.h"

#include <QCborArray>
#include <QIODevice>
#include <QLocale>

#include <cmath>

namespace {

// Qt writes whole documents only, for which each value would have to be copied twice; and it leaves
// characters that a terminal obeys as they are.

constexpr double LargestExactWhole = 9007199254740992;

bool isEscaped(uint character)
{
    return character == '"' || character == '\\' || isUnprintable(character);
}

void appendEscaped(QByteArray *json, QChar unit)
{
    if (unit == QLatin1Char('"') || unit == QLatin1Char('\\')) {
        *json += '\\';
        *json += unit.toLatin1();
    } else if (unit == QLatin1Char('\n')) {
        *json += "\\n";
    } else {
        *json += "\\u" + QByteArray::number(unit.unicode(), 16).rightJustified(4, '0');
    }
}

void appendText(QByteArray *json, const QString &text)
{
    *json += '"';
    int plainFrom = 0;
    for (int i = 0; i < text.size();) {
        const bool isPair =
            text.at(i).isHighSurrogate() && i + 1 < text.size() && text.at(i + 1).isLowSurrogate();
        const int units = isPair ? 2 : 1;
        const uint character =
            isPair ? QChar::surrogateToUcs4(text.at(i), text.at(i + 1)) : text.at(i).unicode();
        if (isEscaped(character)) {
            *json += text.midRef(plainFrom, i - plainFrom).toUtf8();
            for (const QChar unit : text.midRef(i, units)) {
                appendEscaped(json, unit);
            }
            plainFrom = i + units;
        }
        i += units;
    }
    *json += text.midRef(plainFrom).toUtf8();
    *json += '"';
}

void appendValue(QByteArray *json, const QCborValue &value);

/// Appends the fields, each with a comma behind it.
void appendFields(QByteArray *json, const QCborMap &map)
{
    for (const auto &field : map) {
        appendText(json, field.first.toString());
        *json += ':';
        appendValue(json, field.second);
        *json += ',';
    }
}

/// Ends a list, of which each element has a comma behind it.
void closeList(QByteArray *json, char opening, char closing)
{
    if (json->endsWith(opening)) {
        *json += closing;
    } else {
        json->back() = closing;
    }
}

void appendMap(QByteArray *json, const QCborMap &map)
{
    *json += '{';
    appendFields(json, map);
    closeList(json, '{', '}');
}

void appendArray(QByteArray *json, const QCborArray &array)
{
    *json += '[';
    for (const auto &element : array) {
        appendValue(json, element);
        *json += ',';
    }
    closeList(json, '[', ']');
}

void appendNumber(QByteArray *json, double number)
{
    if (std::abs(number) < LargestExactWhole && std::floor(number) == number) {
        *json += QByteArray::number(qint64(number)); // no exponent for a date
    } else if (std::isfinite(number)) {
        *json += QByteArray::number(number, 'g', QLocale::FloatingPointShortest);
    } else {
        *json += "null";
    }
}

void appendValue(QByteArray *json, const QCborValue &value)
{
    switch (value.type()) {
    case QCborValue::String:
        return appendText(json, value.toString());
    case QCborValue::Integer:
        json->append(QByteArray::number(value.toInteger()));
        return;
    case QCborValue::Double:
        return appendNumber(json, value.toDouble());
    case QCborValue::Map:
        return appendMap(json, value.toMap());
    case QCborValue::Array:
        return appendArray(json, value.toArray());
    case QCborValue::True:
        json->append("true");
        return;
    case QCborValue::False:
        json->append("false");
        return;
    default:
        json->append("null");
    }
}

QByteArray recordJson(const RecordKind &kind, unsigned index, const QString &database)
{
    QByteArray json = R"({"kind":")" + QByteArray(kind.name) + "\",";
    if (!database.isNull()) {
        json += R"("database":)";
        appendText(&json, database);
        json += ',';
    }
    appendFields(&json, kind.record(index));
    closeList(&json, '{', '}');
    return json;
}

/// Writes every record, with `separator` between two of them.
bool writeRecords(const Report &report, QIODevice &out, const QByteArray &separator)
{
    QByteArray before;
    for (const ScannedDatabase &database : report.databases) {
        const QString place = report.isBackup ? database.place : QString();
        for (const RecordKind &kind : database.results.kinds) {
            const unsigned count = kind.count();
            for (unsigned i = 0; i < count; ++i) {
                if (!writeAll(out, before + recordJson(kind, i, place))) {
                    return false;
                }
                before = separator;
            }
        }
    }
    return before.isEmpty() || writeAll(out, "\n");
}

} // namespace

QByteArray toJson(const QCborValue &value)
{
    QByteArray json;
    appendValue(&json, value);
    return json;
}

bool printJsonLines(const Report &report, QIODevice &out)
{
    return writeRecords(report, out, "\n");
}

bool printJson(const Report &report, QIODevice &out)
{
    return writeAll(out, "[\n") && writeRecords(report, out, ",\n") && writeAll(out, "]\n");
}
