#include "tests/board/StoreInHome.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QRegularExpression>

#include <fcntl.h>
#include <time.h>

static int saves = 0;

// Counts how often tasks.json is replaced.
extern "C" int rename(const char *from, const char *to) noexcept
{
    saves += QByteArrayView(to).endsWith("/tasks.json") ? 1 : 0;
    return ::renameat(AT_FDCWD, from, AT_FDCWD, to);
}

namespace {

/// One scene of board.txt: a store that is driven step by step.
class Scene : StoreInHome
{
public:
    Scene()
    {
        static int scenes = 0;
        qputenv("TZ", ++scenes % 2 == 0 ? "<+0545>-5:45" : "<-0930>9:30"); // what is shown is the user's time
        ::tzset();
        home.defaults()->setBoolean(u"tavvel.claude.hasSeenEvent"_s, true);
        home.defaults()->setBoolean(u"tavvel.codex.hasSeenEvent"_s, true);
        home.processes = {11};
        restart();
        EXPECT_TRUE(waitUntil([this] { return !store->isCatchingUp(); }));
        store->setNotify([this](const Board::Notice &notice) {
            say(notice.body.isEmpty() ? u"withdraws "_s + notice.id()
                                      : u"notifies "_s + notice.id() + u": "_s + notice.title + u": "_s + notice.body);
        });
        QObject::connect(store.get(), &TaskStore::objectWillChange, [this] {
            EXPECT_TRUE(m_announced++ > 0 || store->tasks() == m_before) << "announced after the change";
        });
    }

    /// Takes a step such as "10:05 cc-A Stop", and says what it changed, in a line.
    QString play(const QString &step)
    {
        const QString verb = step.section(u' ', 1, 1), what = step.section(u' ', 2, 2), with = step.section(u' ', 3);
        const QHash<QString, std::function<void()>> verbs{
            {u"given"_s, [&] { upsert(what, with); }},
            {u"setStatus"_s, [&] { store->setStatus(what, agentTaskStatusFrom(with).value()); }},
            {u"undo"_s, [&] { store->undo(); }},
            {u"filter"_s, [&] { store->setSourceFilter(taskSourceFrom(what)); }},
            {u"look"_s, [&] { look(); }},
            {u"sweep"_s, [&] { store->sweep(); }},
            {u"record"_s, [&] { record(what, with); }},
            {u"unrecord"_s, [&] { record(what, {}); }},
            {u"moment"_s, [&] { store->applyMissedEvents(); }},
            {u"writes"_s, [&] { home.append(u".claude/projects/p/"_s + what, with.toUtf8() + '\n'); }},
        };
        setTime(step.section(u' ', 0, 0));
        m_before = store->tasks();
        m_said.clear();
        m_announced = saves = 0;
        verbs.value(verb, [&] { apply(verb, what, with); })();
        sayChanges(verb == u"sweep" ? 1 : 0, verb == u"setStatus" ? 2 : 1);
        return verb == u"given" || m_said.isEmpty() ? QString() : u"    "_s + m_said.join(u"; "_s);
    }

private:
    void say(const QString &text) { m_said.append(text); }

    /// "10:30", or on a later day "2026-02-09T10:30", where the user lives.
    void setTime(const QString &text)
    {
        home.now = QDateTime::fromString(text.contains(u'T') ? text : u"2026-02-02T"_s + text, Qt::ISODate).toUTC();
    }

    /// The event reaches the store a minute after it happened. Of a member given twice the last one counts.
    void apply(const QString &id, const QString &name, const QString &members)
    {
        QString line = uR"({"session_id":"%1","hook_event_name":"%2","cwd":"/home/u/shop","tavvel_ts":%3)"_s;
        line = line.arg(id.sliced(3), name).arg(home.now.toSecsSinceEpoch());
        line += members.isEmpty() ? u"}"_s : u',' + members.sliced(1);
        home.now = home.now.addSecs(60);
        store->apply(HookEvent::decode(line.toUtf8()).value_or(HookEvent()));
    }

    /// A file of Claude Code's is written, or removed where it has no members.
    void record(const QString &names, const QString &members)
    {
        const QString usual = uR"({"sessionId":"%1","pid":11,"procStart":"1100","statusUpdatedAt":%2)"_s;
        for (const QString &name : names.split(u',')) {
            const QString file = u".claude/sessions/"_s + name;
            const QString begin = usual.arg(name.section(u'.', 0, 0)).arg(home.now.toMSecsSinceEpoch());
            home.write(file, (begin + (members == u"{}" ? u"}"_s : u',' + members.mid(1))).toUtf8());
            if (members.isEmpty())
                QFile::remove(home.path(file));
            m_sessions.read(QSet{name});
        }
    }

    /// Writes fields of lines by hand, known or new ones: "cc-A@10:05,cc-B".
    void upsert(const QString &lines, const QString &fields)
    {
        for (const QString &line : lines.split(u',')) {
            const QString id = line.section(u'@', 0, 0), at = line.section(u'@', 1);
            QVariantMap record = m_board.value(id, toJson(AgentTask())).toVariantMap();
            record.insert({{u"id"_s, id}, {u"updatedAt"_s, u"2026-01-01T00:00:00Z"_s}});
            record.insert(QJsonDocument::fromJson(fields.toUtf8()).object().toVariantMap());
            if (!at.isEmpty())
                setTime(at);
            store->upsert(agentTaskFrom(QJsonObject::fromVariantMap(record)).value());
        }
    }

