#include "Plumtide/intake/CodexThreads.h"

#include "tests/board/StoreInHome.h"

#include <QProcess>

#include <sys/stat.h>

using namespace std::chrono_literals;

namespace {

/// A Codex, its files, and a board that follows them. The test lets its time pass.
class Codex : public StoreInHome
{
public:
    explicit Codex(const QString &program = "codex")
    {
        Environment &environment = home.environment();
        environment.processExists = [](pid_t pid, const QString &) { return Process::of(pid).pid != 0; };
        home.now = QDateTime::currentDateTimeUtc(); // after the start of the process
        store = std::make_unique<TaskStore>(environment);
        act("starts " + program);
    }
    ~Codex() { act("is killed"); }

    /// A recorded step.
    void act(const QString &step)
    {
        const QString what = step.section(' ', 1);
        const QString lock = "locks " + home.path(".codex/thread-writer-locks/" + what + ".lock");
        if (step.startsWith("starts ")) {
            QFile::link("/usr/bin/python3", home.path(what));
            m_process.start(home.path(what), {PLUMTIDE_TEST_DATA_DIR "/driver/codex.py"});
        } else if (step == "is killed") {
            m_process.kill();
            m_process.waitForFinished();
        } else if (step.startsWith("writes ")) {
            const QString time = home.now.toString(Qt::ISODateWithMs);
            home.append(rollout(what.left(36)), what.mid(37).replace('@', time).toUtf8() + '\n');
        } else {
            m_process.write((step.startsWith("locks ") ? lock : step).toUtf8() + '\n');
            EXPECT_TRUE(m_process.waitForReadyRead());
            m_process.readAll();
        }
    }
    QString rollout(const QString &thread) const
    {
        const qint64 born = (thread.left(8) + thread.mid(9, 4)).toLongLong(nullptr, 16);
        const QString day = QDateTime::fromMSecsSinceEpoch(born).toString("yyyy/MM/dd");
        return ".codex/sessions/" + day + "/rollout-2026-" + thread + ".jsonl";
    }
    void pass(std::chrono::milliseconds time)
    {
        home.now = home.now.addDuration(time);
        m_watch.wait(0ms);
        m_threads.read(m_watch);
        store->applyMissedEvents();
    }
    /// What the screen of the Codex would have to show.
    QString board() const
    {
        QString screen = "idle";
        for (const AgentTask &line : store->tasks())
            screen = line.isUrgent() || screen == "ask"   ? "ask"
                : line.status == AgentTaskStatus::running ? "busy"
                                                          : screen;
        return screen;
    }

private:
    QProcess m_process;
    FileWatch m_watch;
    CodexThreads m_threads{home.path(".codex"),
                           {},
                           [this](const auto &before, const auto &now) { store->updateRecord(before, now); },
                           [this] { return home.now; }};
};

const QString recordings = PLUMTIDE_TEST_DATA_DIR "/recordings/codex-timelines/";

/// Made with Codex 0.169: seconds and a step, or what was on the screen, which was seen at most 0.2 seconds later.
QStringList recorded(const QString &name)
{
    QFile file(recordings + name);
    EXPECT_TRUE(file.open(QIODevice::ReadOnly));
    return QString::fromUtf8(file.readAll()).split('\n', Qt::SkipEmptyParts);
}

} // namespace

TEST(Codex, IsOnTheBoardAsOnItsScreenAtMostThreeSecondsLater)
{
    for (const QString &name : QDir(recordings).entryList(QDir::Files)) {
        QStringList steps = recorded(name);
        Codex codex;
        QList<std::pair<int, QString>> screens; // of the last three seconds, by milliseconds
        for (int at = 0; !steps.isEmpty() || screens.size() > 1; at += 100) {
            for (; !steps.isEmpty() && steps[0].section(' ', 0, 0).toDouble() * 1000 <= at; steps.removeFirst()) {
                if (steps[0].section(' ', 1, 1) == "screen")
                    screens.append({at, steps[0].section(' ', 2)});
                else
                    codex.act(steps[0].section(' ', 1));
            }
            while (screens.size() > 1 && screens[1].first < at - 3000)
                screens.removeFirst();
            codex.pass(100ms);
            const auto isRight = [&](const auto &screen) { return screen.second == codex.board(); };
            EXPECT_TRUE(std::ranges::any_of(screens, isRight)) << qPrintable(name) << ' ' << at;
        }
    }
}

TEST(Codex, WhatIsHostileInARolloutIsNotBelievedNorReadForLong)
{
    const QStringList steps = recorded("resume-kill.txt").filter(" writes ").first(8); // until it works
    const QString thread = steps[0].section(' ', 2, 2), id = "\"id\":\"", user = "trigger\":\"user";
    struct Row
    {
        QString board, text, replacement, program = "codex";
        std::function<void(const char *rollout, const char *other)> make = [](auto...) {};
    };
    const auto hole = [](const char *rollout, const char *) { ::truncate(rollout, 5'000'000'000); };
    const auto emptied = [&](const char *rollout, const char *) { ::truncate(rollout, 0), hole(rollout, ""); };
    const auto pipe = [](const char *rollout, const char *) { ::unlink(rollout), ::mkfifo(rollout, 0600); };
    const auto link = [](const char *rollout, const char *to) { ::rename(rollout, to), ::symlink(to, rollout); };
    const auto rows = std::to_array<Row>({
        {"busy", "", ""},
        {"busy", "@", "2099-01-01T00:00:00Z"},
        {"busy", "", "", "codex", hole},
        {"idle", "", "", "codex", emptied},
        {"idle", "", "", "codex", pipe},
        {"idle", "", "", "codex", link},
        {"idle", "", "", "flock"},
        {"idle", id, id + '0'},
        {"idle", "session_meta", "session_news"},
        {"idle", "\"@\"", "7"},
        {"idle", "\"payload\":{", "\"payload\":7,\"news\":{"},
        {"idle", user, "trigger\":\"exec"},
        {"idle", "{", QString(100'000, ' ') + '{'},
    });
    for (const Row &row : rows) {
        Codex codex(row.program);
        for (const QString &step : steps)
            codex.act(step.section(' ', 1, 2) + ' ' + step.section(' ', 3).replace(row.text, row.replacement));
        const QString rollout = codex.home.path(codex.rollout(thread));
        for (const char *const when : {"idle", "busy"}) { // at once, or once it is followed
            if (row.board == when)
                row.make(qPrintable(rollout), qPrintable(rollout + "-other"));
            codex.act("locks " + thread);
            QElapsedTimer timer;
            timer.start();
            codex.pass(100ms);
            codex.pass(3s);
            EXPECT_LT(timer.elapsed(), 1000);
        }
        EXPECT_EQ(codex.board(), row.board) << &row - rows.data();
        EXPECT_TRUE(codex.store->tasks().isEmpty() || codex.store->tasks().first().updatedAt <= codex.home.now);
    }
}
