#include "Plumtide/views/LineMenu.h"

#include "Plumtide/store/TaskStore.h"
#include "Plumtide/system/Characters.h"
#include "Plumtide/views/Theme.h"

#include <QMenu>

using namespace Qt::StringLiterals;

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
        add(action, offered.keys.first());
        if (offered.action == LineAction::Close)
            menu->addSeparator();
    }
    add(new UndoAction(store, menu), QKeySequence::Undo);
    menu->popup(place);
}
