#include "cli/commandparts.h"

#include "api/databasecheck.h"
#include "cli/csvprinter.h"
#include "cli/jsonprinter.h"
#include "cli/messages.h"
#include "cli/outputfile.h"
#include "cli/recordkind.h"
#include "cli/textprinter.h"

#include <QFileDevice>

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
    request->format = findFormat(options.format);
    if (request->format == nullptr) {
        return usageError(QStringLiteral("unknown format: %1").arg(options.format));
    }
    request->output = options.output;
    return ExitDone;
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

int openOutput(const ScanRequest &request, OutputFile *output)
{
    for (const QString &file : request.files) {
        if (!request.output.isEmpty() && namesEvidence(request.output, file)) {
            return usageError(QStringLiteral("--output would overwrite the scanned database: %1")
                                  .arg(request.output));
        }
    }
    if (!output->open(request.output)) {
        return failed(QStringLiteral("cannot write the output: %1").arg(output->errorString()));
    }
    return ExitDone;
}

int printResults(const ScanResults &results, const ScanRequest &request, OutputFile &output)
{
    if (request.format->print(results, output.device()) && output.commit()) {
        return ExitDone;
    }
    return failed(QStringLiteral("cannot write the output: %1").arg(output.errorString()));
}
