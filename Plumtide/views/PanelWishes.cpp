#include "Plumtide/store/TaskStore.h"
#include "Plumtide/views/LineMenu.h"
#include "Plumtide/views/PanelView.h"

#include <QApplication>
#include <QClipboard>

using namespace Qt::StringLiterals;

// What PanelView does for its user.

void PanelView::act(const QString &wish, const QString &id)
{
    const std::optional<AgentTask> line = m_store.task(id);
    if (wish == u"register") {
        edit(std::nullopt);
    } else if (wish == u"switch") {
        setMiniBoardOn(!m_isMiniBoardOn);
        Q_EMIT miniBoardSwitched(m_isMiniBoardOn);
    } else if (wish == u"quit") {
        Q_EMIT quitRequested();
    } else if (wish == LineMenu::undo) {
        m_store.undo();
    } else if (wish == u"all" || PanelHeader::filterOf(wish)) {
        m_store.setSourceFilter(PanelHeader::filterOf(wish));
    } else if (line && wish == u"copy") {
        QGuiApplication::clipboard()->setText(line->title);
    } else if (line && wish == u"edit") {
        edit(line);
    } else if (line && line->status == AgentTaskStatus::shelved && (wish == u"shelve" || wish == u"resume")) {
        m_store.setStatus(id, AgentTaskStatus::waiting);
    } else if (line && wish == u"shelve") {
        m_store.setStatus(id, AgentTaskStatus::shelved);
    } else if (line && wish == u"close") {
        m_store.setStatus(id, AgentTaskStatus::done);
    } else if (line && wish == LineMenu::session) {
        Q_EMIT sessionRequested(id);
    }
}
