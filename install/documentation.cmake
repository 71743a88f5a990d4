# Manual pages, changelog and local help. The first two are packed as the distribution packs them: gzip without a
# time stamp.
find_program(GZIP gzip REQUIRED)
find_package(Python3 REQUIRED COMPONENTS Interpreter)

# vardo_pack(FILE NAME DIRECTORY): has FILE packed and installed as DIRECTORY/NAME.gz.
function(vardo_pack file name directory)
  set(packed ${CMAKE_CURRENT_BINARY_DIR}/${name}.gz)
  add_custom_command(OUTPUT ${packed} DEPENDS ${file}
                     COMMAND sh -c "\"$1\" -9 -n -c \"$2\" >\"$3\"" pack ${GZIP} ${file} ${packed} VERBATIM)
  install(FILES ${packed} DESTINATION ${directory})
  set_property(DIRECTORY APPEND PROPERTY VARDO_DOCUMENTS ${packed})
endfunction()

set(VARDO_MANUALS ${CMAKE_SOURCE_DIR}/tools/vardoscan.1 ${CMAKE_SOURCE_DIR}/tools/vardoquarantine.1
    ${CMAKE_SOURCE_DIR}/updater/updatenow.8)
set(VARDO_MANUAL_SOURCES ${CMAKE_SOURCE_DIR}/docs/manual)
foreach(page vardogui.1 qsavd.8 runasroot.8)
  list(APPEND VARDO_MANUALS ${VARDO_MANUAL_SOURCES}/${page})
endforeach()

# Those of the configuration files say what the page about them says.
foreach(page qsav.conf vardo.conf vardo-schedule.conf vardo-updates.conf)
  list(APPEND VARDO_MADE_MANUALS ${CMAKE_CURRENT_BINARY_DIR}/${page}.5)
endforeach()
add_custom_command(OUTPUT ${VARDO_MADE_MANUALS}
                   DEPENDS ${VARDO_MANUAL_SOURCES}/configuration.py ${CMAKE_SOURCE_DIR}/docs/CONFIGURATION.md
                   COMMAND Python3::Interpreter ${VARDO_MANUAL_SOURCES}/configuration.py
                           ${CMAKE_SOURCE_DIR}/docs/CONFIGURATION.md ${CMAKE_CURRENT_BINARY_DIR})

foreach(page ${VARDO_MANUALS} ${VARDO_MADE_MANUALS})
  get_filename_component(name ${page} NAME)
  string(REGEX MATCH ".$" section ${name})
  vardo_pack(${page} ${name} /usr/share/man/man${section})
endforeach()
vardo_pack(${CMAKE_CURRENT_SOURCE_DIR}/debian/changelog changelog /usr/share/doc/vardo)

# What the window shows where no server has its help.
set(VARDO_HELP ${CMAKE_CURRENT_BINARY_DIR}/index.html)
add_custom_command(OUTPUT ${VARDO_HELP} DEPENDS ${VARDO_MANUAL_SOURCES}/help.py ${CMAKE_SOURCE_DIR}/docs/TOUR.md
                   COMMAND Python3::Interpreter ${VARDO_MANUAL_SOURCES}/help.py ${CMAKE_SOURCE_DIR}/docs/TOUR.md
                           ${VARDO_HELP})
file(STRINGS ${CMAKE_SOURCE_DIR}/docs/TOUR.md VARDO_TOUR REGEX "^!")
foreach(line ${VARDO_TOUR})
  string(REGEX MATCH "\\(([^)]*)\\)" _ "${line}")
  list(APPEND VARDO_HELP_PICTURES ${CMAKE_SOURCE_DIR}/docs/${CMAKE_MATCH_1})
endforeach()
install(FILES ${VARDO_HELP} DESTINATION share/help)
install(FILES ${VARDO_HELP_PICTURES} DESTINATION share/help OPTIONAL) # one that is yet to be taken may be missing

get_property(VARDO_PACKED DIRECTORY PROPERTY VARDO_DOCUMENTS)
add_custom_target(documents ALL DEPENDS ${VARDO_PACKED} ${VARDO_HELP})
