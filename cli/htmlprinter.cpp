#include "cli/htmlprinter.h"

#include "cli/htmltext.h"
#include "cli/outputfile.h"
#include "cli/report.h"
#include "cli/reportcontents.h"
#include "cli/reportsummary.h"

#include <QCborArray>
#include <QCryptographicHash>
#include <QFile>
#include <QIODevice>

namespace {

const QLatin1String StoredHeading("Stored");
constexpr int ChunkSize = 256 * 1024; // of what the page reads at one go

QByteArray resource(const char *name)
{
    QFile file(QStringLiteral(":/report/") + QLatin1String(name));
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}

QByteArray hashSource(const QByteArray &content)
{
    return "'sha256-" + QCryptographicHash::hash(content, QCryptographicHash::Sha256).toBase64()
           + '\'';
}

QByteArray fact(const char *what, const QByteArray &html)
{
    return "<div class=\"fact\"><dt>" + QByteArray(what) + "</dt><dd>" + html + "</dd></div>\n";
}

QByteArray foreignFact(const char *what, const QString &text)
{
    return text.isEmpty() ? QByteArray() : fact(what, foreignHtml(text));
}

QByteArray link(const ReportSection &section)
{
    return "<a href=\"#" + section.id + "\">" + htmlText(section.heading) + "</a>";
}

/// The heading of a column that shows the cell of that number of each record.
QByteArray tableHeading(const QString &text, int cell, const char *styleClass)
{
    return "<th scope=\"col\" role=\"columnheader\" class=\"" + QByteArray(styleClass)
           + "\" data-cell=\"" + QByteArray::number(cell) + "\">" + htmlText(text) + "</th>";
}

/// How a column looks: "time" stands for one whose stored number is in the next.
const char *styleClass(const QStringList &columns, int column)
{
    static const QStringList shortColumns = {QStringLiteral("Direction"),
                                             QStringLiteral("Duration"), QStringLiteral("Priority"),
                                             QStringLiteral("Folder")};
    if (columns.value(column + 1) == StoredHeading) {
        return "time";
    }
    return shortColumns.contains(columns.at(column)) ? "short" : "text";
}

/// Writes the page: the template's text as it is, and for each of its placeholders what the
/// function of that name writes.
class HtmlPage
{
public:
    HtmlPage(const Report &report, QIODevice &out)
        : m_report(report)
        , m_contents(report)
        , m_out(out)
    {
    }

    bool print();

private:
    void printPlaceholder(const QByteArray &name);
    void write(const QByteArray &bytes) { m_isGood = m_isGood && writeAll(m_out, bytes); }

    void writePolicy();
    void writeStyle() { write(m_style); }
    void writeScript() { write(m_script); }
    void writeTitle();
    void writeHeading();
    void writeNotices();
    void writeFacts();
    void writeSummary();
    void writeDatabases();
    void writeNavigation();
    void writeSections();
    void writeData();
    void writeFooter();

    QString subject() const;
    QByteArray deviceFacts() const;
    QByteArray runFacts() const;
    QByteArray databaseRow(int source) const;
    QByteArray databaseCell(int source) const;
    QByteArray countsOf(int source) const;
    QByteArray origin(const ReportSection &section) const;
    QByteArray body(const ReportSection &section) const;
    QByteArray table(const ReportSection &section) const;
    void writeSection(const ReportSection &section);
    void writeEntries(const ReportSection &section);
    void addEntry(const QByteArray &entry, const ReportSection &section);
    void writeChunk(const ReportSection &section);

