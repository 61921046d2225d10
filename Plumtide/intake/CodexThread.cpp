#include "Plumtide/intake/CodexThread.h"

#include "Plumtide/intake/HookEvent.h"
#include "Plumtide/model/JsonMember.h"
#include "Plumtide/system/AppendedFile.h"

#include <QJsonArray>
#include <QRegularExpression>

using namespace Qt::StringLiterals;

namespace {

constexpr qint64 firstLook = 64 * 1024, mostAtOnce = 4 * 1024 * 1024; // bytes; the longest lines have some 300 KB
constexpr qsizetype headBytes = 256; // of a line; of an item, the type ends at some 235
constexpr qsizetype promptLength = 36, textLength = 40, mostCalls = 64;

// By its first bytes, whether a line says what the thread does.
bool isWanted(const QByteArray &line)
{
    static const QRegularExpression wanted(
        uR"re("type":"(session_meta|turn_context|(event_msg|response_item)","payload":\{"type":"(task_started|)re"
        uR"re(task_complete|turn_aborted|user_message|(function|custom_tool)_call(_output)?|)re"
        uR"re(item_completed",.*"item":\{"type":"UserMessage)"))re"_s);
    return wanted.match(QString::fromLatin1(line.first(qMin(line.size(), headBytes)))).hasMatch();
}

QString shortened(const QString &text, qsizetype length)
{
    return HookEvent::squeeze(wellFormed(text), length).value_or(QString());
}

} // namespace

void CodexThread::read(const QString &rollout, double now)
{
    const AppendedFile file(rollout);
    const bool isFirst = record.sessionId.isEmpty();
    if (isFirst) {
        const QByteArray head = file.read(0, firstLook);
        take(head.left(head.indexOf('\n')), now);
        isForeign = record.sessionId.isEmpty() && (head.contains('\n') || head.size() == firstLook);
    }
    if (record.sessionId.isEmpty())
        return;
    if (file.size() - offset > (isFirst ? firstLook : mostAtOnce)) {
        offset = file.size() - firstLook; // inside of a line, which is not decoded then
        calls.clear();                    // their outputs may be left out
    }
    const QByteArray bytes = file.read(offset, mostAtOnce);
    const qsizetype end = bytes.lastIndexOf('\n') + 1;
    for (const QByteArray &line : bytes.first(end).split('\n')) {
        if (isWanted(line))
            take(line, now);
    }
    offset += end;
}

void CodexThread::take(const QByteArray &line, double now)
{
    const QJsonDocument document = readJson(line);
    const QDateTime written = QDateTime::fromString(document["timestamp"_L1].toString(), Qt::ISODateWithMs);
    if (!written.isValid())
        return;
    const double at = qMin(static_cast<double>(written.toMSecsSinceEpoch()), now);
    const QJsonObject payload = document["payload"_L1].toObject();
    const QString kind = document["type"_L1].toString(), type = payload["type"_L1].toString();
    const auto become = [&](SessionState state) {
        record.state = state;
        record.since = record.turnSince = at;
        record.tool.clear();
        calls.clear();
    };
    if (kind == "session_meta"_L1) {
        if (!record.sessionId.isEmpty() || payload["id"_L1] != id) // a fork goes on with the first line of its origin
            return;
        // Older versions name no session. What the user has not begun has an object as its source.
        const QJsonValue source = payload["source"_L1];
        record.sessionId = payload["session_id"_L1].toString(source.isString() ? id : QString());
        record.cwd = wellFormed(payload["cwd"_L1].toString());
        isExec = source == "exec"_L1;
    } else if (kind == "turn_context"_L1) {
        mayAsk = payload["approval_policy"_L1] != "never"_L1
            && payload["approvals_reviewer"_L1].toString(u"user"_s) == "user"_L1; // else a model
        record.cwd = wellFormed(payload["cwd"_L1].toString(record.cwd));
    } else if (type == "task_started"_L1) {
        become(SessionState::works);
        record.prompt.clear();
        record.answer.clear();
        if (const QJsonValue trigger = payload["turn_attribution"_L1]["turn_trigger"_L1]; trigger.isString())
            isExec = trigger == "exec"_L1;
    } else if (type == "task_complete"_L1) {
        become(payload["error"_L1].isObject() ? SessionState::failed : SessionState::turnEnded);
        record.answer = shortened(payload["last_agent_message"_L1].toString(), textLength);
    } else if (type == "turn_aborted"_L1) {
        become(SessionState::interrupted);
    } else {
        if (record.state == SessionState::unknown) // the start of the turn was not read
            become(SessionState::works);
        if (type.endsWith("_call"_L1)) {
            takeCall(payload, at);
        } else if (type.endsWith("_output"_L1)) {
            calls.removeIf([&payload](const Call &call) { return payload["call_id"_L1] == call.id; });
            record.since = at > record.since + 60'000 ? at : record.since; // a change, once a minute
        } else {
            QString text = payload["message"_L1].toString(); // in older versions
            const QJsonArray parts = payload["item"_L1]["content"_L1].toArray();
            for (const QJsonValue part : parts)
                text += part["text"_L1].toString() + u'\n';
            record.prompt = shortened(text, promptLength);
        }
    }
}

void CodexThread::takeCall(const QJsonObject &payload, double at)
{
    const QString name = wellFormed(payload["name"_L1].toString());
    const QJsonDocument arguments = readJson(payload["arguments"_L1].toString().toUtf8());
    // Of a command its text, of a question the first one, of a patch all of it.
    const QString input = arguments["cmd"_L1].toString() + arguments["command"_L1].toVariant().toStringList().join(u' ')
        + arguments["questions"_L1][0]["question"_L1].toString() + payload["input"_L1].toString();
    const bool isCommand = name == "exec_command"_L1 || name.contains("shell"_L1);
    record.tool = isCommand ? u"Bash"_s : name; // as Codex calls it in its hooks
    if (calls.size() < mostCalls)
        calls.append({payload["call_id"_L1].toString(), record.tool, shortened(input, textLength),
                      name == "request_user_input"_L1, mayAsk && (isCommand || name == "apply_patch"_L1), at, at});
}
