#pragma once

#include <QFileDevice>
#include <QScopedPointer>
#include <QStringList>

#include <memory>
#include <vector>

class NewFile;
class QIODevice;

/// Whether writing to `path` would replace the database `database` or one of the files that SQLite
/// keeps beside it, however the path is spelt and whether or not these files exist.
bool namesEvidence(const QString &path, const QString &database);

/// Whether writing to `path` would create or change something in the folder `folder`.
bool liesWithin(const QString &path, const QString &folder);

/// Where the records go: standard output, or a file that appears only when it is complete.
class OutputFile
{
public:
    OutputFile();
    ~OutputFile();

    /// Opens the file `path`, or standard output when `path` is empty. Returns false on failure,
    /// also when there is such a file already and `replaces` is false.
    bool open(const QString &path, bool replaces);
    /// The open device; owned by this object.
    QFileDevice &device() { return *m_device; }
    /// Writes what is still buffered and puts the file in place. Returns false when any byte since
    /// open() could not be written; the file of that name is then as it was before.
    bool commit();
    /// Why open() or commit() failed.
    QString errorString() const;

private:
    QScopedPointer<QFileDevice> m_device;
    QString m_error;
};

/// A folder of files that appear only when all of them are complete.
class OutputFolder
{
public:
    OutputFolder();
    /// Removes what was not committed.
    ~OutputFolder();

    /// Takes the folder `path`, which need not exist. Returns false on failure, also when it holds
    /// one of the files `names` already and `replaces` is false; those are gone once all is in
    /// place.
    bool open(const QString &path, const QStringList &names, bool replaces);
    /// A new file; owned by this object. Null on failure.
    QIODevice *add(const QString &name);
    /// Writes what is still buffered and puts the files in place. Returns false on failure; a new
    /// folder does not appear then.
    bool commit();
    /// Why open(), add(), writing to the last file or commit() failed.
    QString errorString() const;

private:
    bool prepare();

    QString m_path;
    QStringList m_replaced; ///< files of former runs
    QString m_workPath; ///< where the files are written: a folder of another name, when it is new
    bool m_isPrepared = false;
    std::vector<std::unique_ptr<NewFile>> m_files;
    QString m_error;
};

/// Returns false when the device does not take all of the bytes.
bool writeAll(QIODevice &out, const QByteArray &bytes);
