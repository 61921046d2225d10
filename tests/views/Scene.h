#pragma once

#include "tests/support/TestHome.h"

#include <QImage>
#include <QJsonObject>

#include <memory>

class HooksInstaller;
class QWidget;
class TaskStore;

/// A view in a state that a file describes: the task lines, the time, what is connected, seen, unfolded, scrolled,
/// edited.
class Scene
{
public:
    explicit Scene(const QString &path);
    ~Scene();

    /// One line for each thing that is drawn or can be used: its name, its box from the window's top left corner, and
    /// its colours, stroke and text. In the order in which it is painted.
    [[nodiscard]] QStringList elements() const;
    [[nodiscard]] QImage picture(double scale) const;
    [[nodiscard]] QWidget &view() const { return *m_view; }

private:
    void showPanel(const QJsonObject &description);

    TestHome m_home;
    std::unique_ptr<TaskStore> m_store;
    std::unique_ptr<HooksInstaller> m_installer;
    std::unique_ptr<QWidget> m_view;
};
