#!/usr/bin/env bash
# Idle cost of Lumenstat as multiples of the floor program (bench/floor.cpp: wake once a
# second, read /proc/net/dev, print a line), each measured side by side with a floor process
# in the same window, so the machine's load affects both alike.
#
#   bench/idle.sh BUILD [SECONDS]
#
# 1. the headless monitor (`lumenstat --monitor`)          budget: 1.3x the floor
# 2. the tray app in xfce4-panel under Xvfb, the panel's     budget: 2x the floor,
#    (and X server's) extra CPU while the app runs included          RSS <= 30 MB
# 3. the desktop with the xfce4-panel plug-in showing the     budget: 2.5x the floor
#    face: the app plus the whole desktop's extra
# CPU time is the scheduler's exact run time of every thread (/proc/PID/task/*/schedstat),
# taken after start-up has settled.
set -uo pipefail
BUILD=${1:-build}
WINDOW=${2:-60}
app=$(cd "$BUILD" && pwd)/lumenstat
floor=$(cd "$BUILD" && pwd)/bench/lumenstat_floor
for f in "$app" "$floor"; do
  [ -x "$f" ] || { echo "idle: $f is not built" >&2; exit 1; }
done

. "$(dirname "$0")/idle_lib.sh"
export XDG_CONFIG_HOME="$work/config" XDG_DATA_HOME="$work/data" XDG_RUNTIME_DIR="$work/run"
export XDG_CACHE_HOME="$work/cache" HOME="$work/home"
mkdir -p "$XDG_CONFIG_HOME" "$XDG_DATA_HOME" "$XDG_RUNTIME_DIR" "$XDG_CACHE_HOME" "$HOME"
chmod 700 "$XDG_RUNTIME_DIR"

# --- 1. headless monitor ------------------------------------------------------------------
echo "== headless monitor beside the floor, ${WINDOW} s after start-up"
DBUS_SESSION_BUS_ADDRESS=disabled: "$app" --monitor >/dev/null 2>"$work/monitor.err" &
mon=$!; pids+=("$mon")
"$floor" >/dev/null &
fl=$!; pids+=("$fl")
# Settled: a new profile's first-run defaults and totals reach disk once, 5 s after start
# (writes are debounced), on a thread that ends its work then.
sleep 8
m0=$(run_ns "$mon"); f0=$(run_ns "$fl")
sleep "$WINDOW"
m1=$(run_ns "$mon"); f1=$(run_ns "$fl")
mrss=$(rss_mb "$mon")
kill "$mon" "$fl"; wait "$mon" "$fl" 2>/dev/null
mcpu=$((m1 - m0)); fcpu=$((f1 - f0))
echo "floor   $(ms $fcpu) ms"
echo "monitor $(ms $mcpu) ms, RSS $mrss MB: $(ratio $mcpu $fcpu)x the floor (budget 1.3x)"

# --- 2. tray app in xfce4-panel -----------------------------------------------------------
for tool in Xvfb xfce4-panel xfconf-query dbus-daemon; do
  command -v "$tool" >/dev/null || { echo "== tray app: skipped, $tool is not installed"; exit 0; }
done
echo "== tray app in xfce4-panel under Xvfb beside the floor, ${WINDOW} s after start-up"
. "$(dirname "$0")/../tests/menubar/xfce_panel_session.sh"
start_xfce_panel 800 || exit 1
sleep 1
panel=$panel_pid; xvfb=$xvfb_pid
# The host: the panel with its plug-in processes, the X server, the bus and xfconfd, fixed
# once so both windows sum the same processes.
hostpids="$panel $xvfb $bus_pid $(pgrep -f xfconfd | tr '\n' ' ') $(pgrep -P "$panel" | tr '\n' ' ')"
host() { echo "$hostpids"; }
# The host alone, beside a floor process.
"$floor" >/dev/null &
fl=$!; pids+=("$fl")
sleep 2
h0=$(run_ns $(host)); f0=$(run_ns "$fl")
sleep "$WINDOW"
h1=$(run_ns $(host)); f1=$(run_ns "$fl")
# Threads that end between the two readings take their run time with them, so a window can
# read slightly negative for the nearly idle host; it counts as zero.
idle_host=$((h1 - h0)); idle_floor=$((f1 - f0))
[ "$idle_host" -lt 0 ] && idle_host=0
# The host with the app, past its first run and without the floating window (measured on its
# own below); its panel opened once and closed again, which must cost nothing afterwards.
mkdir -p "$XDG_CONFIG_HOME/lumenstat"
echo '{"ASDidInitSettings": true, "com.quillfern.lumenstat.welcome": true}' \
  >"$XDG_CONFIG_HOME/lumenstat/settings.json"
