# vardo_test(NAME SOURCES file... LIBS target... [LABELS label...] [ENV VAR=value...] [TIMEOUT seconds]
#            [AS user:group...])
# Adds a Qt Test program and registers it with CTest; with AS, once for each of these ids in the sandbox.
function(vardo_test name)
  cmake_parse_arguments(ARG "" "TIMEOUT" "SOURCES;LIBS;LABELS;ENV;AS" ${ARGN})
  if(NOT ARG_TIMEOUT)
    set(ARG_TIMEOUT 60)
  endif()
  add_executable(${name} ${ARG_SOURCES})
  set_target_properties(${name} PROPERTIES AUTOMOC ON)
  target_link_libraries(${name} PRIVATE ${ARG_LIBS} Qt6::Test)
  set(environment QT_QPA_PLATFORM=offscreen ${VARDO_SANITIZER_ENV} ${ARG_ENV})
  if(NOT ARG_AS)
    set(ARG_AS usual)
  endif()
  foreach(ids ${ARG_AS})
    if(ids STREQUAL usual)
      set(test ${name})
    else()
      string(REPLACE ":" "_" test ${name}_${ids})
      set(as VARDO_TEST_IDS=${ids})
    endif()
    add_test(NAME ${test} COMMAND ${name})
    set_tests_properties(${test} PROPERTIES
      TIMEOUT ${ARG_TIMEOUT}
      LABELS "${ARG_LABELS}"
      ENVIRONMENT "${environment};${as}")
  endforeach()
endfunction()
