#!/usr/bin/env bash
# The tray item in the real GNOME Shell (X11 on Xvfb) through its AppIndicator extension, the
# route without our own extension (square rendering, the host's default): the item shows, its
# icon is light on the dark bar, and the item keeps one width whether the label reads
# "0 KB/s" or a few MB/s. The app runs in a private network namespace whose only counted
# link carries the traffic the test sends. The button's hover highlight shows its extent.
# Skips (77) with a message when a piece of the host is missing.
set -uo pipefail
here=$(cd "$(dirname "$0")" && pwd)
appindicator=ubuntu-appindicators@ubuntu.com
. "$here/../support/host_itest.sh"
host_itest_begin "scripts/install-deps.sh installs GNOME Shell and the X tools" \
  Xvfb gnome-shell dbus-daemon glib-compile-schemas gdbus xwd xdotool ip
if [ ! -d "/usr/share/gnome-shell/extensions/$appindicator" ]; then
  echo "SKIP: gnome-shell-extension-appindicator is not installed"
  exit 77
fi
ns_a=lsgA$$ ns_b=lsgB$$
if ! ip netns add "$ns_a" 2>/dev/null; then
  echo "SKIP: cannot create network namespaces here (needs root and CAP_SYS_ADMIN)"
  exit 77
fi

cleanup() {
  host_itest_end
  ip netns del "$ns_a" 2>/dev/null
  ip netns del "$ns_b" 2>/dev/null
}
trap cleanup EXIT
fail() { gnome_fail "indicator\|StatusNotifierItem" "$*"; }

. "$here/gnome_shell_session.sh"
# eth0 in A (a counted link, the default route) to B.
ip netns add "$ns_b" || fail "second namespace"
ip -n "$ns_a" -batch - <<EOF || fail "links in $ns_a"
link add eth0 type veth peer name peer0 netns $ns_b
addr add 10.231.7.1/24 dev eth0
link set lo up
link set eth0 up
route add default via 10.231.7.2
EOF
ip -n "$ns_b" -batch - <<EOF || fail "links in $ns_b"
addr add 10.231.7.2/24 dev peer0
link set lo up
link set peer0 up
EOF

start_gnome_shell 1024x600 "$appindicator" "$here/lumenstat-test-helper@quillfern.com" ||
  { echo "FAIL: the shell did not start"; exit 1; }
ip netns exec "$ns_a" env QT_QPA_PLATFORM=xcb "$app" >"$work/app.log" 2>&1 &
pids+=("$!")

# The item is the run of ink between the clock and the system menu's icon at the right end.
# Waits until it shows and the pointer rests on it; leaves its box in $box ("X WIDTH").
hover_item() {
  box=none
  local end=$((SECONDS + 20))
  while [ "$SECONDS" -lt "$end" ]; do
    shot "$1"
    local right
    right=$(bar item "$work/$1.xwd")
    if [ -n "$right" ]; then
      xdotool mousemove $((right - 4)) 16
      sleep 0.4
      shot "$1"
      box=$(bar hovered "$work/$1.xwd" $((1024 / 2 + 100)))
      [ "$box" != none ] && return 0
    fi
    sleep 0.25
  done
  return 1
}
hover_item idle || fail "the item does not show in the top bar"
read -r ix iw <<<"$box"
read -r light dark <<<"$(bar ink "$work/idle.xwd" "$ix" 4 26 24)"
echo "idle: item at $ix, $iw px wide; icon area: light ink $light px, dark ink $dark px"
crop idle appindicator-idle $((ix - 20)) 0 $((1024 - ix + 20)) 40
[ "$light" -ge 25 ] || fail "the icon is not light on the dark bar ($light light px)"

# About 3 MB/s out of A for a few seconds (less on a busy machine, still MB/s).
ip netns exec "$ns_a" /usr/bin/python3 -c '
import socket, time
s = socket.socket(socket.AF_INET, socket.SOCK_DGRAM)
block, end = bytes(1400), time.monotonic() + 8
while time.monotonic() < end:
    for _ in range(25):
        s.sendto(block, ("10.231.7.2", 9))
    time.sleep(0.01)
' &
pids+=("$!")
sleep 3.5
xdotool mousemove 0 300
hover_item busy || fail "the item vanished under traffic"
read -r bx bw <<<"$box"
label=$(gdbus call --session -d "$(gdbus call --session -d org.freedesktop.DBus -o /org/freedesktop/DBus \
  -m org.freedesktop.DBus.ListNames | grep -o "org.kde.StatusNotifierItem-[0-9]*-[0-9]*" | head -1)" \
  -o /StatusNotifierItem -m org.freedesktop.DBus.Properties.Get org.kde.StatusNotifierItem XAyatanaLabel)
echo "busy: item at $bx, $bw px wide; label $label"
crop busy appindicator-busy $((bx - 20)) 0 $((1024 - bx + 20)) 40
[[ "$label" == *MB/s* ]] || fail "the traffic did not reach the label: $label"
[ $((bw > iw ? bw - iw : iw - bw)) -le 1 ] || fail "the item's width moved from $iw to $bw px"
echo "PASS"
