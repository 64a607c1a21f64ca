#!/bin/bash
# `lumenstat --battery` against fixture power_supply trees.
set -u
bin=${LUMENSTAT_BINARY:?}
src=${LUMENSTAT_SOURCE_DIR:?}
fixtures="$src/tests/fixtures/power_supply"
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
export XDG_CONFIG_HOME="$work/config" XDG_DATA_HOME="$work/data"
run() { out=$(LUMENSTAT_SYSFS_ROOT="$1" "$bin" --battery 2>&1); rc=$?; }
fail() { echo "FAIL: $*"; echo "$out"; exit 1; }
has() { grep -q -- "$1" <<<"$out" || fail "$1"; }

run "$fixtures/laptop_discharging"
if grep -q "not part of this build" <<<"$out"; then
    echo "--battery is not wired into this build yet"
    exit 77
fi
[ $rc -eq 0 ] || fail "exit code $rc"
for line in "cycleCount: 123" "currentCapacity: 1906" "temperature: 30.1" "power: -18" \
    "percentage: 50%" "state: on battery"; do
    has "^$line$"
done
has ": 01:16$"
has "(no entries yet)"

run "$fixtures/laptop_charging"
has "^state: charging on external power$"

# Garbage attributes and control characters: a clean report, no abort.
run "$fixtures/hostile_values"
[ $rc -eq 0 ] || fail "exit code $rc on hostile values"
has "^model: ModelX$"
has "^serial: SN\[31m42$"
has "^manufacturer: Acme$"
has "^cycleCount: 0$"
LC_ALL=C grep -q $'[\x01-\x08\x0b-\x1f\x7f]' <<<"$out" && fail "control characters printed"

# Two batteries are one: 46.4 of 93 Wh.
run "$fixtures/two_batteries"
has "^percentage: 50%$"

# A stored health log entry is printed with its health.
mkdir -p "$work/config/lumenstat"
cat >"$work/config/lumenstat/group.json" <<'JSON'
{"app.batteryHealth.data": [{"date": "2025-03-20", "cycle": 120, "fullCapacity": 3812, "maxCapacity": 4382}]}
JSON
run "$fixtures/laptop_full"
has "^state: fully charged on external power$"
has "2025-03-20  cycles 120  full 3812 mAh  design 4382 mAh  87.0%"

mkdir -p "$work/empty/class/power_supply"
for root in "$work/empty" "$fixtures/desktop_mains"; do
    run "$root"
    [ $rc -eq 0 ] || fail "exit code $rc without a battery ($root)"
    has "^This machine has no battery"
    grep -q "cycleCount" <<<"$out" && fail "report printed without a battery"
done
echo "ok"
