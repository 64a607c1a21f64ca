#!/usr/bin/env bash
# The GNOME Shell extension in the real shell (X11 on Xvfb) with the real app over a fixture
# laptop with all items on: the network face shows in the top bar at the style's width (wide:
# 124 px) in the bar's light text colour with the battery, CPU and storage faces beside it,
# each at the width the app renders it; the network face follows a style change made with
# `lumenstat --set`, a click opens the app's panel hanging under the face, a click on the
# battery face opens the battery panel and a second one closes it, and the face's right-click
# menu opens the app's settings window. The test helper extension closes the overview and
# paints a magenta backing behind each face, so the screenshot shows the faces' boxes.
# Skips (77) with a message when a piece of the host is missing.
set -uo pipefail
here=$(cd "$(dirname "$0")" && pwd)
src=$(cd "$here/../.." && pwd)
. "$here/../support/host_itest.sh"
host_itest_begin "scripts/install-deps.sh installs GNOME Shell and the X tools" \
  Xvfb gnome-shell dbus-daemon glib-compile-schemas gdbus xwd xdotool xwininfo

. "$here/gnome_shell_session.sh"
. "$here/faces.sh"
fail() {
  local last
  last=$(ls -t "$work"/*.xwd 2>/dev/null | head -n1)
  if [ -n "$last" ]; then
    /usr/bin/python3 "$src/tests/menubar/xwd_tool.py" png "$last" "$work/gnome-failed.png" 40
    echo "--- faces in the bar (x y width height light dark)"; bar markers "$last"
  fi
  gnome_fail "lumenstat\|JS ERROR" "$*"
}
export LUMENSTAT_FACE_MARKER=1
start_gnome_shell 1024x600 "$src/plugins/gnome/lumenstat@quillfern.com" \
  "$here/lumenstat-test-helper@quillfern.com" || { echo "FAIL: the shell did not start"; exit 1; }
# The app's settings live beside the shell's, in the private home: the wide network style.
host_items_profile "$XDG_CONFIG_HOME" '"app.netMenu.boxType": 1'
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

# The faces' widths as the app renders them (the top bar is 22 px or more high).
kinds=(network battery cpu storage)
declare -A width
for kind in "${kinds[@]}"; do
  width[$kind]=$(face_width "$kind" 22 0xffffffff)
  [ -n "${width[$kind]}" ] || fail "the app renders no $kind face"
done
echo "the app renders the faces ${width[network]}, ${width[battery]}, ${width[cpu]} and ${width[storage]} px wide"

wait_face 124 || fail "no 124 px face in the top bar (last seen: $face)"
read -r fx fy fw fh light dark <<<"$face"
echo "wide face: ${fw}x${fh} at $fx,$fy; light ink $light px, dark ink $dark px"
crop face extension-bar $((fx - 40)) 0 $((fw + 80)) 40
[ "$fh" = 22 ] || fail "the face is $fh px high, not 22"
[ "$light" -ge 40 ] || fail "the face carries no light ink ($light px)"
[ "$dark" -le $((light / 10)) ] || fail "the face draws dark ink on the dark bar ($dark px)"

# The battery, CPU and storage faces follow the network face, each as wide as the app
# renders it, in the bar's light ink.
boxes=()
for _ in $(seq 40); do
  shot faces
  mapfile -t boxes < <(bar markers "$work/faces.xwd")
  [ "${#boxes[@]}" -eq 4 ] && break
  sleep 0.25
done
[ "${#boxes[@]}" -eq 4 ] || fail "${#boxes[@]} faces in the top bar, not 4"
for i in "${!kinds[@]}"; do
  kind=${kinds[$i]}
  read -r x y w h light dark <<<"${boxes[$i]}"
  echo "$kind face: ${w}x$h at $x,$y; light ink $light px, dark ink $dark px"
  [ "$w" = "${width[$kind]}" ] && [ "$h" = 22 ] ||
    fail "face $((i + 1)) is ${w}x$h, not the $kind face's ${width[$kind]}x22"
  [ "$light" -ge 20 ] || fail "the $kind face carries no light ink ($light px)"
  [ "$dark" -le $((light / 10)) ] || fail "the $kind face draws dark ink on the dark bar ($dark px)"
done
# The bar as a user sees it: the helper (and its magenta) off for one screenshot.
helper() {
  gdbus call --session -d org.gnome.Shell -o /org/gnome/Shell \
    -m "org.gnome.Shell.Extensions.${1}Extension" lumenstat-test-helper@quillfern.com >/dev/null
}
helper Disable && sleep 0.5 && shot plain && helper Enable || fail "the test helper did not switch off and on"
# (Without the backing the buttons move a little to the right: the bar's right end.)
read -r first _ <<<"${boxes[0]}"
crop plain items-bar $((first - 16)) 0 $((1024 - first + 16)) 32

"$app" --set app.netMenu.boxType=0 >/dev/null || fail "--set while running"
wait_face 48 || fail "the face did not follow the style change to 48 px (last seen: $face)"
read -r fx fy fw fh light dark <<<"$face"
echo "compact face: ${fw}x${fh} at $fx,$fy"

# A click asks the app to open its panel under the face.
cx=$((fx + fw / 2)) bottom=$((fy + fh))
xdotool mousemove "$cx" $((fy + fh / 2)) click 1
wait_app_panel shown || fail "no panel window after the click"
sleep 0.5
read -r px py pw _ <<<"$(app_panel)"
echo "panel: x $px, y $py, width $pw; face centre $cx, bar row $bottom"
[ "$px" -le "$cx" ] && [ $((px + pw)) -ge "$cx" ] || fail "the panel does not hang under the face"
[ "$py" -ge $((bottom - 2)) ] && [ "$py" -le $((bottom + 16)) ] || fail "the panel's top ($py) is not at the bar's lower edge"
xdotool key Escape
wait_app_panel hidden || fail "Escape did not close the app's panel"

# The battery face (moved left with the narrower network face): the battery panel, 304 x 528
# px, hangs under it; a second click closes it.
shot faces
mapfile -t boxes < <(bar markers "$work/faces.xwd")
read -r bx by bw bh _ <<<"${boxes[1]}"
[ "$bw" = "${width[battery]}" ] || fail "the second face is $bw px wide, not the battery face"
xdotool mousemove $((bx + bw / 2)) $((by + bh / 2)) click 1
wait_app_panel shown || fail "a click on the battery face did not open a panel"
sleep 0.5
read -r px py pw ph <<<"$(app_panel)"
echo "battery panel: ${pw}x$ph at $px,$py; face centre $((bx + bw / 2))"
[ "$pw" -eq 304 ] && [ "$ph" -eq 528 ] || fail "the battery face opened a ${pw}x$ph panel, not the battery panel"
[ "$px" -le $((bx + bw / 2)) ] && [ $((px + pw)) -ge $((bx + bw / 2)) ] &&
  [ "$py" -ge $((by + bh - 2)) ] && [ "$py" -le $((by + bh + 16)) ] ||
  fail "the battery panel does not hang under the battery face"
shot battery
crop battery battery-panel $((px - 16)) 0 $((pw + 32)) $((py + ph + 16))
xdotool mousemove $((bx + bw / 2)) $((by + bh / 2)) click 1
wait_app_panel hidden || fail "a second click on the battery face did not close the battery panel"

# A right click shows the face's menu; its one entry opens the app's settings window.
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
