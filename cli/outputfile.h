#pragma once

#include <QScopedPointer>
#include <QString>

class QFileDevice;
class QIODevice;

/// Whether writing to `path` would replace the database `database` or one of the files that SQLite
/// keeps beside it, however the path is spelt and whether or not these files exist.
bool namesEvidence(const QString &path, const QString &database);

/// Where the records go: standard output, or a file that appears only when it is complete.
class OutputFile
{
public:
    OutputFile();
    ~OutputFile();

    /// Opens the file `path`, or standard output when `path` is empty. Returns false on failure.
    bool open(const QString &path);
    /// The open device; owned by this object.
    QFileDevice &device() { return *m_device; }
    /// Writes what is still buffered and puts the file in place. Returns false when any byte since
    /// open() could not be written; the file of that name is then as it was before.
    bool commit();
    /// Why open() or commit() failed.
    QString errorString() const;

private:
    QScopedPointer<QFileDevice> m_device;
};

/// Returns false when the device does not take all of the bytes.
bool writeAll(QIODevice &out, const QByteArray &bytes);
