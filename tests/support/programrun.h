#pragma once

#include "tests/support/words.h"

#include <QByteArray>
#include <QProcess>

// Runs the real program, of which SQLITERECOVERY_PROGRAM is the path.

/// What a run of the program gave.
struct Run
{
    int exitCode = -1;
    QByteArray out;
    QByteArray err;
};

inline Run finish(QProcess &process)
{
    if (!process.waitForFinished(60000) || process.exitStatus() != QProcess::NormalExit) {
        return {};
    }
    return {process.exitCode(), process.readAllStandardOutput(), process.readAllStandardError()};
}

inline Run runProgram(const QStringList &arguments)
{
    QProcess process;
    process.start(QStringLiteral(SQLITERECOVERY_PROGRAM), arguments);
    return finish(process);
}

/// The same with the words of a command line, in which "@" stands for the path.
inline Run runProgram(const char *line, const QString &path = QString())
{
    return runProgram(words(line, path));
}

inline bool isOneLine(const QByteArray &bytes)
{
    return bytes.size() > 1 && bytes.count('\n') == 1 && bytes.endsWith('\n');
}
