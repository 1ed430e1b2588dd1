#pragma once

#include <QString>

/// The large databases that carving is measured on.
struct BenchFiles
{
    QString calls;
    QString smallCalls;
    QString messages;
    QString smallMessages;
};

/// Makes the files in `folder` where they are missing. Returns false when one cannot be made.
bool prepareFiles(const QString &folder, int mebibytes, BenchFiles *files);
void removeFiles(const BenchFiles &files);

/// Carves both large files once and compares the counts with those of SQL, and the calls with the
/// ones that were inserted. Prints what it compared; returns false when something is wrong.
bool verifyFiles(const BenchFiles &files);

/// One pass of the engine over the table in the file. Returns the number of deleted matches, -1
/// when the file cannot be opened.
int carveCalls(const QString &path);

/// The three passes of a scan for messages: the table under its own columns, then under those of
/// iOS 14, then the handles. Returns as carveCalls().
int carveMessages(const QString &path);

/// A whole scan: the three passes, the live rows and the joining. Returns the number of messages.
int scanMessageFile(const QString &path);
