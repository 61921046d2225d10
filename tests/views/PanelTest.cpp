#include "tests/views/BoardFixture.h"

#include "Plumtide/views/MiniBoardView.h"
#include "tests/support/Printing.h"

#include <QClipboard>
#include <QComboBox>
#include <QElapsedTimer>
#include <QGuiApplication>
#include <QLineEdit>

using namespace Qt::StringLiterals;
using Status = AgentTaskStatus;

namespace {

/// Counts what reaches a widget and everything in it.
class EventCounter final : public QObject
{
public:
    explicit EventCounter(QWidget &widget)
    {
        widget.installEventFilter(this);
        for (QWidget *child : widget.findChildren<QWidget *>())
            child->installEventFilter(this);
    }
    int paints = 0;
    int layouts = 0;

protected:
    bool eventFilter(QObject * /*object*/, QEvent *event) override
    {
        paints += event->type() == QEvent::Paint ? 1 : 0;
        layouts += event->type() == QEvent::Resize || event->type() == QEvent::Move ? 1 : 0;
        return false;
    }
};

} // namespace

using PanelTest = BoardFixture;

TEST_F(PanelTest, TheFocusLineIsNotListedASecondTime)
{
    m_store.setTasks({line(u"cc-1"_s, Status::waiting), line(u"cc-2"_s, Status::waiting, u"docs"_s, 3)});
    m_panel.show();
    EXPECT_FALSE(row(u"cc-1"_s)); // it waits longest
    EXPECT_FALSE(m_panel.board().card(u"shop"_s));
    EXPECT_TRUE(row(u"cc-2"_s));
    m_store.setTasks({line(u"cc-1"_s, Status::waiting), line(u"cc-3"_s, Status::running)});
    settle();
    EXPECT_TRUE(m_panel.board().card(u"shop"_s));
    EXPECT_TRUE(row(u"cc-3"_s));
    click(u"focus.button.close"_s);
    EXPECT_EQ(stored(u"cc-1"_s).status, Status::done);
    EXPECT_FALSE(find<QWidget>(u"focus"_s));
    EXPECT_TRUE(find<QWidget>(u"allclear"_s));
}

TEST_F(PanelTest, EveryButtonOfARowDoesItsWork)
{
    m_store.setTasks({line(u"cx-1"_s, Status::running), line(u"m-1"_s, Status::shelved, u"home"_s)});
    m_panel.show();
    QTest::mouseClick(row(u"cx-1"_s), Qt::LeftButton, {}, {300, 20});
    QTRY_COMPARE(row(u"cx-1"_s)->height() > 60, true);
    click(u"row[cx-1].button.copy"_s);
    EXPECT_EQ(QGuiApplication::clipboard()->text(), u"title of cx-1"_s);
    EXPECT_EQ(find(u"row[cx-1].button.copy"_s)->text(), u"已复制"_s);
    QTRY_COMPARE_WITH_TIMEOUT(find(u"row[cx-1].button.copy"_s)->text(), u"复制名称"_s, 3000);
    click(u"row[cx-1].button.shelve"_s);
    EXPECT_EQ(stored(u"cx-1"_s).status, Status::shelved);
    EXPECT_TRUE(row(u"cx-1"_s)->isExpanded()) << "the row went to another section and must stay unfolded";
    click(u"row[cx-1].button.resume"_s);
    EXPECT_EQ(stored(u"cx-1"_s).status, Status::waiting);

    m_store.setTasks({line(u"cx-1"_s, Status::running), line(u"m-1"_s, Status::running, u"home"_s)});
    settle();
    row(u"m-1"_s)->setFocus();
    QTest::keyClick(row(u"m-1"_s), Qt::Key_Return);
    EXPECT_TRUE(row(u"m-1"_s)->isExpanded());
    EXPECT_FALSE(row(u"cx-1"_s)->isExpanded()) << "one unfolded row at a time";
    settle();
    click(u"row[m-1].button.finish"_s);
    EXPECT_EQ(stored(u"m-1"_s).status, Status::done);
    EXPECT_FALSE(row(u"m-1"_s));
}

