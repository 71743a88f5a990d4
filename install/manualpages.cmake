# Manual pages are packed as the distribution packs them: gzip without a time stamp.
find_program(GZIP gzip REQUIRED)
set(VARDO_MANUALS ${CMAKE_SOURCE_DIR}/tools/vardoscan.1 ${CMAKE_SOURCE_DIR}/tools/vardoquarantine.1
    ${CMAKE_SOURCE_DIR}/updater/updatenow.8)
foreach(page ${VARDO_MANUALS})
  get_filename_component(name ${page} NAME)
  set(packed ${CMAKE_CURRENT_BINARY_DIR}/${name}.gz)
  add_custom_command(OUTPUT ${packed} DEPENDS ${page}
                     COMMAND sh -c "\"$1\" -9 -n -c \"$2\" >\"$3\"" pack ${GZIP} ${page} ${packed} VERBATIM)
  list(APPEND VARDO_PACKED_MANUALS ${packed})
  get_filename_component(section ${page} LAST_EXT)
  string(SUBSTRING ${section} 1 -1 section)
  install(FILES ${packed} DESTINATION /usr/share/man/man${section})
endforeach()
add_custom_target(manualpages ALL DEPENDS ${VARDO_PACKED_MANUALS})
