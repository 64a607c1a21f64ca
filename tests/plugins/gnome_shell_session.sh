# Sourced by the GNOME Shell tests (after tests/support/host_itest.sh): starts Xvfb, a private
# system bus, a session bus and `gnome-shell --x11 --replace` with the given extensions
# enabled, for the folders under $work. Each argument after the screen size is an extension: a
# folder (copied into the user's extensions) or the uuid of one installed on the system.
# Appends every process to the caller's pids array and sets DISPLAY and shell_pid. Returns 1
# (with the logs on standard output) when a piece does not start. LUMENSTAT_TEST_DISPLAY picks
# the display number (default: the first free one).
gnome_here=$(cd "$(dirname "${BASH_SOURCE[0]}")" && pwd)

# shot NAME: the screen into $work/NAME.xwd; bar ARGS: top_bar.py's reading of a dump;
# crop NAME PNG X Y W H: that part of $work/NAME.xwd as $work/gnome-PNG.png, to look at.
shot() { xwd -root -silent >"$work/$1.xwd"; }
bar() { /usr/bin/python3 "$gnome_here/top_bar.py" "$@"; }
crop() { /usr/bin/python3 "$gnome_here/../menubar/xwd_tool.py" crop "$work/$1.xwd" "$work/gnome-$2.png" "${@:3}"; }
# gnome_fail PATTERN MESSAGE: says what failed with the shell log's lines matching PATTERN and
# the app log's end, and ends the test.
gnome_fail() {
  echo "FAIL: $2"
  echo "--- shell log"; grep -i "$1" "$work/shell.log" | tail -20
  echo "--- app log"; tail -20 "$work/app.log"
  exit 1
}

start_gnome_shell() {
  local size=$1; shift
  export HOME="$work/home" XDG_RUNTIME_DIR="$work/run" XDG_CONFIG_HOME="$work/home/.config"
  export XDG_DATA_HOME="$work/home/.local/share" XDG_CACHE_HOME="$work/home/.cache"
  export XDG_SESSION_TYPE=x11 XDG_CURRENT_DESKTOP=GNOME GSETTINGS_BACKEND=keyfile
  export NO_AT_BRIDGE=1 GIO_USE_VFS=local
  mkdir -p "$XDG_RUNTIME_DIR" "$XDG_DATA_HOME/gnome-shell/extensions" "$XDG_CONFIG_HOME"
  chmod 700 "$XDG_RUNTIME_DIR"

  local uuids=() dir
  for dir in "$@"; do
    [ -d "$dir" ] && cp -r "$dir" "$XDG_DATA_HOME/gnome-shell/extensions/"
    uuids+=("'$(basename "$dir")'")
  done

  # Schemas compiled privately, so the test does not depend on the system's compiled cache.
  export GSETTINGS_SCHEMA_DIR="$work/schemas"
  mkdir -p "$GSETTINGS_SCHEMA_DIR"
  cp /usr/share/glib-2.0/schemas/*.xml /usr/share/glib-2.0/schemas/*.override "$GSETTINGS_SCHEMA_DIR"/ 2>/dev/null
  glib-compile-schemas "$GSETTINGS_SCHEMA_DIR" || return 1
  local list
  list=$(IFS=,; echo "${uuids[*]}")
  mkdir -p "$XDG_CONFIG_HOME/glib-2.0/settings"
  cat >"$XDG_CONFIG_HOME/glib-2.0/settings/keyfile" <<KEYS
[org/gnome/shell]
enabled-extensions=[$list]
disable-user-extensions=false
welcome-dialog-last-shown-version='999'
[org/gnome/desktop/interface]
enable-animations=false
KEYS

  host_xvfb "$size" || return 1

  dbus-daemon --config-file=/usr/share/dbus-1/session.conf \
    --address="unix:path=$work/system.sock" --nofork --nopidfile >/dev/null 2>&1 &
  pids+=("$!")
  export DBUS_SYSTEM_BUS_ADDRESS="unix:path=$work/system.sock"
  # Sockets with a path (not abstract ones), so a process in another network namespace can
  # reach the bus.
  dbus-daemon --config-file=/usr/share/dbus-1/session.conf \
    --address="unix:path=$work/session.sock" --nofork --nopidfile >/dev/null 2>&1 &
  pids+=("$!")
  export DBUS_SESSION_BUS_ADDRESS="unix:path=$work/session.sock"
  for _ in $(seq 50); do
    [ -S "$work/session.sock" ] && [ -S "$work/system.sock" ] && break
    sleep 0.1
  done

  gnome-shell --x11 --replace >"$work/shell.log" 2>&1 &
  shell_pid=$!; pids+=("$shell_pid")
  # Ready once the shell owns its bus name and its extensions are loaded.
  local state=""
  for _ in $(seq 100); do
    state=$(gdbus call --session -d org.gnome.Shell -o /org/gnome/Shell \
      -m org.freedesktop.DBus.Properties.Get org.gnome.Shell.Extensions ShellVersion 2>/dev/null)
    [ -n "$state" ] && break
    kill -0 "$shell_pid" 2>/dev/null || break
    sleep 0.2
  done
  if [ -z "$state" ]; then
    echo "gnome-shell did not start"; tail -30 "$work/shell.log"; return 1
  fi
  sleep 1
}
