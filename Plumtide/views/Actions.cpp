#include "Plumtide/views/Actions.h"

#include "Plumtide/store/TaskStore.h"

#include <QClipboard>
#include <QGuiApplication>

#include <algorithm>

using namespace Qt::StringLiterals;

QList<OfferedAction> actionsFor(const AgentTask &line)
{
    using enum LineAction;
    if (line.status == AgentTaskStatus::done)
        return {};
    const bool isShelved = line.status == AgentTaskStatus::shelved;
    const bool isAgent = line.isAgentLine();
    QList<OfferedAction> actions{
        {CopyTitle, u"复制名称"_s, u"copy"_s, {Qt::CTRL | Qt::Key_C}, u"已复制"_s},
        {Edit, u"编辑"_s, u"pencil"_s, {Qt::Key_E}},
        {isShelved ? Resume : Shelve,
         isShelved ? u"恢复"_s : u"搁置"_s,
         isShelved ? u"u-turn-up"_s : u"tray-down"_s,
         {Qt::Key_S}},
        {Close, isAgent ? u"归档"_s : u"完成"_s, isAgent ? u"archive-box"_s : u"check"_s, {Qt::Key_Delete}}};
    if (isAgent)
        actions.append({OpenSession, u"前往会话"_s, {}, {Qt::CTRL | Qt::Key_Return, Qt::CTRL | Qt::Key_Enter}});
    return actions;
}

std::optional<OfferedAction> offeredAction(LineAction action, const AgentTask &line)
{
    const QList<OfferedAction> offered = actionsFor(line);
    const auto at = std::ranges::find(offered, action, &OfferedAction::action);
    return at == offered.end() ? std::nullopt : std::optional(*at);
}

QList<QList<QKeySequence>> lineActionKeys()
{
    AgentTask line;
    line.id = u"cc-"_s; // an agent's line has all of them
    QList<QList<QKeySequence>> keys;
    for (const OfferedAction &offered : actionsFor(line))
        keys.append(offered.keys);
    return keys;
}

QString lineOf(const Command &command)
{
    if (const auto *onLine = std::get_if<LineCommand>(&command))
        return onLine->line;
    const auto *opening = std::get_if<OpenPanel>(&command);
    return opening ? opening->line : QString();
}

bool perform(const LineCommand &command, TaskStore &store)
{
    const std::optional<AgentTask> line = store.task(command.line);
    if (!line || !offeredAction(command.action, *line))
        return true;
    switch (command.action) {
    case LineAction::CopyTitle: QGuiApplication::clipboard()->setText(line->title); return true;
    case LineAction::Shelve: store.setStatus(line->id, AgentTaskStatus::shelved); return true;
    case LineAction::Resume: store.setStatus(line->id, AgentTaskStatus::waiting); return true;
    case LineAction::Close: store.setStatus(line->id, AgentTaskStatus::done); return true;
    case LineAction::Edit:
    case LineAction::OpenSession: return false;
    }
    Q_UNREACHABLE();
}
