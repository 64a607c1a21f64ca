# Sourced by the tests that run the app in a real desktop host under Xvfb.
#
#   host_itest_begin "WHAT INSTALLS THEM" TOOL...
#
# skips (exit 77, with a message) when a tool or the built app ($LUMENSTAT_BINARY, kept in
# $app) is missing, then makes a private folder $work and a list pids; at exit every process
# in pids is ended and $work removed (LUMENSTAT_KEEP_SCREENSHOT=DIR keeps its PNGs first).
host_itest_begin() {
  local why=$1 tool
  shift
  for tool in "$@"; do
    if ! command -v "$tool" >/dev/null; then
      echo "SKIP: $tool is not installed ($why)"
      exit 77
    fi
  done
  app=${LUMENSTAT_BINARY:-}
  if [ -z "$app" ] || [ ! -x "$app" ]; then
    echo "SKIP: LUMENSTAT_BINARY is not set to the built app"
    exit 77
  fi
  # Fresh profiles on a real display: no first-run welcome over the host.
  export LUMENSTAT_NO_WELCOME=1
  work=$(mktemp -d)
  pids=()
  trap host_itest_end EXIT
}

host_itest_end() {
  local p
  for p in "${pids[@]}"; do kill "$p" 2>/dev/null; done
  # A sanitized app may take a few seconds to end.
  for p in "${pids[@]}"; do
    for _ in $(seq 30); do kill -0 "$p" 2>/dev/null || break; sleep 0.1; done
  done
  for p in "${pids[@]}"; do kill -9 "$p" 2>/dev/null; done
  [ -n "${LUMENSTAT_KEEP_SCREENSHOT:-}" ] && cp "$work"/*.png "$LUMENSTAT_KEEP_SCREENSHOT"/ 2>/dev/null
  rm -rf "$work"
}

# host_xvfb WIDTHxHEIGHT: starts Xvfb on display $LUMENSTAT_TEST_DISPLAY (or the first free
# one), adds it to pids and exports DISPLAY (needs xwininfo). Returns 1 with its log when it does not start.
host_xvfb() {
  local dfd display=""
  if [ -n "${LUMENSTAT_TEST_DISPLAY:-}" ]; then
    Xvfb ":$LUMENSTAT_TEST_DISPLAY" -screen 0 "${1}x24" -nolisten tcp >"$work/xvfb.log" 2>&1 &
    xvfb_pid=$!
    pids+=("$xvfb_pid")
    for _ in $(seq 50); do
      # (a socket alone may be a killed server's)
      xwininfo -display ":$LUMENSTAT_TEST_DISPLAY" -root >/dev/null 2>&1 &&
        display=$LUMENSTAT_TEST_DISPLAY && break
      sleep 0.1
    done
  else
    exec {dfd}<> <(:)
    Xvfb -displayfd "$dfd" -screen 0 "${1}x24" -nolisten tcp >"$work/xvfb.log" 2>&1 &
    xvfb_pid=$!
    pids+=("$xvfb_pid")
    for _ in $(seq 50); do
      read -r -t 0.2 -u "$dfd" display && break
    done
  fi
  if [ -z "$display" ] || ! kill -0 "$xvfb_pid" 2>/dev/null; then
    echo "Xvfb did not start"
    cat "$work/xvfb.log"
    return 1
  fi
  export DISPLAY=":$display"
}

# host_items_profile CONFIG_DIR [JSON MEMBERS]: the app's settings in CONFIG_DIR/lumenstat with
# the battery, CPU and storage items on (and the members given, e.g. '"app.netMenu.boxType": 1'),
# on the fixture laptop's power supplies (LUMENSTAT_SYSFS_ROOT).
host_items_profile() {
  mkdir -p "$1/lumenstat"
  cat >"$1/lumenstat/settings.json" <<JSON
{"ASDidInitSettings": true, "com.quillfern.lumenstat.welcome": true,
 "WantsBatteryStatusInMenuBar": true, "app.settings.menuBar.showsBatteryPercentage": true,
 "WantsCPUUsageInMenuBar": true, "app.settings.menuBar.showsStorageUsage": true${2:+, $2}}
JSON
  local source=${LUMENSTAT_SOURCE_DIR:-$(dirname "${BASH_SOURCE[0]}")/../..}
  export LUMENSTAT_SYSFS_ROOT="$source/tests/fixtures/power_supply/laptop_discharging"
}

# app_panel: "x y width height" of the app's shown panel window; nothing while none is shown.
app_panel() {
  local id
  for id in $(xwininfo -root -tree 2>/dev/null | awk '/"Lumenstat panel"/ {print $1}'); do
    xwininfo -id "$id" 2>/dev/null | awk '/Absolute upper-left X/ {x=$NF} /Absolute upper-left Y/ {y=$NF}
      /Width:/ {w=$NF} /Height:/ {h=$NF} /Map State: IsViewable/ {v=1}
      END { if (v) print x, y, w, h }'
  done | head -n1
}

# wait_app_panel shown|hidden: waits (up to 8 s) until the app's panel is so; then
# $app_panel_now holds its geometry (empty when hidden).
wait_app_panel() {
  for _ in $(seq 80); do
    app_panel_now=$(app_panel)
    if { [ "$1" = shown ] && [ -n "$app_panel_now" ]; } ||
      { [ "$1" = hidden ] && [ -z "$app_panel_now" ]; }; then
      return 0
    fi
    sleep 0.1
  done
  return 1
}
