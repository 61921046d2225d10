#pragma once

#include "Plumtide/hooks/HooksInstaller.h"
#include "Plumtide/store/TaskStore.h"
#include "Plumtide/views/MiniBoardView.h"
#include "Plumtide/views/PanelView.h"
#include "tests/views/Facts.h"

#include <QtTest>

/// A view in front of its user, over a store and an installer in a home of their own. It is used by mouse and keyboard
/// and seen as a screen reader hears it, so that nothing depends on the classes it is made of. Animations go on only
/// when time passes here. The steps are listed in scenes.txt.
class Stage final : public QAnimationDriver
{
    Q_OBJECT

public:
    Stage(QMap<QString, AgentTask> lines, const QString &kind, const QString &connected, const QString &heard)
        : m_lines(std::move(lines))
    {
        install();
        connect(this, &QAnimationDriver::started, this, [this] { m_elapsed = 0; });
        qApp->installEventFilter(this);
        QApplication::setCursorFlashTime(0);
        QApplication::setDoubleClickInterval(0);
        QGuiApplication::clipboard()->clear();
        const auto names = [](const QString &tools, const QString &tool) { return tools == tool || tools == u"both"; };
        m_home.defaults()->setBoolean(u"tavvel.claude.hasSeenEvent"_s, names(heard, u"claude"_s));
        m_home.defaults()->setBoolean(u"tavvel.codex.hasSeenEvent"_s, names(heard, u"codex"_s));
        m_home.write(u".codex/config.toml"_s, {});
        Environment environment = m_home.environment();
        environment.resourcesDir = QStringLiteral(PLUMTIDE_HOOKS_DIR "/..");
        m_store.emplace(environment);
        m_installer.emplace(environment);
        if (names(connected, u"claude"_s))
            m_installer->installClaude();
        if (names(connected, u"codex"_s))
            m_installer->installCodex();
        m_installer->clearMessage();
        if (kind == u"mini") {
            auto mini = std::make_unique<MiniBoardView>(*m_store, *m_installer);
            mini->setAttribute(Qt::WA_TranslucentBackground);
            connect(mini.get(), &MiniBoardView::mainPanelRequested, this, [this] { m_told += u"open the panel"_s; });
            connect(mini.get(), &MiniBoardView::lineWished, this,
                    [this](auto wish, auto id) { m_told += wish + u' ' + id; });
            m_view = std::move(mini);
        } else {
            auto panel = std::make_unique<PanelView>(*m_store, *m_installer, [this] { return m_home.now; });
            connect(panel.get(), &PanelView::sessionRequested, this,
                    [this](const auto &id) { m_told += u"go to "_s + id; });
            connect(panel.get(), &PanelView::quitRequested, this, [this] { m_told += u"quit"_s; });
            connect(panel.get(), &PanelView::miniBoardSwitched, this,
                    [this](bool isOn) { m_told += isOn ? u"mini board on"_s : u"mini board off"_s; });
            m_view = std::move(panel);
        }
        QCursor::setPos(799, 799); // beside it
        m_view->show();
        m_view->activateWindow();
        EXPECT_TRUE(QTest::qWaitForWindowActive(m_view.get()));
        changes();
    }
    ~Stage() override
    {
        for (const QString &delay : delays(0))
            delays(delay.toInt());
        m_view.reset();
    }

    /// A step is the name of one of the invokable functions, and its argument; to click or press, one after another.
    void act(const QString &step)
    {
        const QByteArray name = step.section(u' ', 0, 0).toLatin1();
        const bool isLeftRunning = step.endsWith(u" …");
        const QString argument = step.chopped(isLeftRunning ? 2 : 0).section(u' ', 1);
        const bool isOneByOne = name == "click" || name == "press";
        for (const QString &each : isOneByOne ? argument.split(u' ') : QStringList(argument)) {
            EXPECT_TRUE(QMetaObject::invokeMethod(this, name, Q_ARG(QString, each)));
            if (isLeftRunning)
                return;
            // Until what has changed is shown: a view looks after its sources once a frame.
            QEventLoop frame;
            QTimer::singleShot(std::chrono::milliseconds(20), Qt::PreciseTimer, &frame, &QEventLoop::quit);
            frame.exec();
            animate(u"1000"_s);
        }
    }

