#pragma once

#include <QHash>
#include <QString>
#include <QStringList>

/// Remembers what a folder holds, and watches it and those in it as they are now, so that what is
/// there for a moment only is seen as well. Reading is no event; to open a file for writing is one.
class UntouchedFolder
{
public:
    explicit UntouchedFolder(const QString &folder);
    ~UntouchedFolder();
    Q_DISABLE_COPY(UntouchedFolder)

    /// Everything that happened to the folder since the last call; nothing at best.
    QString traces();

private:
    void watch(const QString &folder);
    QStringList events();

    QString m_folder;
    QStringList m_before;
    int m_queue;
    QHash<int, QString> m_folders; ///< by the number of their watch
};
