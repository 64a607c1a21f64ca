#!/usr/bin/env bash
# The network plug-in in the real xfce4-panel under Xvfb, fed by the real app on a private
# session bus: nothing shows without the app; the plug-in's area is the face's width and the
# panel's height and carries ink in the panel's text colour; it follows another style and a
# thinner panel; a click opens the app's panel hanging centred under it, a second closes it; it
# comes back with a restarted app. LUMENSTAT_KEEP_SCREENSHOT=DIR keeps the screenshots.
# Skips (77) when the host or the plug-in's build is missing.
set -uo pipefail
here=$(cd "$(dirname "$0")" && pwd)
. "$here/xfce_host.sh"
xfce_plugins_begin network

# The face between two expanding separators, so the app's panel can hang centred under it, on
# a dark panel whose theme gives the plug-in a background of its own to find its area by.
bg=2f353b
panel_plugins=(separator lumenstat-network separator)
mkdir -p "$XDG_CONFIG_HOME/lumenstat"
echo "#lumenstat-network-2 { background-color: #$bg; color: #$ink; }" \
  >"$XDG_CONFIG_HOME/gtk-3.0/gtk.css"
# The floating window of a first start stays out of this test.
echo '{"ASDidInitSettings": true, "com.quillfern.lumenstat.welcome": true}' \
  >"$XDG_CONFIG_HOME/lumenstat/settings.json"
"$app" --set app.netMenu.boxType=1 >/dev/null || fail "--set failed before the start"

start_xfce_panel 1024 600 || fail "the panel host did not start"
bar_height=$(xfconf-query -c xfce4-panel -p /panels/panel-1/size)
shot empty
[ -z "$(area empty "$bg")" ] || fail "the plug-in shows while the app is not running"

start_app
face() { # face HEIGHT: "width text" of the network face as the app renders it for the panel
  face_render network "$1" "$argb" | sed -n 's/^(\([0-9]*\), [0-9]*, .*, \(.*\))$/\1 \2/p'
}
wait_area() { # wait_area WIDTH: until the plug-in's area is that wide
  for _ in $(seq 40); do
    shot now
    read -r ax ay aw ah <<<"$(area now "$bg")"
    [ "${aw:-0}" = "$1" ] && return 0
    sleep 0.25
  done
  return 1
}
width=$(face_width network "$bar_height" "$argb")
[ -n "$width" ] || fail "the app serves no network face"
echo "the wide style's face: $width px"
[ "$width" -eq 124 ] || fail "the wide style's face is $width px wide, expected 124"
wait_area "$width" || fail "the plug-in's area is '${aw:-none}' px wide, expected $width"
echo "plug-in at $ax,$ay size ${aw}x$ah on a $bar_height px panel"
[ "$ay" -eq 0 ] && [ "$ah" -eq "$bar_height" ] || fail "the plug-in does not fill the panel's height"
mv "$work/now.xwd" "$work/wide.xwd"
xwd_tool crop "$work/wide.xwd" "$work/xfce-plugin.png" \
  $((ax + aw / 2 - 200)) 0 400 "$bar_height"
inked=$(xwd_tool count "$work/wide.xwd" "$ax" "$ay" "$aw" "$ah" "$ink" 24)
echo "pixels in the panel's text colour: $inked"
[ "$inked" -ge 30 ] || fail "the face carries no ink in the panel's text colour"

# Updates arrive through the app's change signals: new speeds while a counted link carries
# traffic (datagrams towards a documentation address leave through the default route and are
# dropped beyond it), and another style's width at once.
if [ -n "$(ip route show default 2>/dev/null)" ]; then
  /usr/bin/python3 - <<'PY' &
import socket, time
s = socket.socket(socket.AF_INET, socket.SOCK_DGRAM)
end = time.time() + 3
while time.time() < end:  # about 1 MB/s
    for _ in range(15):
        try:
            s.sendto(b"x" * 1400, ("198.51.100.7", 9))
        except OSError:
            pass
    time.sleep(0.02)
