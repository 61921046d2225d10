#include "Plumtide/desktop/SessionTerminal.h"

#include "Plumtide/desktop/Terminals.h"
#include "Plumtide/desktop/XcbEvents.h"
#include "Plumtide/system/Log.h"

#include <QProcess>
#include <QTimer>
#include <QVariant>

#include <algorithm>
#include <chrono>
#include <optional>
#include <utility>

using namespace Qt::StringLiterals;
using namespace std::chrono_literals;

namespace {

constexpr std::chrono::milliseconds commandTimeout = 2s, windowTimeout = 1s, focusTimeout = 100ms;
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

Process agentOf(const SessionTerminal::Session &session)
{
    return session.isCodex ? codexOf(session.id) : Process::of(session.recorded);
}

// Tries the steps at the agent's terminal, and at each further terminal that a step leads to. What was activated has
// the focus then.
class TerminalSearch final : public QObject
{
public:
    TerminalSearch(TerminalRequest request, QObject *context, SessionTerminal::FocusFound done)
        : QObject(context), m_request(request), m_done(std::move(done))
    {
        if (request == TerminalRequest::Observe)
            QTimer::singleShot(focusTimeout, Qt::PreciseTimer, this, [this] { finish({}); });
    }

    void follow(const StepResult &result)
    {
        if (const auto *const activated = std::get_if<Activated>(&result))
            return awaitActivation(*activated);
        if (const auto *const command = std::get_if<RunCommand>(&result))
            return run(*command);
        if (const auto *const observed = std::get_if<Observed>(&result))
            return finish(observed->hasFocus);
        if (const auto *const pane = std::get_if<PaneShown>(&result)) {
            if (!pane->isShown)
                return finish(false);
            m_link.isShown = true;
        }
        if (const auto *const next = std::get_if<ContinueAt>(&result)) {
            if (m_linkCount++ == mostLinks)
                return finish({});
            m_link = TerminalLink::of(next->process);
            m_stepCount = 0;
            qCDebug(desktopLog) << "terminal: process" << next->process << "belongs to" << m_link.owner().pid
                                << m_link.owner().name;
        }
        if (m_link.owners.isEmpty() || m_stepCount == terminalSteps.size())
            return finish({});
        follow(terminalSteps[m_stepCount++](m_link, m_request));
    }

private:
    void run(const RunCommand &command)
    {
        auto *const process = m_command = new QProcess(this);
        const auto ended = [this, process, command](bool isDone) {
            process->deleteLater();
            m_command = nullptr;
            if (!m_done)
                return deleteLater();
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
                finish(true);
        };
        connect(new ActiveWindow(this), &ActiveWindow::changed, this, check);
        QTimer::singleShot(windowTimeout, this, [this] { finish({}); });
        check();
    }

    void finish(std::optional<bool> hasFocus)
    {
        if (m_command)
            m_command->kill(); // and wait for its end without blocking
        else
            deleteLater();
        if (const SessionTerminal::FocusFound done = std::exchange(m_done, {}))
            done(hasFocus);
    }

    const TerminalRequest m_request;
    SessionTerminal::FocusFound m_done; // null once it was called
    QProcess *m_command = nullptr;      // that runs now
    TerminalLink m_link;
    std::size_t m_stepCount = 0; // tried at this link
    int m_linkCount = 0;
};

} // namespace

void SessionTerminal::bringToFront(const Session &session, QObject *context, const Done &done)
{
    if (session.id.isEmpty())
        return done(Failure{u"这一条不是会话，没有终端。"_s});
    const Process agent = agentOf(session);
    if (agent.pid == 0)
        return done(Failure{u"没找到这个会话的进程。"_s});
    const auto finished = [done](std::optional<bool> hasFocus) { done(hasFocus ? Outcome<void>() : noWindow); };
    (new TerminalSearch(TerminalRequest::Activate, context, finished))->follow(ContinueAt{agent.pid});
}

void SessionTerminal::findFocus(const Session &session, QObject *context, const FocusFound &done)
{
    const auto finished = [id = session.id, done](std::optional<bool> hasFocus) {
        qCDebug(desktopLog) << id << "has the focus:" << (hasFocus ? QVariant(*hasFocus).toString() : u"unknown"_s);
        done(hasFocus);
    };
    (new TerminalSearch(TerminalRequest::Observe, context, finished))->follow(ContinueAt{agentOf(session).pid});
}
