#pragma once

#include "Plumtide/system/Environment.h"

#include <QCoreApplication>
#include <QDir>
#include <QElapsedTimer>
#include <QFile>
#include <QSet>
#include <QTemporaryDir>

#include <gtest/gtest.h>

#include <deque>

// What a failed expectation shows instead of raw bytes.
inline void PrintTo(const QByteArray &bytes, std::ostream *out)
{
    *out << '"' << bytes.toStdString() << '"';
}
inline void PrintTo(const QString &text, std::ostream *out)
{
    PrintTo(text.toUtf8(), out);
}

/// What is other in the list `now`: "-" what has gone, "+" what has come, with its place where that is not at the end.
/// All of the list where nothing is left of `before`, or in another order.
inline QString changeOf(const QStringList &before, const QStringList &now)
{
    QStringList gone = before, kept = before;
    for (const QString &part : now)
        gone.removeOne(part);
    for (const QString &part : gone)
        kept.removeOne(part);
    QString change = gone.isEmpty() ? "" : " -" + gone.join(" -");
    qsizetype seen = 0;
    for (qsizetype i = 0; i < now.size(); ++i) {
        if (seen < kept.size() && kept[seen] == now[i])
            ++seen;
        else
            change += " +" + (seen < kept.size() ? QString::number(i) + ':' : "") + now[i];
    }
    return (kept.isEmpty() && !before.isEmpty()) || seen < kept.size() ? u' ' + now.join(" | ") : change;
}

/// A home directory of its own with a clock and a process table that the test sets. Nothing outside of it is touched.
class TestHome
{
public:
    QString path(const QString &name = {}) const { return m_directory.filePath(name); }

    void write(const QString &name, const QByteArray &content, QIODevice::OpenMode mode = QIODevice::Truncate) const
    {
        QDir().mkpath(QFileInfo(path(name)).path());
        QFile file(path(name));
        ASSERT_TRUE(file.open(QIODevice::WriteOnly | mode)) << qPrintable(path(name));
        file.write(content);
    }
    void append(const QString &name, const QByteArray &content) const { write(name, content, QIODevice::Append); }

    QByteArray read(const QString &name) const
    {
        QFile file(path(name));
        return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
    }
    bool exists(const QString &name) const { return QFileInfo::exists(path(name)); }

    std::shared_ptr<Defaults> defaults() const
    {
        return std::make_shared<Defaults>(path(".config/plumtide/plumtide.conf"));
    }

    /// One of its own for each start of a program; it lives as long as the home.
    Environment &environment()
    {
        m_environments.push_back({
            .home = path(),
            .clock = [this] { return now; },
            .defaults = Defaults(path(".config/plumtide/plumtide.conf")),
            .processExists =
                [this](pid_t pid, const QString &start) {
                    return processes.contains(pid) && (start.isEmpty() || start == QString::number(pid * 100));
                },
            .resourcesDir = path("resources"),
        });
        return m_environments.back();
    }

    QDateTime now = QDateTime::fromString(u"2026-03-07T09:41:05Z", Qt::ISODate);
    QSet<pid_t> processes; ///< Each started at a hundred times its id.

private:
    QTemporaryDir m_directory;
    std::deque<Environment> m_environments;
};

/// Turns the event loop until `condition` holds; false when it does not within some seconds.
template <typename Condition>
bool waitUntil(Condition condition, int milliseconds = 20'000)
{
    QElapsedTimer timer;
    timer.start();
    while (!condition()) {
        if (timer.hasExpired(milliseconds))
            return false;
        QCoreApplication::processEvents(QEventLoop::AllEvents | QEventLoop::WaitForMoreEvents, 5);
    }
    return true;
}
