#include "Plumtide/views/MiniBoardView.h"

#include "Plumtide/hooks/HooksInstaller.h"
#include "Plumtide/store/TaskStore.h"
#include "Plumtide/views/HStack.h"
#include "Plumtide/views/MiniBoardRow.h"
#include "Plumtide/views/Refresher.h"

#include <algorithm>
#include <cmath>

using namespace Qt::StringLiterals;

namespace {

constexpr qsizetype shownLines = 3;
constexpr double miniPaddingX = 11;
constexpr double miniPaddingY = 9;
constexpr double miniGap = 7;
constexpr double miniHeaderGap = 6;
constexpr double miniDotDiameter = 7;
constexpr double calmDotOpacity = 0.5;
constexpr double miniFillOpacity = 0.97;
constexpr double callingBorderOpacity = 0.35;
constexpr TextStyle callingStyle{11, QFont::Bold, Theme::accent};
constexpr TextStyle calmStyle{11, QFont::Bold, Theme::secondary};
constexpr TextStyle moreStyle{10, QFont::Normal, Theme::secondary};

} // namespace

MiniBoardView::MiniBoardView(TaskStore &store, HooksInstaller &installer, QWidget *parent)
    : DrawnView(parent), m_store(store), m_installer(installer), m_refresher(new Refresher(this, [this] { refresh(); }))
{
    setObjectName(u"mini"_s);
    for (qsizetype i = 0; i < shownLines; ++i) {
        auto *row = new MiniBoardRow(this);
        row->hide();
        connect(row, &QAbstractButton::clicked, this, &MiniBoardView::mainPanelRequested);
        m_rows.append(row);
    }
    connect(&store, &TaskStore::objectWillChange, m_refresher, &Refresher::markStale);
    connect(&installer, &HooksInstaller::objectWillChange, m_refresher, &Refresher::markStale);
    refresh();
}

std::optional<TaskSource> MiniBoardView::emptyStateHintSource() const
{
    if (m_installer.claudeInstalled() && !m_store.hasSeenClaudeEvent())
        return TaskSource::claude;
    if (m_installer.codexInstalled() && !m_store.hasSeenCodexEvent())
        return TaskSource::codex;
    return std::nullopt;
}

QString MiniBoardView::headerText() const
{
    if (!m_waiting.isEmpty())
        return u"等你处理 %1"_s.arg(m_waiting.size());
    switch (emptyStateHintSource().value_or(TaskSource::other)) {
    case TaskSource::claude: return u"Claude Code 还没收到消息"_s;
    case TaskSource::codex: return u"Codex 还没收到消息"_s;
    case TaskSource::other: return u"暂时没有需要你处理的事"_s;
    }
    Q_UNREACHABLE();
}

void MiniBoardView::refresh()
{
    m_waiting = m_store.tasks(AgentTaskStatus::waiting);
    for (qsizetype i = 0; i < shownLines; ++i) {
        if (i < m_waiting.size())
            m_rows.at(i)->setLine(m_waiting.at(i));
        m_rows.at(i)->setVisible(i < m_waiting.size());
    }
    const QString text = headerText(); // the number of lines is in it, so all that is drawn here follows from it
    if (std::exchange(m_headerText, text) != text)
        redraw();
    resize(fixedWidth, layOut(fixedWidth));
    updateGeometry();
}

int MiniBoardView::layOut(int width)
{
    Drawing drawing;
    double y = miniPaddingY + drawHeader(drawing);
    for (MiniBoardRow *row : std::as_const(m_rows)) {
        if (row->isHidden())
            continue;
        row->placeAt({miniPaddingX, y + miniGap, width - 2 * miniPaddingX, row->lineHeight()});
        y += miniGap + row->lineHeight();
    }
    m_moreTop = y + miniGap;
    if (m_waiting.size() > shownLines)
        y = m_moreTop + Theme::face(moreStyle).lineHeight;
    return static_cast<int>(std::lround(y + miniPaddingY));
}

double MiniBoardView::drawHeader(Drawing &drawing) const
{
    const bool isCalling = !m_waiting.isEmpty();
    HStack header(miniHeaderGap);
    header.dot("header.dot", miniDotDiameter,
               isCalling ? Theme::accent : Theme::faded(Theme::secondary, calmDotOpacity));
    header.text("header.text", m_headerText, isCalling ? callingStyle : calmStyle, HStack::Shrink::First);
    return header.place(drawing, {miniPaddingX, miniPaddingY}, fixedWidth - 2 * miniPaddingX).height();
}

void MiniBoardView::compose(Drawing &drawing)
{
    const QRectF face(rect());
    drawing.add("card", face, Drawing::Box{.fill = Theme::faded(Theme::bg, miniFillOpacity), .radius = cornerRadius});
    drawHeader(drawing);
    if (m_waiting.size() > shownLines) {
        TextBlock more = layText(u"还有 %1 个…"_s.arg(m_waiting.size() - shownLines), moreStyle, face.width());
        drawing.add("more", {{miniPaddingX, m_moreTop}, more.size}, std::move(more.content));
    }
    drawing.addBorder("border", face, cornerRadius,
                      m_waiting.isEmpty() ? Theme::border : Theme::faded(Theme::accent, callingBorderOpacity), 1);
}

void MiniBoardView::showEvent(QShowEvent *event)
{
    Theme::checkFonts();
    DrawnView::showEvent(event);
}
