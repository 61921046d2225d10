// How long does the hook script keep the agent waiting?

#include "bench/support/Child.h"
#include "bench/support/Report.h"
#include "bench/support/Workspace.h"

#include <QFile>
#include <QFileInfo>
#include <QJsonDocument>
#include <QJsonObject>

using namespace Qt::StringLiterals;

namespace {

const QByteArray ordinaryPayload =
    R"({"session_id":"4319d94c-2187-4df0-959a-3f82ef0eb761","transcript_path":)"
    R"("/home/user/.claude/projects/-home-user-shop/4319d94c-2187-4df0-959a-3f82ef0eb761.jsonl","cwd":)"
    R"("/home/user/shop","prompt_id":"cae1f478-81f5-4ce5-b865-88c1eb85f204","permission_mode":"default","effort":)"
    R"({"level":"medium"},"hook_event_name":"PostToolUse","tool_name":"Bash","tool_input":{"command":)"
    R"("npm test -- --run \"src/login\" 2>&1 | tail -n 20","description":"Run the login tests"},"tool_response":)"
    R"({"stdout":"total 12\ndrwxr-xr-x 3 user user 4096 Nov 24 11:42 .\ndrwxr-xr-x 2 user user 4096 web","stderr":"",)"
    R"("interrupted":false,"isImage":false,"noOutputExpected":false},"tool_use_id":"toolu_01","duration_ms":29})";

// Claude Code reports a Write with the whole file, twice: as what was asked for and as what was done.
QByteArray largePayload()
{
    QString source;
    for (int i = 0; source.size() < 1'500'000; ++i)
        source += u"    if (name == \"field-%1\") {\n\t// 第 %1 个字段\n\treturn \"C:\\\\%1\";\n    }\n"_s.arg(i);
    QJsonObject payload = QJsonDocument::fromJson(ordinaryPayload).object();
    payload[u"tool_name"_s] = u"Write"_s;
    const QString path = u"/home/user/shop/web/fields.ts"_s;
    payload[u"tool_input"_s] = QJsonObject{{u"file_path"_s, path}, {u"content"_s, source}};
    payload[u"tool_response"_s] = QJsonObject{{u"type"_s, u"update"_s},
                                              {u"filePath"_s, path},
                                              {u"content"_s, source},
                                              {u"structuredPatch"_s, QJsonValue::Null}};
    return QJsonDocument(payload).toJson(QJsonDocument::Compact);
}

// The same job with the tools that one would reach for first, at their best: no shell start-up files, no site
// packages, no check that our script makes.
const QByteArray jqHook = R"(#!/bin/sh
exec jq -c '{session_id, hook_event_name, cwd, tool_name, prompt, assistant, tool_input}
    | with_entries(select(.value != null)) | .tavvel_ts = now' >>"$HOME/.tavvel/jq.jsonl"
)";
const QByteArray pythonHook = R"(#!/usr/bin/python3 -IS
import json, os, sys, time
event = json.load(sys.stdin)
names = "session_id", "hook_event_name", "cwd", "tool_name", "prompt", "assistant", "tool_input"
line = {name: event[name] for name in names if event.get(name) is not None}
line["tavvel_ts"] = time.time()
with open(os.environ["HOME"] + "/.tavvel/python.jsonl", "a") as log:
    log.write(json.dumps(line, ensure_ascii=False, separators=(",", ":")) + "\n")
)";

struct Candidate
{
    QByteArray name;
    QByteArray command;   // for /bin/sh -c, as the agent runs it
    QByteArray path = {}; // instead of the usual one
    Report::Limit limit = Report::Limit::AtMost;
    QList<Seconds> times = {};
};

QByteArray deploy(const Workspace &workspace, const QString &name, const QByteArray &content)
{
    const QString path = workspace.path(u".tavvel/hooks/"_s + name);
    workspace.write(path, content);
    QFile::setPermissions(path, QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner);
    return QFile::encodeName(path);
}

