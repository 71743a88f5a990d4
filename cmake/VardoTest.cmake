# vardo_test(NAME SOURCES file... LIBS target... [LABELS label...] [ENV VAR=value...] [TIMEOUT seconds])
# Adds a Qt Test program and registers it with CTest.
function(vardo_test name)
  cmake_parse_arguments(ARG "" "TIMEOUT" "SOURCES;LIBS;LABELS;ENV" ${ARGN})
  if(NOT ARG_TIMEOUT)
    set(ARG_TIMEOUT 60)
  endif()
  add_executable(${name} ${ARG_SOURCES})
  set_target_properties(${name} PROPERTIES AUTOMOC ON)
  target_link_libraries(${name} PRIVATE ${ARG_LIBS} Qt6::Test)
  set(environment QT_QPA_PLATFORM=offscreen ${VARDO_SANITIZER_ENV} ${ARG_ENV})
  add_test(NAME ${name} COMMAND ${name})
  set_tests_properties(${name} PROPERTIES
    TIMEOUT ${ARG_TIMEOUT}
    LABELS "${ARG_LABELS}"
    ENVIRONMENT "${environment}")
endfunction()
