#!/usr/bin/env bash
# The real app's status item in Plasma 5.27's system tray (plasmoidviewer with
# org.kde.plasma.systemtray, kded5's statusnotifierwatcher) on a dark Plasma theme: the item
# shows its symbolic icon in the panel's light text colour, the host never reports the menu as
# disabled, and a right click opens the menu with our entries. Skips (77) with a message when a
# piece of the host is missing. LUMENSTAT_KEEP_SCREENSHOT=DIR keeps the screenshots,
# LUMENSTAT_TEST_DISPLAY=N picks the Xvfb display (a free one otherwise).
set -uo pipefail
here=$(cd "$(dirname "$0")" && pwd)
if [ -z "${LUMENSTAT_PLASMA_INNER:-}" ]; then
  . "$here/../support/host_itest.sh"
  host_itest_begin "scripts/install-deps.sh installs the Plasma host" \
    Xvfb plasmoidviewer kded5 kwriteconfig5 dbus-run-session gdbus xwd xwininfo xdotool python3
  if [ ! -d /usr/share/plasma/plasmoids/org.kde.plasma.systemtray ]; then
    echo "SKIP: the system tray applet (plasma-workspace) is not installed"
    exit 77
  fi
  mkdir -p "$work/home" "$work/run" && chmod 700 "$work/run"
  host_xvfb 1280x800 || exit 1
  HOME=$work/home XDG_RUNTIME_DIR=$work/run XDG_CONFIG_HOME=$work/home/.config \
    XDG_DATA_HOME=$work/home/.local/share LUMENSTAT_PLASMA_INNER=$work \
    timeout 100 dbus-run-session -- bash "$0" >"$work/run.log" 2>&1 </dev/null
  rc=$?
  grep -E "^(PASS|FAIL|SKIP)|^[0-9]|light|changed" "$work/run.log"
  exit $rc
fi

# Inside the private session bus.
work=$LUMENSTAT_PLASMA_INNER app=$LUMENSTAT_BINARY
pids=()
cleanup() {
  # Also the services the bus started for the host (kglobalaccel5, kactivitymanagerd, ...).
  for name in $(gdbus call --session -d org.freedesktop.DBus -o /org/freedesktop/DBus \
      -m org.freedesktop.DBus.ListNames 2>/dev/null | grep -o "':[0-9.]*'" | tr -d "'"); do
    pid=$(gdbus call --session -d org.freedesktop.DBus -o /org/freedesktop/DBus \
      -m org.freedesktop.DBus.GetConnectionUnixProcessID "$name" 2>/dev/null | grep -o '[0-9]\+' | tail -1)
    [ -n "$pid" ] && [ "$pid" != $$ ] && pids+=("$pid")
  done
  for p in "${pids[@]}"; do kill "$p" 2>/dev/null; done
  sleep 0.3
  for p in "${pids[@]}"; do kill -9 "$p" 2>/dev/null; done
}
trap cleanup EXIT
fail() { echo "FAIL: $*"; tail -20 "$work/app.log"; exit 1; }
shot() { xwd -root -silent >"$work/$1.xwd" && python3 "$here/../menubar/xwd_tool.py" png "$work/$1.xwd" "$work/$1.png" 300; }

mkdir -p "$XDG_DATA_HOME/icons/hicolor/scalable/status"; cp "$here/../../resources/icons/hicolor/scalable/status/lumenstat-symbolic.svg" "$XDG_DATA_HOME/icons/hicolor/scalable/status/"
kwriteconfig5 --file plasmarc --group Theme --key name breeze-dark
QT_QPA_PLATFORM=offscreen "$app" --set app.settings.wantsFloatWindow=false --set \
  app.menuBar.trayRendering=square >/dev/null || fail "--set"
QT_QPA_PLATFORM=xcb kded5 >"$work/kded.log" 2>&1 &
pids+=($!)
loaded=""
for _ in $(seq 60); do
  gdbus call --session -d org.kde.kded5 -o /kded -m org.kde.kded5.loadModule statusnotifierwatcher \
    >/dev/null 2>&1 && { loaded=yes; break; }
  sleep 0.25
done
[ -n "$loaded" ] || fail "kded5 did not load statusnotifierwatcher"
QT_QPA_PLATFORM=xcb plasmoidviewer -c org.kde.panel -f horizontal -l topedge -s 800x48 \
  -a org.kde.plasma.systemtray >"$work/host.log" 2>&1 &
pids+=($!)
sleep 4
shot before
QT_QPA_PLATFORM=xcb "$app" >"$work/app.log" 2>&1 &
app_pid=$!
pids+=("$app_pid")
for _ in $(seq 40); do
  gdbus call --session -d org.kde.StatusNotifierWatcher -o /StatusNotifierWatcher \
    -m org.freedesktop.DBus.Properties.Get org.kde.StatusNotifierWatcher \
    RegisteredStatusNotifierItems 2>/dev/null | grep -q "StatusNotifierItem-$app_pid-" && break
  sleep 0.25
done
sleep 4
shot after
python3 "$here/plasma_tray_check.py" item "$work/before.xwd" "$work/after.xwd" >"$work/item.txt" ||
  fail "the item: $(cat "$work/item.txt")"
cat "$work/item.txt"
read -r x y _ <"$work/item.txt"
xdotool mousemove "$x" "$y" click 3
sleep 2
shot menu
python3 "$here/plasma_tray_check.py" menu "$work/after.xwd" "$work/menu.xwd" || fail "no menu"
if grep -q "DBusMenu disabled" "$work/host.log"; then
  fail "the host disabled the menu: $(grep -m1 'DBusMenu disabled' "$work/host.log")"
fi
kill -0 "$app_pid" || fail "the app exited"
echo PASS
