#pragma once

#include "api/scantype.h"
#include "cli/outputfile.h"
#include "cli/report.h"

#include <QString>
#include <QStringList>

#include <cstdio>

class QIODevice;

// What the commands have in common.

/// The command line of a scan, split but not yet checked.
struct ScanOptions
{
    /// What follows the command's name: a type and a file, or more files.
    QStringList arguments;
    QString format;
    /// Where the records go; an empty string means standard output.
    QString output;
    bool replaces = false; ///< whether an existing output is replaced
    QString programVersion;
};

/// A type of database as the command line names it.
struct TypeName
{
    ScanType type;
    const char *name;
    int searches; ///< how often a scan searches the file, as a rule
};

/// A form of output.
struct Format
{
    const char *name;
    bool (*print)(const Report &report, QIODevice &out);
};

/// What the options say, when they make sense.
struct ScanRequest
{
    const TypeName *type = nullptr; ///< null for a backup
    const Format *format = nullptr;
    QStringList files;
    QString output;
    bool toFolder = false; ///< whether the output is a folder with a file for each kind of record
    bool replaces = false;
};

/// Checks the options of a command that takes a type, a file and up to `mostFiles` files in all.
/// Returns ExitDone, or another exit code after saying what is wrong.
int checkOptions(const char *command, const ScanOptions &options, int mostFiles,
                 ScanRequest *request);

/// The same for a command that takes nothing but a folder.
int checkFolderOptions(const char *command, const ScanOptions &options, ScanRequest *request);

/// The type of a database under its name on the command line.
const TypeName &typeName(ScanType type);

/// A report without databases, begun now.
Report newReport(const ScanOptions &options, const QString &source);

/// Says what went wrong, now and in the report. An empty warning says nothing.
void addWarning(const QString &warning, Report *report);

/// A file that the command line names, before its scan.
ScannedDatabase requestedFile(const ScanRequest &request, const QString &path);

/// Whether the report tells the contents of the files by their hashes.
bool wantsHashes(const ScanRequest &request);

/// What keeps a scan from reading the database; a null string when nothing does.
QString databaseObstacle(const QString &path);

/// Likewise of the log `path`.
QString logObstacle(const QString &path);

/// Where a run writes its records.
class Output
{
public:
    /// Opens the output before the scan, so that nobody waits for records that cannot be kept.
    /// Returns ExitDone, or another exit code after saying what is wrong: also when the output
    /// would overwrite one of the request's files.
    int open(const ScanRequest &request);
    /// Prints the records. Returns the program's exit code.
    int print(const Report &report);

private:
    bool printFiles(const Report &report);
    int failedToWrite(const QString &reason);

    const Format *m_format = nullptr;
    QString m_path;
    bool m_isFolder = false;
    OutputFile m_file;
    OutputFolder m_folder;
};

/// Prints the report, says so when the run was stopped, and returns the program's exit code.
int finish(Report *report, Output *output);

/// The bar of a run; it is drawn on standard error when that is a terminal.
std::FILE *progressTerminal();
