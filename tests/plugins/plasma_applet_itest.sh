#!/usr/bin/env bash
# The four applets (network, battery, CPU, storage) in a real Plasma 5 panel: plasmoidviewer
# with a panel containment along the top, one viewer window per applet placed side by side like
# one panel, running the applet packages and QML plug-in from the build, and the app from the
# build on the same private session bus over a fixture laptop with all items on, under Xvfb.
# The applets show nothing until the app comes (nor while it does not show their item); then
# each face, exactly as wide as the app renders it, with ink in the Breeze Dark text colour;
# the network face takes the new width after a style change; a click calls ShowPanel (network)
# or ShowItemPanel (the others) from the applet's bottom centre, the app's panel opens there,
# and a second click on the battery face closes the battery panel.
# LUMENSTAT_KEEP_SCREENSHOT=DIR keeps the screenshots, LUMENSTAT_TEST_DISPLAY=N picks the
# Xvfb display (a free one otherwise). Skips (77) when the Plasma host is missing.
set -uo pipefail
here=$(cd "$(dirname "$0")" && pwd)
export XWD_TOOL_DIR="$here/../menubar"
. "$here/../support/host_itest.sh"
host_itest_begin "scripts/install-deps.sh installs the Plasma host" \
  Xvfb plasmoidviewer dbus-daemon dbus-monitor xwd xwininfo xdotool gdbus
