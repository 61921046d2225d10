#pragma once

#include "Plumtide/model/AgentTask.h"
#include "Plumtide/views/DrawnView.h"

/// One task line of a project card: what it is, where it comes from, how fresh it is and what it does or waits for.
/// Unfolded it shows the goal, the latest events and the buttons "copy", "edit", "shelve" and "close", whose subject is
/// the line's id. It does not unfold by itself: it is clicked, and told.
class LineRowView final : public DrawnView
{
    Q_OBJECT

public:
    static constexpr double margin = 4; ///< Around it, for the focus ring. Logical pixels.

    /// It stays with the line of this id for as long as it lives.
    LineRowView(const QString &id, QWidget *parent);

    [[nodiscard]] static int foldedHeight(); ///< Of every row; logical pixels.
    /// What is seen of a folded row, for a screen reader.
    [[nodiscard]] static QString spokenName(const AgentTask &line, const QDateTime &now);

    /// Draws the line as it is at this moment, unless that is what it shows. `hasBody` while it is on its way, too.
    void show(const AgentTask &line, const QDateTime &now, int width, bool isExpanded, bool hasBody);
    [[nodiscard]] int unfoldedHeight() const; ///< Of what it shows.
    [[nodiscard]] const AgentTask &line() const { return m_line; }
    [[nodiscard]] std::optional<bool> isExpanded() const override { return m_isExpanded; }

private:
    [[nodiscard]] bool shows(const AgentTask &line, const QDateTime &now) const;
    [[nodiscard]] Drawing compose(int width) const;
    double composeBody(Drawing &drawing, double y, int width) const; // the y below

    AgentTask m_line;
    QDateTime m_now;
    int m_width = 0;
    bool m_isExpanded = false;
    bool m_hasBody = false;
};
