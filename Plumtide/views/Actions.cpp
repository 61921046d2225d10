#include "Plumtide/views/Actions.h"

#include "Plumtide/store/TaskStore.h"
#include "Plumtide/system/Characters.h"
#include "Plumtide/views/Theme.h"

#include <QClipboard>
#include <QGuiApplication>
#include <QMenu>

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
    if (isAgent) {
        actions.append({OpenSession, u"前往会话"_s, {}, {Qt::CTRL | Qt::Key_Return, Qt::CTRL | Qt::Key_Enter}});
        actions.append({Mute, u"不再提醒这个会话"_s, {}});
    }
    return actions;
}

std::optional<OfferedAction> offeredAction(LineAction action, const AgentTask &line)
{
    const QList<OfferedAction> offered = actionsFor(line);
    const auto at = std::ranges::find(offered, action, &OfferedAction::action);
    return at == offered.end() ? std::nullopt : std::optional(*at);
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
    NotificationFilter &notifications = store.notifications();
    switch (command.action) {
    case LineAction::CopyTitle: QGuiApplication::clipboard()->setText(line->title); return true;
    case LineAction::Shelve: store.setStatus(line->id, AgentTaskStatus::shelved); return true;
    case LineAction::Resume: store.setStatus(line->id, AgentTaskStatus::waiting); return true;
    case LineAction::Close: store.setStatus(line->id, AgentTaskStatus::done); return true;
    case LineAction::Mute: notifications.setLineMuted(line->id, !notifications.isLineMuted(line->id)); return true;
    case LineAction::Edit:
    case LineAction::OpenSession: return false;
    }
    Q_UNREACHABLE();
}

namespace {

QString undoText(const TaskStore &store)
{
    constexpr qsizetype titleLength = 20; // user-perceived characters
    const std::optional<AgentTask> before = store.undoable();
    if (!before)
        return {};
    const bool isShelved = store.task(before->id)->status == AgentTaskStatus::shelved;
    const std::optional<OfferedAction> done =
        offeredAction(isShelved ? LineAction::Shelve : LineAction::Close, *before);
    const qsizetype length = characterEnds(before->title, titleLength).value(titleLength - 1, before->title.size());
    return u"撤销"_s + (done ? done->text : QString()) + u'「' + before->title.first(length).simplified()
        + (length < before->title.size() ? u"…」"_s : u"」"_s);
}

} // namespace

UndoAction::UndoAction(TaskStore &store, QObject *parent) : QAction(parent), m_store(store)
{
    setAutoRepeat(false);
    updateText();
    connect(this, &QAction::triggered, this, [this] {
        if (m_what != undoText(m_store))
            return;
        m_store.undo();
        Q_EMIT undone(m_what);
    });
}

void UndoAction::updateText()
{
    m_what = undoText(m_store);
    setText(m_what.isEmpty() ? u"撤销"_s : QString(m_what).replace(u'&', u"&&"_s));
    setEnabled(!m_what.isEmpty());
}

void showLineMenu(QWidget &parent, TaskStore &store, const QString &line, QPoint place, bool namesKeys,
                  const std::function<void(const LineCommand &)> &chosen)
{
    const std::optional<AgentTask> task = store.task(line);
    if (!task)
        return;
    Theme::setPalette();
    auto *menu = new QMenu(&parent);
    menu->setAttribute(Qt::WA_DeleteOnClose);
    const auto add = [&](QAction *action, const QKeySequence &key) {
        if (namesKeys)
            action->setShortcut(key);
        action->setShortcutVisibleInContextMenu(true);
        menu->addAction(action);
    };
    for (const OfferedAction &offered : actionsFor(*task)) {
        auto *action = new QAction(offered.text, menu);
        QObject::connect(action, &QAction::triggered, menu, [=] { chosen({offered.action, line}); });
        action->setCheckable(offered.action == LineAction::Mute);
        action->setChecked(store.notifications().isLineMuted(line));
        add(action, offered.keys.value(0));
        if (offered.action == LineAction::Close)
            menu->addSeparator();
    }
    add(new UndoAction(store, menu), QKeySequence::Undo);
    menu->popup(place);
}
