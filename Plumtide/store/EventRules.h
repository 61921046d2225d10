#pragma once

#include "Plumtide/intake/HookEvent.h"
#include "Plumtide/model/AgentTask.h"

/// A notification for the user; it replaces an earlier one of the same id.
struct Notice
{
    QString title;
    QString body;
    QString id;
};

/// What an event comes to: its session's line as it is then, and what to notify before that.
struct EventEffect
{
    AgentTask line;
    std::optional<Notice> notice;
};

/// The id of the line of an event's session. The event has a session id.
[[nodiscard]] QString lineIdOf(const HookEvent &event);

/// What an event makes of its session's line: of the `known` one, or of a new one where that is null. Nothing where the
/// line stays as it is, or none begins. The event has a name and a session id.
[[nodiscard]] std::optional<EventEffect> effectOf(const HookEvent &event, const AgentTask *known, const QDateTime &now);

/// Adds "HH:MM text", in the user's time zone, to the recent events of a line, which keeps the last three.
void addEvent(AgentTask &line, const QString &text, const QDateTime &at);
