#include "cli/reportcontents.h"

#include "cli/htmltext.h"
#include "cli/report.h"

#include <algorithm>

namespace {

/// The section of the kind's heading, a new one where there is none yet.
ReportSection &sectionOf(QVector<ReportSection> &sections, const RecordKind &kind)
{
    const QString heading = QLatin1String(kind.heading);
    const auto found =
        std::find_if(sections.begin(), sections.end(),
                     [&heading](const ReportSection &s) { return s.heading == heading; });
    if (found != sections.end()) {
        return *found;
    }
    ReportSection section;
    section.heading = heading;
    section.id = heading.toLower().replace(QLatin1Char(' '), QLatin1Char('-')).toLatin1();
    section.layout = layoutOf(kind);
    section.columns = reportColumns(kind);
    sections.append(section);
    return sections.last();
}

qint64 countItems(const RecordKind &kind, Timeline *timeline)
{
    qint64 items = 0;
    const unsigned count = kind.count();
    for (unsigned i = 0; i < count; ++i) {
        const QStringList times = timesOf(kind.record(i));
        for (const QString &time : times) {
            timeline->add(time);
        }
        items += times.size();
    }
    return items;
}

} // namespace

ReportContents::ReportContents(const Report &report)
    : timeline(report.device.backupDate.isEmpty() ? report.started : report.device.backupDate)
{
    for (int source = 0; source < report.databases.size(); ++source) {
        sources.append(QVector<ReportPart>());
        for (const RecordKind &kind : report.databases.at(source).results.kinds) {
            const ReportPart part{source, &kind, countItems(kind, &timeline)};
            ReportSection &section = sectionOf(sections, kind);
            sources.last().append(part);
            if (part.items > 0) {
                section.parts.append(part);
                section.items += part.items;
                section.conversations += kind.count();
                items += part.items;
            }
        }
    }
}

QString sourceName(const Report &report, int source)
{
    const QString place = report.databases.at(source).place;
    return printableLines(QStringLiteral("D%1 %2")
                              .arg(source + 1)
                              .arg(place.mid(place.lastIndexOf(QLatin1Char('/')) + 1)));
}
