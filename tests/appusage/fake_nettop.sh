#!/bin/sh
# Stands in for the traffic tool: writes its arguments to $FAKE_NETTOP_ARGS (when set), plays
# the recorded chunks of $FAKE_NETTOP_CHUNKS (a folder, files in name order) one per
# $FAKE_NETTOP_INTERVAL seconds, then waits until it is ended.
[ -n "$FAKE_NETTOP_ARGS" ] && for a in "$@"; do printf '%s\n' "$a"; done > "$FAKE_NETTOP_ARGS"
trap 'exit 0' TERM INT
for chunk in "${FAKE_NETTOP_CHUNKS:?}"/*; do
    cat "$chunk"
    sleep "${FAKE_NETTOP_INTERVAL:-0.2}" & wait $!
done
[ -n "$FAKE_NETTOP_DONE" ] && : > "$FAKE_NETTOP_DONE"
while :; do
    sleep 1 & wait $!
done
