#!/bin/sh
# Codex runs this at the end of each turn, with a notification in JSON as the last argument. It passes that on to
# tavvel-hook.sh, and then runs the program that Codex ran before this one was installed. Prints nothing, always exits 0.
trap 'exit 0' EXIT
exec >/dev/null 2>&1

case $0 in */*) here=${0%/*} ;; *) here=. ;; esac

for json; do :; done                    # ends with the last argument
printf '%s' "$json" | "$here/tavvel-hook.sh" codex

# codex-notify-forward has one argument of that program per line; the arguments of Codex follow.
forward=$here/codex-notify-forward
[ -f "$forward" ] || exit 0
ours=$#
while IFS= read -r element || [ -n "$element" ]; do
    set -- "$@" "$element"
done <"$forward"
[ $# -gt $ours ] || exit 0
while [ $ours -gt 0 ]; do               # moves the arguments of Codex from the front to the end
    set -- "$@" "$1"
    shift
    ours=$((ours - 1))
done
(exec "$@")                             # exec: the program, even if the shell has a builtin of that name
