#!/usr/bin/env bash
# Starts the built app. With a display it is the tray app (a second start only asks the
# running one to show itself). Without a display there is no tray to sit in, so the
# headless monitor runs instead and prints one line per second.
set -euo pipefail
BUILD=${1:-build}
BIN="$BUILD/lumenstat"
if [ -z "${DISPLAY:-}" ] && [ -z "${WAYLAND_DISPLAY:-}" ]; then
  echo "No display found (DISPLAY and WAYLAND_DISPLAY are unset): starting the headless monitor"
  echo "(lumenstat --monitor). Ctrl-C stops it."
  exec "$BIN" --monitor
fi
echo "Starting the tray app ($BIN). Change a setting live with: $BIN --set key=value"
exec "$BIN"
