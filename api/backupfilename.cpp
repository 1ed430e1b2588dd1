#include "api/backupfilename_p.h"

#include <QCryptographicHash>
#include <QString>

QString backupFilename(const QString &domain, const QString &relativePath)
{
    const QString name = domain + QLatin1Char('-') + relativePath;
    const QByteArray bytes = name.normalized(QString::NormalizationForm_D).toUtf8();
    return QString::fromLatin1(QCryptographicHash::hash(bytes, QCryptographicHash::Sha1).toHex());
}
