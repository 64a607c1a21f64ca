#!/bin/bash
# `lumenstat --battery` against fixture power_supply trees.
set -u
fixtures="${LUMENSTAT_SOURCE_DIR:?}/tests/fixtures/power_supply"
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
export XDG_CONFIG_HOME="$work/config" XDG_DATA_HOME="$work/data"
fail() { echo "FAIL: $*"; echo "$out"; exit 1; }
# run ROOT LINE...: every LINE (a grep pattern) must be in the report, which must exit 0.
run() {
    out=$(LUMENSTAT_SYSFS_ROOT="$1" "${LUMENSTAT_BINARY:?}" --battery 2>&1) || fail "exit code $?"
    shift
    for line; do grep -q -- "$line" <<<"$out" || fail "$line"; done
}

run "$fixtures/laptop_discharging" "^cycleCount: 123$" "^temperature: 30.1$" "^power: -18$" \
    "^percentage: 50%$" "^state: on battery$" ": 01:16$" "(no entries yet)"
run "$fixtures/laptop_charging" "^state: charging on external power$"

# Garbage attributes and control characters: a clean report, no abort.
run "$fixtures/hostile_values" "^model: ModelX$" "^serial: SN\[31m42$" "^manufacturer: Acme$"
LC_ALL=C grep -q $'[\x01-\x08\x0b-\x1f\x7f]' <<<"$out" && fail "control characters printed"

# A stored health log entry is printed with its health.
mkdir -p "$work/config/lumenstat" "$work/empty/class/power_supply"
cat >"$work/config/lumenstat/group.json" <<'JSON'
{"app.batteryHealth.data": [{"date": "2025-03-20", "cycle": 120, "fullCapacity": 3812, "maxCapacity": 4382}]}
JSON
run "$fixtures/laptop_full" "^state: fully charged on external power$" \
    "2025-03-20  cycles 120  full 3812 mAh  design 4382 mAh  87.0%"

for root in "$work/empty" "$fixtures/desktop_mains"; do
    run "$root" "^This machine has no battery"
    grep -q "cycleCount" <<<"$out" && fail "report printed without a battery"
done
echo "ok"
