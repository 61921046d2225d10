#include "Plumtide/intake/ClaudeRecords.h"
#include "Plumtide/intake/CodexThread.h"
#include "Plumtide/intake/HookEvent.h"
#include "Plumtide/model/JsonMember.h"

#undef NDEBUG
#include <cassert>
#include <cstdint>

using namespace Qt::StringLiterals;

// Any line, session record, or rollout of Codex: no crash, and whatever decodes can be stored and shown.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size)
{
    static const QDateTime now = QDateTime::fromString(u"2026-03-07T09:41:05Z", Qt::ISODate);
    const QByteArray bytes(reinterpret_cast<const char *>(data), static_cast<qsizetype>(size));
    const SessionRecord record = ClaudeRecords::decode(bytes);
    assert(record.pid > 0 ? record.sessionId == wellFormed(record.sessionId) : record == SessionRecord());
    CodexThread thread{u"01a21491-075e-71e0-9300-368f13cce4e8"_s};
    for (const QByteArray &line : bytes.split('\n'))
        thread.take(line, 1e12);
    for (const QString &text : {thread.record.cwd, thread.record.prompt, thread.record.answer, thread.record.tool})
        assert(text == wellFormed(text));
    assert(thread.record.since <= 1e12 && thread.calls.size() <= 64);
    const auto event = HookEvent::decode(bytes);
    if (!event)
        return 0;
    for (const auto &text : {event->sessionId, event->hookEventName, event->cwd, event->toolName, event->prompt,
                             event->assistant, event->toolInputSummary()})
        assert(!text || *text == wellFormed(*text));
    const int year = event->date(now).date().year();
    assert(year >= 1 && year <= 9999);
    const auto line = event->prompt ? HookEvent::squeeze(*event->prompt, 36) : std::nullopt;
    assert(!line || (!line->isEmpty() && !line->contains(u'\n')));
    return 0;
}
