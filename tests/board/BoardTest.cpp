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

/// One board of board.txt: a store that is driven step by step.
class Scene : StoreInHome
{
public:
    Scene()
    {
        static int scenes = 0;
        qputenv("TZ", ++scenes % 2 == 0 ? "<+0545>-5:45" : "<-0930>9:30"); // what is shown is the user's time
        ::tzset();
        setTime("10:00");
        home.defaults()->setBoolean("tavvel.claude.hasSeenEvent", true);
        home.defaults()->setBoolean("tavvel.codex.hasSeenEvent", true);
        home.processes = {11};
        restart();
        EXPECT_TRUE(waitUntil([this] { return !store->isCatchingUp(); }));
        store->setNotify([this](const Board::Notice &notice) {
            const QString own = '-' + m_named, text = ": " + notice.title + ": " + notice.body;
            m_said += (notice.body.isEmpty() ? "withdraws " : "notifies ")
                + (notice.id.endsWith(own) ? notice.id.chopped(own.size()) : notice.id)
                + (notice.body.isEmpty() ? QString() : text);
        });
        QObject::connect(store.get(), &TaskStore::objectWillChange, [this] {
            EXPECT_TRUE(m_announced++ > 0 || store->tasks() == m_before) << "announced after the change";
        });
    }

    /// Takes a step such as "10:05 A Stop", and says what it changed.
    QString play(const QString &step)
    {
        static const QRegularExpression parts(R"(^(?:(\d\d:\S+|2026-\S+) )?(\S+) ?(.*))");
        const QRegularExpressionMatch match = parts.match(step);
        const QString verb = match.captured(2), what = match.captured(3);
        const QStringList names = what.section(": ", 0, 0).split(' ');
        const QString fields = members(what.section(": ", 1)), rest = what.section(' ', 1);
        const QHash<QString, std::function<void()>> verbs{
            {"given", [&] { give(names, fields); }},
            {"set", [&] { store->setStatus(named(names[0]), agentTaskStatusFrom(rest).value()); }},
            {"undo", [&] { store->undo(); }},
            {"filter", [&] { store->setSourceFilter(taskSourceFrom(what)); }},
            {"look", [&] { look(); }},
            {"sweep", [&] { store->sweep(); }},
            {"record", [&] { record(names, fields); }},
            {"remove", [&] { record(names, {}, false); }},
            {"missed", [&] { store->applyMissedEvents(); }},
            {"writes",
             [&] {
                 home.append(QString(".claude/projects/p/%1.jsonl").arg(names[0]),
                             QString("{\"message\":{\"content\":%1}}\n").arg(rest).toUtf8());
             }},
        };
        setTime(match.captured(1));
        m_before = store->tasks();
        m_said.clear();
        m_announced = saves = 0;
        verbs.value(verb, [&] { apply(named(verb), names[0], members(rest)); })();
        sayChanges(verb == "sweep" || verb == "filter" ? 1 : 0, verb == "set" ? 2 : 1);
        return verb == "given" ? QString() : m_said.join(verb == "look" ? "\n" : "; ");
    }

private:
    /// The id of the line that is named.
    QString named(const QString &name) { return m_named = name.contains('-') ? name : "cc-" + name; }

    /// "10:30", or on another day "2026-02-09T10:30", where the user lives; empty for that of the step before.
    void setTime(const QString &text)
    {
        if (!text.isEmpty())
            m_time = QDateTime::fromString(text.contains('T') ? text : "2026-02-02T" + text, Qt::ISODate);
        home.now = m_time.toUTC();
    }

    /// "status, key value, .key value" as JSON, each after a comma; those with a point are in the tool's input. What is
    /// no number, word or other piece of JSON is a text.
    static QString members(const QString &text)
    {
        static const QRegularExpression json("^(?:[-0-9\"\\[{].*|true|false|null)$");
        QString outer, input;
        for (const QString &member : text.split(", ", Qt::SkipEmptyParts)) {
            const QString key = member.contains(' ') ? member.section(' ', 0, 0) : "status";
            const QString value = member.contains(' ') ? member.section(' ', 1) : member;
            const QString written = json.match(value).hasMatch() ? value : '"' + value + '"';
            key.startsWith('.') ? input += ",\"" + key.mid(1) + "\":" + written
                                : outer += ",\"" + key + "\":" + written;
        }
        return input.isEmpty() ? outer : outer + ",\"tool_input\":{" + input.mid(1) + '}';
    }

