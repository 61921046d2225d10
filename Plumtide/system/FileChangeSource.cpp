#include "Plumtide/system/FileChangeSource.h"

#include "Plumtide/system/SerialQueue.h"

#include <climits>
#include <cstdint>
#include <utility>

#include <sys/inotify.h>
#include <sys/stat.h>
#include <unistd.h>

// Linux: inotify. A file that is unlinked while somebody holds it open reports only a changed attribute (its link
// count), so that is watched, too, and answered by a look at the path.
class FileChangeSource::Watch
{
public:
    Watch(SerialQueue &queue, QByteArray path, OnChange onChange)
        : m_queue(queue), m_path(std::move(path)), m_onChange(std::move(onChange))
    {
    }

    ~Watch()
    {
        if (m_inotify < 0)
            return;
        m_queue.unwatch(m_inotify);
        ::close(m_inotify);
    }

    Watch(const Watch &) = delete;
    Watch &operator=(const Watch &) = delete;

    bool open()
    {
        m_inotify = ::inotify_init1(IN_NONBLOCK | IN_CLOEXEC);
        if (m_inotify < 0)
            return false;
        // The queue calls this only while watched, and the watch ends with this object.
        m_queue.watch(m_inotify, [this] { readReports(); });
        constexpr uint32_t kinds = IN_MODIFY | IN_ATTRIB | IN_DELETE_SELF | IN_MOVE_SELF;
        // A look before and one after: were the file replaced in between, the watch might hold on to either.
        return ::stat(m_path.constData(), &m_watched) == 0
            && ::inotify_add_watch(m_inotify, m_path.constData(), kinds) >= 0 && isCurrent();
    }

    [[nodiscard]] bool isCurrent() const
    {
        struct stat named = {};
        return ::stat(m_path.constData(), &named) == 0 && named.st_ino == m_watched.st_ino
            && named.st_dev == m_watched.st_dev;
    }

private:
    void readReports()
    {
        bool isGone = false;
        alignas(inotify_event) char buffer[4096];
        for (;;) {
            const ssize_t length = ::read(m_inotify, buffer, sizeof buffer);
            if (length <= 0)
                break;
            for (const char *at = buffer; at < buffer + length;) {
                const auto *event = reinterpret_cast<const inotify_event *>(at);
                isGone = isGone || (event->mask & (IN_DELETE_SELF | IN_MOVE_SELF | IN_IGNORED)) != 0;
                at += sizeof(inotify_event) + event->len;
            }
            if (static_cast<size_t>(length) < sizeof buffer / 2)
                break; // that was all; most often it is one report
        }
        isGone = isGone || !isCurrent();
        // The handler may destroy this object; nothing may follow the call.
        const OnChange onChange = m_onChange;
        onChange(isGone);
    }

    SerialQueue &m_queue;
    const QByteArray m_path;
    const OnChange m_onChange;
    int m_inotify = -1;
    struct stat m_watched = {};
};

std::unique_ptr<FileChangeSource> FileChangeSource::open(SerialQueue &queue, QByteArray path, OnChange onChange)
{
    std::unique_ptr<FileChangeSource> source(new FileChangeSource);
    source->m_watch = std::make_unique<Watch>(queue, std::move(path), std::move(onChange));
    return source->m_watch->open() ? std::move(source) : nullptr;
}

FileChangeSource::~FileChangeSource() = default;

bool FileChangeSource::isCurrent() const
{
    return m_watch->isCurrent();
}
