#include "Plumtide/system/FileWatch.h"

#include "Plumtide/system/Log.h"

#include <QFileInfo>

#include <array>

#include <poll.h>
#include <sys/eventfd.h>

FileWatch::FileWatch()
    : m_wakeFd(::eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK)), m_inotifyFd(::inotify_init1(IN_NONBLOCK | IN_CLOEXEC))
{
}

std::optional<QSet<QString>> FileWatch::attach(const QString &path, uint32_t mask)
{
    Watch &watch = m_watches[path];
    // The same number as before for the same file. A number is never used again.
    const int descriptor = ::inotify_add_watch(m_inotifyFd.get(), QFile::encodeName(path).constData(), mask);
    if (descriptor != watch.descriptor) {
        if (watch.descriptor >= 0)
            ::inotify_rm_watch(m_inotifyFd.get(), watch.descriptor);
        qCDebug(systemLog) << path << (descriptor < 0 ? "is not watched" : "is watched");
        watch = {descriptor};
    }
    return watch.isComplete ? std::optional(watch.changed) : std::nullopt;
}

std::optional<QSet<QString>> FileWatch::attachFolder(const QString &path, uint32_t mask, int parents)
{
    const std::optional<QSet<QString>> changed = attach(path, mask | IN_ONLYDIR);
    if (parents == 0 || m_watches[path].descriptor >= 0)
        return changed;
    attachFolder(QFileInfo(path).path(), IN_CREATE | IN_MOVED_TO | IN_ONESHOT, parents - 1);
    return attach(path, mask | IN_ONLYDIR); // it may have been created before its parent was watched
}

bool FileWatch::wait(std::chrono::milliseconds timeout)
{
    for (Watch &watch : m_watches)
        watch = {watch.descriptor, watch.descriptor >= 0};
    std::array<pollfd, 2> descriptors{{{.fd = m_wakeFd.get(), .events = POLLIN, .revents = 0},
                                       {.fd = m_inotifyFd.get(), .events = POLLIN, .revents = 0}}};
    ::poll(descriptors.data(), descriptors.size(), static_cast<int>(timeout.count()));
    if (descriptors[1].revents != 0) {
        // The files are read after any of them. Those that do not fit into the buffer end the next wait.
        alignas(inotify_event) std::array<char, 4096> reports;
        const ssize_t length = ::read(m_inotifyFd.get(), reports.data(), reports.size());
        for (ssize_t at = 0; at < length;) {
            const auto *const report = reinterpret_cast<const inotify_event *>(reports.data() + at);
            at += static_cast<ssize_t>(sizeof(inotify_event)) + report->len;
            for (Watch &watch : m_watches) {
                if (report->mask & IN_Q_OVERFLOW) // reports were lost
                    watch.isComplete = false;
                else if (report->wd == watch.descriptor && report->len > 0)
                    watch.changed.insert(QFile::decodeName(report->name));
            }
        }
    }
    return !m_isInterrupted;
}

void FileWatch::interrupt()
{
    m_isInterrupted = true;
    ::eventfd_write(m_wakeFd.get(), 1);
}