    /// The event reaches the store a minute after it happened. Of a member given twice the last one counts.
    void apply(const QString &id, const QString &name, const QString &members)
    {
        const QString usual = R"({"session_id":"%1","hook_event_name":"%2","cwd":"/home/u/shop","tavvel_ts":%3)";
        const QString line = usual.arg(id.sliced(3), name).arg(home.now.toSecsSinceEpoch()) + members + '}';
        home.now = home.now.addSecs(60);
        store->apply(HookEvent::decode(line.toUtf8()).value_or(HookEvent()));
    }

    /// Files of Claude Code's are written, and removed again where they are not kept.
    void record(const QStringList &names, const QString &members, bool areKept = true)
    {
        const QString usual = R"({"sessionId":"%1","pid":11,"procStart":"1100","statusUpdatedAt":%2)";
        for (const QString &name : names) {
            const QString file = name.contains('.') ? name : name + ".json", session = name.section('.', 0, 0);
            const QString content = usual.arg(session).arg(home.now.toMSecsSinceEpoch()) + members + '}';
            named(session);
            home.write(".claude/sessions/" + file, content.toUtf8());
            if (!areKept)
                QFile::remove(home.path(".claude/sessions/" + file));
            m_sessions.read(QSet{file});
        }
    }

    /// What a new line is compared with.
    QJsonObject usual(const QString &id) const
    {
        AgentTask line;
        line.id = id;
        line.title = line.project = "shop";
        line.source = id.startsWith("cx-") ? TaskSource::codex : TaskSource::claude;
        line.updatedAt = home.now;
        return toJson(line);
    }

    /// Writes fields of lines by hand, known or new ones: "A@10:05", "B".
    void give(const QStringList &lines, const QString &fields)
    {
        for (const QString &line : lines) {
            const QString id = named(line.section('@', 0, 0));
            setTime(line.section('@', 1));
            QVariantMap record = m_board.value(id, usual(id)).toVariantMap();
            record.insert(QJsonDocument::fromJson(QString("{%1}").arg(fields.mid(1)).toUtf8()).object().toVariantMap());
            store->upsert(agentTaskFrom(QJsonObject::fromVariantMap(record)).value());
        }
    }

    QString list(const QList<AgentTask> &lines, bool withAges) const
    {
        QStringList names;
        for (const AgentTask &line : lines)
            names += withAges ? line.id + ' ' + shortAgo(line.updatedAt, home.now) : line.id;
        return " | " + (names.isEmpty() ? "–" : names.join(", "));
    }

    void look()
    {
        for (const auto &section : store->sections()) {
            for (const ProjectGroup *group : section) {
                QString text =
                    label(group->section(home.now)) + ' ' + group->name + ": " + group->summaryText(home.now);
                for (const auto rank : {LineRank::urgent, LineRank::freshWaiting, LineRank::running, LineRank::quiet}) {
                    QList<AgentTask> lines = group->lines;
                    lines.removeIf([&](const AgentTask &line) { return lineRank(line, home.now) != rank; });
                    text += list(lines, true);
                }
                m_said += text;
            }
        }
        QString lists = QString("urgent %1, idle %2").arg(store->urgentCount()).arg(store->idleLineCount());
        for (const AgentTaskStatus status : allAgentTaskStatuses) {
            lists += list(store->tasks(status), false);
            EXPECT_EQ(store->lineCount(status), store->tasks(status).size());
        }
        EXPECT_TRUE(store->firstWaiting() == store->tasks(AgentTaskStatus::waiting).first());
        m_said += lists;
    }

    /// What is printed of a member. A time in front, as an event has it, is left out where it is the step's.
    QStringList fact(const QJsonObject &record, const QString &key) const
    {
        const QString time = m_time.toString("HH:mm ");
        const QVariant value = record[key].toVariant();
        if (!record[key].isArray())
            return {value.isValid() ? value.toString() : "–"};
        QStringList fact = value.toStringList();
        fact.replaceInStrings(QRegularExpression(QString("^(?!%1)").arg(time)), "@");
        return fact.replaceInStrings(QRegularExpression('^' + time), QString());
    }

