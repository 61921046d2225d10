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
      m_end(::eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK)),
      m_reports(::inotify_init1(IN_NONBLOCK | IN_CLOEXEC))
{
}

std::optional<QSet<QString>> FileWatch::attach()
{
    // A file that is unlinked while somebody holds it open reports only a changed attribute, its number of links.
    m_file = watch(m_filePath, IN_MODIFY | IN_ATTRIB | IN_DELETE_SELF | IN_MOVE_SELF, m_file);
    const int before = m_folder;
    // Where the folder was missing, it may come at any moment, also at this one.
    m_parent = watch(before < 0 ? m_parentPath : QByteArray(), IN_CREATE | IN_MOVED_TO, m_parent);
    m_folder = watch(m_folderPath, IN_CLOSE_WRITE | IN_MOVE | IN_DELETE | IN_ONLYDIR, m_folder);
    const QSet<QString> changed = std::exchange(m_changed, {});
    return m_folder >= 0 && m_folder == before ? std::optional(changed) : std::nullopt;
}

int FileWatch::watch(const QByteArray &path, uint32_t kinds, int before) const
{
    // The same number as before for the same file; a number is not given twice.
    const int watch = ::inotify_add_watch(m_reports.get(), path.constData(), kinds);
    if (watch == before)
        return watch;
    if (before >= 0)
        ::inotify_rm_watch(m_reports.get(), before);
    qCDebug(systemLog) << path << (watch < 0 ? "is not watched" : "is watched");
    return watch;
}

bool FileWatch::wait(std::chrono::milliseconds patience)
{
    std::array<pollfd, 2> descriptors{
        {{.fd = m_end.get(), .events = POLLIN, .revents = 0}, {.fd = m_reports.get(), .events = POLLIN, .revents = 0}}};
    ::poll(descriptors.data(), descriptors.size(), static_cast<int>(patience.count()));
    if (descriptors[1].revents != 0) {
        // Whatever it was, the file is looked at. Those that do not fit end the next wait.
        alignas(inotify_event) std::array<char, 4096> reports;
        const ssize_t length = ::read(m_reports.get(), reports.data(), reports.size());
        for (ssize_t at = 0; at < length;) {
            const auto *const report = reinterpret_cast<const inotify_event *>(reports.data() + at);
            at += static_cast<ssize_t>(sizeof(inotify_event)) + report->len;
            if (report->mask & IN_Q_OVERFLOW) // some were lost
                m_folder = -1;
            else if (report->wd == m_folder && report->len > 0)
                m_changed.insert(QFile::decodeName(report->name));
        }
    }
    return descriptors[0].revents == 0;
}

void FileWatch::end()
{
    ::eventfd_write(m_end.get(), 1);
}
