// What does it cost to follow a Codex?

#include "Plumtide/intake/CodexThreads.h"
#include "bench/support/Report.h"
#include "bench/support/Workspace.h"

#include <QCoreApplication>
#include <QDir>

#include <sys/file.h>
#include <sys/prctl.h>

using namespace Qt::StringLiterals;
using namespace std::chrono_literals;

namespace {

QByteArray lineOf(const char *kind, const QByteArray &payload)
{
    const QByteArray now = QDateTime::currentDateTimeUtc().toString(Qt::ISODateWithMs).toLatin1();
    return "{\"timestamp\":\"" + now + R"(","ordinal":1,"type":")" + kind + "\",\"payload\":{" + payload + "}}\n";
}

const QByteArray call =
    lineOf("response_item", R"("type":"function_call","name":"wait","arguments":"{}","call_id":"c")")
    + lineOf("token_usage_record", R"("thread_id":"x","usage":1)")
    + lineOf("response_item",
             R"("type":"function_call_output","call_id":"c","output":")" + QByteArray(2000, 'x') + '"');

/// The files of a Codex with an open thread that works.
class Codex
{
public:
    Codex(const QString &folder, qint64 rolloutBytes) : m_folder(folder)
    {
        const QDateTime now = QDateTime::currentDateTimeUtc();
        const QString born = QString::number(now.toMSecsSinceEpoch(), 16).rightJustified(12, u'0');
        const QString id = born.first(8) + u'-' + born.last(4) + u"-7000-8000-000000000000"_s;
        const QString day = folder + u"/sessions"_s + now.toLocalTime().toString(u"/yyyy/MM/dd"_s);
        const QString locks = folder + u"/thread-writer-locks/"_s;
        QDir().mkpath(day);
        QDir().mkpath(locks);
        m_lock.emplace(locks + id + u".lock"_s, O_CREAT | O_RDWR);
        m_rollout.setFileName(day + u"/rollout-now-"_s + id + u".jsonl"_s);
        if (::flock(m_lock->get(), LOCK_EX) != 0 || !m_rollout.open(QIODevice::Append | QIODevice::Unbuffered))
            Report::giveUp("the files of a Codex could not be made.");
        append(lineOf("session_meta", "\"id\":\"" + id.toUtf8() + R"(","source":"cli")")
               + lineOf("event_msg", R"("type":"task_started")"));
        while (m_rollout.size() < rolloutBytes)
            append(QByteArray(call).append(call).append(call).append(call));
    }

    void append(const QByteArray &lines) { m_rollout.write(lines); }

    [[nodiscard]] Seconds firstLook()
    {
        SessionState state = SessionState::unknown;
        const auto onChange = [&state](const SessionRecord &, const SessionRecord &now) { state = now.state; };
        m_watch = std::make_unique<FileWatch>();
        m_threads = std::make_unique<CodexThreads>(m_folder, QStringList(), onChange);
        const Seconds time = Report::timeOf([this] { read(); });
        if (state != SessionState::works)
            Report::giveUp("the thread was not followed.");
        return time;
    }

    void read()
    {
        m_watch->wait(0ms);
        m_threads->read(*m_watch);
    }

private:
    const QString m_folder;
    std::optional<Descriptor> m_lock;
    QFile m_rollout;
    std::unique_ptr<FileWatch> m_watch;
    std::unique_ptr<CodexThreads> m_threads;
};

} // namespace

int main(int argc, char **argv)
{
    const bool isQuick = Report::isQuick(argc, argv);
    QCoreApplication application(argc, argv);
    ::prctl(PR_SET_NAME, "codex"); // which holds the locks
    const Workspace workspace;
    Codex small(workspace.path(u"small"_s), 2'000'000), large(workspace.path(u"large"_s), 200'000'000);
    for (int i = 0; i < 3000; ++i)
        workspace.write(workspace.path(u"large/sessions/2025/%1/%2/rollout-%3.jsonl"_s.arg(i % 12).arg(i % 28).arg(i)),
                        call);
    QList<Seconds> ours, floor, lines;
    for (int round = 0; round < (isQuick ? 50 : 300); ++round) {
        ours.append(large.firstLook());
        floor.append(small.firstLook());
    }
    Report::printTimes("first look at a Codex with a rollout of 200 MB, and 3,000 old ones", ours, "with one of 2 MB",
                       floor, Report::Limit::AtMost, 1.5);

    for (int round = 0; round < (isQuick ? 500 : 3000); ++round) {
        large.append(call);
        lines.append(Report::processorTimeOf([&] { large.read(); }));
    }
    const double share = Report::median(lines).count() * 10;
    Report::print({.what = "following a Codex that makes ten calls a second, three lines each",
                   .ours = QByteArray::number(share * 100, 'f', 2) + " % of a core",
                   .floor = "–",
                   .ratio = {},
                   .reach = "2 % or less",
                   .isWithinReach = share <= 0.02});
    return Report::exitStatus();
}
