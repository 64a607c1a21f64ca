#!/usr/bin/env bash
# The real app under Xvfb with xfce4-panel as the tray host: the status item must appear in
# the panel. Skips (77) with a message when a piece of the host is missing.
set -uo pipefail
here=$(cd "$(dirname "$0")" && pwd)
app=${LUMENSTAT_BINARY:-}
for tool in Xvfb xfce4-panel xfconf-query dbus-daemon xwd gdbus; do
  if ! command -v "$tool" >/dev/null; then
    echo "SKIP: $tool is not installed (scripts/install-deps.sh installs the tray host)"
    exit 77
  fi
done
if [ -z "$app" ] || [ ! -x "$app" ]; then
  echo "SKIP: LUMENSTAT_BINARY is not set to the built app"
  exit 77
fi

work=$(mktemp -d)
pids=()
cleanup() {
  for p in "${pids[@]}"; do kill "$p" 2>/dev/null; done
  sleep 0.3
  for p in "${pids[@]}"; do kill -9 "$p" 2>/dev/null; done
  [ -n "${LUMENSTAT_KEEP_SCREENSHOT:-}" ] && cp "$work"/*.png "$LUMENSTAT_KEEP_SCREENSHOT"/ 2>/dev/null
  rm -rf "$work"
}
trap cleanup EXIT

export XDG_CONFIG_HOME="$work/config" XDG_DATA_HOME="$work/data" XDG_RUNTIME_DIR="$work/run"
export XDG_CACHE_HOME="$work/cache"
mkdir -p "$XDG_CONFIG_HOME" "$XDG_DATA_HOME" "$XDG_RUNTIME_DIR" "$XDG_CACHE_HOME"
chmod 700 "$XDG_RUNTIME_DIR"

exec {dfd}<> <(:)
Xvfb -displayfd "$dfd" -screen 0 640x200x24 -nolisten tcp >"$work/xvfb.log" 2>&1 &
pids+=($!)
display=""
for _ in $(seq 50); do
  read -r -t 0.2 -u "$dfd" display && break
done
if [ -z "$display" ]; then
  echo "FAIL: Xvfb did not start"; cat "$work/xvfb.log"; exit 1
fi
export DISPLAY=":$display"

eval "$(dbus-daemon --session --fork --print-address=1 --print-pid=1 |
  { read -r addr; read -r pid; echo "export DBUS_SESSION_BUS_ADDRESS='$addr'; bus_pid=$pid"; })"
pids+=("$bus_pid")

# One panel along the top with only the notification area in it.
q() { xfconf-query -c xfce4-panel "$@"; }
q -p /panels -n -a -t int -s 1
q -p /panels/panel-1/position -n -t string -s "p=6;x=0;y=0"
q -p /panels/panel-1/position-locked -n -t bool -s true
q -p /panels/panel-1/size -n -t uint -s 28
q -p /panels/panel-1/length -n -t uint -s 100
q -p /panels/panel-1/plugin-ids -n -a -t int -s 1
q -p /plugins/plugin-1 -n -t string -s systray
xfce4-panel --disable-wm-check >"$work/panel.log" 2>&1 &
pids+=($!)
sleep 3
if ! kill -0 "${pids[-1]}" 2>/dev/null; then
  echo "FAIL: xfce4-panel exited"; cat "$work/panel.log"; exit 1
fi
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
