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
        setTime(u"10:00"_s);
        home.defaults()->setBoolean(u"tavvel.claude.hasSeenEvent"_s, true);
        home.defaults()->setBoolean(u"tavvel.codex.hasSeenEvent"_s, true);
        home.processes = {11};
        restart();
        EXPECT_TRUE(waitUntil([this] { return !store->isCatchingUp(); }));
        store->setNotify([this](const Board::Notice &notice) {
            const QString own = u'-' + m_named, text = u": "_s + notice.title + u": "_s + notice.body;
            m_said += (notice.body.isEmpty() ? u"withdraws "_s : u"notifies "_s)
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
        static const QRegularExpression parts(uR"(^(?:(\d\d:\S+|2026-\S+) )?(\S+) ?(.*))"_s);
        const QRegularExpressionMatch match = parts.match(step);
        const QString verb = match.captured(2), what = match.captured(3);
        const QStringList names = what.section(u": "_s, 0, 0).split(u' ');
        const QString fields = members(what.section(u": "_s, 1)), rest = what.section(u' ', 1);
        const QHash<QString, std::function<void()>> verbs{
            {u"given"_s, [&] { give(names, fields); }},
            {u"set"_s, [&] { store->setStatus(named(names[0]), agentTaskStatusFrom(rest).value()); }},
            {u"undo"_s, [&] { store->undo(); }},
            {u"filter"_s, [&] { store->setSourceFilter(taskSourceFrom(what)); }},
            {u"look"_s, [&] { look(); }},
            {u"sweep"_s, [&] { store->sweep(); }},
            {u"record"_s, [&] { record(names, fields); }},
            {u"remove"_s, [&] { record(names, {}, false); }},
            {u"missed"_s, [&] { store->applyMissedEvents(); }},
            {u"writes"_s,
             [&] {
                 home.append(u".claude/projects/p/%1.jsonl"_s.arg(names[0]),
                             u"{\"message\":{\"content\":%1}}\n"_s.arg(rest).toUtf8());
             }},
        };
        setTime(match.captured(1));
        m_before = store->tasks();
        m_said.clear();
        m_announced = saves = 0;
        verbs.value(verb, [&] { apply(named(verb), names[0], members(rest)); })();
        sayChanges(verb == u"sweep" || verb == u"filter" ? 1 : 0, verb == u"set" ? 2 : 1);
        return verb == u"given" ? QString() : m_said.join(verb == u"look" ? u"\n"_s : u"; "_s);
    }

private:
    /// The id of the line that is named.
    QString named(const QString &name) { return m_named = name.contains(u'-') ? name : u"cc-"_s + name; }

    /// "10:30", or on another day "2026-02-09T10:30", where the user lives; empty for that of the step before.
    void setTime(const QString &text)
    {
        if (!text.isEmpty())
            m_time = QDateTime::fromString(text.contains(u'T') ? text : u"2026-02-02T"_s + text, Qt::ISODate);
        home.now = m_time.toUTC();
    }

    /// "status, key value, .key value" as JSON, each after a comma; those with a point are in the tool's input. What is
    /// no number, word or other piece of JSON is a text.
    static QString members(const QString &text)
    {
        static const QRegularExpression json(u"^(?:[-0-9\"\\[{].*|true|false|null)$"_s);
        QString outer, input;
        for (const QString &member : text.split(u", "_s, Qt::SkipEmptyParts)) {
            const QString key = member.contains(u' ') ? member.section(u' ', 0, 0) : u"status"_s;
            const QString value = member.contains(u' ') ? member.section(u' ', 1) : member;
            const QString written = json.match(value).hasMatch() ? value : u'"' + value + u'"';
            key.startsWith(u'.') ? input += u",\""_s + key.mid(1) + u"\":"_s + written
                                 : outer += u",\""_s + key + u"\":"_s + written;
        }
        return input.isEmpty() ? outer : outer + u",\"tool_input\":{"_s + input.mid(1) + u'}';
    }

    /// The event reaches the store a minute after it happened. Of a member given twice the last one counts.
    void apply(const QString &id, const QString &name, const QString &members)
    {
        const QString usual = uR"({"session_id":"%1","hook_event_name":"%2","cwd":"/home/u/shop","tavvel_ts":%3)"_s;
        const QString line = usual.arg(id.sliced(3), name).arg(home.now.toSecsSinceEpoch()) + members + u'}';
        home.now = home.now.addSecs(60);
        store->apply(HookEvent::decode(line.toUtf8()).value_or(HookEvent()));
    }

    /// Files of Claude Code's are written, and removed again where they are not kept.
    void record(const QStringList &names, const QString &members, bool areKept = true)
    {
        const QString usual = uR"({"sessionId":"%1","pid":11,"procStart":"1100","statusUpdatedAt":%2)"_s;
        for (const QString &name : names) {
            const QString file = name.contains(u'.') ? name : name + u".json"_s, session = name.section(u'.', 0, 0);
            const QString content = usual.arg(session).arg(home.now.toMSecsSinceEpoch()) + members + u'}';
            named(session);
            home.write(u".claude/sessions/"_s + file, content.toUtf8());
            if (!areKept)
                QFile::remove(home.path(u".claude/sessions/"_s + file));
            m_sessions.read(QSet{file});
        }
    }

    /// What a new line is compared with.
    QJsonObject usual(const QString &id) const
    {
        AgentTask line;
        line.id = id;
        line.title = line.project = u"shop"_s;
        line.source = id.startsWith(u"cx-") ? TaskSource::codex : TaskSource::claude;
        line.updatedAt = home.now;
        return toJson(line);
    }

    /// Writes fields of lines by hand, known or new ones: "A@10:05", "B".
    void give(const QStringList &lines, const QString &fields)
    {
        for (const QString &line : lines) {
            const QString id = named(line.section(u'@', 0, 0));
            setTime(line.section(u'@', 1));
            QVariantMap record = m_board.value(id, usual(id)).toVariantMap();
            record.insert(QJsonDocument::fromJson(u"{%1}"_s.arg(fields.mid(1)).toUtf8()).object().toVariantMap());
            store->upsert(agentTaskFrom(QJsonObject::fromVariantMap(record)).value());
        }
    }

    QString list(const QList<AgentTask> &lines, bool withAges) const
    {
        QStringList names;
        for (const AgentTask &line : lines)
            names += withAges ? line.id + u' ' + shortAgo(line.updatedAt, home.now) : line.id;
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
                    text += list(lines, true);
                }
                m_said += text;
            }
        }
        QString lists = u"urgent %1, idle %2"_s.arg(store->urgentCount()).arg(store->idleLineCount());
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
        const QString time = m_time.toString(u"HH:mm ");
        const QVariant value = record[key].toVariant();
        if (!record[key].isArray())
            return {value.isValid() ? value.toString() : u"–"_s};
        QStringList fact = value.toStringList();
        fact.replaceInStrings(QRegularExpression(u"^(?!%1)"_s.arg(time)), u"@"_s);
        return fact.replaceInStrings(QRegularExpression(u'^' + time), QString());
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
            const QString shown = storedText(line.status) + u' ' + label(ProjectGroup{{}, {line}}.section(home.now))
                + (line.isUrgent() ? u" urgent"_s : u""_s) + (line.isStuck(home.now) ? u" stuck"_s : u""_s);
            if (shown != std::exchange(m_shown[line.id], shown))
                changes += shown;
            QVariantMap members = known.toVariantMap();
            members.insert(now.toVariantMap());
            for (const QString &key : members.keys()) {
                const QStringList before = fact(known, key), after = fact(now, key);
                if (after != before && key != u"status" && key != u"updatedAt")
                    changes += key + changeOf(before, after);
            }
            const QString at = line.updatedAt.toLocalTime().toString(u"HH:mm");
            if (now != known && (at != m_time.toString(u"HH:mm") || changes.isEmpty()))
                changes += u"at "_s + at;
            if (!changes.isEmpty())
                m_said +=
                    (line.id == m_named ? QString() : line.id + u' ') + changes.join(u", "_s).replace(u'\n', u'⏎');
        }
        for (const QString &id : m_board.keys())
            m_said += id + u" dropped"_s;
        m_board = board;
        if (saves != (store->tasks() == m_before ? 0 : once) || m_announced != saves + others)
            m_said += u"saved %1, announced %2"_s.arg(saves).arg(m_announced);
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
    QFile file(u"" PLUMTIDE_TEST_DATA_DIR "/board/board.txt"_s);
    QFile produced(QCoreApplication::applicationDirPath() + u"/board.txt"_s);
    ASSERT_TRUE(file.open(QIODevice::ReadOnly) && produced.open(QIODevice::WriteOnly));
    const QString written = QString::fromUtf8(file.readAll());
    const QRegularExpression rows(u"^(?!    )(.*)\n((?:    .*\n)*)"_s,
                                  QRegularExpression::MultilineOption);                 // with what is below
    const QRegularExpression fold(u"(.{1,136}(?=\n|\\z)|.{1,135}[,;|])(?: |\n|\\z)"_s); // behind a comma or the like
    QList<std::pair<QRegularExpression, QString>> phrases;                              // what is replaced, and by what
    QString played;
    std::unique_ptr<Scene> scene;
    for (const QRegularExpressionMatch &match : rows.globalMatch(written)) {
        const QString row = match.captured(1);
        SCOPED_TRACE(qPrintable(row));
        QString said;
        if (row.startsWith(u"==")) {
            scene = std::make_unique<Scene>();
        } else if (row.startsWith(u'"')) {
            said = match.captured(2).simplified();
            QString pattern = QRegularExpression::escape(said).replace(u"\\~"_s, u"\\1"_s);
            if (const qsizetype first = pattern.indexOf(u"\\1"_s); first >= 0)
                pattern.replace(first, 2, u"(.+?)"_s);
            phrases.append({QRegularExpression(pattern), row.mid(1).chopped(1).replace(u'~', u"\\1"_s)});
        } else if (!row.isEmpty() && !row.startsWith(u'#')) {
            const QStringList steps = row.split(u"; "_s);
            for (const QString &step : steps) {
                const QString changes = scene->play(step);
                said += changes.isEmpty() || &step == &steps.last() ? changes : u"first, "_s + changes + u'\n';
            }
            for (const auto &[pattern, phrase] : phrases)
                said.replace(pattern, phrase);
        }
        played += row + u'\n' + said.replace(fold, u"    \\1\n"_s);
    }
    produced.write(played.toUtf8());
    EXPECT_TRUE(played == written) << "diff -u " << qPrintable(file.fileName()) << ' '
                                   << qPrintable(produced.fileName());
}
