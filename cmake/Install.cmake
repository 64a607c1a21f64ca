# What `make install` (cmake --install) puts where: the app, its helper, the desktop entry,
# the AppStream metadata, the icons and the font licence. Panel plug-ins install their own
# files from plugins/*/.

# The application icon in the hicolor theme, drawn at build time from the tray picture.
set(LUMENSTAT_ICON_SIZES 16 22 24 32 48 64 128 256)
set(_icon_root ${CMAKE_BINARY_DIR}/icons/hicolor)
set(_icon_files ${_icon_root}/scalable/apps/com.quillfern.Lumenstat.svg)
foreach(_size IN LISTS LUMENSTAT_ICON_SIZES)
  list(APPEND _icon_files ${_icon_root}/${_size}x${_size}/apps/com.quillfern.Lumenstat.png)
endforeach()
add_executable(lumenstat-appicon tools/appicon/main.cpp)
target_link_libraries(lumenstat-appicon PRIVATE ls_menubar Qt6::Gui)
add_custom_command(OUTPUT ${_icon_files}
  COMMAND ${CMAKE_COMMAND} -E env ASAN_OPTIONS=detect_leaks=0 QT_QPA_PLATFORM=offscreen
          $<TARGET_FILE:lumenstat-appicon> ${_icon_root} ${LUMENSTAT_ICON_SIZES}
  DEPENDS lumenstat-appicon
  COMMENT "Drawing the application icons")
add_custom_target(lumenstat-icons ALL DEPENDS ${_icon_files})

install(TARGETS lumenstat RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR} COMPONENT lumenstat)
# The per-process traffic tool lives beside the app, out of PATH.
if(TARGET lumenstat-nettop)
  install(TARGETS lumenstat-nettop RUNTIME DESTINATION ${CMAKE_INSTALL_LIBEXECDIR}/lumenstat
          COMPONENT lumenstat)
endif()
install(FILES resources/com.quillfern.Lumenstat.desktop
        DESTINATION ${CMAKE_INSTALL_DATADIR}/applications COMPONENT lumenstat)
install(FILES resources/com.quillfern.Lumenstat.metainfo.xml
        DESTINATION ${CMAKE_INSTALL_DATADIR}/metainfo COMPONENT lumenstat)
install(DIRECTORY ${_icon_root} DESTINATION ${CMAKE_INSTALL_DATADIR}/icons COMPONENT lumenstat)
# The tray item's symbolic icon, which hosts find by name and draw in their panel's colour.
install(FILES resources/icons/hicolor/scalable/status/lumenstat-symbolic.svg
        DESTINATION ${CMAKE_INSTALL_DATADIR}/icons/hicolor/scalable/status COMPONENT lumenstat)
# The Saira faces are built into the binary; their licence travels with it.
install(FILES resources/fonts/OFL.txt DESTINATION ${CMAKE_INSTALL_DATADIR}/doc/lumenstat
        RENAME OFL-Saira.txt COMPONENT lumenstat)
