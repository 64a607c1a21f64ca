#!/usr/bin/env bash
# Starts the built app. Without a display there is nothing to put in a tray, so the
# headless monitor runs instead and prints one line per second.
set -euo pipefail
BUILD=${1:-build}
BIN="$BUILD/lumenstat"
if [ -z "${DISPLAY:-}" ] && [ -z "${WAYLAND_DISPLAY:-}" ]; then
  echo "No display found: starting the headless monitor (lumenstat --monitor). Ctrl-C stops it."
  exec "$BIN" --monitor
fi
exec "$BIN"
