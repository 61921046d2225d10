#pragma once

#include "Plumtide/hooks/HooksInstaller.h"
#include "Plumtide/store/TaskStore.h"
#include "Plumtide/views/BoardView.h"
#include "Plumtide/views/LineRowView.h"
#include "Plumtide/views/PanelView.h"
#include "Plumtide/views/Refresher.h"
#include "tests/support/TestHome.h"

#include <QAbstractButton>
#include <QScrollArea>
#include <QScrollBar>
#include <QTest>

/// A panel over a store and an installer in a home of their own.
class BoardFixture : public testing::Test
{
protected:
    BoardFixture() : m_store(m_home.environment()), m_installer(m_home.environment()) {}

    AgentTask line(const QString &id, AgentTaskStatus status, const QString &project = QStringLiteral("shop"),
                   int minutesAgo = 5) const
    {
        AgentTask task;
        task.id = id;
        task.title = QStringLiteral("title of ") + id;
        task.project = project;
        task.source = id.startsWith(QStringLiteral("cx-")) ? TaskSource::codex : TaskSource::claude;
        task.status = status;
        task.updatedAt = m_home.now.addSecs(-60 * minutesAgo);
        return task;
    }
    /// Lets the event loop bring a view up to date with the store, and paint it.
    void settle(QWidget &view)
    {
        const auto *refresher = view.findChild<Refresher *>();
        ASSERT_TRUE(waitUntil([&] { return !refresher->isStale() || !view.isVisible(); }));
        QTest::qWait(20);
    }
    void settle() { settle(m_panel); }
    template <typename Widget = QAbstractButton>
    Widget *find(const QString &name)
    {
        auto *widget = m_panel.findChild<Widget *>(name);
        return widget && widget->isVisibleTo(&m_panel) ? widget : nullptr;
    }
    void click(const QString &name)
    {
        QAbstractButton *button = find(name);
        ASSERT_TRUE(button) << qPrintable(name);
        button->click();
        settle();
    }
    LineRowView *row(const QString &id) { return find<LineRowView>(QStringLiteral("row[%1]").arg(id)); }
    AgentTask stored(const QString &id)
    {
        for (const AgentTask &task : m_store.tasks()) {
            if (task.id == id)
                return task;
        }
        ADD_FAILURE() << "no line " << qPrintable(id);
        return {};
    }

    TestHome m_home;
    TaskStore m_store;
    HooksInstaller m_installer;
    PanelView m_panel{m_store, m_installer, [this] { return m_home.now; }};
};
