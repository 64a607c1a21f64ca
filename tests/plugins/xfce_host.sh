# Sourced by the xfce4-panel plug-in tests (after setting here to their folder).
#
#   xfce_plugins_begin KIND...
#
# skips (77) unless the panel host, the built app and the plug-ins lumenstat-KIND (built in
# $LUMENSTAT_XFCE_PLUGINS) are there and can be shown to xfce4-panel, then loads
# xfce_panel_session.sh and sets XDG_CONFIG_HOME under $work. The caller then names its
# panel_plugins (separators at both ends: dark_panel makes them expand) and starts the panel.
menubar="$here/../menubar"
. "$here/../support/host_itest.sh"

xfce_plugins_begin() {
  local plugins=${LUMENSTAT_XFCE_PLUGINS:-} kind
  host_itest_begin "scripts/install-deps.sh installs the panel host" \
    Xvfb xfce4-panel xfconf-query dbus-daemon xwd xwininfo xdotool gdbus unshare
  for kind in "$@"; do
    if [ -z "$plugins" ] || [ ! -f "$plugins/lib/liblumenstat-$kind.so" ]; then
      echo "SKIP: the xfce4-panel plug-ins are not built (libxfce4panel-2.0-dev is missing)"
      exit 77
    fi
  done
  . "$menubar/xfce_panel_session.sh"
  if ! use_built_plugin "$plugins" "$@"; then
    # xfce4-panel 4.18 loads plug-ins only from its own folders; without a mount namespace
    # (root or user namespaces) the built one cannot be shown to it.
    echo "SKIP: the built plug-ins cannot be put where xfce4-panel looks"
    exit 77
  fi
  panel_setup=dark_panel
  export XDG_CONFIG_HOME="$work/config"
  mkdir -p "$XDG_CONFIG_HOME/gtk-3.0"
}

fail() {
  echo "FAIL: $*"
  [ -f "$work/now.xwd" ] && xwd_tool png "$work/now.xwd" "$work/failed.png" 40
  echo "--- panel log"; cat "$work/panel.log"; echo "--- app log"; cat "$work/app.log" 2>/dev/null
  exit 1
}

# The separators at both ends of panel_plugins expand; the panel is dark, so the theme in
# gtk.css gives the plug-ins light text.
ink=e8eaed
dark_panel() {
  local i
  for i in 1 "${#panel_plugins[@]}"; do panel_item "$i" expand bool true; panel_item "$i" style uint 0; done
  xfconf-query -c xfce4-panel -p /panels/panel-1/background-style -n -t uint -s 1
  xfconf-query -c xfce4-panel -p /panels/panel-1/background-rgba -n -a \
    -t double -s 0.133 -t double -s 0.149 -t double -s 0.169 -t double -s 1
}

xwd_tool() { /usr/bin/python3 "$menubar/xwd_tool.py" "$@"; }
shot() { xwd -root -silent >"$work/$1.xwd"; }
# area SHOT COLOUR: "x y width height" of the box of that background colour, nothing if none
area() { xwd_tool box "$work/$1.xwd" "$2" 100; }

# The faces in the ink: face_render KIND HEIGHT "$argb", face_width KIND HEIGHT "$argb".
argb=$((0xff000000 | 0x$ink))
. "$here/faces.sh"

start_app() {
  QT_QPA_PLATFORM=xcb "$app" >>"$work/app.log" 2>&1 &
  app_pid=$!
  pids+=("$app_pid")
}