// The script as it runs here (with mawk where that is installed), and where gawk is the only awk.
QList<Candidate> ourCandidates(const Workspace &workspace)
{
    QFile script(QStringLiteral(BENCH_HOOK_SCRIPT));
    if (!script.open(QIODevice::ReadOnly))
        Report::giveUp("no hook script.");
    const QByteArray command = deploy(workspace, u"tavvel-hook.sh"_s, script.readAll());
    const QString mawk = u"/usr/bin/mawk"_s;
    const QString gawk = u"/usr/bin/gawk"_s;
    const QString systemAwk = QFileInfo(u"/usr/bin/awk"_s).canonicalFilePath();
    const QString used = QFile::exists(mawk) ? mawk : systemAwk;
    QList<Candidate> result{{.name = "with " + QFileInfo(used).fileName().toUtf8(), .command = command}};
    if (used != gawk && QFile::exists(gawk)) {
        const QString directory = workspace.path(u"gawk-only"_s);
        workspace.write(directory + u"/README"_s, "All the programs that the script finds.\n");
        QFile::link(gawk, directory + u"/awk"_s);
        result.append({.name = "where gawk is the only awk",
                       .command = command,
                       .path = QFile::encodeName(directory),
                       .limit = Report::Limit::None}); // gawk alone takes nearly four times as long to start as sh
    }
    return result;
}

qsizetype linesOf(const QString &path)
{
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? file.readAll().count('\n') : 0;
}

void measure(const Workspace &workspace, QList<Candidate *> candidates, const QByteArray &payload, int rounds)
{
    // Turn by turn, so that whatever else the machine does hits all of them. The first turn fills the caches.
    for (int round = -1; round < rounds; ++round) {
        for (Candidate *candidate : candidates) {
            const Seconds time =
                Child::timeOfRun({"/bin/sh", "-c", candidate->command}, workspace.variables(candidate->path), payload);
            if (round >= 0)
                candidate->times.append(time);
        }
    }
}

} // namespace

int main(int argc, char **argv)
{
    const bool isQuick = Report::isQuick(argc, argv);
    const Workspace workspace;
    const QString jqLog = workspace.path(u".tavvel/jq.jsonl"_s);
    const QString pythonLog = workspace.path(u".tavvel/python.jsonl"_s);
    qsizetype expectedLines = 0;

    QList<Candidate> ours = ourCandidates(workspace);
    Candidate shell{.name = "sh -c :", .command = ":"};
    Candidate jq{.name = "jq", .command = deploy(workspace, u"jq-hook"_s, jqHook)};
    Candidate python{.name = "python3", .command = deploy(workspace, u"python-hook"_s, pythonHook)};
    QList<Candidate *> all{&shell, &jq, &python};
    for (Candidate &candidate : ours)
        all.append(&candidate);
    const int rounds = isQuick ? 60 : 400;
    measure(workspace, all, ordinaryPayload, rounds);
    expectedLines += ours.size() * (rounds + 1);
    if (linesOf(jqLog) != rounds + 1 || linesOf(pythonLog) != rounds + 1)
        Report::giveUp("jq or python3 did not do the hook's job.");
    for (const Candidate &candidate : ours) {
        const QByteArray what = "`tavvel-hook.sh` " + candidate.name + ", payload of "
            + QByteArray::number(ordinaryPayload.size()) + " bytes";
        Report::printTimes(what, candidate.times, "`sh -c :`", shell.times, candidate.limit, 4);
        for (const Candidate *other : {&jq, &python}) {
            Report::printTimes("the same", candidate.times, "its job with `" + other->name + '`', other->times,
                               Report::Limit::Below, 1);
        }
    }

    const QByteArray large = largePayload();
    Candidate parse{.name = "jq -c .", .command = "jq -c . >/dev/null"};
    all = {&parse};
    for (Candidate &candidate : ours) {
        candidate.times.clear();
        all.append(&candidate);
    }
    const int largeRounds = isQuick ? 10 : 40;
    measure(workspace, all, large, largeRounds);
    expectedLines += ours.size() * (largeRounds + 1);
    for (const Candidate &candidate : ours) {
        Report::printTimes("`tavvel-hook.sh` " + candidate.name + ", payload of "
                               + Report::megabytesText(static_cast<double>(large.size())),
                           candidate.times, "`jq -c .`", parse.times, Report::Limit::Below, 1);
    }
    if (linesOf(workspace.logFile()) != expectedLines)
        Report::giveUp("the hook script did not log every event.");
    return Report::exitStatus();
}
