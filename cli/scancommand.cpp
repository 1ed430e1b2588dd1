#include "cli/scancommand.h"

#include "api/databasecheck.h"
#include "api/sqliterecovery.h"
#include "cli/consoleprogress.h"
#include "cli/csvprinter.h"
#include "cli/jsonprinter.h"
#include "cli/messages.h"
#include "cli/outputfile.h"
#include "cli/recordkind.h"
#include "cli/textprinter.h"

#include <QFileDevice>

#include <unistd.h>

namespace {

struct TypeName
{
    ScanType type;
    const char *name;
    int searches; ///< how often a scan searches the file, as a rule
};

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

struct Format
{
    const char *name;
    bool (*print)(const ScanResults &results, QIODevice &out);
};

constexpr Format Formats[] = {
    {"text", printText},
    {"json", printJson},
    {"jsonl", printJsonLines},
    {"csv", printCsv},
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

/// What keeps a scan from reading the file; a null string when nothing does.
QString obstacle(const QString &path)
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

int printResults(const ScanResults &results, const Format &format, OutputFile &output)
{
    if (format.print(results, output.device()) && output.commit()) {
        return ExitDone;
    }
    return failed(QStringLiteral("cannot write the output: %1").arg(output.errorString()));
}

int scanFile(const TypeName &type, const Format &format, const ScanOptions &options)
{
    const QString path = options.arguments.at(1);
    const QString problem = obstacle(path);
    if (!problem.isNull()) {
        return failed(problem);
    }
    if (!options.output.isEmpty() && namesEvidence(options.output, path)) {
        return usageError(QStringLiteral("--output would overwrite the scanned database: %1")
                              .arg(options.output));
    }
    // Opened before the scan, so that nobody waits for records that cannot be kept.
    OutputFile output;
    if (!output.open(options.output)) {
        return failed(QStringLiteral("cannot write the output: %1").arg(output.errorString()));
    }
    SqliteRecovery recovery;
    ConsoleProgress progress(isatty(STDERR_FILENO) != 0 ? stderr : nullptr, type.searches);
    recovery.scanRecoveryForType(type.type, path, &progress);

    const ScanResults results{recovery, recordKinds(type.type)};
    if (results.kinds.isEmpty()) {
        printMessage(QStringLiteral("this version does not recover records of the type %1 yet")
                         .arg(QLatin1String(type.name)));
    }
    return printResults(results, format, output);
}

} // namespace

int runScan(const ScanOptions &options)
{
    if (options.arguments.isEmpty()) {
        return usageError(QStringLiteral("scan needs a TYPE and a FILE"));
    }
    const TypeName *type = findType(options.arguments.first());
    if (type == nullptr) {
        return usageError(QStringLiteral("unknown type: %1").arg(options.arguments.first()));
    }
    if (options.arguments.size() < 2) {
        return usageError(QStringLiteral("scan needs a FILE"));
    }
    if (options.arguments.size() > 2) {
        return usageError(QStringLiteral("unexpected argument: %1").arg(options.arguments.at(2)));
    }
    const Format *format = findFormat(options.format);
    if (format == nullptr) {
        return usageError(QStringLiteral("unknown format: %1").arg(options.format));
    }
    return scanFile(*type, *format, options);
}
