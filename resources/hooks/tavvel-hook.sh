#!/bin/sh
# Appends one event of an agent session to the events log, ~/.tavvel/events.jsonl.
#
#   tavvel-hook.sh          run by Claude Code for every registered hook, the event's JSON on stdin
#   tavvel-hook.sh codex    run by codex-notify.sh, Codex's notification on stdin
#
# The agent waits for it, adds its output to the conversation, and blocks the user's prompt if it exits with status 2.
# So it prints nothing, always exits 0, and starts a single program, an awk.
trap 'exit 0' EXIT
trap '' XFSZ                            # beyond a limit of file sizes, writing fails as on a full disk
exec >/dev/null 2>&1

here=${0%/*}
case $here in
    .tavvel/hooks | */.tavvel/hooks) data=${here%/hooks} ;; # deployed: HOME may be unset or another's
    *) case $HOME in /*) data=$HOME/.tavvel ;; *) exit 0 ;; esac ;;
esac
log=$data/events.jsonl
torn=$data/events.torn                  # exists while the log may end in half a line, see below
export LC_ALL=C                         # text is bytes, and numbers have a point
umask 077                               # the log holds prompts and commands
[ -d "$data" ] || mkdir -p "$data"
[ ! -e "$log" ] || [ -f "$log" ] || exit 0   # opening a FIFO would hang; another hook may make the log meanwhile

awk="awk"
command -v mawk && awk="mawk"           # where both are installed: gawk takes twice as long to start

# shellcheck disable=SC3028 # other shells than bash leave EPOCHREALTIME empty, which is fine
export TAVVEL_MODE="$1" TAVVEL_CLOCK="$EPOCHREALTIME" TAVVEL_CLIENT_SEEN="$here/codex-client-seen"
# shellcheck disable=SC2016 # the program is one of awk
line=$($awk '
BEGIN {
    # The time is taken before the input is read. srand() seeds with the time of day, and the next srand() returns that
    # seed: seconds, or nanoseconds in a later mawk (Debian 13 has 1.3.4-20250131). Where it is seconds, bash may have
    # given a finer time, TAVVEL_CLOCK.
    srand(); now = srand()
    clock = ENVIRON["TAVVEL_CLOCK"]
    if (now > 1e17 && now < 1e20) clock = now /= 1e9
    if (now > 1e9 && now < 1e11)        # else the reader takes its own time
        stamp = clock - now > -1 && clock - now < 2 ? sprintf("%.6f", clock) : sprintf("%.0f", now)

    # Bytes. A longer line does not fit the smallest output buffer of a shell. It would be written in two parts, and the
    # line of another session could come between them.
    longestLine = 4096
    longestText = 2048

    codex = ENVIRON["TAVVEL_MODE"] == "codex"
    if (codex) names = "type thread-id cwd client last-assistant-message"
    else names = "session_id hook_event_name cwd tool_name prompt assistant"
    count = split(names, name, " ")
    for (i = 1; i <= count; i++) wanted[name[i]] = 1
    inputs = split("command file_path path pattern url description prompt", input, " ")
    if (codex) wanted["input-messages", ""] = 1
    else for (i = 1; i <= inputs; i++) wanted["tool_input", input[i]] = 1
    controls = length("\000") ? "[\000-\037]" : "[\001-\037]"   # in some awks a NUL ends a string

    # Records are, in turn, the text between two strings and a string; a string with escaped quotes comes in several
    # records. So megabytes of strings that are not wanted are read without being kept.
    RS = "\""
    ORS = ""
}

!inString { parseStructure($0); inString = 1; next }
{
    if (!depth) refuse()
    if (keep) collect($0)
    if (/\\$/) {
        match($0, /[^\\]\\*$/)        # finds the backslashes at the end; /\\+$/ can take very long
        if ((length($0) - RSTART) % 2) {                # the quote was an escaped one
            if (keep) collect("\"")
            next
        }
    }
    inString = 0
    if (keep) finish()
    previous = role
}

END {
    if (refused || depth || previous != "value") exit
    if (codex) {
        if (plain(found["type"]) != "agent-turn-complete") exit
        # Turns of subagents and reviews name no client, and are left out. An old Codex names none at all, so they are
        # left out only if a client was named within a week.
        if (!("client" in found) && ("find \"$TAVVEL_CLIENT_SEEN\" -mtime -7" | getline) > 0) exit
        # A new session also asks the model for its own title.
        title = messages == 1 && begins("input-messages" SUBSEP, "Generate a concise, single-line task title")
        if (!title) write()
        if ("client" in found) printf "" > ENVIRON["TAVVEL_CLIENT_SEEN"]
    } else {
        # Such a prompt is from the agent, about a background task that has ended.
        if (begins("prompt", "<task-notification>")) delete found["prompt"]
        write()
    }
}

function refuse() { refused = 1; exit }

# Parses the text between two strings, and sets what the next string is. `previous` is the last token: "" at the start,
# an opening bracket, ":", ",", "key" or "value". `kind` has the open brackets, `key` the keys of the two outer objects.
function parseStructure(text,    at, part, i, c, word) {
    if (text == ":" && previous == "key" || text == "," && previous == "value" && depth) previous = text
    else {
        for (at = 1; at <= length(text); at += 2000) {  # in some awks, substr() counts from the start
            part = substr(text, at, 2000)
            for (i = 1; (c = substr(part, i, 1)) != ""; i++) {
                if (!index(" \t\r\n{}[]:,", c)) {
                    if (length(word) > 400) refuse()        # appending gets slow, and no number is so long
                    word = word c
                    continue
                }
                if (word != "") { scalar(word); word = "" }
                if (index("{}[]:,", c)) punctuation(c)
            }
        }
        if (word != "") scalar(word)
    }
    collected = ""
    if (kind[depth] == "{" && (previous == "{" || previous == ",")) {
        role = "key"
        keep = depth <= 2
    } else if (valueFits()) {
        role = "value"
        where = depth == 1 ? key[1] : key[1] SUBSEP key[2]
        keep = depth <= 2 && where in wanted
    } else if (depth) refuse()
}

function punctuation(c) {
    if (c == "{" || c == "[") {
        if (depth ? !valueFits() : c == "[" || previous != "") refuse()
        if (depth == 1) { isObject[key[1]] = c == "{"; key[2] = "" }
        kind[++depth] = previous = c
    } else if (c == "}" || c == "]") {
        if (kind[depth] != (c == "}" ? "{" : "[") || previous != "value" && previous != kind[depth]) refuse()
        depth--
        previous = "value"
    } else {
        if (!depth || previous != (c == ":" ? "key" : "value")) refuse()
        previous = c
    }
}

function scalar(word) {
    if (!valueFits()) refuse()
    if (word != "true" && word != "false" && word != "null" &&
        (word != (word + 0) "" || word !~ "[0-9]$") &&      # some awks print what is no number as "nan" or "inf"
        word !~ "^-?(0|[1-9][0-9]*)([.][0-9]+)?([eE][-+]?[0-9]+)?$") refuse()
    previous = "value"
}

function valueFits() {
    return previous == ":" || kind[depth] == "[" && (previous == "[" || previous == ",")
}

function collect(piece) {
    if (role == "value" && where == "cwd") {            # its end is kept
        collected = collected piece
        if (length(collected) > 8192) collected = tail(collected, longestText + 100)
    } else if (length(collected) <= longestText) collected = collected substr(piece, 1, longestText + 1)
}

function finish(    w) {
    if (role == "value") {
        found[where] = collected
        messages += codex && depth == 2
    } else {                        # of several members with this name, the last one counts
        key[depth] = collected = plain(collected)
        if (depth == 2) delete found[key[1], collected]
        else {
            delete isObject[collected]
            for (w in found) if (w == collected || index(w, collected SUBSEP) == 1) delete found[w]
            if (collected == "input-messages") messages = 0
        }
    }
}

# The text with the escapes of printable ASCII characters decoded, to be compared with a plain text.
function plain(text,    done, digits) {
    while (index(text, "\\u00") && match(text, "\\\\u00[2-7][0-9a-fA-F]")) {
        digits = tolower(substr(text, RSTART + 4, 2))
        done = done substr(text, 1, RSTART - 1) \
            sprintf("%c", 16 * substr(digits, 1, 1) + index("0123456789abcdef", substr(digits, 2)) - 1)
        text = substr(text, RSTART + 6)
    }
    return done text
}

function begins(where, start) {
    return where in found && index(plain(substr(found[where], 1, 6 * length(start))), start) == 1
}

# The length of the whole characters within the first `size` bytes: not of a part of a UTF-8 sequence, of an escape, or
# of the pair of escapes of a character beyond U+FFFF.
function wholeLength(text, size,    i, c, hex, unfinished) {
    for (i = 0; i < 3; i++) {
        c = substr(text, size + 1, 1)
        if (c >= "\200" && c < "\300") size--
    }
    text = substr(text, 1, size)
    hex = "[0-9a-fA-F]"
    unfinished = "\\\\(u(" hex "?" hex "?" hex "?|[dD][89abAB]" hex hex "))?$"
    for (i = 0; i < 2 && text ~ "(^|[^\\\\])(\\\\\\\\)*" unfinished; i++) sub(unfinished, "", text)
    return length(text)
}

function tail(text, size) {                             # 16: the most by which wholeLength() is shorter
    return substr(text, wholeLength(text, length(text) - size + 16) + 1)
}

function member(name, where,    text) {
    if (!(where in found)) return ""
    text = found[where]
    if (length(text) > room) text = where == "cwd" ? tail(text, room) : substr(text, 1, wholeLength(text, room))
    return "\"" name "\":\"" text "\","
}

function event(    line, i) {
    if (codex)
        return "\"hook_event_name\":\"CodexTurnComplete\"," member("session_id", "thread-id") \
            member("cwd", "cwd") member("prompt", "input-messages" SUBSEP) \
            member("assistant", "last-assistant-message")
    if (isObject["tool_input"]) {
        for (i = 1; i <= inputs; i++) line = line member(input[i], "tool_input" SUBSEP input[i])
        line = "\"tool_input\":{" substr(line, 1, length(line) - 1) "},"
    }
    for (i = count; i >= 1; i--) line = member(name[i], name[i]) line
    return line
}

function write(    line, rest) {
    for (room = longestText; ; room = int(room * 3 / 4)) {
        line = event() (stamp == "" ? "" : "\"tavvel_ts\":" stamp ",")
        line = "{" substr(line, 1, length(line) - 1) "}"
        if (length(line) + 2 <= longestLine) break      # and line feeds around it
    }
    rest = line
    if (index(line, "\\"))
        gsub("\\\\([\"\\\\/bfnrt]|u[0-9a-fA-F][0-9a-fA-F][0-9a-fA-F][0-9a-fA-F])", "", rest)
    if (index(rest, "\\") || line ~ controls) refuse()
    print line
}
')
[ -n "$line" ] || exit 0
# Written by the shell: not every awk reports that a full disk has taken only half of the line.
if [ -e "$torn" ]; then
    printf '\n%s\n' "$line" >>"$log" && rm -f "$torn"
else
    printf '%s\n' "$line" >>"$log" || : >"$torn"
fi
