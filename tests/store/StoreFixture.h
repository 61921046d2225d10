#pragma once

#include "Plumtide/store/TaskStore.h"

#include "Plumtide/system/Descriptor.h"
#include "tests/support/Printing.h"
#include "tests/support/TestHome.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>

#include <sys/inotify.h>

/// A store in a home of its own, with the time under the test's hand and every notification written down.
class StoreFixture : public testing::Test
{
protected:
    StoreFixture() { m_home.now = QDateTime(QDate(2026, 3, 7), QTime(10, 0)).toUTC(); } // 10:00 where the test runs

    TaskStore &store()
    {
        if (!m_store) {
            m_store = std::make_unique<TaskStore>(m_home.environment());
            m_store->setNotify([this](const QString &title, const QString &body, const QString &id) {
                m_notifications.append(QStringList{id, title, body}.join(QStringLiteral(" | ")));
            });
        }
        return *m_store;
    }

    void restart()
    {
        m_store.reset();
        store();
    }

    /// What a reader of the file sees.
    QList<AgentTask> stored() const
    {
        QList<AgentTask> lines;
        const QJsonArray array = QJsonDocument::fromJson(m_home.read(QStringLiteral(".tavvel/tasks.json"))).array();
        for (const QJsonValue &value : array)
            lines.append(agentTaskFrom(value.toObject()).value_or(AgentTask()));
        return lines;
    }

    /// How often an action replaces the file, as the system reports it.
    int savesOf(const std::function<void()> &action) const
    {
        const Descriptor reports(::inotify_init1(IN_NONBLOCK | IN_CLOEXEC));
        ::inotify_add_watch(reports.get(), QFile::encodeName(m_home.path(QStringLiteral(".tavvel"))).constData(),
                            IN_MOVED_FROM | IN_MOVED_TO); // both, since equal neighbours are merged
        action();
        int saves = 0;
        alignas(inotify_event) char buffer[4096];
        for (ssize_t length = 0; (length = ::read(reports.get(), buffer, sizeof buffer)) > 0;) {
            for (const char *at = buffer; at < buffer + length;) {
                const auto *report = reinterpret_cast<const inotify_event *>(at);
                saves += (report->mask & IN_MOVED_TO) != 0 ? 1 : 0;
                at += sizeof(inotify_event) + report->len;
            }
        }
        return saves;
    }

    HookEvent event(const QByteArray &name, const QByteArray &members = {}) const
    {
        const QByteArray time =
            QByteArray::number(static_cast<double>(m_home.now.toMSecsSinceEpoch()) / 1000.0, 'f', 3);
        QByteArray line =
            R"({"session_id":"S","cwd":"/home/u/shop","hook_event_name":")" + name + R"(","tavvel_ts":)" + time;
        if (!members.isEmpty())
            line += "," + members;
        const std::optional<HookEvent> decoded = HookEvent::decode(line + "}");
        EXPECT_TRUE(decoded) << line.constData();
        return decoded.value_or(HookEvent());
    }

    void apply(const QByteArray &name, const QByteArray &members = {}) { store().apply(event(name, members)); }

    AgentTask line(const QString &id = QStringLiteral("cc-S"))
    {
        for (const AgentTask &task : store().tasks()) {
            if (task.id == id)
                return task;
        }
        return {};
    }

    void waitMinutes(int minutes) { m_home.now = m_home.now.addSecs(60LL * minutes); }

    TestHome m_home;
    QStringList m_notifications;
    std::unique_ptr<TaskStore> m_store;
};
