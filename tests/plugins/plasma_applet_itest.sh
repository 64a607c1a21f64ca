#!/usr/bin/env bash
# The network applet in a real Plasma 5 panel: plasmoidviewer with a panel containment along
# the top, running the applet package and QML plug-in from the build, and the app from the
# build on the same private session bus, under Xvfb. The applet shows nothing until the app
# comes; then the wide style's face, exactly as wide as the app renders it, with ink in the
# Breeze text colour; it takes the new width after a style change; a click calls ShowPanel
# from the applet's bottom centre and the app's panel opens there.
# LUMENSTAT_KEEP_SCREENSHOT=DIR keeps the screenshots, LUMENSTAT_TEST_DISPLAY=N picks the
# Xvfb display (a free one otherwise). Skips (77) when the Plasma host is missing.
set -uo pipefail
here=$(cd "$(dirname "$0")" && pwd)
export XWD_TOOL_DIR="$here/../menubar"
app=${LUMENSTAT_BINARY:-}
for tool in Xvfb plasmoidviewer dbus-daemon dbus-monitor xwd xwininfo xdotool gdbus; do
  if ! command -v "$tool" >/dev/null; then
    echo "SKIP: $tool is not installed (scripts/install-deps.sh installs the Plasma host)"
    exit 77
  fi
done
if [ -z "$app" ] || [ ! -x "$app" ]; then
  echo "SKIP: LUMENSTAT_BINARY is not set to the built app"; exit 77
