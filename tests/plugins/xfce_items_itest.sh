#!/usr/bin/env bash
# The battery, CPU and storage plug-ins in the real xfce4-panel under Xvfb, fed by the real app
# on a private session bus over a fixture laptop: each plug-in's area is its face's width and
# carries ink in the panel's text colour; a click on the battery face opens the battery panel
# (its size tells it from the others) and a second click closes it; a click on the storage face
# opens the storage panel. LUMENSTAT_KEEP_SCREENSHOT=DIR keeps the screenshots.
# Skips (77) when the host or the plug-ins' build is missing.
set -uo pipefail
here=$(cd "$(dirname "$0")" && pwd)
menubar="$here/../menubar"
plugins=${LUMENSTAT_XFCE_PLUGINS:-}
. "$here/../support/host_itest.sh"
host_itest_begin "scripts/install-deps.sh installs the panel host" \
  Xvfb xfce4-panel xfconf-query dbus-daemon xwd xwininfo xdotool gdbus unshare
kinds=(battery cpu storage)
for kind in "${kinds[@]}"; do
  if [ -z "$plugins" ] || [ ! -f "$plugins/lib/liblumenstat-$kind.so" ]; then
    echo "SKIP: the xfce4-panel plug-ins are not built (libxfce4panel-2.0-dev is missing)"; exit 77
  fi
done
fail() {
  echo "FAIL: $*"
  [ -f "$work/now.xwd" ] && /usr/bin/python3 "$menubar/xwd_tool.py" png "$work/now.xwd" "$work/items-failed.png" 40
  echo "--- panel log"; cat "$work/panel.log"; echo "--- app log"; cat "$work/app.log" 2>/dev/null
  exit 1
}

. "$menubar/xfce_panel_session.sh"
if ! use_built_plugin "$plugins" "${kinds[@]}"; then
  echo "SKIP: the built plug-ins cannot be put where xfce4-panel looks"; exit 77
fi

# Each face on a background of its own (to find its area by) on a dark panel, between two
# expanding separators.
ink=e8eaed
declare -A bg=([battery]=2f353b [cpu]=3b2f35 [storage]=353b2f)
panel_plugins=(separator lumenstat-battery lumenstat-cpu lumenstat-storage separator)
dark_panel() {
  local i
  for i in 1 5; do panel_item "$i" expand bool true; panel_item "$i" style uint 0; done
  xfconf-query -c xfce4-panel -p /panels/panel-1/background-style -n -t uint -s 1
  xfconf-query -c xfce4-panel -p /panels/panel-1/background-rgba -n -a \
    -t double -s 0.133 -t double -s 0.149 -t double -s 0.169 -t double -s 1
}
panel_setup=dark_panel
export XDG_CONFIG_HOME="$work/config"
mkdir -p "$XDG_CONFIG_HOME/gtk-3.0"
{
  n=2
  for kind in "${kinds[@]}"; do
    echo "#lumenstat-$kind-$n { background-color: #${bg[$kind]}; color: #$ink; }"
    n=$((n + 1))
  done
} >"$XDG_CONFIG_HOME/gtk-3.0/gtk.css"
host_items_profile "$XDG_CONFIG_HOME"

start_xfce_panel 1024 640 || fail "the panel host did not start"
bar_height=$(xfconf-query -c xfce4-panel -p /panels/panel-1/size)
shot() { xwd -root -silent >"$work/$1.xwd"; }
area() { /usr/bin/python3 "$menubar/xwd_tool.py" box "$work/$1.xwd" "$2" 100; }

QT_QPA_PLATFORM=xcb "$app" >"$work/app.log" 2>&1 &
app_pid=$!; pids+=("$app_pid")
face_width() {
  gdbus call --session -d com.quillfern.Lumenstat -o / -m com.quillfern.Lumenstat.Face.Render \
    "$1" "$bar_height" 1 "$((0xff000000 | 0x$ink))" 2>/dev/null | sed -n 's/^(\([0-9]*\), .*/\1/p'
}
declare -A ax ay aw ah
for kind in "${kinds[@]}"; do
  width=""
  for _ in $(seq 40); do
    width=$(face_width "$kind"); [ -n "$width" ] && break; sleep 0.25
  done
  [ -n "$width" ] || fail "the app serves no $kind face"
  found=""
  for _ in $(seq 40); do
    shot now
    read -r x y w h <<<"$(area now "${bg[$kind]}")"
    [ "${w:-0}" = "$width" ] && found=1 && break
    sleep 0.25
  done
  [ -n "$found" ] || fail "the $kind plug-in's area is '${w:-none}' px wide, expected $width"
  ax[$kind]=$x ay[$kind]=$y aw[$kind]=$w ah[$kind]=$h
  inked=$(/usr/bin/python3 "$menubar/xwd_tool.py" count "$work/now.xwd" "$x" "$y" "$w" "$h" "$ink" 24)
  echo "$kind: face $width px, plug-in at $x,$y ${w}x$h, $inked pixels of ink"
  [ "$h" -eq "$bar_height" ] || fail "the $kind plug-in does not fill the panel's height"
  [ "$inked" -ge 20 ] || fail "the $kind face carries no ink in the panel's text colour"
done
left=${ax[battery]}
right=$((ax[storage] + aw[storage]))
/usr/bin/python3 "$menubar/xwd_tool.py" crop "$work/now.xwd" "$work/items-xfce.png" \
  $((left - 20)) 0 $((right - left + 40)) "$bar_height"

click_face() { xdotool mousemove $((ax[$1] + aw[$1] / 2)) $((ay[$1] + ah[$1] / 2)) click 1; }
open_panel() { # open_panel KIND: clicks the face, prints the shown panel's geometry
  click_face "$1"
  wait_app_panel shown && echo "$app_panel_now"
}
close_panel() { click_face "$1" && wait_app_panel hidden; }

# The battery panel: 272 x 508 points of content in a window 32 wider and 20 higher.
g=$(open_panel battery)
[ -n "$g" ] || fail "a click on the battery face did not open a panel"
read -r px py pw ph <<<"$g"
echo "battery panel at $px,$py size ${pw}x$ph"
[ "$pw" -eq 304 ] && [ "$ph" -eq 528 ] || fail "the battery face opened a ${pw}x$ph panel, not the battery panel"
[ "$py" -eq $((ay[battery] + ah[battery])) ] || fail "the battery panel does not hang from the face"
sleep 1
shot battery
/usr/bin/python3 "$menubar/xwd_tool.py" crop "$work/battery.xwd" "$work/items-battery-panel.png" \
  "$px" "$py" "$pw" "$ph"
# The page is drawn: many colours, not a blank window.
colours=$(/usr/bin/python3 "$menubar/xwd_tool.py" colours "$work/battery.xwd" "$px" "$py" "$pw" "$ph")
[ "$colours" -ge 40 ] || fail "the battery panel shows $colours colours: nothing drawn"
close_panel battery || fail "a second click did not close the battery panel"

g=$(open_panel storage)
[ -n "$g" ] || fail "a click on the storage face did not open a panel"
read -r px py pw ph <<<"$g"
echo "storage panel at $px,$py size ${pw}x$ph"
[ "$pw" -eq 304 ] && [ "$ph" -eq 156 ] || fail "the storage face opened a ${pw}x$ph panel"
sleep 0.5
shot storage
/usr/bin/python3 "$menubar/xwd_tool.py" crop "$work/storage.xwd" "$work/items-storage-panel.png" \
  "$px" "$py" "$pw" "$ph"
close_panel storage || fail "a second click did not close the storage panel"
kill -0 "$panel_pid" || fail "xfce4-panel ended"
echo "PASS"
