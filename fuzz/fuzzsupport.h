#pragma once

#include <QByteArray>
#include <QString>

/// Ends the program, so that the fuzzer keeps the input, unless what must hold does.
void require(bool holds, const char *what);

/// A file in memory that each input is written to anew: the library opens files by their path. It
/// stands in TMPDIR, /dev/shm unless that is set.
class ScratchFile
{
public:
    /// The first of all decides on the folder, which all share and which is left behind.
    explicit ScratchFile(const char *name);
    ~ScratchFile();
    Q_DISABLE_COPY(ScratchFile)

    const QString &path() const { return m_path; }
    void write(const char *bytes, size_t size);

private:
    QString m_path;
    int m_file;
};
