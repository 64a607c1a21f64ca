#!/usr/bin/env bash
# The GNOME Shell extension in the real shell (X11 on Xvfb) with the real app: the network
# face shows in the top bar at the style's width (wide: 124 px) in the bar's light text colour,
# follows a style change made with `lumenstat --set`, a click opens the app's panel hanging
# under the face, and the face's right-click menu opens the app's settings window. The test helper extension closes the overview and paints a magenta
# backing behind each face, so the screenshot shows the face's box. Skips (77) with a message
# when a piece of the host is missing.
set -uo pipefail
here=$(cd "$(dirname "$0")" && pwd)
src=$(cd "$here/../.." && pwd)
. "$here/../support/host_itest.sh"
host_itest_begin "scripts/install-deps.sh installs GNOME Shell and the X tools" \
  Xvfb gnome-shell dbus-daemon glib-compile-schemas gdbus xwd xdotool xwininfo

fail() {
  echo "FAIL: $*"
  echo "--- shell log (extension lines)"; grep -i "lumenstat\|JS ERROR" "$work/shell.log" | tail -20
  echo "--- app log"; tail -20 "$work/app.log"
  exit 1
}
shot() { xwd -root -silent >"$work/$1.xwd"; }
bar() { /usr/bin/python3 "$here/top_bar.py" "$@"; }

. "$here/gnome_shell_session.sh"
export LUMENSTAT_FACE_MARKER=1
start_gnome_shell 1024x600 "$src/plugins/gnome/lumenstat@quillfern.com" \
  "$here/lumenstat-test-helper@quillfern.com" || { echo "FAIL: the shell did not start"; exit 1; }
# The app's settings live beside the shell's, in the private home.
"$app" --set app.netMenu.boxType=1 >/dev/null || fail "--set before the start"
QT_QPA_PLATFORM=xcb "$app" >"$work/app.log" 2>&1 &
pids+=("$!")

# Waits until the face's box matches: wait_face WIDTH; leaves its numbers in $face.
wait_face() {
  face=none
  local end=$((SECONDS + 20))
  while [ "$SECONDS" -lt "$end" ]; do
    shot face
    face=$(bar marker "$work/face.xwd")
    [ "$face" != none ] && [ "$(echo "$face" | cut -d' ' -f3)" = "$1" ] && return 0
    sleep 0.25
  done
  return 1
}

wait_face 124 || fail "no 124 px face in the top bar (last seen: $face)"
read -r fx fy fw fh light dark <<<"$face"
echo "wide face: ${fw}x${fh} at $fx,$fy; light ink $light px, dark ink $dark px"
/usr/bin/python3 "$src/tests/menubar/xwd_tool.py" crop "$work/face.xwd" "$work/gnome-extension-bar.png" \
  $((fx - 40)) 0 $((fw + 80)) 40
[ "$fh" = 22 ] || fail "the face is $fh px high, not 22"
[ "$light" -ge 40 ] || fail "the face carries no light ink ($light px)"
[ "$dark" -le $((light / 10)) ] || fail "the face draws dark ink on the dark bar ($dark px)"

"$app" --set app.netMenu.boxType=0 >/dev/null || fail "--set while running"
wait_face 48 || fail "the face did not follow the style change to 48 px (last seen: $face)"
read -r fx fy fw fh light dark <<<"$face"
echo "compact face: ${fw}x${fh} at $fx,$fy"

# A click asks the app to open its panel under the face.
cx=$((fx + fw / 2)) bottom=$((fy + fh))
xdotool mousemove "$cx" $((fy + fh / 2)) click 1
panel=""
for _ in $(seq 40); do
  panel=$(xdotool search --onlyvisible --name "^Lumenstat panel$" 2>/dev/null | head -1)
  [ -n "$panel" ] && break
  sleep 0.25
done
[ -n "$panel" ] || fail "no panel window after the click"
sleep 0.5
geometry=$(xwininfo -id "$panel")
px=$(awk '/Absolute upper-left X/ {print $4}' <<<"$geometry")
py=$(awk '/Absolute upper-left Y/ {print $4}' <<<"$geometry")
pw=$(awk '/Width:/ {print $2}' <<<"$geometry")
echo "panel: x $px, y $py, width $pw; face centre $cx, bar row $bottom"
[ "$px" -le "$cx" ] && [ $((px + pw)) -ge "$cx" ] || fail "the panel does not hang under the face"
[ "$py" -ge $((bottom - 2)) ] && [ "$py" -le $((bottom + 16)) ] || fail "the panel's top ($py) is not at the bar's lower edge"

# A right click shows the face's menu; its one entry opens the app's settings window.
xdotool key Escape
sleep 0.5
xdotool mousemove "$cx" $((fy + fh / 2)) click 3
sleep 0.7
xdotool mousemove "$cx" $((bottom + 22)) click 1
settings=""
for _ in $(seq 40); do
  settings=$(xdotool search --onlyvisible --name "^Settings$" 2>/dev/null | head -1)
  [ -n "$settings" ] && break
  sleep 0.25
done
[ -n "$settings" ] || fail "no settings window after the face menu's entry"
echo "PASS"
