#pragma once

#include "Plumtide/views/Actions.h"

#include <QAction>
#include <QPoint>

#include <functional>

/// Takes back what was put away last, of whatever line. Its text says what that is, "撤销搁置「…」" with the line's
/// title. It is disabled when there is nothing to be taken back.
class UndoAction final : public QAction
{
    Q_OBJECT

public:
    UndoAction(TaskStore &store, QObject *parent);

    void updateText(); ///< After a change of the store. What the text does not say is not taken back.

Q_SIGNALS:
    void undone(const QString &what); ///< What the text said.

private:
    TaskStore &m_store;
    QString m_what;
};

/// Shows the menu of a line of the store, and returns at once. It names the keys that do the same where they are heard.
/// Thread: main thread.
void showLineMenu(QWidget &parent, TaskStore &store, const QString &line, QPoint place, bool namesKeys,
                  const std::function<void(const LineCommand &)> &chosen);
