# `make deb`: Debian packages through CPack, built from a Release build installed to /usr.
#
# The app is the package "lumenstat". Each panel host's plug-in goes into a package of its
# own, so that a GNOME desktop does not pull in the XFCE or KDE libraries the other plug-ins
# link: install rules say COMPONENT xfce, plasma or gnome. Rules that name no component
# (CMAKE_INSTALL_DEFAULT_COMPONENT_NAME, set before the plug-ins are added) land in
# "lumenstat-plugins".
set(LUMENSTAT_MAINTAINER "Lumenstat maintainers <lumenstat@quillfern.com>"
    CACHE STRING "Maintainer field of the Debian packages")

set(CPACK_GENERATOR DEB)
set(CPACK_PACKAGE_NAME lumenstat)
set(CPACK_PACKAGE_VENDOR Quillfern)
set(CPACK_PACKAGE_VERSION ${PROJECT_VERSION})
set(CPACK_PACKAGE_DIRECTORY ${CMAKE_BINARY_DIR}/packages)
set(CPACK_STRIP_FILES ON)
set(CPACK_DEB_COMPONENT_INSTALL ON)

set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_MAINTAINER "${LUMENSTAT_MAINTAINER}")
set(CPACK_DEBIAN_PACKAGE_SECTION utils)
set(CPACK_DEBIAN_PACKAGE_PRIORITY optional)
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
set(_same_version "lumenstat (= ${PROJECT_VERSION})")

# The app's package. Its fields are also the defaults of the other packages, which override
# them, and they are what a build with no plug-ins (one component only) packages.
set(CPACK_DEBIAN_LUMENSTAT_PACKAGE_NAME lumenstat)
set(CPACK_DEBIAN_PACKAGE_DESCRIPTION
    "network speed, battery, CPU and disk in the panel
Lumenstat is a light tray monitor for one user's desktop: live upload and
download speed in the panel, running totals of the data moved, battery, CPU
and disk items, a click-open panel with charts, per-application data usage
and an always-on-top mini window. It shows itself as a StatusNotifierItem
(or a classic tray icon); the panel plug-in packages show the speeds at full
width in XFCE, KDE Plasma and GNOME Shell. `lumenstat --monitor` prints the
speeds on a terminal and for status bars such as Waybar and polybar.")

set(CPACK_DEBIAN_XFCE_PACKAGE_NAME lumenstat-xfce)
set(CPACK_DEBIAN_XFCE_PACKAGE_DEPENDS "${_same_version}")
set(CPACK_DEBIAN_XFCE_PACKAGE_RECOMMENDS xfce4-panel)
set(CPACK_DEBIAN_XFCE_DESCRIPTION "Lumenstat's faces in the XFCE panel
Panel plug-ins for xfce4-panel that show Lumenstat's network, battery, CPU
and storage items at full width.")

set(CPACK_DEBIAN_PLASMA_PACKAGE_NAME lumenstat-plasma)
set(CPACK_DEBIAN_PLASMA_PACKAGE_DEPENDS "${_same_version}")
set(CPACK_DEBIAN_PLASMA_PACKAGE_RECOMMENDS plasma-workspace)
set(CPACK_DEBIAN_PLASMA_DESCRIPTION "Lumenstat's faces in the KDE Plasma panel
Plasma applets that show Lumenstat's network, battery, CPU and storage items
at full width in a Plasma panel.")

set(CPACK_DEBIAN_GNOME_PACKAGE_NAME gnome-shell-extension-lumenstat)
set(CPACK_DEBIAN_GNOME_PACKAGE_ARCHITECTURE all)
set(CPACK_DEBIAN_GNOME_PACKAGE_DEPENDS "${_same_version}, gnome-shell (>= 43)")
set(CPACK_DEBIAN_GNOME_DESCRIPTION "Lumenstat's faces in the GNOME Shell top bar
A GNOME Shell extension that shows Lumenstat's items in the top bar.")

set(CPACK_DEBIAN_PLUGINS_PACKAGE_NAME lumenstat-plugins)
set(CPACK_DEBIAN_PLUGINS_PACKAGE_DEPENDS "${_same_version}")
set(CPACK_DEBIAN_PLUGINS_DESCRIPTION "Lumenstat's panel plug-ins
Plug-ins that show Lumenstat's items at full width inside desktop panels.")

# The app suggests the plug-in packages this build makes, and the AppIndicator extension
# through which GNOME shows the tray item without Lumenstat's own extension.
set(_suggests gnome-shell-extension-appindicator)
get_cmake_property(_components COMPONENTS)
foreach(_component IN LISTS _components)
  string(TOUPPER ${_component} _upper)
  if(NOT _component STREQUAL "lumenstat" AND DEFINED CPACK_DEBIAN_${_upper}_PACKAGE_NAME)
    list(PREPEND _suggests ${CPACK_DEBIAN_${_upper}_PACKAGE_NAME})
    # The plug-ins' packages suggest nothing.
    set(CPACK_DEBIAN_${_upper}_PACKAGE_SUGGESTS "")
  endif()
endforeach()
list(JOIN _suggests ", " CPACK_DEBIAN_PACKAGE_SUGGESTS)

include(CPack)
