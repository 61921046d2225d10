#include "Plumtide/views/MiniBoardView.h"

#include "Plumtide/hooks/HooksInstaller.h"
#include "Plumtide/store/TaskStore.h"
#include "Plumtide/system/Characters.h"
#include "Plumtide/views/HStack.h"
#include "Plumtide/views/Refresher.h"

#include <cmath>

using namespace Qt::StringLiterals;

namespace {

constexpr qsizetype shownLines = 3;
constexpr double miniPaddingX = 11;
constexpr double miniPaddingY = 9;
constexpr double miniGap = 7;
constexpr double miniHeaderGap = 6;
constexpr double miniDotDiameter = 7;
constexpr double miniRowItemGap = 6;
constexpr double projectDot = 5;
constexpr double sourceDot = 4;
const Drawing::Shadow miniShadow{Theme::faded(Qt::black, 0.22), 3.5, {0, 1.5}};
constexpr TextStyle miniHeaderStyle{11, QFont::Bold, Theme::secondary};
constexpr TextStyle moreStyle{10, QFont::Normal, Theme::secondary};
constexpr TextStyle miniRowProjectStyle{11, QFont::DemiBold, Theme::text};
constexpr TextStyle miniRowTextStyle{11, QFont::Normal, Theme::secondary};

// Returns the y below it.
double addRow(Drawing &drawing, const AgentTask &line, double y, double width)
{
    const QString text = line.waitingReason.value_or(line.currentState);
    HStack row(miniRowItemGap);
    row.dot(projectDot, Theme::projectColor(line.project));
    row.text(line.project, miniRowProjectStyle, HStack::Shrink::Second);
    row.dot(sourceDot, Theme::sourceColor(line.source));
    row.text(text, miniRowTextStyle, HStack::Shrink::First);
    Drawing face;
    face.size = {width, row.place(face, {0, 0}, width).height()};
    QStringList spoken{shortened(line.project), shortened(text)};
    spoken.removeAll(QString());
    return drawing.addButton({.command = LineCommand{LineAction::OpenPanel, line.id},
                              .text = spoken.join(u"，"_s),
                              .look = {.style = miniRowTextStyle},
                              .description = label(line.source)},
                             {miniPaddingX, y}, std::move(face));
}

} // namespace

MiniBoardView::MiniBoardView(TaskStore &store, HooksInstaller &installer)
    : DrawnView(QAccessible::Grouping, nullptr), m_store(store), m_installer(installer)
{
    setObjectName(u"mini"_s);
    auto *refresher = new Refresher(this, [this] { refresh(); });
    connect(this, &DrawnView::menuRequested, this, [this](const QString &id, QPoint place) {
        // The mini board never has the keyboard.
        showLineMenu(*this, m_store, id, place, false, [this](const LineCommand &command) {
            if (!perform(command, m_store))
                Q_EMIT activated(command);
        });
    });
    connect(&store, &TaskStore::objectWillChange, refresher, &Refresher::markStale);
    connect(&installer, &HooksInstaller::objectWillChange, refresher, &Refresher::markStale);
    refresh();
}

QString MiniBoardView::headerText(qsizetype waiting) const
{
    if (waiting > 0)
        return u"等你处理 %1"_s.arg(waiting);
    if (m_installer.claudeInstalled() && !m_store.hasSeenClaudeEvent())
        return u"Claude Code 还没收到消息"_s;
    if (m_installer.codexInstalled() && !m_store.hasSeenCodexEvent())
        return u"Codex 还没收到消息"_s;
    return u"暂时没有需要你处理的事"_s;
}

void MiniBoardView::refresh()
{
    const QList<AgentTask> waiting = m_store.tasks(AgentTaskStatus::waiting);
    const bool isCalling = !waiting.isEmpty();
    const double inside = fixedWidth - 2 * miniPaddingX;
    Drawing drawing;
    HStack header(miniHeaderGap);
    header.dot(miniDotDiameter, isCalling ? Theme::accent : Theme::faded(Theme::secondary, 0.5));
    header.text(headerText(waiting.size()), miniHeaderStyle.in(isCalling ? Theme::accent : Theme::secondary),
                HStack::Shrink::First);
    double y = header.place(drawing, {miniPaddingX, miniPaddingY}, inside).bottom();
    for (const AgentTask &line : waiting.first(std::min(waiting.size(), shownLines)))
        y = addRow(drawing, line, y + miniGap, inside);
    if (waiting.size() > shownLines)
        y = drawing.addText({miniPaddingX, y + miniGap},
                            layText(u"还有 %1 个…"_s.arg(waiting.size() - shownLines), moreStyle, inside));
    drawing.size = {fixedWidth, std::round(y + miniPaddingY)};
    drawing.addFace({.fill = Theme::faded(Theme::bg, 0.97),
                     .radius = cornerRadius,
                     .stroke = isCalling ? Theme::faded(Theme::accent, 0.35) : Theme::border,
                     .shadow = miniShadow});
    setDrawing(std::move(drawing));
    setContentRect({pos() + QPointF(shadowMargin, shadowMargin), this->drawing().size}, shadowMargin);
    updateGeometry();
}
