#include "tests/support/folderwatch.h"

#include "tests/support/folderstate.h"

#include <QDirIterator>
#include <QFile>

#include <array>

#include <sys/inotify.h>
#include <unistd.h>

UntouchedFolder::UntouchedFolder(const QString &folder)
    : m_folder(folder)
    , m_before(folderState(folder))
    , m_queue(inotify_init1(IN_NONBLOCK | IN_CLOEXEC))
{
    watch(folder);
    QDirIterator folders(folder, QDir::Dirs | QDir::NoDotAndDotDot, QDirIterator::Subdirectories);
    while (folders.hasNext()) {
        watch(folders.next());
    }
}

UntouchedFolder::~UntouchedFolder()
{
    close(m_queue);
}

void UntouchedFolder::watch(const QString &folder)
{
    constexpr quint32 changes = IN_CREATE | IN_DELETE | IN_DELETE_SELF | IN_MODIFY | IN_ATTRIB
                                | IN_MOVE | IN_MOVE_SELF | IN_CLOSE_WRITE;
    m_folders.insert(inotify_add_watch(m_queue, QFile::encodeName(folder).constData(), changes),
                     folder);
}

QStringList UntouchedFolder::events()
{
    if (m_folders.contains(-1)) {
        return {QStringLiteral("cannot watch %1").arg(m_folders.value(-1))};
    }
    QStringList lines;
    alignas(inotify_event) std::array<char, 16384> buffer;
    ssize_t size = 0;
    while ((size = read(m_queue, buffer.data(), buffer.size())) > 0) {
        const char *at = buffer.data();
        while (at < buffer.data() + size) {
            const auto *event = reinterpret_cast<const inotify_event *>(at);
            lines.append(QStringLiteral("%1/%2: %3")
                             .arg(m_folders.value(event->wd),
                                  QFile::decodeName(event->len > 0 ? event->name : ""),
                                  QString::number(event->mask, 16)));
            at += sizeof(inotify_event) + event->len;
        }
    }
    return lines;
}

QString UntouchedFolder::traces()
{
    QStringList traces = events();
    if (folderState(m_folder) != m_before) {
        traces.append(QStringLiteral("%1 differs").arg(m_folder));
    }
    return traces.join(QLatin1Char('\n'));
}
