#pragma once

class QString;

/// What the program tells its caller when it ends.
enum ExitCode : int {
    ExitDone = 0,      ///< the scan ran, whatever it found
    ExitFailed = 1,    ///< an input cannot be scanned or the output cannot be written
    ExitUsage = 2,     ///< the command line makes no sense
    ExitStopped = 130, ///< asked to stop: the output is valid, but there may be more to find
};

/// Writes `text` to stderr as exactly one line, whatever characters it contains.
void printMessage(const QString &text);

/// Prints what went wrong and returns ExitFailed.
int failed(const QString &text);

/// Prints what is wrong with the command line, points to the help, and returns ExitUsage.
int usageError(const QString &text);
