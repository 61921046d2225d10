#include "Plumtide/views/LineMenu.h"

#include "Plumtide/store/TaskStore.h"
#include "Plumtide/views/Theme.h"

#include <QMenu>

#include <algorithm>

using namespace Qt::StringLiterals;

const QList<LineMenu::Wish> &LineMenu::wishes()
{
    static const QList<Wish> wishes{{u"edit"_s, Qt::Key_E},
                                    {u"shelve"_s, Qt::Key_S},
                                    {u"resume"_s, Qt::Key_S},
                                    {u"close"_s, Qt::Key_Delete},
                                    {session, Qt::CTRL | Qt::Key_Return}};
    return wishes;
}

void LineMenu::show(QWidget &parent, const TaskStore &store, const QString &id, QPoint place,
                    const std::function<void(const QString &wish)> &chosen)
{
    const std::optional<AgentTask> line = store.task(id);
    if (!line)
        return;
    Theme::setPalette();
    auto *menu = new QMenu(&parent);
    menu->setAttribute(Qt::WA_DeleteOnClose);
    const auto add = [&](const QString &name, const QString &text, bool isEnabled = true) {
        const auto wish = std::ranges::find(wishes(), name, &Wish::name);
        QAction *action = menu->addAction(text, menu, [chosen, name] { chosen(name); });
        action->setShortcut(name == undo                 ? QKeySequence(QKeySequence::Undo)
                                : wish == wishes().end() ? QKeySequence()
                                                         : wish->key);
        action->setShortcutVisibleInContextMenu(true);
        action->setEnabled(isEnabled);
    };
    add(u"copy"_s, u"复制名称"_s);
    add(u"edit"_s, u"编辑"_s);
    const bool isShelved = line->status == AgentTaskStatus::shelved;
    add(isShelved ? u"resume"_s : u"shelve"_s, isShelved ? u"恢复"_s : u"搁置"_s);
    add(u"close"_s, line->isAgentLine() ? u"归档"_s : u"完成"_s);
    menu->addSeparator();
    if (line->isAgentLine())
        add(session, u"前往会话"_s);
    add(undo, u"撤销"_s, store.undoable().has_value());
    menu->popup(place);
}
