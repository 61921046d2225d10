#include "Plumtide/intake/ClaudeRecords.h"

#include "tests/board/StoreInHome.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QRegularExpression>

#include <time.h>

namespace {

/// One board of board.txt: a store that is driven step by step.
class Scene : StoreInHome
{
public:
    Scene()
    {
        qputenv("TZ", "<+0545>-5:45"); // what is shown is the user's time
        ::tzset();
        setTime("10:00");
        home.defaults()->setBoolean("tavvel.claude.hasSeenEvent", true);
        home.defaults()->setBoolean("tavvel.codex.hasSeenEvent", true);
        home.processes = {11};
        restart();
        EXPECT_TRUE(waitUntil([this] { return !store->isCatchingUp(); }));
        store->notifications().setNotify([this](const Board::Notice &notice) {
            const QString own = '-' + m_named, text = ": " + notice.title + ": " + notice.body;
            const QString id = notice.id();
            m_said += (notice.body.isEmpty() ? "withdraws " : "notifies ")
                + (id.endsWith(own) ? id.chopped(own.size()) : id) + (notice.body.isEmpty() ? QString() : text);
        });
        store->notifications().setFindFocus([this](const QString &line, const auto &found) {
            m_late.contains(line) ? void(m_late[line] = found) : found(m_focus.value(line));
        });
        QObject::connect(store.get(), &TaskStore::objectWillChange,
                         [this] { EXPECT_TRUE(std::exchange(m_isAnnounced, true) || store->tasks() == m_before); });
    }

