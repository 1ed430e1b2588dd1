#include "cli/commandparts.h"

#include "api/databasecheck.h"
#include "cli/csvprinter.h"
#include "cli/databasescan.h"
#include "cli/htmlprinter.h"
#include "cli/interrupt.h"
#include "cli/jsonprinter.h"
#include "cli/messages.h"
#include "cli/textprinter.h"

#include <QDateTime>
#include <QFileDevice>
#include <QFileInfo>

#include <algorithm>
#include <iterator>

#include <unistd.h>

namespace {

constexpr TypeName TypeNames[] = {
    {ScanTypeContacts, "contacts", 4},
    {ScanTypeMessages, "messages", 3},
    {ScanTypeCallHistory, "call-history", 1},
    {ScanTypeCalendar, "calendar", 1},
    {ScanTypeNotes, "notes", 1},
    {ScanTypeBookmarks, "bookmarks", 1},
    {ScanTypeWhatsapp, "whatsapp", 1},
    {ScanTypeSafariHistory, "safari-history", 1},
    {ScanTypeIos9Notes, "ios9-notes", 1},
    {ScanTypeWeChat, "wechat", 1},
};

constexpr Format Formats[] = {
    {"text", printText}, {"json", printJson}, {"jsonl", printJsonLines},
    {"csv", printCsv},   {"html", printHtml},
};

const TypeName *findType(const QString &text)
{
    for (const TypeName &entry : TypeNames) {
        if (text == QLatin1String(entry.name) || text == QString::number(entry.type)) {
            return &entry;
        }
    }
    return nullptr;
}

const Format *findFormat(const QString &text)
{
    for (const Format &format : Formats) {
        if (text == QLatin1String(format.name)) {
            return &format;
        }
    }
    return nullptr;
}

/// A folder is named by a separator at its end, or exists.
bool namesFolder(const QString &path)
{
    return path.endsWith(QLatin1Char('/')) || QFileInfo(path).isDir();
}

/// The options that all commands have. Returns as checkOptions() does.
int checkOutput(const ScanOptions &options, ScanRequest *request)
{
    request->format = findFormat(options.format);
    if (request->format == nullptr) {
        return usageError(QStringLiteral("unknown format: %1").arg(options.format));
    }
    request->output = options.output;
    request->replaces = options.replaces;
    request->toFolder = request->format->print == printCsv && namesFolder(options.output);
    return ExitDone;
}

QStringList csvNames()
{
    QStringList names;
    for (const QString &kind : kindNames()) {
        names.append(kind + QStringLiteral(".csv"));
    }
    return names;
}

/// The kinds of the report's databases, each once.
QVector<const char *> kindsOf(const Report &report)
{
    QVector<const char *> kinds;
    for (const ScannedDatabase &database : report.databases) {
        for (const RecordKind &kind : database.results.kinds) {
            if (!kinds.contains(kind.name)) {
                kinds.append(kind.name);
            }
        }
    }
    return kinds;
}

} // namespace

int checkOptions(const char *command, const ScanOptions &options, int mostFiles,
                 ScanRequest *request)
{
    const QString name = QLatin1String(command);
    if (options.arguments.isEmpty()) {
        return usageError(QStringLiteral("%1 needs a TYPE and a FILE").arg(name));
    }
    request->type = findType(options.arguments.first());
    if (request->type == nullptr) {
        return usageError(QStringLiteral("unknown type: %1").arg(options.arguments.first()));
    }
    request->files = options.arguments.mid(1);
    if (request->files.isEmpty()) {
        return usageError(QStringLiteral("%1 needs a FILE").arg(name));
    }
    if (request->files.size() > mostFiles) {
        return usageError(
            QStringLiteral("unexpected argument: %1").arg(request->files.at(mostFiles)));
    }
    return checkOutput(options, request);
}

int checkFolderOptions(const char *command, const ScanOptions &options, ScanRequest *request)
{
    request->files = options.arguments;
    if (request->files.isEmpty()) {
        return usageError(QStringLiteral("%1 needs a FOLDER").arg(QLatin1String(command)));
    }
    if (request->files.size() > 1) {
        return usageError(QStringLiteral("unexpected argument: %1").arg(request->files.at(1)));
    }
    const int checked = checkOutput(options, request);
    if (checked == ExitDone && request->format->print == printCsv) {
        request->toFolder = true;
        if (request->output.isEmpty()) {
            return usageError(QStringLiteral("--format csv of a backup writes a file for each kind "
                                             "of record and needs --output FOLDER"));
        }
    }
    return checked;
}

