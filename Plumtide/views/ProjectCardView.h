#pragma once

#include "Plumtide/model/ProjectGroup.h"
#include "Plumtide/views/DrawnView.h"
#include "Plumtide/views/LineRowView.h"

#include <QDateTime>
#include <QHash>
#include <QList>
#include <QStringList>

class DrawnButton;
class TaskStore;

/// The card of one project: its name in its colour, how long ago anything changed, a summary, and a row for each
/// line. Lines that have gone quiet are folded away while there are others.
class ProjectCardView final : public DrawnView
{
    Q_OBJECT

public:
    ProjectCardView(TaskStore &store, QWidget *parent);

    /// Keeps the rows of lines that stay, with their focus and their folding. The card looks like the section that
    /// these lines belong to; the board may show it in another, for a line that is shown elsewhere. The next `layOut`
    /// may give another height.
    void setGroup(const ProjectGroup &group, const QDateTime &now);
    [[nodiscard]] const QString &name() const { return m_group.name; }
    /// The row of a line; null when the card does not show the line.
    [[nodiscard]] LineRowView *row(const QString &id) const;
    void setShowQuiet(bool showQuiet, LineRowView::Animate animate);

    int layOut(int width) override;

Q_SIGNALS:
    void rowAdded(LineRowView *row); ///< Before it is laid out for the first time.
    void rowClicked(const QString &id);
    void editRequested(const AgentTask &line);
    void heightChanged(); ///< Lay the board out again.

protected:
    void compose(Drawing &drawing) override;

private:
    [[nodiscard]] QList<AgentTask> activeLines() const;
    void keepRows();
    void changeHeight();
    void updateFold();
    LineRowView *makeRow();

    TaskStore &m_store;
    ProjectGroup m_group;
    ProjectSection m_section = ProjectSection::pending;
    QDateTime m_now;
    QStringList m_shown;         // what the card itself is drawn from
    qint64 m_validUntil = 0;     // milliseconds; then time alone changes what is shown
    qsizetype m_activeCount = 0; // of the lines that are listed first
    qsizetype m_quietCount = 0;  // of the lines that can be folded away
    Transition m_unfolding;
    QList<LineRowView *> m_rows; // in order
    QHash<QString, LineRowView *> m_rowById;
    DrawnButton *m_fold = nullptr; // null while there is nothing to fold
    int m_laidOutWidth = 0;        // 0 while a part of it has changed its height
    int m_height = 0;
};
