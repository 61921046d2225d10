#pragma once

#include "Plumtide/model/AgentTask.h"
#include "Plumtide/views/DrawnView.h"
#include "Plumtide/views/Transition.h"

#include <QDateTime>

#include <memory>

class CopyButton;
class DrawnButton;
class TaskStore;

/// One task line of a project card: what it is, where it comes from, how fresh it is and what it does or waits for. A
/// click, Enter or Space unfolds it; then it shows the goal, the latest events and the buttons.
/// It does not unfold by itself: it asks, and is told. At most one line of the board is unfolded.
class LineRowView final : public DrawnView
{
    Q_OBJECT

public:
    /// The status buttons act on `store`, which must outlive the view.
    LineRowView(TaskStore &store, QWidget *parent);
    ~LineRowView() override;

    void setLine(const AgentTask &line, const QDateTime &now); ///< The next `layOut` may give another height.
    [[nodiscard]] const AgentTask &line() const { return m_line; }

    [[nodiscard]] bool isExpanded() const { return m_expansion.isOpen(); }
    enum class Animate { No, Yes };
    void setExpanded(bool isExpanded, Animate animate);

    int layOut(int width) override;
    [[nodiscard]] QString spokenName() const; ///< What is seen while it is folded, for a screen reader.
    [[nodiscard]] QString spokenBody() const; ///< What is seen besides while it is unfolded.
    [[nodiscard]] int laidOutHeight() const { return m_height; } ///< What `layOut` returned last.

Q_SIGNALS:
    void clicked(); ///< The user wants it unfolded, or folded.
    void editRequested();
    void heightChanged(); ///< Lay the card out again.

protected:
    void compose(Drawing &drawing) override;
    void paintEvent(QPaintEvent *event) override;
    void mousePressEvent(QMouseEvent *event) override;
    void mouseReleaseEvent(QMouseEvent *event) override;
    void keyPressEvent(QKeyEvent *event) override;
    void focusInEvent(QFocusEvent *event) override;
    void focusOutEvent(QFocusEvent *event) override;

private:
    struct Body;

    [[nodiscard]] bool isQuiet() const;
    [[nodiscard]] QColor dotColor() const;
    [[nodiscard]] QString activityText() const;
    double drawTitleAndActivity(Drawing &drawing, double width) const; // both return the y below
    double drawBody(Drawing &drawing, double y, double width) const;
    void showBody();
    void updateBody();
    void placeButtons(double y);

    TaskStore &m_store;
    AgentTask m_line;
    QDateTime m_now;
    Transition m_expansion;
    std::unique_ptr<Body> m_body; // the buttons; only while it is not folded
    double m_buttonsTop = 0;
    int m_height = 0;
    bool m_isPressed = false;
    bool m_showsFocus = false;
};
