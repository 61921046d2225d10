#pragma once

#include <QKeySequence>
#include <QPoint>

#include <functional>

class QWidget;
class TaskStore;

/// What the user can do with a line besides its buttons: by a menu, which names the keys that do the same.
namespace LineMenu {

/// By the name that a button of the same meaning has, and the key that does it.
struct Wish
{
    QString name;
    QKeySequence key;
};

inline const QString session = QStringLiteral("session"); ///< To bring the session's terminal to the front.
inline const QString undo = QStringLiteral("undo");       ///< To take back what was last put away, of whatever line.

/// What `undo` would do now: "撤销搁置「…」", with the line's title; empty when there is nothing to be taken back.
[[nodiscard]] QString undoText(const TaskStore &store);

/// Those of a line that have a key.
[[nodiscard]] const QList<Wish> &wishes();

/// Shows the menu of a line of the store, and returns at once; `chosen` is told the name of a wish, unless the line's
/// menu has other entries by then. Thread: main thread.
void show(QWidget &parent, const TaskStore &store, const QString &id, QPoint place, bool namesKeys,
          const std::function<void(const QString &wish)> &chosen);

} // namespace LineMenu
