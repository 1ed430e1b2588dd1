#include "cli/commandparts.h"
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
    R"(Usage: sqliterecovery scan TYPE FILE [--format FORMAT] [--output PATH]
       sqliterecovery wal TYPE FILE [LOG] [--format FORMAT] [--output PATH]

Finds deleted records in an SQLite database of an iOS backup, changing nothing:
scan in unused space; wal (types 0, 1, 3, 5) in the log beside it, FILE-wal.

TYPE is a name or its number:
  contacts (0)    messages (1)   call-history (2)    calendar (3)    notes (4)
  bookmarks (5)   whatsapp (6)   safari-history (7)  ios9-notes (8)  wechat (10)

Options:
  --format FORMAT   text: tables for people (default); csv: for a spreadsheet;
                    jsonl: one JSON object a line; json: one array of the same
  --output PATH     write to PATH instead of standard output
  --help            show this help
  --version         show the version

Exit code: 0 the scan ran, 1 FILE, LOG or the output is unusable, 2 wrong usage.

Examples:
  sqliterecovery scan call-history call_history.db
  sqliterecovery scan contacts AddressBook.sqlitedb --format csv --output c.csv
  sqliterecovery wal bookmarks Bookmarks.db
  sqliterecovery scan 1 3d0d7e5fb2ce288813306e4d4636395e047a3d28 --format jsonl
)";

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
    const bool isScan = arguments.first() == QLatin1String("scan");
    if (!isScan && arguments.first() != QLatin1String("wal")) {
        return usageError(QStringLiteral("unknown command: %1").arg(arguments.first()));
    }
    const QString output = parser.value(QStringLiteral("output"));
    if (parser.isSet(QStringLiteral("output")) && output.isEmpty()) {
        return usageError(QStringLiteral("--output needs a path"));
    }
    const ScanOptions options{arguments.mid(1), parser.value(QStringLiteral("format")), output};
    return isScan ? runScan(options) : runWal(options);
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
    const QCoreApplication application(argc, argv);

    QCommandLineParser parser;
    const QString value = QStringLiteral("value");
    parser.addOptions({
        {QStringLiteral("format"), QString(), value, QStringLiteral("text")},
        {QStringLiteral("output"), QString(), value},
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
