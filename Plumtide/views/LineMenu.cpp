#include "Plumtide/views/LineMenu.h"

#include "Plumtide/store/TaskStore.h"
#include "Plumtide/system/Characters.h"
#include "Plumtide/views/Theme.h"

#include <QMenu>

#include <algorithm>

using namespace Qt::StringLiterals;

QString LineMenu::undoText(const TaskStore &store)
{
    constexpr qsizetype titleLength = 20; // user-perceived characters
    const std::optional<AgentTask> before = store.undoable();
    if (!before)
        return {};
    const bool isShelved = store.task(before->id)->status == AgentTaskStatus::shelved;
    const qsizetype length = characterEnds(before->title, titleLength).value(titleLength - 1, before->title.size());
    const QString closed = before->isAgentLine() ? u"归档"_s : u"完成"_s;
    return u"撤销"_s + (isShelved ? u"搁置"_s : closed) + u'「' + before->title.first(length).simplified()
        + (length < before->title.size() ? u"…」"_s : u"」"_s);
}

const QList<LineMenu::Wish> &LineMenu::wishes()
{
    static const QList<Wish> wishes{{u"copy"_s, Qt::CTRL | Qt::Key_C}, {u"edit"_s, Qt::Key_E},
                                    {u"shelve"_s, Qt::Key_S},          {u"resume"_s, Qt::Key_S},
                                    {u"close"_s, Qt::Key_Delete},      {session, Qt::CTRL | Qt::Key_Return}};
    return wishes;
}

void LineMenu::show(QWidget &parent, const TaskStore &store, const QString &id, QPoint place, bool namesKeys,
                    const std::function<void(const QString &wish)> &chosen)
{
    const std::optional<AgentTask> line = store.task(id);
    if (!line)
        return;
    Theme::setPalette();
    auto *menu = new QMenu(&parent);
    menu->setAttribute(Qt::WA_DeleteOnClose);
    const bool isShelved = line->status == AgentTaskStatus::shelved;
    const QString undone = undoText(store);
    const auto add = [&](const QString &name, const QString &text) {
        QAction *action = menu->addAction(QString(text).replace(u'&', u"&&"_s), menu, [=, &store] {
            const std::optional<AgentTask> now = store.task(id);
            const bool fits = now && now->status != AgentTaskStatus::done
                && (now->status == AgentTaskStatus::shelved) == isShelved && undoText(store) == undone;
            if (fits)
                chosen(name);
        });
        const auto wish = std::ranges::find(wishes(), name, &Wish::name);
        if (namesKeys)
            action->setShortcut(wish == wishes().end() ? QKeySequence(QKeySequence::Undo) : wish->key);
        action->setShortcutVisibleInContextMenu(true);
        action->setEnabled(name != undo || !undone.isEmpty());
    };
    add(u"copy"_s, u"复制名称"_s);
    add(u"edit"_s, u"编辑"_s);
    add(isShelved ? u"resume"_s : u"shelve"_s, isShelved ? u"恢复"_s : u"搁置"_s);
    add(u"close"_s, line->isAgentLine() ? u"归档"_s : u"完成"_s);
    menu->addSeparator();
    if (line->isAgentLine())
        add(session, u"前往会话"_s);
    add(undo, undone.isEmpty() ? u"撤销"_s : undone);
    menu->popup(place);
}
