#include "samples/truthfile.h"

#include "cli/jsonprinter.h"

#include <QFile>
#include <QJsonDocument>
#include <QJsonObject>

bool writeTruthFile(const QString &path, const QVector<QCborMap> &records)
{
    QFile file(path);
    bool ok = file.open(QIODevice::WriteOnly);
    for (const QCborMap &record : records) {
        ok = ok && file.write(toJson(record) + '\n') > 0;
    }
    return ok && file.flush();
}

bool readTruthFile(const QString &path, QVector<QCborMap> *records, QString *error)
{
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly)) {
        *error = QStringLiteral("cannot read %1: %2").arg(path, file.errorString());
        return false;
    }
    for (int lineNumber = 1; !file.atEnd(); ++lineNumber) {
        const QJsonDocument line = QJsonDocument::fromJson(file.readLine());
        if (!line.isObject()) {
            *error = QStringLiteral("%1, line %2: not a JSON object").arg(path).arg(lineNumber);
            return false;
        }
        records->append(QCborMap::fromJsonObject(line.object()));
    }
    return true;
}
