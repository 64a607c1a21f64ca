#!/usr/bin/env bash
# The panel in a real desktop: the app under Xvfb with xfce4-panel along the top as its tray
# host. A click on the item (the host's Activate) opens the panel under the click, a click
# elsewhere closes it, a second Activate toggles it and a second start of the app opens it.
# Paging inside the panel is tests/ui/home_test and transition_test.
# LUMENSTAT_KEEP_SCREENSHOT=DIR keeps the screenshots. Skips (77) when the host is missing.
set -uo pipefail
here=$(cd "$(dirname "$0")" && pwd)
menubar="$here/../menubar"
. "$here/../support/host_itest.sh"
host_itest_begin "scripts/install-deps.sh installs the tray host" \
  Xvfb xfce4-panel xfconf-query dbus-daemon xwd xwininfo xdotool gdbus

fail() { echo "FAIL: $*"; echo "--- app log"; cat "$work/app.log"; exit 1; }

. "$menubar/xfce_panel_session.sh"
start_xfce_panel 1024 768 || { echo "FAIL: the panel host did not start"; exit 1; }
# The floating window of a first start stays out of this test.
mkdir -p "$XDG_CONFIG_HOME/lumenstat"
echo '{"ASDidInitSettings": true, "com.quillfern.lumenstat.welcome": true}' \
  >"$XDG_CONFIG_HOME/lumenstat/settings.json"

QT_QPA_PLATFORM=xcb "$app" >"$work/app.log" 2>&1 &
app_pid=$!; pids+=("$app_pid")
item=""
for _ in $(seq 40); do
  item=$(gdbus call --session --dest org.freedesktop.DBus --object-path /org/freedesktop/DBus \
    --method org.freedesktop.DBus.ListNames | grep -o "org.kde.StatusNotifierItem-$app_pid-[0-9]*")
  [ -n "$item" ] && break
  sleep 0.25
done
[ -n "$item" ] || fail "no status item on the bus"

activate() {
  gdbus call --session --dest "$item" --object-path /StatusNotifierItem \
    --method org.kde.StatusNotifierItem.Activate "$1" "$2" >/dev/null || fail "Activate failed"
}
sleep 2
activate 500 14
wait_app_panel shown || fail "Activate did not open the panel"
read -r px py pw ph <<<"$app_panel_now"
echo "panel at $px,$py size ${pw}x$ph"
# Hangs 152 left of the click, right under xfce4-panel's window; 304 wide, 430 high.
bar_bottom=$(xwininfo -root -tree | awk '/"xfce4-panel"/ && /\+0\+0/ {
  split($0, a, /[ x+]+/); for (i = 1; i <= NF; i++) if ($i ~ /^[0-9]+x[0-9]+\+/) {
  split($i, g, /[x+]/); print g[2]; exit } }')
echo "xfce4-panel window height: ${bar_bottom:-unknown}"
[ -n "$bar_bottom" ] || fail "could not find xfce4-panel's window"
[ "$px" -eq 348 ] && [ "$py" -eq "$bar_bottom" ] || fail "panel at $px,$py, expected 348,$bar_bottom"
[ "$pw" -eq 304 ] && [ "$ph" -eq 430 ] || fail "panel ${pw}x$ph, expected 304x430"
sleep 2.5 # a few ticks of live data
xwd -root -silent >"$work/open.xwd"
/usr/bin/python3 "$menubar/xwd_tool.py" crop "$work/open.xwd" "$work/panel-xfce.png" 0 0 1024 480
colours=$(/usr/bin/python3 "$menubar/xwd_tool.py" colours "$work/open.xwd" "$px" "$py" "$pw" "$ph")
echo "colours in the panel: $colours"
[ "$colours" -ge 40 ] || fail "the panel window shows nearly nothing ($colours colours)"

xdotool mousemove 200 600 click 1
wait_app_panel hidden || fail "a click elsewhere did not close the panel"
sleep 0.4
activate 500 14
wait_app_panel shown || fail "the next Activate did not open the panel again"
activate 500 14
wait_app_panel hidden || fail "a second Activate did not close the panel"

"$app" >"$work/second.log" 2>&1 || fail "the second start failed: $(cat "$work/second.log")"
wait_app_panel shown || fail "a second start did not open the panel"
kill -0 "$app_pid" || fail "the app ended"
echo "PASS"
