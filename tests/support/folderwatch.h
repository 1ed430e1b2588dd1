#pragma once

#include <QHash>
#include <QString>
#include <QStringList>

/// Watches a folder and those in it as they are now, so that what is there for a moment only is
/// seen as well. Reading is no event; to open a file for writing is one.
class FolderWatch
{
public:
    explicit FolderWatch(const QString &folder);
    ~FolderWatch();
    Q_DISABLE_COPY(FolderWatch)

    /// What happened since the last call, one line for each event.
    QStringList events();

private:
    void add(const QString &folder);

    int m_queue;
    QHash<int, QString> m_folders; ///< by the number of their watch
};

/// Remembers what a folder holds, and tells what was done to it.
class UntouchedFolder
{
public:
    explicit UntouchedFolder(const QString &folder);

    /// Everything that happened to the folder since the last call; nothing at best.
    QString traces();

private:
    QString m_folder;
    QStringList m_before;
    FolderWatch m_watch;
};
