// Prints reports of arbitrary records in every form, and reads back what can be read.

#include "api/callhistoryrecord.h"
#include "cli/csvprinter.h"
#include "cli/displaytext.h"
#include "cli/htmlprinter.h"
#include "cli/jsonprinter.h"
#include "cli/recordmaps.h"
#include "cli/report.h"
#include "cli/textprinter.h"
#include "fuzz/fuzzsupport.h"
#include "fuzz/inventedrecords.h"

#include <QBuffer>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>

namespace {

QByteArray printed(bool (*print)(const Report &, QIODevice &), const Report &report)
{
    QBuffer out;
    out.open(QIODevice::WriteOnly);
    require(print(report, out), "a buffer takes everything");
    return out.data();
}

int recordCount(const Report &report)
{
    unsigned count = 0;
    for (const ScannedDatabase &database : report.databases) {
        for (const RecordKind &kind : database.results.kinds) {
            count += kind.count();
        }
    }
    return int(count);
}

void checkJson(const Report &report)
{
    const QByteArray lines = printed(printJsonLines, report);
    require(lines.count('\n') == recordCount(report), "each record is a line");
    for (const QByteArray &line : lines.split('\n')) {
        require(line.isEmpty() || QJsonDocument::fromJson(line).isObject(), "a line is an object");
    }
    const QJsonDocument all = QJsonDocument::fromJson(printed(printJson, report));
    require(all.isArray() && all.array().size() == recordCount(report), "all are an array");
}

/// Reads values separated by commas.
class CsvReader
{
public:
    explicit CsvReader(const QByteArray &bytes)
        : m_bytes(bytes)
    {
    }

    bool atEnd() const { return m_pos == m_bytes.size(); }

    QByteArrayList line()
    {
        QByteArrayList cells{cell()};
        while (m_bytes.mid(m_pos, 1) == ",") {
            ++m_pos;
            cells.append(cell());
        }
        require(m_bytes.mid(m_pos, 2) == "\r\n", "a line has an end");
        m_pos += 2;
        return cells;
    }

private:
    QByteArray cell() { return m_bytes.mid(m_pos, 1) == "\"" ? quotedCell() : plainCell(); }

    QByteArray plainCell()
    {
        const int begin = m_pos;
        while (!atEnd() && !QByteArray(",\r\n\"").contains(m_bytes.at(m_pos))) {
            ++m_pos;
        }
        return m_bytes.mid(begin, m_pos - begin);
    }

    QByteArray quotedCell()
    {
        QByteArray cell;
        for (++m_pos; m_bytes.mid(m_pos, 1) != "\"" || m_bytes.mid(m_pos, 2) == "\"\""; ++m_pos) {
            require(!atEnd(), "a quoted cell has an end");
            m_pos += m_bytes.at(m_pos) == '"';
            cell += m_bytes.at(m_pos);
        }
        ++m_pos;
        return cell;
    }

    const QByteArray m_bytes;
    int m_pos = 0;
};

bool isFormula(const QByteArray &cell)
{
    const bool isSigned = cell.startsWith('+') || cell.startsWith('-');
    const QByteArray rest = cell.mid(1);
    const bool isNumber =
        isSigned && std::all_of(rest.cbegin(), rest.cend(), [](char c) {
            return (c >= '0' && c <= '9') || c == '.' || c == 'e' || c == '+' || c == '-';
        });
    return !cell.isEmpty() && QByteArray("=+-@\t\r").contains(cell.at(0))
           && (!isNumber || rest.isEmpty());
}

void checkCsv(const Report &report)
{
    CsvReader reader(printed(printCsv, report));
    const int columns = reader.line().size();
    int lines = 0;
    for (; !reader.atEnd(); ++lines) {
        const QByteArrayList cells = reader.line();
        require(cells.size() == columns, "all lines have the same columns");
        require(std::none_of(cells.cbegin(), cells.cend(), isFormula), "no cell is a formula");
    }
    require(lines == recordCount(report), "each record is a line");
}

void checkText(const Report &report)
{
    const QVector<uint> characters = QString::fromUtf8(printed(printText, report)).toUcs4();
    const auto isObeyed = [](uint c) { return c != '\n' && isUnprintable(c); };
    require(std::none_of(characters.cbegin(), characters.cend(), isObeyed),
            "a terminal obeys nothing");
}

/// The page of the records has the elements of a page of harmless ones: none comes from a text.
void checkHtml(const Report &report, const Report &harmless)
{
    const QByteArray page = printed(printHtml, report);
    const QByteArray same = printed(printHtml, harmless);
    require(page.count('<') == same.count('<') && page.count('>') == same.count('>'),
            "no element comes from a text");
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    const QByteArray bytes(reinterpret_cast<const char *>(data), int(size));
    const Report report = inventReport(bytes, false);
    checkJson(report);
    checkCsv(report);
    checkText(report);
    checkHtml(report, inventReport(bytes, true));
    return 0;
}