PY
  traffic_pid=$!; pids+=("$traffic_pid")
  changed=0
  for _ in $(seq 20); do
    sleep 0.25; shot busy
    changed=$(xwd_tool diff "$work/wide.xwd" "$work/busy.xwd" "$bar_height")
    [ "$changed" -gt 20 ] && break
  done
  echo "pixels changed by traffic: $changed ($(face "$bar_height" | cut -d' ' -f2-))"
  [ "$changed" -gt 20 ] || fail "the plug-in did not show new speeds during traffic"
  xwd_tool crop "$work/busy.xwd" "$work/xfce-plugin.png" \
    $((ax + aw / 2 - 200)) 0 400 "$bar_height"
  kill "$traffic_pid" 2>/dev/null; wait "$traffic_pid" 2>/dev/null
else
  echo "no default route: the traffic step is left out"
fi
"$app" --set app.netMenu.boxType=0 >/dev/null || fail "--set failed while running"
read -r narrow _ <<<"$(face "$bar_height")"
echo "style 0's face: ${narrow:-none} px"
[ -n "$narrow" ] && [ "$narrow" -ne "$width" ] || fail "style 0 has no face of another width"
wait_area "$narrow" || fail "the plug-in did not follow the style: ${aw:-none} px, expected $narrow"
"$app" --set app.netMenu.boxType=1 >/dev/null
wait_area "$width" || fail "the plug-in did not come back to the wide style"

# A thinner panel: the face is drawn at the panel's height, narrower by as much.
xfconf-query -c xfce4-panel -p /panels/panel-1/size -s 20
read -r thin _ <<<"$(face 20)"
echo "the wide style's face on a 20 px panel: ${thin:-none} px"
[ -n "$thin" ] && [ "$thin" -lt "$width" ] || fail "no narrower face for a 20 px panel"
wait_area "$thin" || fail "the plug-in did not follow the panel's size: ${aw:-none} px, expected $thin"
[ "$ah" -eq 20 ] || fail "the plug-in is $ah px high on a 20 px panel"
xfconf-query -c xfce4-panel -p /panels/panel-1/size -s "$bar_height"
wait_area "$width" || fail "the plug-in did not come back to the panel's first size"

# A click hangs the app's panel from the plug-in's bottom edge, centred under it.
xdotool mousemove $((ax + aw / 2)) $((ay + ah / 2)) click 1
wait_app_panel shown || fail "a click on the plug-in did not open the app's panel"
read -r px py pw ph <<<"$app_panel_now"
echo "app panel at $px,$py size ${pw}x$ph"
sleep 1 # its first frames
shot open
xwd_tool crop "$work/open.xwd" "$work/xfce-plugin-panel.png" \
  $((px - 40)) 0 $((pw + 80)) $((py + ph + 10))
centre=$((ax + aw / 2))
[ $((px + pw / 2 - centre)) -le 1 ] && [ $((centre - px - pw / 2)) -le 1 ] ||
  fail "the app's panel is centred at $((px + pw / 2)), the plug-in at $centre"
[ "$py" -eq $((ay + ah)) ] || fail "the app's panel starts at y $py, the plug-in ends at $((ay + ah))"
xdotool mousemove $((ax + aw / 2)) $((ay + ah / 2)) click 1
wait_app_panel hidden || fail "a second click did not close the app's panel"

# Without the app the plug-in shows nothing, and it comes back with the app.
kill "$app_pid"; wait "$app_pid" 2>/dev/null
sleep 0.5; shot gone
[ -z "$(area gone "$bg")" ] || fail "the plug-in still shows after the app quit"
start_app
wait_area "$width" || fail "the plug-in did not come back with the app"
kill -0 "$panel_pid" || fail "xfce4-panel ended"
echo "PASS"
