#include "cli/backupcommand.h"
#include "cli/commandparts.h"
#include "cli/interrupt.h"
#include "cli/messages.h"
#include "cli/scancommand.h"
#include "cli/walcommand.h"

#include <QCommandLineParser>
#include <QCoreApplication>

#include <csignal>
#include <cstdio>

#include <fcntl.h>
#include <unistd.h>

namespace {

constexpr char HelpText[] =
    R"(Usage: sqliterecovery backup FOLDER [options]
       sqliterecovery scan TYPE FILE [options]
       sqliterecovery wal TYPE FILE [LOG] [options]
Finds deleted records in SQLite databases of an iOS backup, changing nothing.
  backup   scans every known database of a backup
  scan     scans the unused space of one database
  wal      compares the versions of one in its log, FILE-wal (types 0, 1, 3, 5)
TYPE is a name or its number: contacts (0), messages (1), call-history (2),
  calendar (3), notes (4), bookmarks (5), whatsapp (6), safari-history (7),
  ios9-notes (8), wechat (10)
Options:
  --format FORMAT  text: for a terminal (default); html: a report to read and
                   print; csv: for a spreadsheet, in a folder one file for each
                   kind of record; jsonl: JSON objects; json: an array of them
  --output PATH    write there instead of standard output
  --force          replace what is there
  --help, --version
Exit code: 0 scanned, 1 input or output unusable, 2 wrong usage, 130 stopped
Examples:
  sqliterecovery backup ~/backup/00008030 --format html --output report.html
  sqliterecovery scan contacts AddressBook.sqlitedb --format csv --output c.csv
  sqliterecovery wal messages sms.db
)";

struct Command
{
    const char *name;
    int (*run)(const ScanOptions &options);
};

constexpr Command Commands[] = {{"backup", runBackup}, {"scan", runScan}, {"wal", runWal}};

const Command *findCommand(const QString &name)
{
    for (const Command &command : Commands) {
        if (name == QLatin1String(command.name)) {
            return &command;
        }
    }
    return nullptr;
}

int show(const char *text)
{
    if (std::fputs(text, stdout) < 0 || std::fflush(stdout) != 0) {
        return failed(QStringLiteral("cannot write the output"));
    }
    return ExitDone;
}

int runCommand(const QStringList &arguments, const QCommandLineParser &parser)
{
    if (arguments.isEmpty()) {
        return usageError(QStringLiteral("no command given"));
    }
    const Command *const command = findCommand(arguments.first());
    if (command == nullptr) {
        return usageError(QStringLiteral("unknown command: %1").arg(arguments.first()));
    }
    const QString output = parser.value(QStringLiteral("output"));
    if (parser.isSet(QStringLiteral("output")) && output.isEmpty()) {
        return usageError(QStringLiteral("--output needs a path"));
    }
    const ScanOptions options{arguments.mid(1), parser.value(QStringLiteral("format")), output,
                              parser.isSet(QStringLiteral("force")),
                              QStringLiteral(SQLITERECOVERY_VERSION)};
    return command->run(options);
}

// A standard stream that the caller has closed would lend its number to the next file opened, and
// output meant for the stream would go there.
void occupyStandardStreams()
{
    for (int stream = STDIN_FILENO; stream <= STDERR_FILENO; ++stream) {
        if (fcntl(stream, F_GETFD) == -1) {
            open("/dev/null", O_RDONLY); // takes the lowest free number, which is this one
        }
    }
}

} // namespace

int main(int argc, char *argv[])
{
    occupyStandardStreams();
    // A reader that goes away is reported as a failed write, not by a silent death.
    std::signal(SIGPIPE, SIG_IGN);
    catchInterrupts();
    const QCoreApplication application(argc, argv);

    QCommandLineParser parser;
    const QString value = QStringLiteral("value");
    parser.addOptions({
        {QStringLiteral("format"), QString(), value, QStringLiteral("text")},
        {QStringLiteral("output"), QString(), value},
        {QStringLiteral("force"), QString()},
        {{QStringLiteral("h"), QStringLiteral("help")}, QString()},
        {{QStringLiteral("v"), QStringLiteral("version")}, QString()},
    });
    if (!parser.parse(QCoreApplication::arguments())) {
        return usageError(parser.errorText());
    }
    if (parser.isSet(QStringLiteral("help"))) {
        return show(HelpText);
    }
    if (parser.isSet(QStringLiteral("version"))) {
        return show("sqliterecovery " SQLITERECOVERY_VERSION "\n");
    }
    return runCommand(parser.positionalArguments(), parser);
}
