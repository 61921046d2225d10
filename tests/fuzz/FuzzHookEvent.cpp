#include "Plumtide/intake/HookEvent.h"
#include "Plumtide/intake/SessionFollower.h"
#include "Plumtide/model/JsonMember.h"

#undef NDEBUG
#include <cassert>
#include <cstdint>

// Any line, or session record: no crash, and whatever decodes can be stored and shown.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size)
{
    static const QDateTime now = QDateTime::fromString(u"2026-03-07T09:41:05Z", Qt::ISODate);
    const QByteArray bytes(reinterpret_cast<const char *>(data), static_cast<qsizetype>(size));
    const SessionRecord record = SessionRecord::decode(bytes);
    assert(record.pid > 0 ? record.sessionId == wellFormed(record.sessionId) : record == SessionRecord());
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
