#pragma once

#include "Plumtide/model/AgentTask.h"

#include <QAction>

#include <functional>
#include <variant>

class QMenu;
class TaskStore;

/// What a user can do with a task line. `CopyFolder` is offered only where the folder of its session is shown,
/// `OpenPanel` only by the mini board.
enum class LineAction { CopyTitle, CopyFolder, Edit, Shelve, Resume, Close, OpenSession, Mute, OpenPanel };

/// An action as it is offered by a button, in a menu and by a key.
struct OfferedAction
{
    LineAction action;
    QString text;
    QString icon;                  ///< Of its button; without one it has no button.
    QList<QKeySequence> keys = {}; ///< The first is named in the menu.
    QString doneText = {};         ///< What the button says for a moment after a press.
};

/// What can be done with a line as it is now, in the order of its buttons and its menu. Nothing with one that is done.
[[nodiscard]] QList<OfferedAction> actionsFor(const AgentTask &line);

/// One of those; nothing if it is not offered.
[[nodiscard]] std::optional<OfferedAction> offeredAction(LineAction action, const AgentTask &line);

/// An action on the line with this id.
struct LineCommand
{
    LineAction action;
    QString line;

    bool operator==(const LineCommand &) const = default;
};

/// Unfolds the quiet lines of a project's card, or folds them.
struct ToggleFold
{
    QString project;

    bool operator==(const ToggleFold &) const = default;
};

/// Shows the lines of one source, or all where it is absent.
struct FilterLines
{
    std::optional<TaskSource> source;

    bool operator==(const FilterLines &) const = default;
};

enum class PanelCommand { Register, EndMute, SwitchMiniBoard, ConnectClaude, ConnectCodex, Quit };

/// What a button does.
using Command = std::variant<LineCommand, ToggleFold, FilterLines, PanelCommand>;

/// Does what needs no window, unless the line does not offer it any more. False where it is left to the caller.
[[nodiscard]] bool perform(const LineCommand &command, TaskStore &store);

/// Takes back what was put away last. Its text says what that is, "撤销搁置「…」" with the line's title, or
/// "撤销归档 3 条"; without anything it is disabled.
class UndoAction final : public QAction
{
    Q_OBJECT

public:
    UndoAction(TaskStore &store, QObject *parent);

    void updateText(); ///< After a change of the store. If the text is out of date, a trigger does nothing.

Q_SIGNALS:
    void undone(const QString &what); ///< What the text said.

private:
    TaskStore &m_store;
    QString m_what;
};

/// Fills a menu with the last lines that are done, unless it shows them or is open. Choosing one makes it
/// wait again, and then calls `chosen`.
void fillRecentMenu(QMenu &menu, TaskStore &store, const std::function<void(const QString &line)> &chosen);

/// Shows the menu of a line of the store, and returns at once. It names the keys that do the same where they are heard.
void showLineMenu(QWidget &parent, TaskStore &store, const QString &line, QPoint place, bool namesKeys,
                  const std::function<void(const LineCommand &)> &chosen);

/// A visitor of all commands; one that has no handler does not compile.
template <typename... Handlers>
struct Overloaded : Handlers...
{
    using Handlers::operator()...;
};
template <typename... Handlers>
Overloaded(Handlers...) -> Overloaded<Handlers...>;