TEST_F(PanelTest, AnEventChangesOnlyWhatItTouches)
{
    QList<AgentTask> lines;
    for (int i = 0; i < 20; ++i)
        lines.append(line(u"cc-%1"_s.arg(i), Status::running, u"project %1"_s.arg(i), i));
    m_store.setTasks(lines);
    m_panel.show();
    m_panel.activateWindow();
    ASSERT_TRUE(QTest::qWaitForWindowActive(&m_panel));
    QTest::mouseClick(row(u"cc-10"_s), Qt::LeftButton);
    QTRY_VERIFY(find(u"row[cc-10].button.edit"_s));
    QScrollBar *bar = m_panel.findChild<QScrollArea *>()->verticalScrollBar();
    QTRY_VERIFY(bar->maximum() > 700);
    m_panel.setFocus();
    for (const auto &[key, value] : {std::pair(Qt::Key_Home, 0),
                                     {Qt::Key_End, bar->maximum()},
                                     {Qt::Key_PageUp, bar->maximum() - bar->pageStep()}}) {
        QTest::keyClick(&m_panel, key);
        EXPECT_EQ(bar->value(), value);
    }
    bar->setValue(600);
    find(u"row[cc-10].button.edit"_s)->setFocus();
    QWidget *const kept = row(u"cc-10"_s);
    QTest::qWait(200);

    const EventCounter counter(*row(u"cc-9"_s));
    lines[10].currentState = u"正在处理：Edit"_s;
    m_store.setTasks(lines);
    settle();
    EXPECT_EQ(row(u"cc-10"_s), kept);
    EXPECT_TRUE(row(u"cc-10"_s)->isExpanded());
    EXPECT_EQ(bar->value(), 600);
    EXPECT_EQ(QApplication::focusWidget(), find(u"row[cc-10].button.edit"_s));
    EXPECT_EQ(counter.paints + counter.layouts, 0) << "a row that shows the same is left alone";

    for (int i = 0; i < 20; i += 2)
        lines[i].status = Status::done;
    m_store.setTasks(lines);
    settle();
    EXPECT_FALSE(row(u"cc-10"_s));
    EXPECT_TRUE(row(u"cc-11"_s));
}

TEST_F(PanelTest, AHiddenPanelDoesNothingAndManyChangesAreOneRefresh)
{
    m_store.setTasks({line(u"cc-1"_s, Status::running)});
    m_panel.show();
    settle();
    const EventCounter counter(m_panel);
    m_panel.hide();
    for (int i = 0; i < 50; ++i)
        m_store.setTasks({line(u"cc-%1"_s.arg(i), Status::running)});
    settle();
    EXPECT_TRUE(m_panel.findChild<QWidget *>(u"row[cc-1]"_s)) << "nothing was read while hidden";
    EXPECT_EQ(counter.paints + counter.layouts, 0);
    m_panel.show();
    EXPECT_TRUE(row(u"cc-49"_s)) << "and all of it when shown";
    settle();

    const EventCounter shown(*find<QWidget>(u"header.register"_s));
    QElapsedTimer timer;
    timer.start();
    for (int i = 0; i < 500; ++i) {
        m_store.setTasks({line(u"cc-49"_s, i % 2 ? Status::running : Status::shelved)});
        QCoreApplication::processEvents();
    }
    EXPECT_GE(shown.paints, 1);
    EXPECT_LE(shown.paints, timer.elapsed() / 16 + 2) << "more often than once a frame";
}

TEST_F(PanelTest, TheFilterShowsOneSourceAndKeepsOneChipChecked)
{
    m_store.setTasks({line(u"cc-1"_s, Status::running), line(u"cx-1"_s, Status::running, u"docs"_s)});
    m_panel.show();
    for (int presses = 0; presses < 2; ++presses) {
        click(u"chip.codex"_s);
        EXPECT_EQ(m_store.sourceFilter(), TaskSource::codex);
        EXPECT_TRUE(find(u"chip.codex"_s)->isChecked());
        EXPECT_FALSE(find(u"chip.all"_s)->isChecked());
        EXPECT_FALSE(row(u"cc-1"_s));
        EXPECT_TRUE(row(u"cx-1"_s));
    }
    click(u"chip.all"_s);
    EXPECT_EQ(m_store.sourceFilter(), std::nullopt);
    EXPECT_TRUE(row(u"cc-1"_s));
}