const TypeName &typeName(ScanType type)
{
    return *std::find_if(std::begin(TypeNames), std::end(TypeNames),
                         [type](const TypeName &entry) { return entry.type == type; });
}

Report newReport(const ScanOptions &options, const QString &source)
{
    Report report;
    report.source = source;
    report.programVersion = options.programVersion;
    report.started = QDateTime::currentDateTimeUtc().toString(Qt::ISODate);
    return report;
}

void addWarning(const QString &warning, Report *report)
{
    if (!warning.isEmpty()) {
        printMessage(warning);
        report->warnings.append(warning);
    }
}

ScannedDatabase requestedFile(const ScanRequest &request, const QString &path)
{
    ScannedDatabase file;
    file.type = request.type->type;
    file.typeName = QLatin1String(request.type->name);
    file.place = path;
    file.path = path;
    file.size = QFileInfo(path).size();
    return file;
}

bool wantsHashes(const ScanRequest &request)
{
    return qstrcmp(request.format->name, "html") == 0;
}

QString databaseObstacle(const QString &path)
{
    switch (checkDatabase(path)) {
    case DatabaseState::Readable:
        return QString();
    case DatabaseState::Missing:
        return QStringLiteral("no such file: %1").arg(path);
    case DatabaseState::Unreadable:
        return QStringLiteral("cannot read the file: %1").arg(path);
    case DatabaseState::NotADatabase:
        return QStringLiteral("not an SQLite database: %1").arg(path);
    case DatabaseState::LooksEncrypted:
        return QStringLiteral("looks encrypted, decrypt the backup first: %1").arg(path);
    case DatabaseState::Damaged:
        return QStringLiteral("damaged SQLite database, its schema cannot be read: %1").arg(path);
    }
    return QStringLiteral("cannot scan the file: %1").arg(path);
}

QString logObstacle(const QString &path)
{
    switch (checkLog(path)) {
    case LogState::Usable:
    case LogState::NothingCommitted: // sound, with nothing to compare
        return QString();
    case LogState::Missing:
        return QStringLiteral("no such log: %1").arg(path);
    case LogState::Unreadable:
        return QStringLiteral("cannot read the log: %1").arg(path);
    case LogState::NotALog:
        return QStringLiteral("not a write-ahead log: %1").arg(path);
    }
    return QStringLiteral("cannot scan the log: %1").arg(path);
}

int Output::open(const ScanRequest &request)
{
    for (const QString &file : request.files) {
        const bool isWithin = QFileInfo(file).isDir() && liesWithin(request.output, file);
        if (!request.output.isEmpty() && (isWithin || namesEvidence(request.output, file))) {
            return usageError(QStringLiteral("--output would overwrite or change what is scanned, "
                                             "choose another place: %1")
                                  .arg(request.output));
        }
    }
    m_format = request.format;
    m_path = request.output;
    m_isFolder = request.toFolder;
    if (m_isFolder) {
        return m_folder.open(request.output, csvNames(), request.replaces)
                   ? ExitDone
                   : failedToWrite(m_folder.errorString());
    }
    return m_file.open(request.output, request.replaces) ? ExitDone
                                                         : failedToWrite(m_file.errorString());
}

int Output::failedToWrite(const QString &reason)
{
    const bool isNamed = m_path.isEmpty() || reason.contains(m_path);
    return failed(QStringLiteral("cannot write the output: %1")
                      .arg(isNamed ? reason : reason + QLatin1String(": ") + m_path));
}

bool Output::printFiles(const Report &report)
{
    for (const char *kind : kindsOf(report)) {
        QIODevice *const file = m_folder.add(QLatin1String(kind) + QStringLiteral(".csv"));
        if (file == nullptr || !printCsvOfKind(report, kind, *file)) {
            return false;
        }
    }
    return m_folder.commit();
}

int Output::print(const Report &report)
{
    if (m_isFolder) {
        return printFiles(report) ? ExitDone : failedToWrite(m_folder.errorString());
    }
    const bool isWritten = m_format->print(report, m_file.device()) && m_file.commit();
    return isWritten ? ExitDone : failedToWrite(m_file.errorString());
}

int finish(Report *report, Output *output)
{
    report->wasStopped = isInterrupted();
    const int printed = output->print(*report);
    if (printed == ExitDone && report->wasStopped) {
        printMessage(QStringLiteral("the scan was stopped: what was found until then is complete "
                                    "and valid, but there may be more"));
        return ExitStopped;
    }
    return printed;
}

std::FILE *progressTerminal()
{
    return isatty(STDERR_FILENO) != 0 ? stderr : nullptr;
}