QT_QPA_PLATFORM=xcb "$app" >"$work/app.log" 2>&1 &
tray=$!; pids+=("$tray")
sleep 5
panel_click() {
  gdbus call --session --dest com.quillfern.Lumenstat --object-path / \
    --method com.quillfern.Lumenstat.ShowPanel 400 28 top >/dev/null
}
panel_click; sleep 2; panel_click
sleep 3
a0=$(run_ns "$tray"); h0=$(run_ns $(host)); f0=$(run_ns "$fl")
sleep "$WINDOW"
a1=$(run_ns "$tray"); h1=$(run_ns $(host)); f1=$(run_ns "$fl")
trss=$(rss_mb "$tray")
acpu=$((a1 - a0)); hcpu=$((h1 - h0)); fcpu=$((f1 - f0))
[ "$hcpu" -lt 0 ] && hcpu=0
# The host's extra: its CPU with the app minus its CPU without, scaled by the floors so the
# two windows compare at the same machine speed.
extra=$(python3 -c "import sys; h, hi, f, fi = map(int, sys.argv[1:]); print(max(0, int(h - hi * (f / fi if fi else 1))))" \
  "$hcpu" "$idle_host" "$fcpu" "$idle_floor")
echo "floor   $(ms $fcpu) ms"
echo "tray app $(ms $acpu) ms, host's extra $(ms $extra) ms (host alone $(ms $idle_host) ms), RSS $trss MB"
echo "tray app with its host's extra: $(ratio $((acpu + extra)) $fcpu)x the floor (budget 2x; RSS budget 30 MB)"

# The floating window open (the first-run default): a visible window that redraws every
# second and eases its two curves. Reported beside the floor, no budget.
"$app" --set app.settings.wantsFloatWindow=true >/dev/null
sleep 3
a0=$(run_ns "$tray"); h0=$(run_ns $(host)); f0=$(run_ns "$fl")
sleep "$WINDOW"
a1=$(run_ns "$tray"); h1=$(run_ns $(host)); f1=$(run_ns "$fl")
acpu=$((a1 - a0)); fcpu=$((f1 - f0)); hcpu=$((h1 - h0))
echo "tray app with the floating window open: $(ms $acpu) ms, $(ratio "$acpu" "$fcpu")x the floor (X server and host: $(ms $hcpu) ms), RSS $(rss_mb "$tray") MB"

# --- 3. the desktop with the xfce4-panel plug-in --------------------------------------------
# The whole desktop (X server, bus, xfconfd, panel and its plug-in process) with the network
# plug-in showing the wide style, without and with the app; the app's cost plus the host's
# extra against the floor.                                           budget: 2.5x the floor
plugins=$(cd "$BUILD" && pwd)/plugins/xfce
if [ ! -f "$plugins/lib/liblumenstat-network.so" ]; then
  echo "== desktop with the plug-in: skipped, the xfce4-panel plug-in is not built"; exit 0
fi
kill "$tray" "$panel" "$xvfb" "$bus_pid" 2>/dev/null
wait "$tray" 2>/dev/null
sleep 1
echo "== desktop with the xfce4-panel plug-in under Xvfb beside the floor, ${WINDOW} s each"
panel_plugins=(separator lumenstat-network systray)
use_built_plugin "$plugins" network || exit 1
start_xfce_panel 800 || exit 1
sleep 1
panel=$panel_pid; xvfb=$xvfb_pid
hostpids="$panel $xvfb $bus_pid $(pgrep -f xfconfd | tr '\n' ' ') $(pgrep -P "$panel" | tr '\n' ' ')"
"$app" --set app.netMenu.boxType=1 >/dev/null && "$app" --set app.settings.wantsFloatWindow=false >/dev/null
h0=$(run_ns $(host)); f0=$(run_ns "$fl")
sleep "$WINDOW"
h1=$(run_ns $(host)); f1=$(run_ns "$fl")
idle_host=$((h1 - h0)); idle_floor=$((f1 - f0))
[ "$idle_host" -lt 0 ] && idle_host=0
QT_QPA_PLATFORM=xcb "$app" >"$work/app3.log" 2>&1 &
tray=$!; pids+=("$tray")
sleep 5
# The plug-in process may have been restarted by the panel: take the host's processes again.
hostpids="$panel $xvfb $bus_pid $(pgrep -f xfconfd | tr '\n' ' ') $(pgrep -P "$panel" | tr '\n' ' ')"
a0=$(run_ns "$tray"); h0=$(run_ns $(host)); f0=$(run_ns "$fl")
sleep "$WINDOW"
a1=$(run_ns "$tray"); h1=$(run_ns $(host)); f1=$(run_ns "$fl")
acpu=$((a1 - a0)); hcpu=$((h1 - h0)); fcpu=$((f1 - f0))
[ "$hcpu" -lt 0 ] && hcpu=0
extra=$(python3 -c "import sys; h, hi, f, fi = map(int, sys.argv[1:]); print(max(0, int(h - hi * (f / fi if fi else 1))))" \
  "$hcpu" "$idle_host" "$fcpu" "$idle_floor")
echo "floor   $(ms $fcpu) ms"
echo "app $(ms $acpu) ms, desktop's extra $(ms $extra) ms (desktop alone $(ms $idle_host) ms), app RSS $(rss_mb "$tray") MB"
echo "app with the plug-in desktop's extra: $(ratio $((acpu + extra)) $fcpu)x the floor (budget 2.5x)"
