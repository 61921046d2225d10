#include "Plumtide/app/PanelWindow.h"

#include "tests/support/TestHome.h"

#include <QApplication>
#include <QComboBox>
#include <QDialog>
#include <QLineEdit>
#include <QScreen>
#include <QSignalSpy>
#include <QTest>
#include <QVBoxLayout>

using namespace std::chrono_literals;

namespace {

/// A content that keeps Escape for itself when told to.
class PanelContent final : public QWidget
{
public:
    PanelContent()
    {
        auto *column = new QVBoxLayout(this);
        column->addWidget(&field);
        column->addWidget(&list);
        list.addItems({QStringLiteral("一"), QStringLiteral("二")});
    }
    QLineEdit field;
    QComboBox list;
    bool takesEscape = false;

protected:
    void keyPressEvent(QKeyEvent *event) override { event->setAccepted(takesEscape); }
};

class PanelWindowTest : public testing::Test
{
protected:
    void open()
    {
        m_panel.open();
        ASSERT_TRUE(QTest::qWaitForWindowActive(&m_panel));
    }
    void turnToOtherWork()
    {
        m_now += 1s;
        m_other.show();
        m_other.activateWindow();
        ASSERT_TRUE(QTest::qWaitForWindowActive(&m_other));
    }

    std::chrono::steady_clock::time_point m_now{1h};
    PanelContent *m_content = new PanelContent;
    PanelWindow m_panel{m_content, [this] { return m_now; }};
    QSignalSpy m_opened{&m_panel, &PanelWindow::opened};
    QSignalSpy m_closed{&m_panel, &PanelWindow::closed};
    QWidget m_other;
};

} // namespace

TEST_F(PanelWindowTest, ClicksOpenAndCloseItWhereverTheFocusWentFirst)
{
    m_panel.toggle();
    ASSERT_TRUE(QTest::qWaitForWindowActive(&m_panel));
    EXPECT_EQ(m_panel.size(), PanelWindow::panelSize);
    m_panel.toggle();
    EXPECT_FALSE(m_panel.isVisible());
    turnToOtherWork();
    m_panel.toggle(); // no pause after a click of the user's own
    EXPECT_TRUE(m_panel.isVisible());
    ASSERT_TRUE(QTest::qWaitForWindowActive(&m_panel));

    turnToOtherWork();
    EXPECT_FALSE(m_panel.isVisible());
    m_now += 199ms; // the very click that took the focus away
    m_panel.toggle();
    EXPECT_FALSE(m_panel.isVisible());
    m_panel.toggle();
    EXPECT_TRUE(m_panel.isVisible());
    ASSERT_TRUE(QTest::qWaitForWindowActive(&m_panel));
    turnToOtherWork();
    m_now += 200ms;
    m_panel.toggle();
    EXPECT_TRUE(m_panel.isVisible());
    EXPECT_EQ(m_opened.count(), 4);
    EXPECT_EQ(m_closed.count(), 3);
}

TEST_F(PanelWindowTest, AFocusThatIsLostWhileItOpensComesBack)
{
    open();
    m_now += PanelWindow::openingTime - 1ms;
    m_other.show(); // the window manager's doing
    m_other.activateWindow();
    EXPECT_TRUE(QTest::qWaitForWindowActive(&m_panel));
    turnToOtherWork();
    EXPECT_FALSE(m_panel.isVisible());
}

TEST_F(PanelWindowTest, EscapeIsTheContentsFirst)
{
    open();
    m_content->field.setFocus();
    m_content->takesEscape = true;
    QTest::keyClick(&m_content->field, Qt::Key_Escape);
    EXPECT_TRUE(m_panel.isVisible());
    m_content->takesEscape = false;
    QTest::keyClick(&m_content->field, Qt::Key_A);
    EXPECT_TRUE(m_panel.isVisible());
    QTest::keyClick(&m_content->field, Qt::Key_Escape);
    EXPECT_FALSE(m_panel.isVisible());
}

TEST_F(PanelWindowTest, StaysWhileAListOrADialogOfItsOwnIsOpen)
{
    open();
    m_content->list.showPopup();
    QWidget *const popup = QApplication::activePopupWidget();
    ASSERT_TRUE(popup);
    turnToOtherWork();
    EXPECT_TRUE(m_panel.isVisible());
    m_content->list.hidePopup();
    EXPECT_TRUE(waitUntil([&] { return !m_panel.isVisible(); })) << "the focus went elsewhere meanwhile";

    open();
    QDialog dialog(m_content);
    dialog.show();
    dialog.activateWindow();
    ASSERT_TRUE(QTest::qWaitForWindowActive(&dialog));
    EXPECT_TRUE(m_panel.isVisible());
    turnToOtherWork();
    EXPECT_TRUE(waitUntil([&] { return !m_panel.isVisible(); }));
}

TEST_F(PanelWindowTest, OpensWhereItWasClickedLast)
{
    const QRect available = QGuiApplication::primaryScreen()->availableGeometry();
    const QPoint lowerLeft(available.left() + 5, available.bottom() - 5);
    m_panel.open();
    EXPECT_EQ(m_panel.pos(), QPoint(available.right() + 1 - 400, available.top()));
    m_panel.hide();
    m_panel.open(lowerLeft);
    const QPoint place(available.left(), qMax(available.top(), available.bottom() + 1 - 560));
    EXPECT_EQ(m_panel.pos(), place);
    m_panel.hide();
    m_panel.open();
    EXPECT_EQ(m_panel.pos(), place);
}
