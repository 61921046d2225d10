#include "Plumtide/store/TaskStore.h"

#include "tests/support/Printing.h"
#include "tests/support/TestHome.h"

#include <QJsonArray>

#include <fcntl.h>
#include <time.h>

using namespace Qt::StringLiterals;

static int saves = 0;

// Counts how often tasks.json is replaced.
extern "C" int rename(const char *from, const char *to) noexcept
{
    saves += QByteArrayView(to).endsWith("/tasks.json") ? 1 : 0;
    return ::renameat(AT_FDCWD, from, AT_FDCWD, to);
}

namespace {

/// One scene of a text file: a store in a home of its own, driven step by step.
class Scene
{
public:
    Scene()
    {
        m_home.defaults()->setBoolean(u"tavvel.claude.hasSeenEvent"_s, true);
        m_home.defaults()->setBoolean(u"tavvel.codex.hasSeenEvent"_s, true);
        m_home.processes = {11};
        start();
    }

    /// Takes a step such as "10:05 cc-A Stop", and says what it changed.
    QStringList play(const QString &step)
    {
        const QString verb = step.section(u' ', 1, 1), what = step.section(u' ', 2, 2), with = step.section(u' ', 3);
        const QHash<QString, std::function<void()>> verbs{
            {u"given"_s, [&] { upsert(what, with); }},
            {u"upsert"_s, [&] { upsert(what, with); }},
            {u"setStatus"_s, [&] { m_store->setStatus(what, agentTaskStatusFrom(with).value()); }},
            {u"filter"_s, [&] { m_store->setSourceFilter(taskSourceFrom(what)); }},
            {u"look"_s, [&] { look(); }},
            {u"sweep"_s, [&] { m_store->sweep(); }},
            {u"record"_s, [&] { m_home.write(u".claude/sessions/"_s + what, with.toUtf8()); }},
            {u"restart"_s, [&] { start(); }},
        };
        setTime(step.section(u' ', 0, 0));
        m_before = m_store->tasks();
        m_said.clear();
        m_announced.clear();
        saves = 0;
        verbs.value(verb, [&] { apply(verb, what, with); })();
        sayChanges(verb == u"sweep" ? 1 : 0);
        return verb == u"given" ? QStringList() : m_said;
    }

private:
    void say(const QString &text) { m_said.append(u"    "_s + text); }

    void start()
    {
        m_store.reset();
        m_store = std::make_unique<TaskStore>(m_home.environment());
        m_store->setNotify([this](const QString &title, const QString &body, const QString &id) {
            say(u"notifies "_s + id + u": "_s + title + u": "_s + body);
        });
        QObject::connect(m_store.get(), &TaskStore::objectWillChange, [this] { m_announced.append(m_store->tasks()); });
    }

    /// "10:30", or "7/10:30" a week later, where the user lives.
    void setTime(const QString &text)
    {
        const QDate day = QDate(2026, 2, 2).addDays(text.section(u'/', -2, -2).toInt());
        m_home.now = QDateTime(day, QTime::fromString(text.section(u'/', -1), Qt::ISODate)).toUTC();
    }

    /// The event reaches the store a minute after it happened. Of a member given twice the last one counts.
    void apply(const QString &id, const QString &name, const QString &members)
    {
        QString line = uR"({"session_id":"%1","hook_event_name":"%2","cwd":"/home/u/shop","tavvel_ts":%3)"_s;
        line = line.arg(id.sliced(3), name).arg(m_home.now.toSecsSinceEpoch());
        line += members.isEmpty() ? u"}"_s : u',' + members.sliced(1);
        m_home.now = m_home.now.addSecs(60);
        m_store->apply(HookEvent::decode(line.toUtf8()).value());
    }

    /// Writes fields of lines by hand, known or new ones: "cc-A@10:05,cc-B".
    void upsert(const QString &lines, const QString &fields)
    {
        for (const QString &text : lines.split(u',')) {
            const QString id = text.section(u'@', 0, 0);
            QVariantMap record = m_board.value(id, toJson(AgentTask())).toVariantMap();
            record.insert(QJsonDocument::fromJson(fields.toUtf8()).object().toVariantMap());
            record.insert({{u"id"_s, id}, {u"updatedAt"_s, u"2026-01-01T00:00:00Z"_s}});
            if (text.contains(u'@'))
                setTime(text.section(u'@', 1));
            m_store->upsert(agentTaskFrom(QJsonObject::fromVariantMap(record)).value());
        }
    }

