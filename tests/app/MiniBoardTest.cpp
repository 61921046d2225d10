#include "Plumtide/app/MiniBoardController.h"
#include "Plumtide/app/MiniBoardWindow.h"

#include "tests/support/Printing.h"
#include "tests/support/TestHome.h"

#include <QGuiApplication>
#include <QLabel>
#include <QMouseEvent>
#include <QPushButton>
#include <QScreen>
#include <QSignalSpy>

using namespace Qt::StringLiterals;

namespace {

/// A content 240 wide, with a control on the right and nothing but a text on the left.
class Content final : public QWidget
{
public:
    Content()
    {
        label.setGeometry(0, 0, 120, 60);
        button.setGeometry(130, 0, 100, 60);
    }
    QSize sizeHint() const override { return {240, height}; }
    void setWantedHeight(int wanted)
    {
        height = wanted;
        updateGeometry();
    }
    int height = 60;
    QLabel label{this};
    QPushButton button{this};
};

class MiniBoardTest : public testing::Test
{
protected:
    MiniBoardWindow &panel() { return *m_controller->panel(); }
    QByteArray file() { return m_home.read(u"conf"_s); }
    static QPoint firstPlace(int height)
    {
        const QRect available = QGuiApplication::primaryScreen()->availableGeometry();
        return {available.right() + 1 - 280, available.top() + qMax(0, 140 - height)};
    }
    void restart()
    {
        m_controller.reset();
        m_defaults.emplace(m_home.path(u"conf"_s));
        m_controller = std::make_unique<MiniBoardController>(
            *m_defaults, [this] { return m_content = new Content; }, [this] { ++m_openings; });
    }
    // The press is on `start` in the label, the release `by` pixels farther.
    void drag(QWidget &widget, QPoint start, QPoint by)
    {
        const QPoint from = widget.mapToGlobal(start);
        const auto send = [&](QEvent::Type type, QPoint global, Qt::MouseButtons buttons) {
            const auto button = type == QEvent::MouseMove ? Qt::NoButton : Qt::LeftButton;
            QMouseEvent event(type, widget.mapFromGlobal(QPointF(global)), global, button, buttons, Qt::NoModifier);
            QCoreApplication::sendEvent(&widget, &event);
        };
        send(QEvent::MouseButtonPress, from, Qt::LeftButton);
        send(QEvent::MouseMove, from + by / 2, Qt::LeftButton);
        send(QEvent::MouseMove, from + by, Qt::LeftButton);
        send(QEvent::MouseButtonRelease, from + by, Qt::NoButton);
    }

    TestHome m_home;
    std::optional<Defaults> m_defaults;
    Content *m_content = nullptr;
    int m_openings = 0;
    std::unique_ptr<MiniBoardController> m_controller;

    MiniBoardTest() { restart(); }
};

} // namespace

TEST_F(MiniBoardTest, FollowsThePreference)
{
    m_controller->applyPreference();
    EXPECT_EQ(file(), "[General]\nminiBoardEnabled=false\n");
    EXPECT_EQ(m_controller->panel(), nullptr);

    QSignalSpy changed(m_controller.get(), &MiniBoardController::enabledChanged);
    m_controller->setEnabled(true);
    MiniBoardWindow *const made = m_controller->panel();
    ASSERT_TRUE(made && made->isVisible());
    m_controller->setEnabled(false);
    EXPECT_FALSE(made->isVisible());
    m_controller->setEnabled(true);
    m_controller->setEnabled(true);
    EXPECT_EQ(m_controller->panel(), made);
    EXPECT_EQ(changed.count(), 3);
    EXPECT_EQ(file(), "[General]\nminiBoardEnabled=true\n") << "nobody has moved it";

    restart();
    m_controller->applyPreference();
    EXPECT_TRUE(panel().isVisible());
    m_controller->openMainPanel();
    EXPECT_EQ(m_openings, 1);
}

TEST_F(MiniBoardTest, AppearsWhereItWasLeft)
{
    const std::tuple<const char *, QByteArray, QPoint> cases[] = {
        {"never moved", "", firstPlace(60)},
        {"left somewhere", "miniBoardOrigin=100, 200\n", {100, 200}},
        {"with a fraction and one too many", "miniBoardOrigin=100.6, -20, 7\n", {101, -20}},
        {"off every screen", "miniBoardOrigin=9000, 9000\n", {9000, 9000}},
        {"a single number", "miniBoardOrigin=100\n", firstPlace(60)},
        {"a text", "miniBoardOrigin=left\n", firstPlace(60)},
        {"beyond what X11 can say", "miniBoardOrigin=1e300, 5\n", {32767, 5}},
    };
    for (const auto &[name, line, place] : cases) {
        SCOPED_TRACE(name);
        m_home.write(u"conf"_s, "[General]\n" + line);
        restart();
        m_controller->show();
        EXPECT_EQ(panel().pos(), place);
        EXPECT_EQ(file(), "[General]\n" + line);
    }
}

TEST_F(MiniBoardTest, IsDraggedByWhatIsNoControl)
{
    m_controller->show();
    QSignalSpy clicked(&m_content->button, &QPushButton::clicked);
    drag(m_content->button, {10, 10}, {5, 5});
    EXPECT_EQ(clicked.count(), 1);
    drag(m_content->label, {20, 10}, {0, 0});
    EXPECT_EQ(panel().pos(), firstPlace(60));
    EXPECT_EQ(m_defaults->numbers(u"miniBoardOrigin"_s), std::nullopt);

    panel().setPlace({300, 200});
    drag(m_content->label, {20, 10}, {-40, 70});
    EXPECT_EQ(panel().pos(), QPoint(260, 270));
    EXPECT_EQ(m_defaults->numbers(u"miniBoardOrigin"_s), (QList<double>{260, 270}));

    panel().move(0, 0); // as the toolkit or the window manager may have it
    EXPECT_EQ(m_defaults->numbers(u"miniBoardOrigin"_s), (QList<double>{260, 270}));
    m_controller->hide();
    m_controller->show();
    EXPECT_EQ(panel().pos(), QPoint(260, 270));

    m_controller->resetPlace();
    EXPECT_EQ(panel().pos(), firstPlace(60));
    EXPECT_EQ(m_defaults->numbers(u"miniBoardOrigin"_s), std::nullopt);
}

TEST_F(MiniBoardTest, HasTheSizeOfItsContentAndGrowsDownwards)
{
    m_controller->show();
    panel().setPlace({300, 200});
    EXPECT_EQ(panel().size(), QSize(240, 60));
    for (const int height : {150, 90}) {
        m_content->setWantedHeight(height);
        EXPECT_TRUE(waitUntil([&] { return panel().height() == height; }));
        EXPECT_EQ(m_content->size(), QSize(240, height));
        EXPECT_EQ(panel().pos(), QPoint(300, 200));
    }
    m_content->resize(240, 70);
    EXPECT_EQ(panel().size(), QSize(240, 70));
}