    /// What is shown, stored and told otherwise than when this was last asked.
    QString changes()
    {
        const Facts before = std::exchange(m_known, facts());
        QStringList changes, back, gone;
        QMap<QString, QStringList> ofLines;
        static const QRegularExpression number(u"[0-9]+"_s), words(u"[^0-9]+"_s);
        for (const auto &[topic, fact] : m_known.asKeyValueRange()) {
            const QString was = before.value(topic), last = std::exchange(m_lastKnown[topic], fact);
            const bool isOfNow = topic == u"focus" || topic == u"told";
            if (was == fact && !isOfNow)
                continue;
            if (topic.contains(u' '))
                ofLines[topic.section(u' ', 0, 0)] += topic.section(u' ', 1) + u' ' + fact;
            else if (was.isEmpty() && last == fact && !isOfNow)
                back += topic;
            else if (was.isEmpty() || isOfNow)
                changes += topic + u": "_s + fact;
            else if (QString(was).remove(number) == QString(fact).remove(number))
                changes += topic + u": #"_s + fact.split(words, Qt::SkipEmptyParts).join(u' ');
            else
                changes += topic + u':' + changeOf(was.split(u" | "_s), fact.split(u" | "_s));
        }
        for (auto [line, facts] : ofLines.asKeyValueRange()) { // when is not told where it is now
            const QString when = u"updatedAt "_s + m_known[line + u" updatedAt"_s];
            facts.removeOne(when);
            if (facts.isEmpty() || when.section(u' ', 1).toInt() != TestHome().now.secsTo(m_home.now))
                facts += when;
            changes += line + u": "_s + facts.join(u", "_s);
        }
        for (const QString &topic : before.keys())
            gone += m_known.contains(topic) ? QStringList() : QStringList(topic);
        gone.removeAll(u"focus"_s);
        gone.removeAll(u"told"_s);
        if (!back.isEmpty())
            changes += u"back: "_s + back.join(u", "_s);
        if (!gone.isEmpty())
            changes += u"gone: "_s + gone.join(u", "_s);
        m_focused.clear();
        m_told.clear();
        static const QRegularExpression usual(
            u"(?<=cc-\\w)，Claude，5 分钟前|(?<=cx-\\w)，Codex，5 分钟前|(?<=m-\\w)，其他，5 分钟前| 5 分钟前"_s);
        return changes.isEmpty() ? u"nothing"_s : changes.join(u"; "_s).replace(u'\n', u'⏎').replace(usual, u"…"_s);
    }

    QImage picture(double scale)
    {
        QWidget *popup = QApplication::activePopupWidget(), *shown = popup ? popup : m_view.get();
        QImage image((QSizeF(shown->size()) * scale).toSize(), QImage::Format_RGB32);
        image.setDevicePixelRatio(scale);
        if (!popup)
            QTest::mouseMove(m_view->windowHandle(), QPoint(200, 1)); // over nothing
        image.fill(Qt::darkCyan); // like nothing in a view, so that what is translucent shows
        shown->render(&image, {}, {}, QWidget::DrawChildren);
        image.setDevicePixelRatio(1);
        return image;
    }

protected:
    [[nodiscard]] qint64 elapsed() const override { return m_elapsed; }
    bool eventFilter(QObject *object, QEvent *event) override
    {
        auto *widget = qobject_cast<QWidget *>(object);
        if (m_painted && widget && widget->window() == m_view.get() && event->type() == QEvent::Paint)
            *m_painted += static_cast<QPaintEvent *>(event)->region().translated(widget->mapTo(m_view.get(), QPoint()));
        const auto *dispatcher = QAbstractEventDispatcher::instance();
        return event->type() == QEvent::Timer && dispatcher->registeredTimers(object).constFirst().interval >= 1000;
    }

