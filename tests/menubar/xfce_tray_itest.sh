#!/usr/bin/env bash
# The real app under Xvfb with xfce4-panel as the tray host: the status item must appear in
# the panel. Skips (77) with a message when a piece of the host is missing.
set -uo pipefail
here=$(cd "$(dirname "$0")" && pwd)
. "$here/../support/host_itest.sh"
host_itest_begin "scripts/install-deps.sh installs the tray host" \
  Xvfb xfce4-panel xfconf-query dbus-daemon xwd gdbus
fail() { echo "FAIL: $*"; cat "$work/app.log" 2>/dev/null; exit 1; }

. "$here/xfce_panel_session.sh"
start_xfce_panel 640 || fail "the panel host did not start"
xwd -root -silent >"$work/before.xwd"
QT_QPA_PLATFORM=xcb "$app" >"$work/app.log" 2>&1 &
app_pid=$!
pids+=("$app_pid")

# The item's bus name carries the app's pid.
found=""
for _ in $(seq 40); do
  gdbus call --session --dest org.freedesktop.DBus --object-path /org/freedesktop/DBus \
    --method org.freedesktop.DBus.ListNames | grep -q "org.kde.StatusNotifierItem-$app_pid-" &&
    found=yes && break
  sleep 0.25
done
kill -0 "$app_pid" 2>/dev/null || fail "the app exited"
[ -n "$found" ] || fail "the running app put no status item on the bus"
sleep 3
xwd -root -silent >"$work/after.xwd"
/usr/bin/python3 "$here/xwd_tool.py" png "$work/after.xwd" "$work/panel.png" 40
changed=$(/usr/bin/python3 "$here/xwd_tool.py" diff "$work/before.xwd" "$work/after.xwd" 28)
echo "panel pixels changed by the item: $changed"
[[ "$changed" =~ ^[0-9]+$ ]] && [ "$changed" -ge 30 ] || fail "the item's icon does not show in the panel"
echo "PASS"
