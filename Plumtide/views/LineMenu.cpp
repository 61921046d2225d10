#include "Plumtide/views/LineMenu.h"

#include "Plumtide/intake/HookEvent.h"
#include "Plumtide/store/TaskStore.h"
#include "Plumtide/views/Theme.h"

#include <QMenu>

#include <algorithm>

using namespace Qt::StringLiterals;

namespace {

constexpr qsizetype titleLength = 20; // characters

using Entries = QList<std::pair<QString, QString>>; // names of wishes, and what is read there; "" is a line between

Entries entriesOf(const TaskStore &store, const QString &id)
{
    const std::optional<AgentTask> line = store.task(id);
    if (!line || line->status == AgentTaskStatus::done)
        return {};
    const bool isShelved = line->status == AgentTaskStatus::shelved;
    Entries entries{{u"copy"_s, u"复制名称"_s},
                    {u"edit"_s, u"编辑"_s},
                    {isShelved ? u"resume"_s : u"shelve"_s, isShelved ? u"恢复"_s : u"搁置"_s},
                    {u"close"_s, line->isAgentLine() ? u"归档"_s : u"完成"_s},
                    {}};
    if (line->isAgentLine())
        entries.append({LineMenu::session, u"前往会话"_s});
    entries.append({LineMenu::undo, LineMenu::undoText(store)});
    return entries;
}

} // namespace

QString LineMenu::undoText(const TaskStore &store)
{
    const std::optional<AgentTask> before = store.undoable();
    if (!before)
        return {};
    const bool isShelved = store.task(before->id)->status == AgentTaskStatus::shelved;
    const QString deed = isShelved ? u"搁置"_s : before->isAgentLine() ? u"归档"_s : u"完成"_s;
    const QString title = HookEvent::squeeze(before->title.left(1000), titleLength).value_or(QString());
    return u"撤销%1「%2」"_s.arg(deed, title);
}

const QList<LineMenu::Wish> &LineMenu::wishes()
{
    static const QList<Wish> wishes{{u"copy"_s, Qt::CTRL | Qt::Key_C},
                                    {u"edit"_s, Qt::Key_E},
                                    {u"shelve"_s, Qt::Key_S},
                                    {u"resume"_s, Qt::Key_S},
                                    {u"close"_s, Qt::Key_Delete},
                                    {session, Qt::CTRL | Qt::Key_Return}};
    return wishes;
}

void LineMenu::show(QWidget &parent, const TaskStore &store, const QString &id, QPoint place, Keys keys,
                    const std::function<void(const QString &wish)> &chosen)
{
    const Entries entries = entriesOf(store, id);
    if (entries.isEmpty())
        return;
    Theme::setPalette();
    auto *menu = new QMenu(&parent);
    menu->setAttribute(Qt::WA_DeleteOnClose);
    for (const auto &entry : entries) {
        const auto &[name, text] = entry;
        if (name.isEmpty()) {
            menu->addSeparator();
            continue;
        }
        QString shown = text.isEmpty() ? u"撤销"_s : text;
        QAction *action = menu->addAction(shown.replace(u'&', u"&&"_s), menu, [&store, id, chosen, entry] {
            if (entriesOf(store, id).contains(entry))
                chosen(entry.first);
        });
        const auto wish = std::ranges::find(wishes(), name, &Wish::name);
        if (keys == Keys::Named)
            action->setShortcut(wish == wishes().end() ? QKeySequence(QKeySequence::Undo) : wish->key);
        action->setShortcutVisibleInContextMenu(true);
        action->setEnabled(!text.isEmpty());
    }
    menu->popup(place);
}
