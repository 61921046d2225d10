#pragma once

#include "Plumtide/model/AgentTask.h"

#include <QKeySequence>
#include <QPoint>

#include <functional>

class QWidget;

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

/// Those of a line that have a key.
[[nodiscard]] const QList<Wish> &wishes();

/// Shows the menu; `chosen` is told the name of a wish. Thread: main thread. Returns at once.
void show(QWidget &parent, QPoint place, const AgentTask &line, bool isUndoable,
          const std::function<void(const QString &wish)> &chosen);

} // namespace LineMenu
