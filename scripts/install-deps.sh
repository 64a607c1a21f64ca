#!/usr/bin/env bash
# Installs the Debian 12 packages Lumenstat needs to build, run and test.
# Only packages that are missing are installed; works as root or through sudo.
set -euo pipefail

PACKAGES=(
  build-essential cmake pkg-config ccache
  qt6-base-dev qt6-base-dev-tools libxcb1-dev
  libsqlite3-dev nlohmann-json3-dev
  libgtest-dev libgmock-dev googletest libbenchmark-dev
  dbus dbus-x11 python3 python3-dbus python3-dbusmock python3-gi
  xvfb xauth iproute2 procps time util-linux
  nethogs libcap2-bin
  fonts-dejavu-core locales
  desktop-file-utils appstream dpkg-dev file
)
if [ "${LUMENSTAT_WITH_PANEL:-1}" = "1" ]; then
  PACKAGES+=(xfce4-panel xfconf x11-apps x11-utils xdotool imagemagick
             libxfce4panel-2.0-dev libgtk-3-dev
             plasma-sdk plasma-workspace plasma-desktop qtbase5-dev qtdeclarative5-dev
             libkf5plasma-dev extra-cmake-modules libglib2.0-bin
             gnome-shell gnome-shell-extension-prefs gnome-shell-extension-appindicator)
fi

missing=()
for p in "${PACKAGES[@]}"; do
  if ! dpkg-query -W -f='${Status}' "$p" 2>/dev/null | grep -q "install ok installed"; then
    missing+=("$p")
  fi
done

if [ ${#missing[@]} -eq 0 ]; then
  exit 0
fi

SUDO=""
if [ "$(id -u)" -ne 0 ]; then
  if command -v sudo >/dev/null 2>&1; then
    SUDO="sudo"
  else
    echo "install-deps: missing packages (${missing[*]}) and not root; install them or use sudo" >&2
    exit 1
  fi
fi

echo "install-deps: installing ${missing[*]}"
export DEBIAN_FRONTEND=noninteractive
$SUDO apt-get update -qq
$SUDO apt-get install -y -qq --no-install-recommends "${missing[@]}"
