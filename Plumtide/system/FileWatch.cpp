#include "Plumtide/system/FileWatch.h"

#include "Plumtide/system/Log.h"

#include <QFileInfo>

#include <array>

#include <poll.h>
#include <sys/eventfd.h>
#include <sys/inotify.h>

FileWatch::FileWatch(const QString &file, const QString &folder)
    : m_filePath(QFile::encodeName(file)),
      m_folderPath(QFile::encodeName(folder)),
      m_parentPath(QFile::encodeName(QFileInfo(folder).path())),
      m_wakeFd(::eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK)),
      m_inotifyFd(::inotify_init1(IN_NONBLOCK | IN_CLOEXEC))
{
}

std::optional<QSet<QString>> FileWatch::attach()
{
    // A file that is unlinked while another process has it open only reports a changed attribute, its link count.
    m_file = watch(m_filePath, IN_MODIFY | IN_ATTRIB | IN_DELETE_SELF | IN_MOVE_SELF, m_file);
    const int before = m_folder;
    // The parent first: the folder may be created between the two calls.
    m_parent = watch(before < 0 ? m_parentPath : QByteArray(), IN_CREATE | IN_MOVED_TO, m_parent);
    m_folder = watch(m_folderPath, IN_CLOSE_WRITE | IN_MOVE | IN_DELETE | IN_ONLYDIR, m_folder);
    const QSet<QString> changed = std::exchange(m_changed, {});
    return m_folder >= 0 && m_folder == before ? std::optional(changed) : std::nullopt;
}

int FileWatch::watch(const QByteArray &path, uint32_t kinds, int before) const
{
    // The same number as before for the same file. A number is never used again.
    const int watch = ::inotify_add_watch(m_inotifyFd.get(), path.constData(), kinds);
    if (watch == before)
        return watch;
    if (before >= 0)
        ::inotify_rm_watch(m_inotifyFd.get(), before);
    qCDebug(systemLog) << path << (watch < 0 ? "is not watched" : "is watched");
    return watch;
}

bool FileWatch::wait(std::chrono::milliseconds timeout)
{
    std::array<pollfd, 2> descriptors{{{.fd = m_wakeFd.get(), .events = POLLIN, .revents = 0},
                                       {.fd = m_inotifyFd.get(), .events = POLLIN, .revents = 0}}};
    ::poll(descriptors.data(), descriptors.size(), static_cast<int>(timeout.count()));
    if (descriptors[1].revents != 0) {
        // The file is read after any of them. Those that do not fit into the buffer end the next wait.
        alignas(inotify_event) std::array<char, 4096> reports;
        const ssize_t length = ::read(m_inotifyFd.get(), reports.data(), reports.size());
        for (ssize_t at = 0; at < length;) {
            const auto *const report = reinterpret_cast<const inotify_event *>(reports.data() + at);
            at += static_cast<ssize_t>(sizeof(inotify_event)) + report->len;
            if (report->mask & IN_Q_OVERFLOW) // reports were lost
                m_folder = -1;
            else if (report->wd == m_folder && report->len > 0)
                m_changed.insert(QFile::decodeName(report->name));
        }
    }
    return !m_isInterrupted;
}

void FileWatch::interrupt()
{
    m_isInterrupted = true;
    ::eventfd_write(m_wakeFd.get(), 1);
}
