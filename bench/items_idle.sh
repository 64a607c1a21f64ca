#!/usr/bin/env bash
# Idle cost of the tray app with all four status items (network, battery, CPU, storage) on
# and their panels closed, against the network item alone, in xfce4-panel's tray under Xvfb
# on a fixture laptop. Each run is measured beside a floor process (bench/floor.cpp) in the
# same window, and the two runs compare as multiples of their floors, so the machine's load
# affects both alike.
#
#   bench/items_idle.sh BUILD [SECONDS]                    budget: at most 1.5x
#
# Only the app's own run time counts (every thread, /proc/PID/task/*/schedstat), taken after
# start-up has settled; LUMENSTAT_XVFB_DISPLAY picks the display number.
set -uo pipefail
BUILD=${1:-build}
WINDOW=${2:-60}
here=$(cd "$(dirname "$0")" && pwd)
app=$(cd "$BUILD" && pwd)/lumenstat
floor=$(cd "$BUILD" && pwd)/bench/lumenstat_floor
for f in "$app" "$floor"; do
  [ -x "$f" ] || { echo "items_idle: $f is not built" >&2; exit 1; }
done
for tool in Xvfb xfce4-panel xfconf-query dbus-daemon; do
  command -v "$tool" >/dev/null || { echo "items_idle: skipped, $tool is not installed"; exit 0; }
done
. "$here/idle_lib.sh"

export HOME="$work/home"
mkdir -p "$HOME"
. "$here/../tests/menubar/xfce_panel_session.sh"
start_xfce_panel 800 || exit 1
export LUMENSTAT_SYSFS_ROOT="$here/../tests/fixtures/power_supply/laptop_discharging"
mkdir -p "$XDG_CONFIG_HOME/lumenstat"
"$floor" >/dev/null &
fl=$!; pids+=("$fl")

# measure ITEMS: the app's and the floor's run time over the window, "app floor" in ns.
measure() {
  local on=$1
  cat >"$XDG_CONFIG_HOME/lumenstat/settings.json" <<JSON
{"ASDidInitSettings": true, "com.quillfern.lumenstat.welcome": true,
 "app.settings.wantsFloatWindow": false,
 "WantsBatteryStatusInMenuBar": $on, "app.settings.menuBar.showsBatteryPercentage": $on,
 "WantsCPUUsageInMenuBar": $on, "app.settings.menuBar.showsStorageUsage": $on}
JSON
  QT_QPA_PLATFORM=xcb "$app" >>"$work/app.log" 2>&1 &
  local tray=$!
  pids+=("$tray")
  sleep 6
  local a0 f0 a1 f1
  a0=$(run_ns "$tray"); f0=$(run_ns "$fl")
  sleep "$WINDOW"
  a1=$(run_ns "$tray"); f1=$(run_ns "$fl")
  echo "$((a1 - a0)) $((f1 - f0)) $(rss_mb "$tray")"
  kill "$tray"; wait "$tray" 2>/dev/null
  sleep 1
}

echo "== the network item alone, ${WINDOW} s after start-up"
read -r one onefloor onerss <<<"$(measure false)"
echo "app $(ms "$one") ms beside a floor of $(ms "$onefloor") ms ($(ratio "$one" "$onefloor")x), RSS $onerss MB"
echo "== all four items, ${WINDOW} s after start-up"
read -r four fourfloor fourrss <<<"$(measure true)"
echo "app $(ms "$four") ms beside a floor of $(ms "$fourfloor") ms ($(ratio "$four" "$fourfloor")x), RSS $fourrss MB"
python3 -c "
import sys
one, of, four, ff = map(int, sys.argv[1:])
r = (four / ff) / (one / of)
print(f'all four items: {r:.2f}x the network item alone (budget 1.5x)')
sys.exit(0 if r <= 1.5 else 1)" "$one" "$onefloor" "$four" "$fourfloor"