    Q_INVOKABLE void show(const QString &lines)
    {
        QList<AgentTask> tasks;
        for (const QString &line : lines.split(u' ', Qt::SkipEmptyParts)) {
            const auto part = [&](int i, const QString &usual) {
                return line.section(u':', i, i).isEmpty() ? usual : line.section(u':', i, i);
            };
            const QString fields = u"%1 5 %2 %3 %1"_s.arg(part(0, {}), part(2, u"shop"_s), part(1, u"running"_s));
            tasks += line.contains(u':') ? lineWith(fields) : m_lines[line];
        }
        m_store->setTasks(tasks);
        m_known.removeIf([](const auto &fact) { return fact.key().contains(u' '); });
        m_known.insert(stored(m_store->tasks()));
    }
    Q_INVOKABLE void click(const QString &words)
    {
        hold(words);
        release({});
    }
    Q_INVOKABLE void quickly(const QString &words) // as the second click of a double click
    {
        QApplication::setDoubleClickInterval(60'000);
        click(words); // without words where the last click was
        QApplication::setDoubleClickInterval(0);
    }
    Q_INVOKABLE void release(const QString &)
    {
        QTest::mouseRelease(m_view->windowHandle(), Qt::LeftButton, {}, m_point);
    }
    Q_INVOKABLE void hold(const QString &words)
    {
        if (!words.isEmpty())
            pointAt(words);
        QTest::mousePress(m_view->windowHandle(), Qt::LeftButton, {}, m_point);
    }
    Q_INVOKABLE void menu(const QString &words)
    {
        QTest::mouseMove(m_view->windowHandle(), QPoint(200, 1)); // Qt 6.11 sends the event to what is entered next
        pointAt(words);
        QTest::mouseClick(m_view->windowHandle(), Qt::RightButton, {}, m_point);
    }
    Q_INVOKABLE void choose(const QString &choice)
    {
        auto *menu = qobject_cast<QMenu *>(QApplication::activePopupWidget());
        ASSERT_TRUE(menu);
        m_menu.clear();
        for (QAction *action : menu->actions()) {
            m_menu += action->text().replace(u'\t', u' ') + action->shortcut().toString()
                + (action->isEnabled() ? u""_s : u" off"_s);
            if (action->text().section(u'\t', 0, 0) == choice)
                action->trigger();
        }
        menu->close();
    }
    Q_INVOKABLE void press(const QString &keys)
    {
        for (int times = std::max(1, keys.section(u'*', 1).toInt()); times > 0; --times) {
            const QKeyCombination key = QKeySequence(keys.section(u'*', 0, 0))[0];
            QTest::keyClick(m_view->windowHandle(), key.key(), key.keyboardModifiers());
            QAccessibleInterface *at = QAccessible::queryAccessibleInterface(m_view.get())->focusChild();
            m_focused += at ? at->text(QAccessible::Name).section(u'，', 0, 0) : u"nothing"_s;
        }
    }
    Q_INVOKABLE void type(const QString &text) { QTest::keyClicks(QApplication::focusWidget(), text); }
    Q_INVOKABLE void wheel(const QString &angle) // over a choice, in the form
    {
        const QPoint at(60, 190);
        QWheelEvent event(at, m_view->mapToGlobal(at), {}, {0, angle.toInt()}, {}, {}, Qt::NoScrollPhase, false);
        QSpontaneKeyEvent::setSpontaneous(&event); // others do not go on to the parents
        qApp->notify(m_view->childAt(at), &event);
    }
    Q_INVOKABLE void panel(const QString &to)
    {
        m_view->setVisible(to == u"open");
        QApplication::setActiveWindow(m_view->isVisible() ? m_view.get() : nullptr);
        m_view->setFocus(Qt::OtherFocusReason); // as the program does
    }
    Q_INVOKABLE void filter(const QString &to) { m_store->setSourceFilter(taskSourceFrom(to)); }
    Q_INVOKABLE void open(const QString &line) { static_cast<PanelView *>(m_view.get())->showLine(line); }
    Q_INVOKABLE void wish(const QString &of) // as the mini board passes it on
    {
        static_cast<PanelView *>(m_view.get())->act(of.section(u' ', 0, 0), of.section(u' ', 1));
    }
    Q_INVOKABLE void toggle(const QString &to) { static_cast<PanelView *>(m_view.get())->setMiniBoardOn(to == u"on"); }
    Q_INVOKABLE void pass(const QString &minutes) { m_home.now = m_home.now.addSecs(60 * minutes.toInt()); }
    Q_INVOKABLE void sweep(const QString &) { m_store->sweep(); }
    Q_INVOKABLE void delay(const QString &ending) { EXPECT_TRUE(delays(ending.toInt()).contains(ending)); }
    Q_INVOKABLE void animate(const QString &milliseconds)
    {
        QCoreApplication::processEvents(); // an animation begins on the event loop
        m_elapsed += milliseconds.toInt();
        advance();
        QCoreApplication::processEvents();
    }
    Q_INVOKABLE void watch(const QString &) { m_painted.emplace(); }
    Q_INVOKABLE void look(const QString &) { changes(); }
    Q_INVOKABLE void forget(const QString &) { m_known = m_lastKnown = {}; }

private:
    // What is to be done a second or more later, which is only done here: what waits for `ending` milliseconds.
    QStringList delays(int ending) const
    {
        QStringList delays;
        auto *dispatcher = QAbstractEventDispatcher::instance();
        for (QObject *object : dispatcher->children() + m_view->findChildren<QObject *>()) {
            for (const auto &timer : dispatcher->registeredTimers(object)) {
                if (timer.interval >= 1000)
                    delays += QString::number(timer.interval);
                QTimerEvent event(timer.timerId);
                if (timer.interval == ending)
                    object->event(&event);
            }
        }
        return delays;
    }

    void pointAt(const QString &words)
    {
        const QList<QAccessibleInterface *> all = elements();
        const auto name = [](QAccessibleInterface *element) { return element->text(QAccessible::Name); };
        auto wanted = std::ranges::find(all, words, name);
        const auto begins = [&](const QString &name) { return name.startsWith(words); };
        if (wanted == all.end())
            wanted = std::ranges::find_if(all, begins, name);
        ASSERT_TRUE(wanted != all.end());
        const QRect at = box(*wanted); // its beginning: an unfolded row has buttons in its middle
        m_point = at.topLeft() + QPoint(std::min(20, at.width() / 2), std::min(10, at.height() / 2));
        QTest::mouseMove(m_view->windowHandle(), m_point);
    }

    // Everything that is shown, from the top to the bottom, also what is scrolled away.
    [[nodiscard]] QList<QAccessibleInterface *> elements() const
    {
        return elementsIn(QAccessible::queryAccessibleInterface(m_view.get()));
    }
    [[nodiscard]] QRect box(QAccessibleInterface *element) const
    {
        return element->rect().translated(-m_view->mapToGlobal(QPoint()));
    }
    [[nodiscard]] Facts facts()
    {
        auto found = heard(elements(), *m_view, m_painted.value_or(QRegion()));
        if (!found.contains(u"form"_s))
            m_board = found;
        for (const auto &[topic, parts] : m_board.asKeyValueRange()) // the form stands before the board
            found.insert(topic, found.value(topic, parts));
        found[u"size"_s] += u"%1x%2"_s.arg(m_view->width()).arg(m_view->height());
        found[u"focus"_s] += m_focused;
        found[u"told"_s] += m_told;
        found[u"menu"_s] += m_menu;
        found[u"delays"_s] = delays(0);
        found[u"clipboard"_s] += QGuiApplication::clipboard()->text();
        Facts facts;
        for (const auto &[topic, parts] : found.asKeyValueRange())
            facts[topic] = parts.filter(QRegularExpression(u"."_s)).join(u" | "_s);
        facts.removeIf([](const auto &fact) { return fact.key().isEmpty() || fact.value().isEmpty(); });
        facts.insert(stored(m_store->tasks()));
        return facts;
    }

    const QMap<QString, AgentTask> m_lines; // that can be shown, by their ids
    TestHome m_home;
    std::optional<TaskStore> m_store;
    std::optional<HooksInstaller> m_installer;
    std::unique_ptr<QWidget> m_view;
    QPoint m_point; // of the last press
    qint64 m_elapsed = 0;
    QStringList m_focused; // after each key
    QStringList m_told;    // by the view's signals
    QStringList m_menu;    // the last one
    std::optional<QRegion> m_painted;
    QMap<QString, QStringList> m_board; // as it was last seen
    Facts m_known, m_lastKnown;
};