TEST_F(PanelTest, FoldedLinesAppearAndGo)
{
    m_store.setTasks(
        {line(u"cc-1"_s, Status::running), line(u"cc-2"_s, Status::shelved), line(u"cc-3"_s, Status::shelved)});
    m_panel.show();
    EXPECT_EQ(find(u"card[shop].fold"_s)->text(), u"还有 2 条暂时没新动静"_s);
    EXPECT_FALSE(row(u"cc-2"_s));
    click(u"card[shop].fold"_s);
    EXPECT_EQ(find(u"card[shop].fold"_s)->text(), u"收起"_s);
    QTRY_VERIFY(row(u"cc-3"_s) && row(u"cc-3"_s)->height() > 30);
    click(u"card[shop].fold"_s);
    QTRY_VERIFY(!row(u"cc-2"_s));
    m_store.setTasks({line(u"cc-2"_s, Status::shelved)});
    settle();
    EXPECT_TRUE(row(u"cc-2"_s)) << "listed at once where there is nothing else";
    EXPECT_FALSE(find(u"card[shop].fold"_s));
}

TEST_F(PanelTest, TabReachesEveryControlInTheOrderOfTheScreen)
{
    m_store.setTasks({line(u"cc-1"_s, Status::waiting), line(u"cc-2"_s, Status::running)});
    m_panel.show();
    m_panel.activateWindow();
    ASSERT_TRUE(QTest::qWaitForWindowActive(&m_panel));
    m_panel.setFocus();
    QStringList names;
    for (int i = 0; i < 14; ++i) {
        QTest::keyClick(QApplication::focusWidget(), Qt::Key_Tab);
        names.append(QApplication::focusWidget()->objectName());
    }
    EXPECT_EQ(names,
              (QStringList{u"chip.all"_s, u"chip.claude"_s, u"chip.codex"_s, u"chip.other"_s, u"header.register"_s,
                           u"banner.row.claude.button"_s, u"banner.row.codex.button"_s, u"focus.button.copy"_s,
                           u"focus.button.edit"_s, u"focus.button.close"_s, u"row[cc-2]"_s, u"footer.switch"_s,
                           u"footer.quit"_s, u"chip.all"_s}));
    QTest::keyClick(QApplication::focusWidget(), Qt::Key_Backtab);
    EXPECT_EQ(QApplication::focusWidget()->objectName(), u"footer.quit"_s);
}

