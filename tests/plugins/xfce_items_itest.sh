#!/usr/bin/env bash
# The battery, CPU and storage plug-ins in the real xfce4-panel under Xvfb, fed by the real app
# on a private session bus over a fixture laptop: each plug-in's area is its face's width and
# carries ink in the panel's text colour; a click on the battery face opens the battery panel
# (its size tells it from the others) and a second click closes it; a click on the storage face
# opens the storage panel. LUMENSTAT_KEEP_SCREENSHOT=DIR keeps the screenshots.
# Skips (77) when the host or the plug-ins' build is missing.
set -uo pipefail
here=$(cd "$(dirname "$0")" && pwd)
. "$here/xfce_host.sh"
kinds=(battery cpu storage)
xfce_plugins_begin "${kinds[@]}"

# Each face on a background of its own (to find its area by) on a dark panel, between two
# expanding separators.
declare -A bg=([battery]=2f353b [cpu]=3b2f35 [storage]=353b2f)
panel_plugins=(separator lumenstat-battery lumenstat-cpu lumenstat-storage separator)
n=2
for kind in "${kinds[@]}"; do
  echo "#lumenstat-$kind-$n { background-color: #${bg[$kind]}; color: #$ink; }"
  n=$((n + 1))
done >"$XDG_CONFIG_HOME/gtk-3.0/gtk.css"
host_items_profile "$XDG_CONFIG_HOME"

start_xfce_panel 1024 640 || fail "the panel host did not start"
bar_height=$(xfconf-query -c xfce4-panel -p /panels/panel-1/size)
start_app
declare -A ax ay aw ah
for kind in "${kinds[@]}"; do
  width=$(face_width "$kind" "$bar_height" "$argb")
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
  inked=$(xwd_tool count "$work/now.xwd" "$x" "$y" "$w" "$h" "$ink" 24)
  echo "$kind: face $width px, plug-in at $x,$y ${w}x$h, $inked pixels of ink"
  [ "$h" -eq "$bar_height" ] || fail "the $kind plug-in does not fill the panel's height"
  [ "$inked" -ge 20 ] || fail "the $kind face carries no ink in the panel's text colour"
done
left=${ax[battery]}
right=$((ax[storage] + aw[storage]))
xwd_tool crop "$work/now.xwd" "$work/items-xfce.png" \
  $((left - 20)) 0 $((right - left + 40)) "$bar_height"

click_face() { xdotool mousemove $((ax[$1] + aw[$1] / 2)) $((ay[$1] + ah[$1] / 2)) click 1; }
open_panel() { # open_panel KIND: clicks the face, prints the shown panel's geometry
  click_face "$1"
  wait_app_panel shown && echo "$app_panel_now"
}
close_panel() { click_face "$1" && wait_app_panel hidden; }

# A click on a face hangs its panel from it (the battery panel: 272 x 508 points of content in a
# window 32 wider and 20 higher), drawn, not a blank window; a second click closes it.
for want in "battery 304 528" "storage 304 156"; do
  read -r kind want_w want_h <<<"$want"
  g=$(open_panel "$kind")
  [ -n "$g" ] || fail "a click on the $kind face did not open a panel"
  read -r px py pw ph <<<"$g"
  echo "$kind panel at $px,$py size ${pw}x$ph"
  [ "$pw" -eq "$want_w" ] && [ "$ph" -eq "$want_h" ] || fail "the $kind face opened a ${pw}x$ph panel"
  [ "$py" -eq $((ay[$kind] + ah[$kind])) ] || fail "the $kind panel does not hang from the face"
  sleep 1
  shot "$kind"
  xwd_tool crop "$work/$kind.xwd" "$work/items-$kind-panel.png" "$px" "$py" "$pw" "$ph"
  colours=$(xwd_tool colours "$work/$kind.xwd" "$px" "$py" "$pw" "$ph")
  [ "$colours" -ge 40 ] || fail "the $kind panel shows $colours colours: nothing drawn"
  close_panel "$kind" || fail "a second click did not close the $kind panel"
done
kill -0 "$panel_pid" || fail "xfce4-panel ended"
echo "PASS"
