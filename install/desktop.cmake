# The menu's entry with its icons, the file managers' entries, notifications.
install(FILES desktop/vardo.desktop DESTINATION /usr/share/applications)
configure_file(desktop/example.quillstone.vardo.metainfo.xml.in example.quillstone.vardo.metainfo.xml @ONLY)
install(FILES ${CMAKE_CURRENT_BINARY_DIR}/example.quillstone.vardo.metainfo.xml DESTINATION /usr/share/metainfo)
install(FILES desktop/example.quillstone.Vardo.Notices.service DESTINATION /usr/share/dbus-1/services)

set(VARDO_ICONS /usr/share/icons/hicolor)
install(FILES images/vardo.svg DESTINATION ${VARDO_ICONS}/scalable/apps)
find_program(RSVG_CONVERT rsvg-convert REQUIRED)
foreach(size 16 22 24 32 48 64 128 256)
  set(icon ${CMAKE_CURRENT_BINARY_DIR}/${size}/vardo.png)
  file(MAKE_DIRECTORY ${CMAKE_CURRENT_BINARY_DIR}/${size})
  add_custom_command(OUTPUT ${icon} DEPENDS images/vardo.svg
                     COMMAND ${RSVG_CONVERT} -w ${size} -h ${size} -o ${icon}
                             ${CMAKE_CURRENT_SOURCE_DIR}/images/vardo.svg)
  install(FILES ${icon} DESTINATION ${VARDO_ICONS}/${size}x${size}/apps)
  list(APPEND VARDO_PNGS ${icon})
endforeach()
add_custom_target(icons ALL DEPENDS ${VARDO_PNGS})

# Each file manager has a way of its own.
set(entries desktop/filemanagers)
install(FILES ${entries}/vardo.nemo_action DESTINATION /usr/share/nemo/actions)
install(FILES ${entries}/thunar.desktop DESTINATION /usr/share/Thunar/sendto RENAME vardo.desktop)
install(FILES ${entries}/dolphin.desktop DESTINATION /usr/share/kio/servicemenus RENAME vardo.desktop)
foreach(MANAGER Nautilus Caja)
  string(TOLOWER ${MANAGER} name)
  configure_file(${entries}/vardo.py.in ${name}/vardo.py @ONLY)
  install(FILES ${CMAKE_CURRENT_BINARY_DIR}/${name}/vardo.py DESTINATION /usr/share/${name}-python/extensions)
endforeach()
