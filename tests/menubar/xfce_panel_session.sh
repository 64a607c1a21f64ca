# Sourced by the xfce4-panel tests and the idle benchmark: starts Xvfb, a session bus and one
# xfce4-panel along the top with only the notification area in it, for the folders under
# $work. Appends every process to the caller's pids array and sets xvfb_pid, bus_pid and
# panel_pid. Returns 1 (with the log on standard output) when a piece does not start.
# A caller may set panel_plugins (the panel's items in order, default: systray), call
# panel_item N PROPERTY TYPE VALUE from a function named in panel_setup to configure item N,
# and start the panel through a command prefix in panel_prefix (e.g. a mount namespace).
# use_built_plugin DIR KIND...: xfce4-panel 4.18 reads plug-ins only from its own folders, so the
# panel is started (through panel_prefix) in a mount namespace where those folders are copies
# holding the built plug-in lumenstat-KIND from DIR (lib/, share/xfce4/panel/plugins/) beside
# the installed ones. Returns 1 with a message when that cannot be done here.
. "$(dirname "${BASH_SOURCE[0]}")/../support/host_itest.sh" # host_xvfb

use_built_plugin() {
  local dir=$1 kind system_lib system_share=/usr/share/xfce4/panel/plugins
  system_lib=$(dirname "$(ls /usr/lib/*/xfce4/panel/plugins/libsystray.so \
    /usr/lib/xfce4/panel/plugins/libsystray.so 2>/dev/null | head -n1)")
  if [ ! -d "$system_lib" ] || [ ! -f "$system_share/systray.desktop" ]; then
    echo "xfce4-panel's plug-in folders are not found"; return 1
  fi
  mkdir -p "$work/plugin-lib" "$work/plugin-share"
  cp "$system_lib"/*.so "$work/plugin-lib/" || return 1
  cp "$system_share"/*.desktop "$work/plugin-share/" || return 1
  for kind in "${@:2}"; do
    cp "$dir/lib/liblumenstat-$kind.so" "$work/plugin-lib/" || return 1
    cp "$dir/share/xfce4/panel/plugins/lumenstat-$kind.desktop" "$work/plugin-share/" || return 1
  done
  local flags=(--mount)
  [ "$(id -u)" -eq 0 ] || flags+=(--map-current-user)
  unshare "${flags[@]}" true 2>/dev/null ||
    { echo "no mount namespace here (unshare ${flags[*]})"; return 1; }
  panel_prefix=(unshare "${flags[@]}" sh -c
    'mount --bind "$1" "$2" && mount --bind "$3" "$4" && shift 4 && exec "$@"' mount-plugins
    "$work/plugin-lib" "$system_lib" "$work/plugin-share" "$system_share")
}

panel_item() {
  xfconf-query -c xfce4-panel -p "/plugins/plugin-$1/$2" -n -t "$3" -s "$4"
}

start_xfce_panel() {
  local width=${1:-640} height=${2:-200}
  export XDG_CONFIG_HOME="$work/config" XDG_DATA_HOME="$work/data" XDG_RUNTIME_DIR="$work/run"
  export XDG_CACHE_HOME="$work/cache"
  mkdir -p "$XDG_CONFIG_HOME" "$XDG_DATA_HOME" "$XDG_RUNTIME_DIR" "$XDG_CACHE_HOME"
  chmod 700 "$XDG_RUNTIME_DIR"

  # The display: LUMENSTAT_XVFB_DISPLAY's (the benchmarks' name) or LUMENSTAT_TEST_DISPLAY's
  # number when one is set, else a free one.
  LUMENSTAT_TEST_DISPLAY=${LUMENSTAT_XVFB_DISPLAY:-${LUMENSTAT_TEST_DISPLAY:-}} \
    host_xvfb "${width}x${height}" || return 1

  eval "$(dbus-daemon --session --fork --print-address=1 --print-pid=1 |
    { read -r addr; read -r pid; echo "export DBUS_SESSION_BUS_ADDRESS='$addr'; bus_pid=$pid"; })"
  pids+=("$bus_pid")

  local q=(xfconf-query -c xfce4-panel)
  "${q[@]}" -p /panels -n -a -t int -s 1
  "${q[@]}" -p /panels/panel-1/position -n -t string -s "p=6;x=0;y=0"
  "${q[@]}" -p /panels/panel-1/position-locked -n -t bool -s true
  "${q[@]}" -p /panels/panel-1/size -n -t uint -s 28
  "${q[@]}" -p /panels/panel-1/length -n -t uint -s 100
  local items=("${panel_plugins[@]:-systray}") ids=() i
  for i in "${!items[@]}"; do
    ids+=(-t int -s $((i + 1)))
    "${q[@]}" -p "/plugins/plugin-$((i + 1))" -n -t string -s "${items[$i]}"
  done
  "${q[@]}" -p /panels/panel-1/plugin-ids -n -a "${ids[@]}"
  [ -n "${panel_setup:-}" ] && "$panel_setup"
  "${panel_prefix[@]}" xfce4-panel --disable-wm-check >"$work/panel.log" 2>&1 &
  panel_pid=$!; pids+=("$panel_pid")
  sleep 3
  if ! kill -0 "$panel_pid" 2>/dev/null; then
    echo "xfce4-panel exited"; cat "$work/panel.log"; return 1
  fi
}
