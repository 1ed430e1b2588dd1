#include "cli/messages.h"

#include "cli/displaytext.h"

#include <QString>

#include <cstdio>

void printMessage(const QString &text)
{
    // A file name may hold line breaks or escape sequences.
    const QByteArray line = "sqliterecovery: " + printable(text).toLocal8Bit() + '\n';
    std::fwrite(line.constData(), 1, size_t(line.size()), stderr);
}

int failed(const QString &text)
{
    printMessage(text);
    return ExitFailed;
}

int usageError(const QString &text)
{
    printMessage(text + QStringLiteral(" (see sqliterecovery --help)"));
    return ExitUsage;
}
