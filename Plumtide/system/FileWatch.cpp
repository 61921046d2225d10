#include "Plumtide/system/FileWatch.h"

#include "Plumtide/system/Log.h"

#include <QFile>

#include <array>

#include <poll.h>
#include <sys/eventfd.h>
#include <sys/inotify.h>

FileWatch::FileWatch(const QString &path)
    : m_path(QFile::encodeName(path)),
      m_end(::eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK)),
      m_reports(::inotify_init1(IN_NONBLOCK | IN_CLOEXEC))
{
}

void FileWatch::attach()
{
    // The same number as before for the same file. A file that is unlinked while somebody holds it open reports only a
    // changed attribute, its number of links.
    constexpr uint32_t kinds = IN_MODIFY | IN_ATTRIB | IN_DELETE_SELF | IN_MOVE_SELF;
    const int watch = ::inotify_add_watch(m_reports.get(), m_path.constData(), kinds);
    if (watch == m_watch)
        return;
    if (m_watch >= 0)
        ::inotify_rm_watch(m_reports.get(), m_watch);
    m_watch = watch;
    qCDebug(systemLog) << m_path << (watch < 0 ? "is not watched" : "is watched");
}

bool FileWatch::wait(std::chrono::milliseconds patience)
{
    std::array<pollfd, 2> descriptors{
        {{.fd = m_end.get(), .events = POLLIN, .revents = 0}, {.fd = m_reports.get(), .events = POLLIN, .revents = 0}}};
    ::poll(descriptors.data(), descriptors.size(), static_cast<int>(patience.count()));
    if (descriptors[1].revents != 0) {
        // Whatever it was, the file is looked at. Those that do not fit end the next wait.
        alignas(inotify_event) std::array<char, 4096> reports;
        [[maybe_unused]] const ssize_t length = ::read(m_reports.get(), reports.data(), reports.size());
    }
    return descriptors[0].revents == 0;
}

void FileWatch::end()
{
    ::eventfd_write(m_end.get(), 1);
}
