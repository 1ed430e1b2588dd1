#pragma once

#include "api/scantype.h"

#include <QString>
#include <QStringList>

class OutputFile;
class QIODevice;
struct ScanResults;

// What the commands have in common.

/// The command line of a scan, split but not yet checked.
struct ScanOptions
{
    /// What follows the command's name: a type and a file, or more files.
    QStringList arguments;
    QString format;
    /// Where the records go; an empty string means standard output.
    QString output;
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
    bool (*print)(const ScanResults &results, QIODevice &out);
};

/// What the options say, when they make sense.
struct ScanRequest
{
    const TypeName *type = nullptr;
    const Format *format = nullptr;
    QStringList files;
    QString output;
};

/// Checks the options of a command that takes a type, a file and up to `mostFiles` files in all.
/// Returns ExitDone, or another exit code after saying what is wrong.
int checkOptions(const char *command, const ScanOptions &options, int mostFiles,
                 ScanRequest *request);

/// What keeps a scan from reading the database; a null string when nothing does.
QString databaseObstacle(const QString &path);

/// Opens the output before the scan, so that nobody waits for records that cannot be kept. Returns
/// ExitDone, or another exit code after saying what is wrong: also when the output would overwrite
/// one of the files.
int openOutput(const ScanRequest &request, OutputFile *output);

/// Prints the records. Returns the program's exit code.
int printResults(const ScanResults &results, const ScanRequest &request, OutputFile &output);