    const Report &m_report;
    const ReportContents m_contents;
    QIODevice &m_out;
    const QByteArray m_style = resource("report.css");
    const QByteArray m_script = resource("report.js");
    QByteArray m_chunk;
    bool m_isGood = true;
};

bool HtmlPage::print()
{
    const QByteArray page = resource("report.html");
    int end = 0;
    for (int begin = page.indexOf("{{"); begin >= 0; begin = page.indexOf("{{", end)) {
        write(page.mid(end, begin - end));
        end = page.indexOf("}}", begin) + 2;
        printPlaceholder(page.mid(begin + 2, end - begin - 4));
    }
    write(page.mid(end));
    return m_isGood;
}

void HtmlPage::printPlaceholder(const QByteArray &name)
{
    struct Placeholder
    {
        const char *name;
        void (HtmlPage::*write)();
    };
    static constexpr Placeholder placeholders[] = {
        {"policy", &HtmlPage::writePolicy},
        {"style", &HtmlPage::writeStyle},
        {"title", &HtmlPage::writeTitle},
        {"heading", &HtmlPage::writeHeading},
        {"notices", &HtmlPage::writeNotices},
        {"facts", &HtmlPage::writeFacts},
        {"summary", &HtmlPage::writeSummary},
        {"databases", &HtmlPage::writeDatabases},
        {"navigation", &HtmlPage::writeNavigation},
        {"sections", &HtmlPage::writeSections},
        {"data", &HtmlPage::writeData},
        {"footer", &HtmlPage::writeFooter},
        {"script", &HtmlPage::writeScript},
    };
    for (const Placeholder &placeholder : placeholders) {
        if (name == placeholder.name) {
            (this->*placeholder.write)();
        }
    }
}

// Whatever a recovered text might bring about, the browser runs nothing but these two and asks for
// nothing.
void HtmlPage::writePolicy()
{
    write("default-src 'none'; script-src " + hashSource(m_script) + "; style-src "
          + hashSource(m_style) + "; base-uri 'none'; form-action 'none'");
}

QString HtmlPage::subject() const
{
    const QString source = m_report.source.mid(m_report.source.lastIndexOf(QLatin1Char('/')) + 1);
    return printableLines(m_report.device.name.isEmpty() ? source : m_report.device.name);
}

void HtmlPage::writeTitle()
{
    write("Recovered records: " + htmlText(subject()));
}

void HtmlPage::writeHeading()
{
    write("Recovered records of <bdi>" + htmlText(subject()) + "</bdi>");
}

void HtmlPage::writeNotices()
{
    QStringList notices = m_report.warnings;
    if (m_report.wasStopped) {
        notices.append(QStringLiteral("The scan was stopped before its end. This report holds what "
                                      "had been found until then."));
    }
    const QString failures = failuresText(m_report);
    if (!failures.isEmpty()) {
        notices.append(failures + QStringLiteral("; the list of databases says why."));
    }
    for (const QString &notice : qAsConst(notices)) {
        write("<p class=\"notice\">" + foreignHtml(notice) + "</p>\n");
    }
}

QByteArray HtmlPage::deviceFacts() const
{
    const DeviceInfo &device = m_report.device;
    return "<div>\n<h2>Device</h2>\n<dl>\n" + foreignFact("Name", device.name)
           + foreignFact("Model", device.model) + foreignFact("System", device.systemVersion)
           + foreignFact("Backup of", device.backupDate) + "</dl>\n</div>\n";
}

QByteArray HtmlPage::runFacts() const
{
    const QString program = QStringLiteral("sqliterecovery %1").arg(m_report.programVersion);
    return "<div>\n<h2>Scan</h2>\n<dl>\n" + foreignFact("Source", m_report.source)
           + foreignFact("Started", m_report.started) + fact("Program", htmlText(program))
           + fact("Result", htmlText(countText(m_contents.items, QStringLiteral("recovered record"),
                                               QStringLiteral("recovered records"))))
           + "</dl>\n</div>\n";
}

void HtmlPage::writeFacts()
{
    write((m_report.isBackup ? deviceFacts() : QByteArray()) + runFacts());
}

void HtmlPage::writeSummary()
{
    write("<div class=\"summary\">\n<table>\n<thead><tr><th scope=\"col\">Kind</th>"
          "<th scope=\"col\" class=\"amount\">Records</th></tr></thead>\n<tbody>\n");
    for (const ReportSection &section : m_contents.sections) {
        write("<tr><td>" + (section.items > 0 ? link(section) : htmlText(section.heading))
              + "</td><td class=\"amount\">" + htmlText(numberText(section.items))
              + "</td></tr>\n");
    }
    write("<tr class=\"total\"><td>All</td><td class=\"amount\">"
          + htmlText(numberText(m_contents.items)) + "</td></tr>\n</tbody>\n</table>\n"
          + m_contents.timeline.figure() + "</div>\n");
}

QByteArray HtmlPage::databaseCell(int source) const
{
    const ScannedDatabase &database = m_report.databases.at(source);
    QByteArray html = foreignHtml(database.place);
    if (database.path != database.place) {
        html += "<span class=\"path\">" + foreignHtml(database.path) + "</span>";
    }
    if (!database.sha256.isEmpty()) {
        html += "<span class=\"hash\">SHA-256 " + database.sha256.toHex() + "</span>";
    }
    if (!database.problem.isEmpty()) {
        html += "<span class=\"problem\">" + foreignHtml(database.problem) + "</span>";
    }
    if (!database.remark.isEmpty()) {
        html += "<span class=\"remark\">" + foreignHtml(database.remark) + "</span>";
    }
    return html;
}

QByteArray HtmlPage::countsOf(int source) const
{
    QByteArrayList counts;
    for (const ReportPart &part : m_contents.sources.at(source)) {
        counts.append(htmlText(QStringLiteral("%1 %2").arg(QLatin1String(part.kind->heading),
                                                           numberText(part.items))));
    }
    return "<span>" + counts.join("<br>") + "</span>";
}

QByteArray HtmlPage::databaseRow(int source) const
{
    const ScannedDatabase &database = m_report.databases.at(source);
    const QString type = database.typeName + (database.isLog ? QStringLiteral(", log") : QString());
    return "<tr><td data-label=\"Number\">D" + QByteArray::number(source + 1)
           + "</td><td data-label=\"File\">" + databaseCell(source)
           + "</td><td data-label=\"Type\">" + htmlText(type)
           + "</td><td class=\"amount\" data-label=\"Bytes\">" + htmlText(numberText(database.size))
           + "</td><td class=\"amount\" data-label=\"Seconds\">"
           + QByteArray::number(database.seconds, 'f', 1)
           + "</td><td class=\"amount\" data-label=\"Records\">" + countsOf(source)
           + "</td></tr>\n";
}

void HtmlPage::writeDatabases()
{
    write("<table class=\"databases stacked\">\n<thead><tr><th scope=\"col\">No.</th>"
          "<th scope=\"col\">File</th><th scope=\"col\">Type</th>"
          "<th scope=\"col\" class=\"amount\">Bytes</th>"
          "<th scope=\"col\" class=\"amount\">Seconds</th>"
          "<th scope=\"col\" class=\"amount\">Records</th></tr></thead>\n<tbody>\n");
    for (int source = 0; source < m_report.databases.size(); ++source) {
        write(databaseRow(source));
    }
    write("</tbody>\n</table>\n");
}

void HtmlPage::writeNavigation()
{
    write("<nav aria-label=\"Kinds of records\">\n<ul>\n");
    for (const ReportSection &section : m_contents.sections) {
        if (section.items > 0) {
            QByteArray entry = link(section);
            entry.insert(entry.size() - 4, " <span class=\"count\">"
                                               + htmlText(numberText(section.items)) + "</span>");
            write("<li>" + entry + "</li>\n");
        }
    }
    write("</ul>\n</nav>\n");
}

QByteArray HtmlPage::origin(const ReportSection &section) const
{
    QByteArray html;
    if (section.layout == ReportLayout::Conversations) {
        html = "In "
               + htmlText(countText(section.conversations, QStringLiteral("conversation"),
                                    QStringLiteral("conversations")))
               + ". ";
    }
    QByteArrayList names;
    for (const ReportPart &part : section.parts) {
        names.append("<bdi>" + htmlText(sourceName(m_report, part.source)) + "</bdi>");
    }
    return "<p class=\"source\">" + html + "From " + names.join(", ") + ".</p>\n";
}

QByteArray HtmlPage::table(const ReportSection &section) const
{
    QByteArray headings;
    for (int column = 0; column < section.columns.size(); ++column) {
        // The stored number stands in one cell with its time.
        if (section.columns.at(column) != StoredHeading) {
            headings += tableHeading(section.columns.at(column), column,
                                     styleClass(section.columns, column));
        }
    }
    if (section.parts.size() > 1) {
        headings += tableHeading(QStringLiteral("Database"), section.columns.size(), "source");
    }
    return "<table class=\"records-table stacked\" role=\"table\">\n<thead role=\"rowgroup\">"
           "<tr role=\"row\">"
           + headings
           + "</tr></thead>\n<tbody class=\"records\" role=\"rowgroup\"></tbody>\n</table>\n";
}

QByteArray HtmlPage::body(const ReportSection &section) const
{
    switch (section.layout) {
    case ReportLayout::Table:
        return table(section);
    case ReportLayout::Cards:
        return "<div class=\"records cards\"></div>\n";
    case ReportLayout::Conversations:
        break;
    }
    return "<div class=\"records\"></div>\n";
}

void HtmlPage::writeSection(const ReportSection &section)
{
    static constexpr const char *layouts[] = {"table", "cards", "conversations"};
    write("<section id=\"" + section.id + "\" data-layout=\"" + layouts[int(section.layout)]
          + "\" data-sources=\"" + QByteArray::number(section.parts.size())
          + "\" aria-labelledby=\"" + section.id + "-heading\">\n<h2 id=\"" + section.id
          + "-heading\">" + htmlText(section.heading) + " <span class=\"count\">"
          + htmlText(numberText(section.items)) + "</span></h2>\n" + origin(section) + body(section)
          + "</section>\n");
}

void HtmlPage::writeSections()
{
    for (const ReportSection &section : m_contents.sections) {
        if (section.items > 0) {
            writeSection(section);
        }
    }
}

void HtmlPage::writeChunk(const ReportSection &section)
{
    if (!m_chunk.isEmpty()) {
        write("<script type=\"application/json\" data-section=\"" + section.id + "\">[\n" + m_chunk
              + "\n]</script>\n");
        m_chunk.clear();
    }
}

void HtmlPage::addEntry(const QByteArray &entry, const ReportSection &section)
{
    if (m_chunk.size() + entry.size() > ChunkSize) {
        writeChunk(section);
    }
    m_chunk += m_chunk.isEmpty() ? entry : ",\n" + entry;
}

void HtmlPage::writeEntries(const ReportSection &section)
{
    for (const ReportPart &part : section.parts) {
        for (unsigned i = 0; i < part.kind->count() && m_isGood; ++i) {
            const auto entries = reportEntries(*part.kind, part.kind->record(i), part.source);
            for (const QCborValue &entry : entries) {
                addEntry(scriptJson(entry), section);
            }
        }
    }
    writeChunk(section);
}

void HtmlPage::writeData()
{
    QCborArray names;
    for (int source = 0; source < m_report.databases.size(); ++source) {
        names.append(sourceName(m_report, source));
    }
    write("<script type=\"application/json\" id=\"sources\">" + scriptJson(names) + "</script>\n");
    for (const ReportSection &section : m_contents.sections) {
        writeEntries(section);
    }
}

void HtmlPage::writeFooter()
{
    write("Written by sqliterecovery " + htmlText(m_report.programVersion) + ", "
          + foreignHtml(m_report.started));
}

} // namespace

bool printHtml(const Report &report, QIODevice &out)
{
    return HtmlPage(report, out).print();
}