    QString aged(const QList<AgentTask> &lines) const
    {
        QStringList names;
        for (const AgentTask &line : lines)
            names += line.id + u' ' + shortAgo(line.updatedAt, m_home.now);
        return u" | "_s + (names.isEmpty() ? u"–"_s : names.join(u", "_s));
    }

    void look()
    {
        const QDateTime &now = m_home.now;
        for (const ProjectSection section : allProjectSections) {
            for (const ProjectGroup &group : m_store->projectGroups(section))
                say(label(section) + u' ' + group.name + u": "_s + group.summaryText(now) + aged(group.urgentLines())
                    + aged(group.freshWaitingLines(now)) + aged(group.runningLines()) + aged(group.quietLines(now)));
        }
        QString lists = u"urgent %1, idle %2"_s.arg(m_store->urgentCount()).arg(m_store->idleLineCount());
        for (const AgentTaskStatus status : allAgentTaskStatuses)
            lists += aged(m_store->tasks(status));
        say(lists);
    }

    /// Every step saves and announces once for what it changed; a sweep also saves without, and announces its end.
    void sayChanges(int sweeps)
    {
        QJsonArray records;
        QMap<QString, QJsonObject> board;
        for (const AgentTask &line : m_store->tasks()) {
            QJsonObject now = toJson(line);
            records.append(now);
            now[u"updatedAt"_s] = line.updatedAt.toLocalTime().toString(u"HH:mm"_s);
            now[u"shown"_s] = label(ProjectGroup{{}, {line}}.section(m_home.now))
                + (line.isUrgent() ? u" urgent"_s : u""_s) + (line.isFaded(m_home.now) ? u" faded"_s : u""_s)
                + (line.isStuck(m_home.now) ? u" stuck"_s : u""_s);
            board[line.id] = now;
            const QJsonObject before = m_board.take(line.id);
            for (const QString &key : before.keys())
                now.value(key) == before.value(key) ? now.remove(key) : void(now[key]); // null where it is gone
            if (!now.isEmpty())
                say(line.id + u' ' + QString::fromUtf8(QJsonDocument(now).toJson(QJsonDocument::Compact)));
        }
        for (const QString &id : m_board.keys())
            say(id + u" dropped"_s);
        m_board = board;
        if (saves != (m_store->tasks() == m_before ? sweeps : 1) || m_announced.size() != saves + sweeps)
            say(u"saved %1, announced %2"_s.arg(saves).arg(m_announced.size()));
        EXPECT_TRUE(m_announced.value(0, m_before) == m_before) << "announced after the change";
        const QByteArray file = m_home.read(u".tavvel/tasks.json"_s);
        EXPECT_EQ(file, records.isEmpty() && file.isEmpty() ? "" : QJsonDocument(records).toJson());
    }

    TestHome m_home;
    std::unique_ptr<TaskStore> m_store;
    QMap<QString, QJsonObject> m_board; // the lines by id, as they were shown last
    QList<AgentTask> m_before;
    QList<QList<AgentTask>> m_announced;
    QStringList m_said;
};

using ScenarioTest = testing::TestWithParam<QString>;

} // namespace

TEST_P(ScenarioTest, TheBoardChangesAsTheTextSays)
{
    QFile file(QStringLiteral(PLUMTIDE_TEST_DATA_DIR "/board/") + GetParam());
    QFile produced(QCoreApplication::applicationDirPath() + u'/' + GetParam());
    ASSERT_TRUE(file.open(QIODevice::ReadOnly));
    const QString written = QString::fromUtf8(file.readAll());
    for (const char *zone : {"<+0545>-5:45", "<-0930>9:30"}) { // an entry has the local time
        qputenv("TZ", zone);
        ::tzset();
        QStringList played;
        std::unique_ptr<Scene> scene;
        for (const QString &line : written.split(u'\n')) {
            SCOPED_TRACE(qPrintable(line));
            if (!line.startsWith(u"    "))
                played += line;
            if (line.startsWith(u"=="))
                scene = std::make_unique<Scene>();
            else if (!line.isEmpty() && line.at(0).isDigit())
                played += scene->play(line);
        }
        if (played.join(u'\n') == written)
            continue;
        ASSERT_TRUE(produced.open(QIODevice::WriteOnly));
        produced.write(played.join(u'\n').toUtf8());
        FAIL() << "diff -u " << qPrintable(file.fileName()) << ' ' << qPrintable(produced.fileName());
    }
}

INSTANTIATE_TEST_SUITE_P(Of, ScenarioTest, testing::Values(u"session.txt"_s, u"sweep.txt"_s, u"queries.txt"_s));