build=$(dirname "$app")/plugins/plasma
kinds=(network battery cpu storage)
if ! ls "$build"/qml/com/quillfern/lumenstat/face/*.so >/dev/null 2>&1; then
  echo "SKIP: the Plasma applet was not built (qtdeclarative5-dev and libkf5plasma-dev missing)"
  exit 77
fi
for kind in "${kinds[@]}"; do
  [ -f "$build/plasmoids/com.quillfern.lumenstat.$kind/metadata.json" ] ||
    { echo "FAIL: no $kind applet package in $build/plasmoids"; exit 1; }
done
fail() {
  echo "FAIL: $*"
  echo "--- app log"; tail -n 20 "$work/app.log" 2>/dev/null
  echo "--- plasmoidviewer log"; cat "$work"/viewer-*.log | grep -v '^$' | tail -n 20
  exit 1
}

export HOME="$work/home" XDG_RUNTIME_DIR="$work/run"
export XDG_CONFIG_HOME="$HOME/.config" XDG_DATA_HOME="$HOME/.local/share" XDG_CACHE_HOME="$HOME/.cache"
mkdir -p "$XDG_CONFIG_HOME" "$XDG_DATA_HOME" "$XDG_CACHE_HOME" "$XDG_RUNTIME_DIR"
chmod 700 "$XDG_RUNTIME_DIR"
# The wide network style (124 px) beside the battery, CPU and storage items.
host_items_profile "$XDG_CONFIG_HOME" '"app.netMenu.boxType": 1'

host_xvfb 1600x800 || fail "Xvfb did not start"
export QT_QPA_PLATFORM=xcb
eval "$(dbus-daemon --session --fork --print-address=1 --print-pid=1 |
  { read -r addr; read -r pid; echo "export DBUS_SESSION_BUS_ADDRESS='$addr'; bus_pid=$pid"; })"
pids+=("$bus_pid")
dbus-monitor --session "type='method_call',interface='com.quillfern.Lumenstat'" \
  >"$work/monitor.log" 2>&1 &
pids+=($!)

# The applets first (they wait for the app), each in an 800x48 panel window along y = 100.
# plasmoidviewer's toolbar covers the middle of its panel and the applet sits at its left end,
# so each window is stacked over the previous one from where that one's applet ends; until
# the faces' widths are known the windows stand in slots of $area px.
wy=100 area=190
declare -A wx win visible width ink_left ink_right
for i in "${!kinds[@]}"; do
  kind=${kinds[$i]}
  wx[$kind]=$((200 + i * area))
  QML2_IMPORT_PATH="$build/qml" plasmoidviewer -c org.kde.panel -f horizontal -l topedge \
    -t breeze-dark -x "${wx[$kind]}" -y $wy -s 800x48 \
    -a "$build/plasmoids/com.quillfern.lumenstat.$kind" >"$work/viewer-$kind.log" 2>&1 &
  pids+=($!)
done
for kind in "${kinds[@]}"; do
  for _ in $(seq 100); do
    win[$kind]=$(xwininfo -root -tree 2>/dev/null |
      awk -v at="800x48+${wx[$kind]}+$wy" '/"Plasmoidviewer": \("plasmoidviewer"/ && index($0, at) {print $1; exit}')
    [ -n "${win[$kind]}" ] && break
    sleep 0.1
  done
  [ -n "${win[$kind]}" ] || fail "no plasmoidviewer window for the $kind applet"
  xdotool windowraise "${win[$kind]}"
done

# Breeze Dark's text colour, #fcfcfc (within 40 a channel), on plasmoidviewer's black (it draws
# no panel background).
# ink KIND: "count left right" of the pixels in that colour in the part of the applet's window
# that is not covered by the next one (screen x).
ink() {
  local n left right
  xwd -id "${win[$1]}" -silent >"$work/$1.xwd"
  read -r n left right <<<"$(/usr/bin/python3 "$XWD_TOOL_DIR/xwd_tool.py" span "$work/$1.xwd" \
    0 0 "${visible[$1]:-$area}" 48 fcfcfc 40)"
  echo "$n $((wx[$1] + left)) $((wx[$1] + right))"
}
. "$here/faces.sh" # the face's width as the app renders it for a panel of 22 px or more:
rendered_width() { face_width "$1" 22 0xfffcfcfc; }
click() { # click X: prints "x y edge" of the ShowPanel or ShowItemPanel call it caused
  local calls
  calls=$(grep -c 'member=Show\(Item\)\?Panel' "$work/monitor.log")
  xdotool mousemove "$1" $((wy + 24)) click 1
  for _ in $(seq 50); do
    [ "$(grep -c 'member=Show\(Item\)\?Panel' "$work/monitor.log")" -gt "$calls" ] && break
    sleep 0.1
  done
  sleep 0.1
  awk -v n=$((calls + 1)) '/^[a-z]/ {in_call = 0}
    /member=Show(Item)?Panel/ {if (++c == n) in_call = 1; next}
    in_call && /^ +int32/ {xy = xy $2 " "} in_call && /^ +string/ {edge = $2}
    END {gsub(/"/, "", edge); print xy edge}' "$work/monitor.log"
}
# click_face KIND: clicks the face's ink centre; checks that the call came from the middle of
# the applet's lower edge with the applet exactly as wide as the face. Sets x and y.
click_face() {
  local edge left
  read -r x y edge <<<"$(click $(((ink_left[$1] + ink_right[$1]) / 2)))"
  echo "$1: Show(Item)Panel($x, $y, $edge)"
  [ "$edge" = top ] || fail "the $1 applet called with edge '$edge', not top"
  # The applet spans [x - width/2, x + width/2] at its panel's left end, the same padding in
  # from it in every panel (the first applet clicked sets it), and holds all the ink.
  left=$((x - width[$1] / 2))
  padding=${padding:-$((left - wx[$1]))}
  [ "$left" -ge "${wx[$1]}" ] && [ "$left" -le $((wx[$1] + 8)) ] &&
    [ $((left - wx[$1] - padding)) -ge -1 ] && [ $((left - wx[$1] - padding)) -le 1 ] ||
    fail "the $1 applet starts at $left, not $padding px into its panel (${wx[$1]}): not ${width[$1]} px wide"
  [ "${ink_left[$1]}" -ge "$left" ] && [ "${ink_right[$1]}" -lt $((left + width[$1])) ] ||
    fail "$1 ink at ${ink_left[$1]}..${ink_right[$1]} outside the applet's $left..$((left + width[$1]))"
  [ "$y" -gt $((wy + 24)) ] && [ "$y" -le $((wy + 48)) ] || fail "y $y is not the $1 applet's bottom"
}

sleep 4
for kind in "${kinds[@]}"; do
  read -r count _ <<<"$(ink "$kind")"
  [ "$count" -eq 0 ] || fail "the $kind applet shows something while the app is absent"
done
echo "no ink while the app is absent"

"$app" >"$work/app.log" 2>&1 &
pids+=($!)
wait_ink() { # wait_ink KIND on|off: waits until the applet shows ink or none
  for _ in $(seq 40); do
    read -r count _ <<<"$(ink "$1")"
    { [ "$2" = on ] && [ "$count" -gt 0 ]; } || { [ "$2" = off ] && [ "$count" -eq 0 ]; } && return 0
    sleep 0.25
  done
  return 1
}
for kind in "${kinds[@]}"; do
  wait_ink "$kind" on || fail "no $kind face once the app runs"
done
# An item the app stops showing leaves its applet empty until it is shown again.
"$app" --set WantsCPUUsageInMenuBar=false >/dev/null 2>&1 || fail "--set failed"
wait_ink cpu off || fail "the CPU applet still shows a face after the item was turned off"
"$app" --set WantsCPUUsageInMenuBar=true >/dev/null 2>&1 || fail "--set failed"
wait_ink cpu on || fail "the CPU applet shows no face after the item was turned on again"
echo "the CPU applet empties while its item is off and shows it again"

# The widths the app renders; the windows move so that the applets sit side by side, 12 px
# apart, as in a panel.
next=${wx[network]}
for kind in "${kinds[@]}"; do
  width[$kind]=$(rendered_width "$kind")
  [ -n "${width[$kind]}" ] || fail "the app renders no $kind face"
  wx[$kind]=$next
  next=$((next + width[$kind] + 12))
  xdotool windowmove "${win[$kind]}" "${wx[$kind]}" $wy
done
for i in 0 1 2; do
  visible[${kinds[$i]}]=$((wx[${kinds[$((i + 1))]}] - wx[${kinds[$i]}]))
done
sleep 1.2 # a tick of live data
for kind in "${kinds[@]}"; do
  read -r count ink_left[$kind] ink_right[$kind] <<<"$(ink "$kind")"
  echo "$kind: $count ink pixels in x ${ink_left[$kind]}..${ink_right[$kind]}; the app renders it ${width[$kind]} px wide"
  [ "$count" -ge 20 ] || fail "the $kind face has too little ink in the text colour ($count pixels)"
done
[ "${width[network]}" = 124 ] || fail "the wide style renders ${width[network]} px wide, not 124"
xwd -root -silent >"$work/root.xwd"
/usr/bin/python3 "$XWD_TOOL_DIR/xwd_tool.py" crop "$work/root.xwd" "$work/plasma-items.png" \
  $((wx[network] - 8)) $wy $((next - wx[network] + 4)) 48

# The network face: ShowPanel, and the app's panel opens under it; a click elsewhere closes it.
click_face network
network_x=$x
wait_app_panel shown || fail "the click did not open the app's panel"
read -r px py _ <<<"$app_panel_now"
echo "the app's panel at $px,$py"
[ "$px" -eq $((x - 152)) ] && [ "$py" -eq "$y" ] || fail "the panel is at $px,$py, not under the applet"
xdotool mousemove 900 600 click 1
wait_app_panel hidden || fail "a click elsewhere did not close the app's panel"

# The battery face: the battery panel (304 x 528 px) under it; a second click closes it.
click_face battery
wait_app_panel shown || fail "a click on the battery face did not open a panel"
read -r px py pw ph <<<"$app_panel_now"
echo "battery panel at $px,$py size ${pw}x$ph"
[ "$pw" -eq 304 ] && [ "$ph" -eq 528 ] || fail "the battery face opened a ${pw}x$ph panel, not the battery panel"
[ "$px" -eq $((x - 152)) ] && [ "$py" -eq "$y" ] || fail "the battery panel is at $px,$py, not under the applet"
sleep 0.5
xwd -root -silent >"$work/root.xwd"
/usr/bin/python3 "$XWD_TOOL_DIR/xwd_tool.py" crop "$work/root.xwd" "$work/plasma-battery-panel.png" \
  $((wx[network] - 8)) $wy $(((px + pw > next ? px + pw : next) - wx[network] + 16)) $((ph + 48))
xdotool mousemove "$x" $((wy + 24)) click 1
wait_app_panel hidden || fail "a second click on the battery face did not close the battery panel"

# The CPU and storage faces call from their own places too.
click_face cpu
click_face storage
wait_app_panel shown || fail "a click on the storage face did not open a panel"
xdotool mousemove 900 600 click 1
wait_app_panel hidden || fail "a click elsewhere did not close the storage panel"

# Another network style: the applet takes its width (the centre moves by half the difference).
"$app" --set app.netMenu.boxType=0 >/dev/null 2>&1 || fail "--set failed"
right=${ink_right[network]}
for _ in $(seq 30); do
  read -r count left2 right2 <<<"$(ink network)"
  [ "$count" -gt 0 ] && [ "$right2" -lt $((right - 10)) ] && break
  sleep 0.2
done
width2=$(rendered_width network)
echo "compact style: $count ink pixels in x $left2..$right2; the app renders it ${width2} px wide"
[ "$count" -gt 0 ] && [ "$right2" -lt $((right - 10)) ] || fail "the face did not follow the style change"
read -r x2 _ <<<"$(click $(((left2 + right2) / 2)))"
echo "ShowPanel($x2, ...)"
x=$network_x
[ $((2 * (x - x2))) -ge $((width[network] - width2 - 2)) ] && [ $((2 * (x - x2))) -le $((width[network] - width2 + 2)) ] ||
  fail "the applet did not take the new width: centre $x -> $x2 for ${width[network]} -> $width2 px"
echo "PASS"