    QString aged(const QList<AgentTask> &lines) const
    {
        QStringList names;
        for (const AgentTask &line : lines)
            names += line.id + u' ' + shortAgo(line.updatedAt, home.now);
        return u" | "_s + (names.isEmpty() ? u"–"_s : names.join(u", "_s));
    }

    void look()
    {
        for (const auto &section : store->sections()) {
            for (const ProjectGroup *group : section) {
                QString text =
                    label(group->section(home.now)) + u' ' + group->name + u": "_s + group->summaryText(home.now);
                for (const auto rank : {LineRank::urgent, LineRank::freshWaiting, LineRank::running, LineRank::quiet}) {
                    QList<AgentTask> lines = group->lines;
                    lines.removeIf([&](const AgentTask &line) { return lineRank(line, home.now) != rank; });
                    text += aged(lines);
                }
                say(text);
            }
        }
        QString lists = u"urgent %1, idle %2"_s.arg(store->urgentCount()).arg(store->idleLineCount());
        for (const AgentTaskStatus status : allAgentTaskStatuses) {
            lists += aged(store->tasks(status));
            EXPECT_EQ(store->lineCount(status), store->tasks(status).size());
        }
        EXPECT_TRUE(store->firstWaiting() == store->tasks(AgentTaskStatus::waiting).first());
        say(lists);
    }

    /// Every step saves and announces once for what it changed, a new state twice; a sweep also announces its end.
    void sayChanges(int sweeps, int once)
    {
        QJsonArray records;
        QMap<QString, QJsonObject> board;
        for (const AgentTask &line : store->tasks()) {
            QJsonObject now = toJson(line);
            records.append(now);
            now[u"updatedAt"_s] = line.updatedAt.toLocalTime().toString(u"HH:mm"_s);
            now[u"shown"_s] = label(ProjectGroup{{}, {line}}.section(home.now))
                + (line.isUrgent() ? u" urgent"_s : u""_s) + (line.isStuck(home.now) ? u" stuck"_s : u""_s);
            board[line.id] = now;
            QStringList changes;
            AgentTask unknown;
            unknown.id = line.id;
            const QJsonObject before = m_board.contains(line.id) ? m_board.take(line.id) : toJson(unknown);
            for (const QString &key : before.keys())
                now[key]; // null where it is gone
            for (const QString &key : now.keys()) {
                if (now[key].isArray() && now[key] != before.value(key))
                    changes += key
                        + changeOf(before.value(key).toVariant().toStringList(), now[key].toVariant().toStringList());
                else if (now[key] != before.value(key))
                    changes += key + u' ' + (now[key].isNull() ? u"–"_s : now[key].toVariant().toString());
            }
            if (!changes.isEmpty())
                say(line.id + u' ' + changes.join(u", "_s).replace(u'\n', u'⏎'));
        }
        for (const QString &id : m_board.keys())
            say(id + u" dropped"_s);
        m_board = board;
        if (saves != (store->tasks() == m_before ? 0 : once) || m_announced != saves + sweeps)
            say(u"saved %1, announced %2"_s.arg(saves).arg(m_announced));
        const QByteArray file = home.read(tasksFile);
        EXPECT_EQ(file, records.isEmpty() && file.isEmpty() ? "" : QJsonDocument(records).toJson());
        // A group's revision changes with what it shows, and with nothing else.
        const auto before = std::exchange(m_groups, {});
        for (const auto &section : store->sections()) {
            for (const ProjectGroup *group : section) {
                const auto now = m_groups[group->name] = {*group, group->summaryText(home.now)};
                EXPECT_EQ(group->revision == before[group->name].first.revision, now == before[group->name]);
                for (const AgentTask &line : group->lines)
                    EXPECT_TRUE(store->tasks().contains(line));
            }
        }
    }

    SessionFollower m_sessions{home.path(u".claude/sessions"_s),
                               [this](const auto &before, const auto &now) { store->updateRecord(before, now); }};
    QMap<QString, std::pair<ProjectGroup, QString>> m_groups;
    QMap<QString, QJsonObject> m_board; // the lines by id, as they were shown last
    QList<AgentTask> m_before;
    int m_announced = 0;
    QStringList m_said;
};

} // namespace

TEST(Board, ChangesAsTheTextSays)
{
    QFile file(u"" PLUMTIDE_TEST_DATA_DIR "/board/board.txt"_s);
    QFile produced(QCoreApplication::applicationDirPath() + u"/board.txt"_s);
    ASSERT_TRUE(file.open(QIODevice::ReadOnly) && produced.open(QIODevice::WriteOnly));
    const QString written = QString::fromUtf8(file.readAll());
    QStringList played;
    std::unique_ptr<Scene> scene;
    for (const QString &line : written.split(u'\n').filter(QRegularExpression(u"^(?!    )"_s))) {
        SCOPED_TRACE(qPrintable(line));
        played += line;
        if (line.startsWith(u"=="))
            scene = std::make_unique<Scene>();
        else if (!line.isEmpty() && line.at(0).isDigit())
            played += scene->play(line).split(u'\n', Qt::SkipEmptyParts); // nothing, or a line
    }
    produced.write(played.join(u'\n').toUtf8());
    EXPECT_TRUE(played.join(u'\n') == written)
        << "diff -u " << qPrintable(file.fileName()) << ' ' << qPrintable(produced.fileName());
}
