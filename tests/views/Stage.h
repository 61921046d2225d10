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
        Environment &environment = m_home.environment();
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
            connect(mini.get(), &MiniBoardView::activated, this, [this](const Command &command) {
                m_told += std::holds_alternative<OpenPanel>(command) ? u"open the panel"_s : lineOf(command);
            });
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
    }
    ~Stage() override
    {
        for (const QString &delay : delays(0))
            delays(delay.toInt());
        m_view.reset();
    }

    /// A step is the name of one of the invokable functions, and its argument.
    void act(const QString &step)
    {
        const QByteArray name = step.section(u' ', 0, 0).toLatin1();
        const bool isLeftRunning = step.endsWith(u" …");
        const QString argument = step.chopped(isLeftRunning ? 2 : 0).section(u' ', 1);
        EXPECT_TRUE(QMetaObject::invokeMethod(this, name, Q_ARG(QString, argument)));
        if (isLeftRunning)
            return;
        // Until what has changed is shown: a view looks after its sources once a frame.
        QEventLoop frame;
        QTimer::singleShot(std::chrono::milliseconds(20), Qt::PreciseTimer, &frame, &QEventLoop::quit);
        frame.exec();
        animate(u"1000"_s);
    }

    /// What is shown, stored and told otherwise than when this was last asked.
    QString changes()
    {
        const Facts before = std::exchange(m_known, facts());
        QStringList changes, gone = before.keys();
        static const QRegularExpression number(u"[0-9]+"_s), words(u"[^0-9]+"_s);
        for (const auto &[topic, fact] : m_known.asKeyValueRange()) {
            const QString was = before.value(topic);
            const bool isOfNow = topic == u"focus" || topic == u"told" || was.isEmpty();
            if (isOfNow && was != fact)
                changes += topic + u": "_s + fact;
            else if (was != fact && QString(was).remove(number) == QString(fact).remove(number))
                changes += topic + u": #"_s + fact.split(words, Qt::SkipEmptyParts).join(u' ');
            else if (was != fact)
                changes += topic + u':' + changeOf(was.split(u" | "_s), fact.split(u" | "_s));
        }
        gone.removeIf([this](const QString &topic) { return m_known.contains(topic); });
        if (!gone.isEmpty())
            changes += u"gone: "_s + gone.join(u", "_s);
        m_focused.clear();
        m_told.clear();
        return changes.isEmpty() ? u"nothing"_s : changes.join(u"; "_s).replace(u'\n', u'⏎');
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
            const QString id = line.section(u':', 0, 0);
            const QString status = line.section(u':', 1, 1);
            const QString fields = uR"({"age": 5, "title": "%1", "status": "%2", "project": "%3"})"_s;
            tasks += status.isEmpty() ? m_lines[id] : lineWith(id, fields.arg(id, status, line.section(u':', 2)));
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
    Q_INVOKABLE void twice(const QString &words) // the second time before the first takes effect
    {
        pointAt(words);
        auto *button = qobject_cast<QAbstractButton *>(m_view->childAt(m_point));
        button->click();
        button->click();
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
        for (QAction *action : menu->actions()) {
            m_told += action->text().replace(u'\t', u' ') + action->shortcut().toString()
                + (action->isEnabled() ? u""_s : u" off"_s);
            if (action->text().section(u'\t', 0, 0) == choice)
                action->trigger();
        }
        menu->close();
    }
    Q_INVOKABLE void press(const QString &keys)
    {
        for (int times = std::max(1, keys.section(u' ', 1).toInt()); times > 0; --times) {
            const QKeyCombination key = QKeySequence(keys.section(u' ', 0, 0))[0];
            QTest::keyClick(m_view->windowHandle(), key.key(), key.keyboardModifiers());
            QAccessibleInterface *at = QAccessible::queryAccessibleInterface(m_view.get())->focusChild();
            m_focused += at ? at->text(QAccessible::Name).section(u'，', 0, 0) : u"nothing"_s;
        }
    }
    Q_INVOKABLE void repeat(const QString &keys) // as a key that is held
    {
        const QKeyCombination key = QKeySequence(keys)[0];
        QTest::simulateEvent(m_view->windowHandle(), true, key.key(), key.keyboardModifiers(), {}, true);
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
        static_cast<PanelView *>(m_view.get())->run(LineCommand{LineAction::Edit, of.section(u' ', 1)});
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
    [[nodiscard]] Facts facts() const
    {
        auto found = heard(elements(), *m_view, m_painted.value_or(QRegion()));
        found[u"size"_s] += u"%1x%2"_s.arg(m_view->width()).arg(m_view->height());
        found[u"focus"_s] += m_focused;
        found[u"told"_s] += m_told;
        found[u"delays"_s] = delays(0);
        found[u"clipboard"_s] += QGuiApplication::clipboard()->text();
        Facts facts = found.contains(u"EditableText"_s) ? m_known : Facts(); // the form stands before the board
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
    std::optional<QRegion> m_painted;
    Facts m_known;
};
