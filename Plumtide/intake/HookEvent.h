#pragma once

#include <QByteArrayView>
#include <QDateTime>
#include <QJsonObject>
#include <QString>

#include <optional>

/// The names of events that are used outside of the board's rules, too.
namespace EventName {
inline constexpr QLatin1StringView prompt("UserPromptSubmit"), request("PermissionRequest"), tool("PostToolUse"),
    stop("Stop"), end("SessionEnd"), codexTurn("CodexTurnComplete");
}

/// One line of the events log, as the hook scripts write it: one JSON object in UTF-8. A field is absent when its
/// key is missing or null; keys other than these eight are ignored.
struct HookEvent
{
    std::optional<QString> sessionId;     ///< "session_id"
    std::optional<QString> hookEventName; ///< "hook_event_name"; one that begins with "Codex" is Codex's.
    std::optional<QString> cwd;           ///< "cwd"
    std::optional<QString> toolName;      ///< "tool_name"
    std::optional<QString> prompt;        ///< "prompt"
    std::optional<QString> assistant;     ///< "assistant"
    std::optional<QJsonObject> toolInput; ///< "tool_input"
    std::optional<double> tavvelTs;       ///< "tavvel_ts", seconds since 1970-01-01T00:00:00Z
    bool isByCodexRecord = false;         ///< Of no line: Codex has no such event.

    bool operator==(const HookEvent &) const = default;

    /// The event of one line (without its line feed), or nothing when the line is no JSON object in valid UTF-8,
    /// nests deeper than 1,024 levels, or holds another type under one of the eight keys.
    [[nodiscard]] static std::optional<HookEvent> decode(QByteArrayView line);

    /// When the event happened, in UTC; `now` if it has no time that can be stored, of the years 1 to 9999.
    [[nodiscard]] QDateTime date(const QDateTime &now) const;

    [[nodiscard]] bool isCodex() const;   ///< False also when the event has no name.
    [[nodiscard]] QString lineId() const; ///< Of the board's line for its session.

    /// The tool call in at most 40 characters: the first text of its input that is under one of the usual keys.
    [[nodiscard]] std::optional<QString> toolInputSummary() const;

    /// `text` on one line: each run of newlines becomes a space, spaces and tabs at the ends are removed, and a text of
    /// more than `max` user-perceived characters is cut to `max` and "…". Nothing if nothing is left.
    [[nodiscard]] static std::optional<QString> squeeze(const QString &text, qsizetype max);
};
