#pragma once

#include "Plumtide/hooks/HooksInstaller.h"
#include "Plumtide/store/TaskStore.h"
#include "Plumtide/views/MiniBoardView.h"
#include "Plumtide/views/PanelView.h"
#include "tests/views/Facts.h"

#include <QtTest>

/// A view in front of its user, over a store and an installer in a home of their own. It is used by mouse and keyboard
/// and seen as a screen reader hears it. Animations go on only when time passes here.
class Stage final : public QAnimationDriver
{
    Q_OBJECT

public:
    Stage(QMap<QString, AgentTask> lines, const QStringList &start) : m_lines(std::move(lines))
    {
        install();
        connect(this, &QAnimationDriver::started, this, [this] { m_elapsed = 0; });
        qApp->installEventFilter(this);
        QApplication::setCursorFlashTime(0);
        QApplication::setDoubleClickInterval(0);
        QGuiApplication::clipboard()->clear();
        for (const QString tool : {"claude", "codex"})
            m_home.defaults()->setBoolean("tavvel." + tool + ".hasSeenEvent", start.value(3, tool).contains(tool));
        m_home.write(".codex/config.toml", {});
        Environment &environment = m_home.environment();
        environment.resourcesDir = PLUMTIDE_HOOKS_DIR "/..";
        m_store.emplace(environment);
        m_installer.emplace(environment);
        if (start.value(2, "claude").contains("claude"))
            m_installer->installClaude();
        if (start.value(2, "codex").contains("codex"))
            m_installer->installCodex();
        m_installer->clearMessage();
        if (start.value(1) == "mini") {
            auto mini = std::make_unique<MiniBoardView>(*m_store, *m_installer);
            mini->setAttribute(Qt::WA_TranslucentBackground);
            connect(mini.get(), &MiniBoardView::activated, this, [this](const Command &command) {
                const auto &[action, line] = std::get<LineCommand>(command);
                m_now["told"] += action == LineAction::OpenPanel ? "open the panel" : line;
            });
            m_view = std::move(mini);
        } else {
            auto panel = std::make_unique<PanelView>(*m_store, *m_installer, [this] { return m_home.now; });
            m_panel = panel.get();
            connect(m_panel, &PanelView::sessionRequested, [this](auto &id) { m_now["told"] += "go to " + id; });
            connect(m_panel, &PanelView::quitRequested, [this] { m_now["told"] += "quit"; });
            connect(m_panel, &PanelView::miniBoardSwitched,
                    [this](bool isOn) { m_now["told"] += isOn ? "mini board on" : "mini board off"; });
            m_view = std::move(panel);
        }
        QCursor::setPos(799, 799); // beside it
        m_view->show();
        m_view->activateWindow();
        EXPECT_TRUE(QTest::qWaitForWindowActive(m_view.get()));
        changes();
    }
    ~Stage() override { m_view.reset(); }

    /// A step is the name of one of the slots, and its argument; of clicks and keys, one after another.
    void act(const QString &step)
    {
        const QByteArray name = step.section(' ', 0, 0).toLatin1();
        const QString argument = step.section(' ', 1);
        const bool isOneByOne = name == "click" || name == "press";
        for (const QString &each : isOneByOne ? argument.split(' ') : QStringList(argument)) {
            EXPECT_TRUE(QMetaObject::invokeMethod(this, name, Q_ARG(QString, each)));
            // Until what has changed is shown: a view looks after its sources once a frame.
            QTest::qWait(20);
            QCoreApplication::processEvents(); // an animation begins on the event loop
            m_elapsed += 1000;
            advance();
            QCoreApplication::processEvents();
            facts(); // to see it move
        }
    }