TEST_F(PanelTest, TheFormSavesWhatWasTypedAndNothingElse)
{
    AgentTask asking = line(u"cc-1"_s, Status::waiting);
    asking.waitingReason = u"等你确认：\nBash"_s; // a field of one line cannot show the break
    asking.needsApproval = true;
    asking.tags = {u"tag"_s};
    asking.recentEvents = {u"09:00 event"_s};
    m_store.setTasks({asking});
    m_panel.show();

    const auto edit = [&](const char16_t *status, const QString &title) {
        m_panel.edit(stored(u"cc-1"_s));
        if (status)
            find<QComboBox>(u"form.status.choice"_s)->setCurrentText(QString::fromUtf16(status));
        if (!title.isNull()) {
            find<QLineEdit>(u"form.title.input"_s)->selectAll();
            QTest::keyClicks(find<QLineEdit>(u"form.title.input"_s), title);
        }
        m_home.now = m_home.now.addSecs(60);
        click(u"form.save"_s);
        return stored(u"cc-1"_s);
    };
    AgentTask saved = edit(nullptr, {});
    AgentTask expected = asking;
    expected.updatedAt = m_home.now;
    EXPECT_EQ(saved, expected);
    saved = edit(nullptr, u" TITLE\t"_s);
    EXPECT_EQ(saved.title, u"TITLE"_s);
    EXPECT_EQ(saved.titleEdited, true);
    saved = edit(u"进行中", {});
    EXPECT_EQ(saved.status, Status::running);
    EXPECT_EQ(saved.waitingReason, std::nullopt);
    EXPECT_EQ(saved.needsApproval, std::nullopt);
    EXPECT_EQ(saved.recentEvents, asking.recentEvents);
    EXPECT_FALSE(find<QWidget>(u"form"_s));

    m_panel.edit(std::nullopt);
    EXPECT_FALSE(find(u"form.save"_s)->isEnabled());
    QTest::keyClicks(find<QLineEdit>(u"form.title.input"_s), u"  "_s);
    EXPECT_FALSE(find(u"form.save"_s)->isEnabled());
    QTest::keyClicks(find<QLineEdit>(u"form.title.input"_s), u"new"_s);
    m_store.setStatus(u"cc-1"_s, Status::shelved); // an event meanwhile
    settle();
    EXPECT_EQ(find<QLineEdit>(u"form.title.input"_s)->text(), u"  new"_s);
    QTest::keyClick(find<QLineEdit>(u"form.title.input"_s), Qt::Key_Return);
    settle();
    ASSERT_EQ(m_store.tasks().size(), 2);
    EXPECT_EQ(m_store.tasks().last().title, u"new"_s);
    EXPECT_EQ(m_store.tasks().last().source, TaskSource::other);
    EXPECT_EQ(m_store.tasks().last().id.size(), 36);

    saved = edit(nullptr, {}); // shelved is not among the choices
    EXPECT_EQ(saved.status, Status::shelved);
    m_panel.edit(std::nullopt);
    QTest::keyClick(find<QLineEdit>(u"form.title.input"_s), Qt::Key_Escape);
    EXPECT_FALSE(find<QWidget>(u"form"_s));
    EXPECT_EQ(m_store.tasks().size(), 2);
}

TEST_F(PanelTest, TheBannerConnectsAndItsMessageGoes)
{
    QDir().mkpath(m_home.path(u"resources"_s));
    QFile::link(QStringLiteral(PLUMTIDE_HOOKS_DIR), m_home.path(u"resources/hooks"_s));
    m_home.write(u".codex/config.toml"_s, {});
    m_panel.show();
    click(u"banner.row.claude.button"_s);
    EXPECT_TRUE(m_home.read(u".claude/settings.json"_s).contains("tavvel-hook.sh"));
    EXPECT_FALSE(find(u"banner.row.claude.button"_s));
    click(u"banner.row.codex.button"_s);
    EXPECT_TRUE(find<QWidget>(u"banner"_s)) << "the message alone";
    QTRY_VERIFY_WITH_TIMEOUT(!find<QWidget>(u"banner"_s), 6000);
    EXPECT_EQ(m_installer.message(), std::nullopt);
}

TEST_F(PanelTest, TheMiniBoardFollowsTheLinesAndOpensThePanel)
{
    MiniBoardView mini(m_store, m_installer);
    mini.show();
    EXPECT_EQ(mini.height(), 34);
    int requests = 0;
    QObject::connect(&mini, &MiniBoardView::mainPanelRequested, [&] { ++requests; });
    for (int count = 1; count <= 5; ++count) {
        QList<AgentTask> lines;
        for (int i = 0; i < count; ++i)
            lines.append(line(u"cc-%1"_s.arg(i), Status::waiting));
        m_store.setTasks(lines);
        settle(mini);
        EXPECT_EQ(mini.height(), 34 + 23 * std::min(count, 3) + (count > 3 ? 22 : 0)) << count;
    }
    QTest::mouseClick(mini.findChild<QWidget *>(u"mini.row[cc-0]"_s), Qt::LeftButton);
    EXPECT_EQ(requests, 1);
    EXPECT_EQ(stored(u"cc-0"_s).status, Status::waiting);
}
