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
  sleep 0.3
  for p in "${pids[@]}"; do kill -9 "$p" 2>/dev/null; done
  [ -n "${LUMENSTAT_KEEP_SCREENSHOT:-}" ] && cp "$work"/*.png "$LUMENSTAT_KEEP_SCREENSHOT"/ 2>/dev/null
  rm -rf "$work"
}
