#include "Plumtide/desktop/SessionTerminal.h"

#include "Plumtide/desktop/ActiveWindow.h"
#include "Plumtide/desktop/Log.h"
#include "Plumtide/desktop/Terminals.h"

#include <QProcess>
#include <QTimer>

#include <algorithm>
#include <chrono>
#include <utility>

using namespace Qt::StringLiterals;
using namespace std::chrono_literals;

namespace {

constexpr std::chrono::milliseconds patience = 2s; // with a command
constexpr std::chrono::milliseconds windowPatience = 1s;
const Failure noWindow{u"没找到这个会话的终端窗口。"_s};
constexpr int mostStations = 8; // a tmux may show itself

// Codex has the file of a session open whose name ends in the session's id. Others read such files, too; and a server
// that several of its windows share may have it open, which was started by any of them.
Process codexOf(const QString &session)
{
    const QByteArray ending = '-' + session.toUtf8() + ".jsonl";
    for (const Process &process : Process::all()) {
        const auto isMeant = [&ending](const QByteArray &file) { return file.endsWith(ending); };
        const QList<QByteArray> files = process.name.startsWith("codex") ? process.openFiles() : QList<QByteArray>();
        if (std::ranges::any_of(files, isMeant) && !process.arguments().contains("app-server"))
            return process;
    }
    return {};
}

// Goes from station to station, and at each down the table.
class Way final : public QObject
{
public:
    Way(QObject *context, SessionTerminal::Done done) : QObject(context), m_done(std::move(done)) {}

    void follow(const NextStep &next)
    {
        if (const Reached *const reached = std::get_if<Reached>(&next)) {
            await(*reached);
        } else if (const pid_t *const process = std::get_if<pid_t>(&next)) {
            if (m_stations++ == mostStations)
                return finish(noWindow);
            m_station = Station::of(*process);
            m_asked = 0;
            qCDebug(desktopLog) << "terminal: process" << *process << "belongs to" << m_station.owner().pid
                                << m_station.owner().name;
            ask();
        } else if (const Command *const command = std::get_if<Command>(&next)) {
            run(*command);
        } else {
            ask();
        }
    }

private:
    void ask()
    {
        if (m_station.owners.isEmpty() || m_asked == terminals().size())
            return finish(noWindow);
        follow(terminals()[m_asked++].step(m_station));
    }

    void run(const Command &command)
    {
        auto *const process = new QProcess(this);
        const auto ended = [this, process, command](bool isDone) {
            process->deleteLater();
            const QByteArray printed = process->readAllStandardOutput();
            qCDebug(desktopLog) << "terminal:" << command.words << "done:" << isDone << printed.left(200);
            follow(isDone && command.then ? command.then(printed) : NotHere());
        };
        connect(process, &QProcess::finished, this,
                [ended](int status, QProcess::ExitStatus how) { ended(how == QProcess::NormalExit && status == 0); });
        connect(process, &QProcess::errorOccurred, this, [ended](QProcess::ProcessError error) {
            if (error == QProcess::FailedToStart) // after which it does not finish
                ended(false);
        });
        QTimer::singleShot(patience, process, &QProcess::kill);
        process->setStandardInputFile(QProcess::nullDevice());
        process->start(command.words.first(), command.words.sliced(1));
    }

    void await(const Reached &reached)
    {
        const auto look = [this, reached] {
            if (!reached.isThere || reached.isThere())
                finish({});
        };
        connect(new ActiveWindow(this), &ActiveWindow::changed, this, look);
        QTimer::singleShot(windowPatience, this, [this] { finish(noWindow); });
        look();
    }

    void finish(const Outcome<void> &outcome)
    {
        deleteLater();
        if (const SessionTerminal::Done done = std::exchange(m_done, {}))
            done(outcome);
    }

    SessionTerminal::Done m_done; // until it is finished
    Station m_station;
    std::size_t m_asked = 0;
    int m_stations = 0;
};

} // namespace

void SessionTerminal::bringToFront(const QString &session, bool isCodex, pid_t recorded, QObject *context,
                                   const Done &done)
{
    if (session.isEmpty())
        return done(Failure{u"这一条不是会话，没有终端。"_s});
    const Process agent = isCodex ? codexOf(session) : Process::of(recorded);
    if (agent.pid == 0)
        return done(Failure{u"没找到这个会话的进程。"_s});
    (new Way(context, done))->follow(agent.pid);
}