fi
build=$(dirname "$app")/plugins/plasma
package="$build/plasmoids/com.quillfern.lumenstat.network"
if ! ls "$build"/qml/com/quillfern/lumenstat/face/*.so >/dev/null 2>&1; then
  echo "SKIP: the Plasma applet was not built (qtdeclarative5-dev and libkf5plasma-dev missing)"
  exit 77
fi

work=$(mktemp -d)
pids=()
cleanup() {
  for p in "${pids[@]}"; do kill "$p" 2>/dev/null; done
  for p in "${pids[@]}"; do
    for _ in $(seq 30); do kill -0 "$p" 2>/dev/null || break; sleep 0.1; done
    kill -9 "$p" 2>/dev/null
  done
  [ -n "${LUMENSTAT_KEEP_SCREENSHOT:-}" ] && cp "$work"/*.png "$LUMENSTAT_KEEP_SCREENSHOT"/ 2>/dev/null
  rm -rf "$work"
}
trap cleanup EXIT
fail() {
  echo "FAIL: $*"
  echo "--- app log"; tail -n 20 "$work/app.log" 2>/dev/null
  echo "--- plasmoidviewer log"; grep -v '^$' "$work/viewer.log" | tail -n 20
  exit 1
}

export HOME="$work/home" XDG_RUNTIME_DIR="$work/run"
export XDG_CONFIG_HOME="$HOME/.config" XDG_DATA_HOME="$HOME/.local/share" XDG_CACHE_HOME="$HOME/.cache"
mkdir -p "$XDG_CONFIG_HOME/lumenstat" "$XDG_DATA_HOME" "$XDG_CACHE_HOME" "$XDG_RUNTIME_DIR"
chmod 700 "$XDG_RUNTIME_DIR"
# The wide style (124 px); the floating window of a first start stays out of this test.
echo '{"ASDidInitSettings": true, "com.quillfern.lumenstat.welcome": true,
  "app.netMenu.boxType": 1}' >"$XDG_CONFIG_HOME/lumenstat/settings.json"

if [ -n "${LUMENSTAT_TEST_DISPLAY:-}" ]; then
  display=$LUMENSTAT_TEST_DISPLAY
  Xvfb ":$display" -screen 0 1280x800x24 -nolisten tcp >"$work/xvfb.log" 2>&1 &
  pids+=($!)
  for _ in $(seq 50); do xwininfo -display ":$display" -root >/dev/null 2>&1 && break; sleep 0.1; done
else
  exec {dfd}<> <(:)
  Xvfb -displayfd "$dfd" -screen 0 1280x800x24 -nolisten tcp >"$work/xvfb.log" 2>&1 &
  pids+=($!)
  display=""
  for _ in $(seq 50); do read -r -t 0.2 -u "$dfd" display && break; done
fi
if [ -z "$display" ] || ! xwininfo -display ":$display" -root >/dev/null 2>&1; then
  echo "FAIL: Xvfb did not start"; cat "$work/xvfb.log"; exit 1
fi
export DISPLAY=":$display" QT_QPA_PLATFORM=xcb
eval "$(dbus-daemon --session --fork --print-address=1 --print-pid=1 |
  { read -r addr; read -r pid; echo "export DBUS_SESSION_BUS_ADDRESS='$addr'; bus_pid=$pid"; })"
pids+=("$bus_pid")
dbus-monitor --session "type='method_call',interface='com.quillfern.Lumenstat',member='ShowPanel'" \
  >"$work/monitor.log" 2>&1 &
pids+=($!)

# The applet first (it waits for the app), in an 800x48 panel window at (200, 100).
wx=200 wy=100
QML2_IMPORT_PATH="$build/qml" plasmoidviewer -c org.kde.panel -f horizontal -l topedge \
  -x $wx -y $wy -s 800x48 -a "$package" >"$work/viewer.log" 2>&1 &
pids+=($!)
win=""
for _ in $(seq 50); do
  win=$(xwininfo -root -tree | awk '/"Plasmoidviewer": \("plasmoidviewer"/ && / 800x48\+/ {print $1; exit}')
  [ -n "$win" ] && break
  sleep 0.1
done
[ -n "$win" ] || fail "no plasmoidviewer window"

# plasmoidviewer's toolbar covers the middle of its panel; the applet sits at the left end.
area=190
# Breeze's text colour, #232629, on plasmoidviewer's black (it draws no panel background).
# ink NAME: "count left right" of the pixels in that colour in the applet's area (screen x).
ink() {
  xwd -id "$win" -silent >"$work/$1.xwd"
  /usr/bin/python3 - "$work/$1.xwd" "$area" "$wx" <<'PY'
import os, sys
sys.path.insert(0, os.environ["XWD_TOOL_DIR"])
from xwd_tool import read_xwd
_w, _h, rows = read_xwd(sys.argv[1])
area, wx = int(sys.argv[2]), int(sys.argv[3])
xs = [x for row in rows for x, px in enumerate(row[:area]) if px == (0x23, 0x26, 0x29)]
print(len(xs), wx + min(xs, default=0), wx + max(xs, default=0))
PY
}
png() { /usr/bin/python3 "$XWD_TOOL_DIR/xwd_tool.py" crop "$work/$1.xwd" "$work/$2" 0 0 "$area" 48; }
rendered_width() { # the face's width as the app renders it for a panel of 22 px or more
  gdbus call --session -d com.quillfern.Lumenstat -o / -m com.quillfern.Lumenstat.Face.Render \
    network 22 1.0 0xff232629 | sed -n 's/^(\([0-9]*\),.*/\1/p'
}
click() { # click X: prints "x y edge" of the ShowPanel call it caused
  local calls
  calls=$(grep -c 'member=ShowPanel' "$work/monitor.log")
  xdotool mousemove "$1" $((wy + 24)) click 1
  for _ in $(seq 50); do
    [ "$(grep -c 'member=ShowPanel' "$work/monitor.log")" -gt "$calls" ] && break
    sleep 0.1
  done
  sleep 0.1
  awk -v n=$((calls + 1)) '/member=ShowPanel/ {c++} c == n && /^ +(int32|string)/ {print $2}' \
    "$work/monitor.log" | tr -d '"' | tr '\n' ' '
}
panel_geometry() { # "x y" of the app's mapped panel window, nothing when it is not shown
  local id
  id=$(xwininfo -root -tree | awk '/"Lumenstat panel"/ {print $1; exit}')
  [ -n "$id" ] || return 0
  xwininfo -id "$id" | awk '/Absolute upper-left X/ {x=$NF} /Absolute upper-left Y/ {y=$NF}
    /Map State: IsViewable/ {v=1} END { if (v) print x, y }'
}
wait_panel() { # wait_panel shown|hidden
  for _ in $(seq 80); do
    g=$(panel_geometry)
    { [ "$1" = shown ] && [ -n "$g" ]; } || { [ "$1" = hidden ] && [ -z "$g" ]; } && return 0
    sleep 0.1
  done
  return 1
}

