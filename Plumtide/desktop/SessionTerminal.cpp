#include "Plumtide/desktop/SessionTerminal.h"

#include "Plumtide/desktop/Terminals.h"
#include "Plumtide/desktop/XcbEvents.h"
#include "Plumtide/system/Log.h"

#include <QProcess>
#include <QTimer>

#include <algorithm>
#include <chrono>
#include <utility>

using namespace Qt::StringLiterals;
using namespace std::chrono_literals;

namespace {

constexpr std::chrono::milliseconds commandTimeout = 2s, windowTimeout = 1s;
const Failure noWindow{u"没找到这个会话的终端窗口。"_s};
constexpr int mostLinks = 8; // tmux sessions may show each other

// Codex keeps the file of a session open, whose name ends in the session's id. Other programs may read that file, too.
// Codex's own "app-server" runs the sessions of several windows, and any of them may have started it: the window is
// only known if there is just one.
Process codexOf(const QString &session)
{
    const QByteArray ending = '-' + session.toUtf8() + ".jsonl";
    QList<Process> windows;
    bool isServed = false;
    for (const Process &process : Process::all()) {
        const auto isMeant = [&ending](const QByteArray &file) { return file.endsWith(ending); };
        const QList<QByteArray> files = process.name.startsWith("codex") ? process.openFiles() : QList<QByteArray>();
        const bool hasFile = std::ranges::any_of(files, isMeant);
        if (hasFile && !process.arguments().contains("app-server"))
            return process;
        isServed = isServed || hasFile;
        if (process.terminal != 0 && !files.isEmpty())
            windows.append(process);
    }
    return isServed && windows.size() == 1 ? windows.first() : Process();
}

// Tries the steps at the agent's terminal, and at each further terminal that a step leads to.
class TerminalSearch final : public QObject
{
public:
    TerminalSearch(QObject *context, SessionTerminal::Done done) : QObject(context), m_done(std::move(done)) {}

    void follow(const StepResult &result)
    {
        if (const auto *const activated = std::get_if<Activated>(&result))
            return awaitActivation(*activated);
        if (const auto *const command = std::get_if<RunCommand>(&result))
            return run(*command);
        if (const auto *const next = std::get_if<ContinueAt>(&result)) {
            if (m_linkCount++ == mostLinks)
                return finish(noWindow);
            m_link = TerminalLink::of(next->process);
            m_stepCount = 0;
            qCDebug(desktopLog) << "terminal: process" << next->process << "belongs to" << m_link.owner().pid
                                << m_link.owner().name;
        }
        if (m_link.owners.isEmpty() || m_stepCount == terminalSteps.size())
            return finish(noWindow);
        follow(terminalSteps[m_stepCount++](m_link));
    }

private:
    void run(const RunCommand &command)
    {
        auto *const process = new QProcess(this);
        const auto ended = [this, process, command](bool isDone) {
            process->deleteLater();
            const QByteArray output = process->readAllStandardOutput();
            qCDebug(desktopLog) << "terminal:" << command.words << "done:" << isDone << output.left(200);
            follow(isDone && command.then ? command.then(output) : NoMatch());
        };
        connect(process, &QProcess::finished, this,
                [ended](int status, QProcess::ExitStatus how) { ended(how == QProcess::NormalExit && status == 0); });
        connect(process, &QProcess::errorOccurred, this, [ended](QProcess::ProcessError error) {
            if (error == QProcess::FailedToStart) // without `finished`
                ended(false);
        });
        QTimer::singleShot(commandTimeout, process, &QProcess::kill);
        process->setStandardInputFile(QProcess::nullDevice());
        process->start(command.words.first(), command.words.sliced(1));
    }

    void awaitActivation(const Activated &activated)
    {
        const auto check = [this, activated] {
            if (!activated.isActive || activated.isActive())
                finish({});
        };
        connect(new ActiveWindow(this), &ActiveWindow::changed, this, check);
        QTimer::singleShot(windowTimeout, this, [this] { finish(noWindow); });
        check();
    }

    void finish(const Outcome<void> &outcome)
    {
        deleteLater();
        if (const SessionTerminal::Done done = std::exchange(m_done, {}))
            done(outcome);
    }

    SessionTerminal::Done m_done; // null once it was called
    TerminalLink m_link;
    std::size_t m_stepCount = 0; // tried at this link
    int m_linkCount = 0;
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
    (new TerminalSearch(context, done))->follow(ContinueAt{agent.pid});
}