    /// Every step saves and announces once for what it changed, a new state twice; some announce something else, too.
    void sayChanges(int others, int once)
    {
        QJsonArray records;
        QMap<QString, QJsonObject> board;
        for (const AgentTask &line : store->tasks()) {
            const QJsonObject known = m_board.contains(line.id) ? m_board.take(line.id) : usual(line.id);
            const QJsonObject now = board[line.id] = toJson(line);
            records.append(now);
            QStringList changes;
            const QString shown = storedText(line.status) + ' ' + label(ProjectGroup{{}, {line}}.section(home.now))
                + (line.isUrgent() ? " urgent" : "") + (line.isStuck(home.now) ? " stuck" : "");
            if (shown != std::exchange(m_shown[line.id], shown))
                changes += shown;
            QVariantMap members = known.toVariantMap();
            members.insert(now.toVariantMap());
            for (const QString &key : members.keys()) {
                const QStringList before = fact(known, key), after = fact(now, key);
                if (after != before && key != "status" && key != "updatedAt")
                    changes += key + changeOf(before, after);
            }
            const QString at = line.updatedAt.toLocalTime().toString("HH:mm");
            if (now != known && (at != m_time.toString("HH:mm") || changes.isEmpty()))
                changes += "at " + at;
            if (!changes.isEmpty())
                m_said += (line.id == m_named ? QString() : line.id + ' ') + changes.join(", ").replace('\n', u'⏎');
        }
        for (const QString &id : m_board.keys())
            m_said += id + " dropped";
        m_board = board;
        if (saves != (store->tasks() == m_before ? 0 : once) || m_announced != saves + others)
            m_said += QString("saved %1, announced %2").arg(saves).arg(m_announced);
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

    SessionFollower m_sessions{home.path(".claude/sessions"),
                               [this](const auto &before, const auto &now) { store->takeRecord(before, now); }};
    QDateTime m_time; // of the step, where the user lives
    QString m_named;  // the id of the line that was named last
    QMap<QString, std::pair<ProjectGroup, QString>> m_groups;
    QMap<QString, QJsonObject> m_board; // the lines by id, as they were after the last step
    QMap<QString, QString> m_shown;     // by id, how they were shown then
    QList<AgentTask> m_before;
    int m_announced = 0;
    QStringList m_said;
};

} // namespace

TEST(Board, ChangesAsTheTextSays)
{
    QFile file(PLUMTIDE_TEST_DATA_DIR "/board/board.txt");
    QFile produced(QCoreApplication::applicationDirPath() + "/board.txt");
    ASSERT_TRUE(file.open(QIODevice::ReadOnly) && produced.open(QIODevice::WriteOnly));
    const QString written = QString::fromUtf8(file.readAll());
    const QRegularExpression rows("^(?!    )(.*)\n((?:    .*\n)*)",
                                  QRegularExpression::MultilineOption);              // with what is below
    const QRegularExpression fold("(.{1,136}(?=\n|\\z)|.{1,135}[,;|])(?: |\n|\\z)"); // behind a comma or the like
    QList<std::pair<QRegularExpression, QString>> phrases;                           // what is replaced, and by what
    QString played;
    std::unique_ptr<Scene> scene;
    for (const QRegularExpressionMatch &match : rows.globalMatch(written)) {
        const QString row = match.captured(1);
        SCOPED_TRACE(qPrintable(row));
        QString said;
        if (row.startsWith("==")) {
            scene = std::make_unique<Scene>();
        } else if (row.startsWith('"')) {
            said = match.captured(2).simplified();
            QString pattern = QRegularExpression::escape(said).replace("\\~", "\\1");
            if (const qsizetype first = pattern.indexOf("\\1"); first >= 0)
                pattern.replace(first, 2, "(.+?)");
            phrases.append({QRegularExpression(pattern), row.mid(1).chopped(1).replace('~', "\\1")});
        } else if (!row.isEmpty() && !row.startsWith('#')) {
            const QStringList steps = row.split("; ");
            for (const QString &step : steps) {
                const QString changes = scene->play(step);
                said += changes.isEmpty() || &step == &steps.last() ? changes : "first, " + changes + '\n';
            }
            for (const auto &[pattern, phrase] : phrases)
                said.replace(pattern, phrase);
        }
        played += row + '\n' + said.replace(fold, "    \\1\n");
    }
    produced.write(played.toUtf8());
    EXPECT_TRUE(played == written) << "diff -u " << qPrintable(file.fileName()) << ' '
                                   << qPrintable(produced.fileName());
}
