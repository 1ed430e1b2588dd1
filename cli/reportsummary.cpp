#include "cli/reportsummary.h"

#include "cli/texttable.h"

namespace {

constexpr qint64 BytesPerKibibyte = 1024;
constexpr int WidestPlace = 70;
constexpr qint64 BytesPerMebibyte = 1024 * BytesPerKibibyte;

TextRows deviceRows(const Report &report)
{
    const DeviceInfo &device = report.device;
    const QStringList labels{QStringLiteral("Backup"), QStringLiteral("Device"),
                             QStringLiteral("Model"), QStringLiteral("System version"),
                             QStringLiteral("Date of backup (UTC)")};
    const QStringList values{report.source, device.name, device.model, device.systemVersion,
                             device.backupDate};
    TextRows rows;
    for (int i = 0; i < labels.size(); ++i) {
        if (!values.at(i).isEmpty()) {
            rows.append({labels.at(i), values.at(i)});
        }
    }
    return rows;
}

TextRows databaseRows(const Report &report)
{
    TextRows rows{{QStringLiteral("Type"), QStringLiteral("Database"), QStringLiteral("Size"),
                   QStringLiteral("Seconds"), QStringLiteral("Found")}};
    for (const ScannedDatabase &database : report.databases) {
        rows.append({database.typeName, database.place, sizeText(database.size),
                     QString::number(database.seconds, 'f', 2), findingsText(database)});
    }
    return rows;
}

} // namespace

quint64 itemsIn(const Report &report)
{
    quint64 items = 0;
    for (const ScannedDatabase &database : report.databases) {
        for (const RecordKind &kind : database.results.kinds) {
            items += kind.items();
        }
    }
    return items;
}

int failuresIn(const Report &report)
{
    int failures = 0;
    for (const ScannedDatabase &database : report.databases) {
        failures += database.problem.isEmpty() ? 0 : 1;
    }
    return failures;
}

QString failuresText(const Report &report)
{
    const int failures = failuresIn(report);
    return failures == 0 ? QString()
                         : QStringLiteral("%1 of %2 files could not be scanned")
                               .arg(failures)
                               .arg(report.databases.size());
}

QString findingsText(const ScannedDatabase &database)
{
    if (!database.problem.isEmpty()) {
        return QStringLiteral("not scanned: ") + database.problem;
    }
    QStringList found;
    for (const RecordKind &kind : database.results.kinds) {
        const unsigned items = kind.items();
        if (items > 0) {
            found.append(QStringLiteral("%1: %2").arg(QLatin1String(kind.heading)).arg(items));
        }
    }
    const QString text =
        found.isEmpty() ? QStringLiteral("nothing") : found.join(QStringLiteral(", "));
    return database.remark.isEmpty() ? text : text + QStringLiteral(": ") + database.remark;
}

QString sizeText(qint64 bytes)
{
    if (bytes < BytesPerMebibyte) {
        return QStringLiteral("%1 KiB").arg((bytes + BytesPerKibibyte - 1) / BytesPerKibibyte);
    }
    return QStringLiteral("%1 MiB").arg(double(bytes) / BytesPerMebibyte, 0, 'f', 1);
}

bool printSummary(const Report &report, QIODevice &out)
{
    return writeTable(out, deviceRows(report)) && writeTable(out, {QStringList(QString())})
           && writeTable(out, databaseRows(report), WidestPlace);
}