    /// Takes a step such as "10:05 A Stop", and says what it changed.
    QString play(const QString &step)
    {
        static const QRegularExpression parts(R"(^(?:(\d\d:\S+|2026-\S+) )?(\S+) ?(.*))");
        const QRegularExpressionMatch match = parts.match(step);
        const QString verb = match.captured(2), what = match.captured(3);
        const QStringList names = what.section(": ", 0, 0).split(' ');
        const QString fields = members(what.section(": ", 1)), rest = what.section(' ', 1);
        constexpr auto &statuses = allAgentTaskStatuses;
        const QHash<QString, std::function<void()>> verbs{
            {"given", [&] { give(names, fields); }},
            {"set", [&] { store->setStatus(named(names[0]), *std::ranges::find(statuses, rest, storedText)); }},
            {"undo", [&] { store->undo(); }},
            {"archive", [&] { store->archiveReplied(ProjectSection(names[0].toInt())); }},
            {"where", [&] { m_said += store->folder(named(names[0])); }},
            {"look", [&] { look(); }},
            {"sweep", [&] { store->sweep(); }},
            {"record", [&] { record(names, fields); }},
            {"codex", [&] { codex(names[0], '{' + members(rest).mid(1) + '}'); }},
            {"missed", [&] { store->applyMissedEvents(); }},
            {"wake", [&] { store->notifications().advance(); }},
            {"focus",
             [&] {
                 m_focus[named(names[0])] = rest == "in";
                 if (const NotificationFilter::FocusFound found = m_late.take(m_named))
                     found(rest == "in");
             }},
            {"late", [&] { m_late[named(names[0])] = {}; }},
            {"mute",
             [&] {
                 const QDateTime end(m_time.date(), QTime::fromString(rest, "HH:mm"));
                 store->notifications().setMutedUntil(rest.isEmpty() ? std::nullopt : std::optional(end));
             }},
            {"hush", [&] { store->notifications().setLineMuted(named(names[0]), true); }},
            {"replies", [&] { store->notifications().setShowsReplies(names[0] == "on"); }},
            {"writes",
             [&] {
                 home.append(".claude/projects/p/" + names[0], ("{\"message\":{\"content\":" + rest + "}}\n").toUtf8());
             }},
        };
        setTime(match.captured(1));
        m_before = store->tasks();
        m_said.clear();
        m_isAnnounced = false;
        verbs.value(verb, [&] { apply(named(verb), names[0], rest); })();
        EXPECT_TRUE(m_isAnnounced || store->tasks() == m_before);
        sayChanges();
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

    /// "status, key value" as members of JSON, each after a comma. What is no word or piece of JSON is a text.
    static QString members(QString text)
    {
        static const QRegularExpression status("^(\\w+)(?=,|$)"), keys("(?:^|, )(\\w+) "),
            plain(R"((^|, )(\w+) (?!["\[{\d-]|(?:true|false|null)(?:,|$))(.*?)(?=, |$))");
        return text.replace(status, "status \\1").replace(plain, R"(\1\2 "\3")").replace(keys, R"(,"\1":)");
    }

    /// The event reaches the store a minute after it happened. Of a member given twice the last one counts.
    void apply(const QString &id, const QString &name, const QString &fields)
    {
        const QString usual = R"({"session_id":"%1","hook_event_name":"%2","cwd":"/home/u/shop","tavvel_ts":%3)";
        QString line = usual.arg(id.sliced(3), name).arg(home.now.toSecsSinceEpoch());
        line += members(fields.section('|', 0, 0).trimmed());
        if (fields.contains('|'))
            line += ",\"tool_input\":{" + members(fields.section("| ", 1)).mid(1) + '}';
        home.now = home.now.addSecs(60);
        store->apply(HookEvent::decode(line.toUtf8() + '}').value());
    }

    /// What the record of a session of Codex says from now on.
    void codex(const QString &id, const QString &members)
    {
        static const QStringList states{"unknown", "works", "asks", "turnEnded", "interrupted", "failed", "gone"};
        const QJsonDocument said = QJsonDocument::fromJson(members.toUtf8());
        const auto text = [&](const char *name) { return said[QLatin1String(name)].toString(); };
        SessionRecord now{
            .agent = TaskSource::codex, .sessionId = named(id).sliced(3), .pid = 11, .processStart = "1100"};
        now.state = SessionState(states.indexOf(text("status")));
        now.since = static_cast<double>(home.now.toMSecsSinceEpoch()) - said["ago"].toDouble() * 1000;
        now.turnSince = now.since - said["turn"].toDouble() * 1000;
        now.cwd = "/home/u/shop";
        now.prompt = text("prompt"), now.answer = text("answer"), now.tool = text("tool"),
        now.toolInput = text("input");
        store->updateRecord(std::exchange(m_codex[id], now), now);
    }

    /// Writes files of Claude Code's.
    void record(const QStringList &names, const QString &members)
    {
        const QString usual = R"({"sessionId":"%1","pid":11,"procStart":"1100","statusUpdatedAt":%2)";
        for (const QString &name : names) {
            const QString session = named(name.section('.', 0, 0)).sliced(3);
            const QString content = usual.arg(session).arg(home.now.toMSecsSinceEpoch()) + members + '}';
            const QString file = name.contains('.') ? name : name + ".json";
            home.write(".claude/sessions/" + file, content.toUtf8());
            m_watch.wait(std::chrono::milliseconds(0));
            m_sessions.read(m_watch);
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
            record.insert(QJsonDocument::fromJson(('{' + fields.mid(1) + '}').toUtf8()).object().toVariantMap());
            store->upsert(agentTaskFrom(QJsonObject::fromVariantMap(record)).value());
        }
    }

    void look()
    {
        for (const auto &section : store->sections()) {
            for (const ProjectGroup *group : section) {
                QStringList lines;
                for (const AgentTask &line : group->lines)
                    lines += line.id + ' ' + shortAgo(line.updatedAt, home.now);
                m_said += label(group->section(home.now)) + ' ' + group->name + ": " + group->summaryText(home.now)
                    + " | " + lines.join(", ");
            }
        }
        QString all = QString("urgent %1, idle %2, waiting").arg(store->urgentCount()).arg(store->idleLineCount());
        for (const AgentTask &line : store->tasks(AgentTaskStatus::waiting))
            all += ' ' + line.id;
        EXPECT_TRUE(store->firstWaiting() == store->tasks(AgentTaskStatus::waiting).first());
        for (const AgentTaskStatus status : allAgentTaskStatuses)
            EXPECT_EQ(store->lineCount(status), store->tasks(status).size());
        m_said += all;
    }

    /// What is printed of a member. A time in front, as an event has it, is left out where it is the step's.
    QStringList fact(const QJsonObject &record, const QString &key) const
    {
        const QString time = m_time.toString("HH:mm ");
        const QVariant value = record[key].toVariant();
        if (!record[key].isArray())
            return {value.isValid() ? value.toString() : "–"};
        QStringList fact = value.toStringList();
        fact.replaceInStrings(QRegularExpression("^(?!" + time + ')'), "@");
        return fact.replaceInStrings(QRegularExpression('^' + time), "");
    }

    void sayChanges()
    {
        QJsonArray records;
        QMap<QString, QJsonObject> board;
        for (const AgentTask &line : store->tasks()) {
            const QJsonObject known = m_board.contains(line.id) ? m_board.take(line.id) : usual(line.id);
            QJsonObject now = toJson(line);
            records.append(now);
            now[""] = storedText(line.status) + ' ' + label(ProjectGroup{{}, {line}}.section(home.now))
                + (line.isUrgent() ? " urgent" : "") + (line.isStuck(home.now) ? " stuck" : "");
            board[line.id] = now;
            QStringList changes;
            QVariantMap members = known.toVariantMap();
            members.insert(now.toVariantMap());
            for (const QString &key : members.keys()) {
                const QStringList before = fact(known, key), after = fact(now, key);
                if (after != before && key != "status" && key != "updatedAt")
                    changes.insert(key == "title" || key == "project" ? 0 : changes.size(),
                                   (key + changeOf(before, after)).trimmed());
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
        const QByteArray file = home.read(tasksFile);
        EXPECT_EQ(file, records.isEmpty() && file.isEmpty() ? "" : QJsonDocument(records).toJson());
    }

    FileWatch m_watch;
    ClaudeRecords m_sessions{home.path(".claude/sessions"),
                             [this](const auto &before, const auto &now) { store->updateRecord(before, now); }};
    QHash<QString, SessionRecord> m_codex; // by the ids of lines
    QHash<QString, std::optional<bool>> m_focus;
    QHash<QString, NotificationFilter::FocusFound> m_late; // what waits for it
    QDateTime m_time;                                      // of the step, where the user lives
    QString m_named;                                       // the id of the line that was named last
    QMap<QString, QJsonObject> m_board; // the lines by id; the member without a name says how a line is shown
    QList<AgentTask> m_before;
    bool m_isAnnounced = false;
    QStringList m_said;
};

} // namespace

TEST(Board, ChangesAsBoardTxtSays)
{
    QFile file(PLUMTIDE_TEST_DATA_DIR "/board/board.txt");
    QFile produced(QCoreApplication::applicationDirPath() + "/board.txt");
    ASSERT_TRUE(file.open(QIODevice::ReadOnly) && produced.open(QIODevice::WriteOnly));
    const QString written = QString::fromUtf8(file.readAll());
    // A row with what is below it; what is folded behind a comma or the like; phrases, and what they stand for.
    const QRegularExpression rows("^(?!    )(.*)\n((?:    .*\n)*)", QRegularExpression::MultilineOption);
    const QRegularExpression fold("(.{1,136}(?=\n|\\z)|.{1,135}[,;|])(?: |\n|\\z)");
    QList<std::pair<QRegularExpression, QString>> phrases;
    QString played;
    std::unique_ptr<Scene> scene;
    for (const QRegularExpressionMatch &match : rows.globalMatch(written)) {
        const QString row = match.captured(1).section(" → ", 0, 0);
        SCOPED_TRACE(qPrintable(row));
        QString said;
        if (row.startsWith("==")) {
            scene = std::make_unique<Scene>();
        } else if (row.startsWith('"')) {
            said = (match.captured(1).section(" → ", 1) + match.captured(2)).simplified();
            QStringList parts = QRegularExpression::escape(said).split("\\~");
            parts[0] += parts.size() > 1 ? "(.+?)" + parts.takeAt(1) : QString();
            phrases.append({QRegularExpression(parts.join("\\1")), row.mid(1).chopped(1).replace('~', "\\1")});
        } else if (!row.isEmpty() && !row.startsWith('#')) {
            const QStringList steps = row.split("; ");
            for (const QString &step : steps) {
                const QString changes = scene->play(step); // only the last one is meant to change something
                said += changes.isEmpty() || &step == &steps.last() ? changes : "first, " + changes + '\n';
            }
            for (const auto &[pattern, phrase] : phrases)
                said.replace(pattern, phrase);
        }
        const bool fits = row.size() + said.size() <= 137 && !said.contains('\n');
        played += row + (!fits ? "\n" + said.replace(fold, "    \\1\n") : said.isEmpty() ? "\n" : " → " + said + '\n');
    }
    produced.write(played.toUtf8());
    EXPECT_TRUE(played == written) << "diff -u " << qPrintable(file.fileName()) << ' '
                                   << qPrintable(produced.fileName());
}
