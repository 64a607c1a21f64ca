#!/bin/bash
# `lumenstat --battery` against fixture power_supply trees.
set -u
bin=${LUMENSTAT_BINARY:?}
src=${LUMENSTAT_SOURCE_DIR:?}
fixtures="$src/tests/fixtures/power_supply"
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
export XDG_CONFIG_HOME="$work/config" XDG_DATA_HOME="$work/data"

out=$(LUMENSTAT_SYSFS_ROOT="$fixtures/laptop_discharging" "$bin" --battery 2>&1)
rc=$?
if grep -q "not part of this build" <<<"$out"; then
    echo "--battery is not wired into this build yet"
    exit 77
fi
fail() { echo "FAIL: $*"; echo "$out"; exit 1; }
[ $rc -eq 0 ] || fail "exit code $rc"
grep -q "^cycleCount: 123$" <<<"$out" || fail "cycle count"
grep -q "^currentCapacity: 1906$" <<<"$out" || fail "current capacity"
grep -q "^temperature: 30.1$" <<<"$out" || fail "temperature"
grep -q "^percentage: 50%$" <<<"$out" || fail "percentage"
grep -q "^state: on battery$" <<<"$out" || fail "state"
grep -q "01:16$" <<<"$out" || fail "time text"
grep -q "(no entries yet)" <<<"$out" || fail "empty health log"

mkdir -p "$work/empty/class/power_supply"
out=$(LUMENSTAT_SYSFS_ROOT="$work/empty" "$bin" --battery 2>&1)
rc=$?
[ $rc -eq 0 ] || fail "exit code $rc without a battery"
grep -q "^This machine has no battery" <<<"$out" || fail "no-battery message"

out=$(LUMENSTAT_SYSFS_ROOT="$fixtures/desktop_mains" "$bin" --battery 2>&1)
grep -q "^This machine has no battery" <<<"$out" || fail "mains only"
echo "ok"