sleep 4
read -r count _ <<<"$(ink absent)"
echo "ink while the app is absent: $count"
[ "$count" -eq 0 ] || fail "the applet shows something while the app is absent"

"$app" >"$work/app.log" 2>&1 &
pids+=($!)
for _ in $(seq 40); do
  read -r count _ <<<"$(ink wide)"
  [ "$count" -gt 0 ] && break
  sleep 0.25
done
[ "$count" -gt 0 ] || fail "no face once the app runs"
sleep 1.2 # a tick of live data
read -r count left right <<<"$(ink wide)"
png wide plasma-wide.png
width=$(rendered_width)
echo "wide style: $count ink pixels in x $left..$right; the app renders it ${width} px wide"
[ "$count" -ge 20 ] || fail "the face has too little ink in the text colour ($count pixels)"
[ "$width" = 124 ] || fail "the wide style renders ${width:-no} px wide, not 124"

# A click on the face: ShowPanel from the applet's bottom centre; the panel opens there.
read -r x y edge <<<"$(click $(((left + right) / 2)))"
echo "ShowPanel($x, $y, $edge)"
[ "$edge" = top ] || fail "ShowPanel got edge '$edge', not top"
# The applet spans [x - 124/2, x + 124/2], inside the panel's left end, holding all the ink.
applet_left=$((x - width / 2))
[ "$applet_left" -ge "$wx" ] && [ "$applet_left" -le $((wx + 8)) ] ||
  fail "the applet starts at $applet_left, not at the panel's left end ($wx)"
[ "$left" -ge "$applet_left" ] && [ "$right" -lt $((applet_left + width)) ] ||
  fail "ink at $left..$right outside the applet's $applet_left..$((applet_left + width))"
[ "$y" -gt $((wy + 24)) ] && [ "$y" -le $((wy + 48)) ] || fail "ShowPanel y $y is not the applet's bottom"
wait_panel shown || fail "the click did not open the app's panel"
read -r px py <<<"$(panel_geometry)"
echo "the app's panel at $px,$py"
[ "$px" -eq $((x - 152)) ] && [ "$py" -eq "$y" ] || fail "the panel is at $px,$py, not under the applet"
xdotool mousemove 900 600 click 1
wait_panel hidden || fail "a click elsewhere did not close the app's panel"

# Another style: the applet takes its width (the centre moves by half the difference).
"$app" --set app.netMenu.boxType=0 >/dev/null 2>&1 || fail "--set failed"
for _ in $(seq 30); do
  read -r count left2 right2 <<<"$(ink compact)"
  [ "$count" -gt 0 ] && [ "$right2" -lt $((right - 10)) ] && break
  sleep 0.2
done
png compact plasma-compact.png
width2=$(rendered_width)
echo "compact style: $count ink pixels in x $left2..$right2; the app renders it ${width2} px wide"
[ "$count" -gt 0 ] && [ "$right2" -lt $((right - 10)) ] || fail "the face did not follow the style change"
read -r x2 _ <<<"$(click $(((left2 + right2) / 2)))"
echo "ShowPanel($x2, ...)"
[ $((2 * (x - x2))) -ge $((width - width2 - 1)) ] && [ $((2 * (x - x2))) -le $((width - width2 + 1)) ] ||
  fail "the applet did not take the new width: centre $x -> $x2 for $width -> $width2 px"
echo "PASS"
