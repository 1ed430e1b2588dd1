// Shows the deleted calls of a sample beside those that a scan found. What was found and never was
// deleted is told apart by the calls that still exist: SQLite leaves copies of rows where it moved
// them, and a scan cannot tell such a copy from a deleted row.

#include "samples/calltruth.h"
#include "samples/carvedreading.h"
#include "samples/recallreport.h"

#include <QCoreApplication>
#include <QDateTime>
#include <QTextStream>

#include <algorithm>

namespace {

constexpr int MaxAddressWidth = 44;

bool contains(const QVector<CallhistoryRecord> &calls, const CallhistoryRecord &call)
{
    return std::any_of(calls.begin(), calls.end(),
                       [&call](const CallhistoryRecord &other) { return sameCall(call, other); });
}

QString printable(QString text)
{
    for (QChar &c : text) {
        c = c.isPrint() ? c : QChar(QChar::ReplacementCharacter);
    }
    if (text.size() > MaxAddressWidth) {
        text = text.left(MaxAddressWidth - 3) + QStringLiteral("...");
    }
    return text.isEmpty() ? QStringLiteral("(none)") : text;
}

QString readableDate(qint64 seconds)
{
    const QDateTime date = QDateTime::fromSecsSinceEpoch(seconds, Qt::UTC);
    return date.isValid() ? date.toString(QStringLiteral("yyyy-MM-dd hh:mm:ss"))
                          : QString::number(seconds);
}

QString readableDuration(int seconds)
{
    return QStringLiteral("%1:%2:%3")
        .arg(seconds / 3600)
        .arg(seconds / 60 % 60, 2, 10, QLatin1Char('0'))
        .arg(seconds % 60, 2, 10, QLatin1Char('0'));
}

class Table
{
public:
    explicit Table(int addressWidth)
        : m_addressWidth(addressWidth)
        , m_out(stdout)
    {
        m_out.setCodec("UTF-8");
        line(QStringLiteral("result"), QStringLiteral("address"), QStringLiteral("date (UTC)"),
             QStringLiteral("duration"), QStringLiteral("flags"));
    }

    void add(const QString &result, const CallhistoryRecord &call)
    {
        line(result, printable(call.address), readableDate(call.date),
             readableDuration(call.duration), QString::number(call.flags));
    }

    QTextStream &out() { return m_out; }

private:
    void line(const QString &result, const QString &address, const QString &date,
              const QString &duration, const QString &flags)
    {
        m_out << result.leftJustified(11) << address.leftJustified(m_addressWidth + 2)
              << date.leftJustified(21) << duration.rightJustified(10) << flags.rightJustified(8)
              << '\n';
    }

    int m_addressWidth;
    QTextStream m_out;
};

int widestAddress(const QVector<CallhistoryRecord> &calls)
{
    int width = 10;
    for (const CallhistoryRecord &call : calls) {
        width = std::max(width, printable(call.address).size());
    }
    return width;
}

/// The calls of one sample database.
struct Calls
{
    QVector<CallhistoryRecord> deleted;
    QVector<CallhistoryRecord> live;
    QVector<CallhistoryRecord> found;
};

void compare(const Calls &calls)
{
    Table table(widestAddress(calls.deleted + calls.found));
    int recovered = 0;
    for (const CallhistoryRecord &call : calls.deleted) {
        const bool isFound = contains(calls.found, call);
        recovered += isFound;
        table.add(QLatin1String(isFound ? "recovered" : "missed"), call);
    }
    int copies = 0;
    int invented = 0;
    for (const CallhistoryRecord &call : calls.found) {
        if (!contains(calls.deleted, call)) {
            const bool isCopy = contains(calls.live, call);
            ++(isCopy ? copies : invented);
            table.add(QLatin1String(isCopy ? "live copy" : "invented"), call);
        }
    }
    table.out() << QStringLiteral("deleted %1, recovered %2, missed %3, copies of live calls %4, "
                                  "invented %5; ")
                       .arg(calls.deleted.size())
                       .arg(recovered)
                       .arg(calls.deleted.size() - recovered)
                       .arg(copies)
                       .arg(invented)
                << "recall " << percentText(recovered, calls.deleted.size()) << ", precision "
                << percentText(calls.found.size() - copies - invented, calls.found.size()) << '\n';
}

} // namespace

int main(int argc, char *argv[])
{
    const QCoreApplication application(argc, argv);
    const QStringList arguments = application.arguments().mid(1);
    if (arguments.size() != 3) {
        QTextStream(stderr) << "usage: comparetruth DELETED.jsonl LIVE.jsonl FOUND.jsonl\n";
        return 2;
    }
    Calls calls;
    QString error;
    if (!readCallLines(arguments.at(0), &calls.deleted, &error)
        || !readCallLines(arguments.at(1), &calls.live, &error)
        || !readCallLines(arguments.at(2), &calls.found, &error)) {
        QTextStream(stderr) << "comparetruth: " << error << '\n';
        return 1;
    }
    compare(calls);
    return 0;
}
