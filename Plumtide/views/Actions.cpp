#include "Plumtide/views/Actions.h"

#include "Plumtide/store/TaskStore.h"
#include "Plumtide/system/Characters.h"

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

bool perform(const LineCommand &command, TaskStore &store)
{
    const std::optional<AgentTask> line = store.task(command.line);
    if (!line || (command.action != LineAction::CopyFolder && !offeredAction(command.action, *line)))
        return true;
    NotificationFilter &notifications = store.notifications();
    switch (command.action) {
    case LineAction::CopyTitle: QGuiApplication::clipboard()->setText(line->title); return true;
    case LineAction::CopyFolder: QGuiApplication::clipboard()->setText(store.folder(line->id)); return true;
    case LineAction::Shelve: store.setStatus(line->id, AgentTaskStatus::shelved); return true;
    case LineAction::Resume: store.setStatus(line->id, AgentTaskStatus::waiting); return true;
    case LineAction::Close: store.setStatus(line->id, AgentTaskStatus::done); return true;
    case LineAction::Mute: notifications.setLineMuted(line->id, !notifications.isLineMuted(line->id)); return true;
    case LineAction::Edit:
    case LineAction::OpenSession:
    case LineAction::OpenPanel: return false;
    }
    Q_UNREACHABLE();
}

namespace {

// As much of a text as a menu shows.
QString cut(const QString &text)
{
    constexpr qsizetype most = 20; // user-perceived characters
    const qsizetype length = characterEnds(text, most).value(most - 1, text.size());
    return text.first(length).simplified() + (length < text.size() ? u"…"_s : QString());
}

QString undoText(const TaskStore &store)
{
    const QList<Board::Edit> restored = store.undoable();
    if (restored.isEmpty())
        return {};
    if (restored.size() > 1) // only replies are put away together
        return u"撤销归档 %1 条"_s.arg(restored.size());
    const AgentTask &before = restored.first().line;
    const bool isShelved = store.task(before.id)->status == AgentTaskStatus::shelved;
    const std::optional<OfferedAction> done = offeredAction(isShelved ? LineAction::Shelve : LineAction::Close, before);
    return u"撤销"_s + (done ? done->text : QString()) + u'「' + cut(before.title) + u'」';
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

void fillRecentMenu(QMenu &menu, TaskStore &store, const std::function<void(const QString &line)> &chosen)
{
    QList<QStringList> entries, shown; // the ids of lines, and texts
    for (const AgentTask &line : store.lastDone(10)) {
        // Wide ones, for a tray's menu on the bus: Qt 6.4 does not escape what marks a mnemonic in its texts.
        QString text = cut(line.project) + u" · "_s + cut(line.title);
        entries.append({line.id, text.replace(u'&', u'＆').replace(u'_', u'＿')});
    }
    for (const QAction *action : menu.actions())
        shown.append(action->data().toStringList());
    menu.setEnabled(!entries.isEmpty());
    if (menu.isVisible() || entries == shown)
        return;
    menu.clear();
    for (const QStringList &entry : std::as_const(entries)) {
        const auto choose = [&store, chosen, id = entry[0]] {
            const AgentTask line = store.task(id).value_or(AgentTask());
            if (line.status == AgentTaskStatus::done) // the menu may be old
                store.setStatus(id, AgentTaskStatus::waiting);
            chosen(id);
        };
        menu.addAction(entry[1], &menu, choose)->setData(entry);
    }
}

void showLineMenu(QWidget &parent, TaskStore &store, const QString &line, QPoint place, bool namesKeys,
                  const std::function<void(const LineCommand &)> &chosen)
{
    const std::optional<AgentTask> task = store.task(line);
    if (!task)
        return;
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
