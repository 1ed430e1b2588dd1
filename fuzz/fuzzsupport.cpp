#include "fuzz/fuzzsupport.h"

#include <QFile>

#include <cstdio>
#include <cstdlib>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace {

QByteArray makeFolder()
{
    const QByteArray parent = qEnvironmentVariableIsSet("TMPDIR") ? qgetenv("TMPDIR") : "/dev/shm";
    QByteArray folder = parent + "/fuzz" + QByteArray::number(getpid());
    require(mkdir(folder.constData(), 0700) == 0, "a folder for the inputs");
    return folder;
}

} // namespace

void require(bool holds, const char *what)
{
    if (!holds) {
        std::fprintf(stderr, "does not hold: %s\n", what);
        std::abort();
    }
}

ScratchFile::ScratchFile(const char *name)
{
    static const QByteArray folder = makeFolder();
    const QByteArray path = folder + '/' + name;
    m_path = QFile::decodeName(path);
    m_file = open(path.constData(), O_RDWR | O_CREAT | O_CLOEXEC, 0600);
    require(m_file >= 0, "a file for the inputs");
}

ScratchFile::~ScratchFile()
{
    close(m_file);
    QFile::remove(m_path);
}

void ScratchFile::write(const char *bytes, size_t size)
{
    const bool isWritten =
        pwrite(m_file, bytes, size, 0) == ssize_t(size) && ftruncate(m_file, off_t(size)) == 0;
    require(isWritten, "the input is in its file");
}