    /// What is shown, stored and told otherwise than when this was last asked.
    QString changes()
    {
        const Facts before = std::exchange(m_shown, facts());
        QStringList changes = changesOf(before, m_shown);
        for (const auto &[topic, parts] : std::exchange(m_now, {}).asKeyValueRange())
            changes += topic + ": " + parts.join(" | ");
        return changes.isEmpty() ? "nothing" : abridged(changes.join("; "));
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
        // What is to be done a second or more later never is.
        const auto *dispatcher = QAbstractEventDispatcher::instance();
        return event->type() == QEvent::Timer && dispatcher->registeredTimers(object).constFirst().interval >= 1000;
    }

private Q_SLOTS:
    void show(const QString &lines)
    {
        QList<AgentTask> tasks;
        for (const QString &line : QString(lines).replace("::", ":running:").split(' ', Qt::SkipEmptyParts)) {
            const QStringList parts = line.split(':');
            tasks += m_lines.contains(line)
                ? m_lines[line]
                : lineWith(QString("%1 5 %2 %3 %1").arg(parts[0], parts.value(2, "shop"), parts.value(1, "running")));
        }
        m_store->setTasks(tasks);
        m_shown.removeIf([](const auto &fact) { return fact.key().contains(' '); });
        m_shown.insert(stored(m_store->tasks()));
    }
    void click(const QString &words)
    {
        hold(words);
        release({});
    }
    void quickly(const QString &words) // as the second click of a double click
    {
        QApplication::setDoubleClickInterval(60'000);
        click(words); // without words where the last click was
        QApplication::setDoubleClickInterval(0);
    }
    void release(const QString &) { QTest::mouseRelease(m_view->windowHandle(), Qt::LeftButton, {}, m_point); }
    void hold(const QString &words)
    {
        if (!words.isEmpty())
            pointAt(words);
        QTest::mousePress(m_view->windowHandle(), Qt::LeftButton, {}, m_point);
    }
    void twice(const QString &words) // the second time before the first takes effect
    {
        pointAt(words);
        auto *button = qobject_cast<QAbstractButton *>(m_view->childAt(m_point));
        button->click();
        button->click();
    }
    void menu(const QString &words)
    {
        QTest::mouseMove(m_view->windowHandle(), QPoint(200, 1)); // Qt 6.11 sends the event to what is entered next
        pointAt(words);
        QTest::mouseClick(m_view->windowHandle(), Qt::RightButton, {}, m_point);
    }
    void choose(const QString &choice)
    {
        auto *menu = qobject_cast<QMenu *>(QApplication::activePopupWidget());
        ASSERT_TRUE(menu);
        m_menu.clear();
        for (QAction *action : menu->actions()) {
            const QString text = action->text().replace('\t', ' ');
            m_menu += text + action->shortcut().toString() + (action->isEnabled() ? "" : " off")
                + (action->isChecked() ? " on" : "");
            if (text.section(' ', 0, 0) == choice)
                action->trigger();
        }
        m_menu.removeAll(QString()); // between them
        menu->close();
    }
    void press(const QString &keys)
    {
        for (int times = std::max(1, keys.section('*', 1).toInt()); times > 0; --times) {
            const QKeyCombination key = QKeySequence(keys.section('*', 0, 0))[0];
            QTest::keyClick(m_view->windowHandle(), key.key(), key.keyboardModifiers());
        }
        QAccessibleInterface *at = QAccessible::queryAccessibleInterface(m_view.get())->focusChild();
        m_now["focus"] += at ? at->text(QAccessible::Name).section(u'，', 0, 0) : "nothing";
    }
    void repeat(const QString &keys) // as a key that is held
    {
        const QKeyCombination key = QKeySequence(keys)[0];
        QTest::simulateEvent(m_view->windowHandle(), true, key.key(), key.keyboardModifiers(), {}, true);
    }
    void type(const QString &text) { QTest::keyClicks(QApplication::focusWidget(), text); }
    void wheel(const QString &angle) // over a choice, in the form
    {
        const QPoint at(60, 190);
        QWheelEvent event(at, m_view->mapToGlobal(at), {}, {0, angle.toInt()}, {}, {}, Qt::NoScrollPhase, false);
        QSpontaneKeyEvent::setSpontaneous(&event); // others do not go on to the parents
        qApp->notify(m_view->childAt(at), &event);
    }
    void panel(const QString &to)
    {
        m_view->setVisible(to == "open");
        QApplication::setActiveWindow(m_view->isVisible() ? m_view.get() : nullptr);
        m_view->setFocus(Qt::OtherFocusReason); // as the program does
    }
    void folder(const QString &named) // the line's session is now there
    {
        const QString path = named.section(' ', 1).replace('~', m_home.path());
        m_store->apply({named.section(' ', 0, 0).sliced(3), {}, path, {}, {}, {}, {}, {}});
    }
    void recent(const QString &) // in the tray item's menu
    {
        fillRecentMenu(m_recent, *m_store, [this](const QString &line) { open(line); });
        m_recent.popup({});
    }
    void open(const QString &line) { m_panel->showLine(line); }
    void edit(const QString &line) { m_panel->run(LineCommand{LineAction::Edit, line}); } // as the mini board asks
    void toggle(const QString &to) { m_panel->setMiniBoardOn(to == "on"); }
    void pass(const QString &minutes) { m_home.now = m_home.now.addSecs(60 * minutes.toInt()); }
    void mute(const QString &minutes) // or until it is ended
    {
        const QDateTime end = m_home.now.addSecs(60 * minutes.toInt());
        m_store->notifications().setMutedUntil(minutes.isEmpty() ? NotificationFilter::never() : end);
    }
    void sweep(const QString &) { m_store->sweep(); }
    void look(const QString &) { changes(); }
    void forget(const QString &) { m_shown.clear(); }

private:
    // What is named so, or begins so.
    void pointAt(const QString &words)
    {
        const auto all = elementsIn(QAccessible::queryAccessibleInterface(m_view.get()));
        QStringList names;
        for (QAccessibleInterface *element : all)
            names += element->text(QAccessible::Name);
        const qsizetype index =
            std::max(names.indexOf(words), names.indexOf(QRegularExpression("(?s)" + words + ".*")));
        ASSERT_GE(index, 0) << qPrintable(words);
        const QRect at = all[index]->rect(); // its beginning: an unfolded row has buttons in its middle
        m_point =
            m_view->mapFromGlobal(at.topLeft() + QPoint(std::min(20, at.width() / 2), std::min(10, at.height() / 2)));
        QTest::mouseMove(m_view->windowHandle(), m_point);
    }

    // What is behind the form is as it was last seen.
    Facts facts()
    {
        Facts found = heard(*m_view);
        const QString buttons = m_panel ? found.take("Button") : QString();
        EXPECT_TRUE(buttons.isEmpty() || !found.contains("form")) << "behind the form";
        for (const QString seenInPictures : {"Plumtide", "现在没有需要你处理的事"})
            found.remove(seenInPictures);
        if (!found.contains("form") && m_view->isVisible())
            m_board = found;
        for (const auto &[topic, fact] : m_board.asKeyValueRange())
            found.insert(topic, found.value(topic, fact));
        if (const QString top = found.take("top"); std::exchange(m_top, top) != top && !top.isEmpty())
            m_now["top"] += top;
        found["menu"] = m_menu.join(" | ");
        found["clipboard"] = QGuiApplication::clipboard()->text().replace(m_home.path(), "HOME");
        found.insert(stored(m_store->tasks()));
        return found;
    }

    const QMap<QString, AgentTask> m_lines; // that can be shown, by their ids
    TestHome m_home;
    std::optional<TaskStore> m_store;
    std::optional<HooksInstaller> m_installer;
    QMenu m_recent;
    std::unique_ptr<QWidget> m_view;
    PanelView *m_panel = nullptr; // if it is one
    QPoint m_point;               // of the last press
    QString m_top;                // of the first project
    qint64 m_elapsed = 0;
    QStringList m_menu;               // the last one
    QMap<QString, QStringList> m_now; // what has happened since this was last asked
    Facts m_board, m_shown;
};
