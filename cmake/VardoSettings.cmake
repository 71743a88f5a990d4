# Compiler settings and the layout of the build folder, which mirrors the
# installed tree below opt/, so that programs find the library and the service
# at the same relative places in both.

set(CMAKE_CXX_STANDARD 20)
set(CMAKE_CXX_STANDARD_REQUIRED ON)
set(CMAKE_CXX_EXTENSIONS OFF)
set(CMAKE_POSITION_INDEPENDENT_CODE ON)
set(CMAKE_CXX_VISIBILITY_PRESET hidden)
set(CMAKE_VISIBILITY_INLINES_HIDDEN ON)
set(CMAKE_EXPORT_COMPILE_COMMANDS ON)

set(VARDO_TREE ${CMAKE_BINARY_DIR}/opt)
set(VARDO_BIN_DIR ${VARDO_TREE}/usr/bin)
set(VARDO_LIB_DIR ${VARDO_TREE}/usr/lib)
set(VARDO_SBIN_DIR ${VARDO_TREE}/sbin)

add_compile_options(-Wall -Wextra -Wpedantic -Wshadow -Wconversion)
if(VARDO_WERROR)
  add_compile_options(-Werror)
endif()
add_compile_definitions(_FILE_OFFSET_BITS=64)

if(VARDO_SANITIZE)
  add_compile_options(-fsanitize=${VARDO_SANITIZE} -fno-omit-frame-pointer -fno-sanitize-recover=all)
  add_link_options(-fsanitize=${VARDO_SANITIZE})
  # Qt and what it loads are not instrumented, so that reports from inside them mean nothing.
  set(VARDO_SANITIZER_ENV
    TSAN_OPTIONS=ignore_noninstrumented_modules=1:die_after_fork=0:suppressions=${CMAKE_SOURCE_DIR}/cmake/tsan.supp
    LSAN_OPTIONS=suppressions=${CMAKE_SOURCE_DIR}/cmake/lsan.supp)
else()
  add_compile_options(-fstack-protector-strong)
  if(CMAKE_BUILD_TYPE STREQUAL "Release")
    add_compile_definitions(_FORTIFY_SOURCE=2)
    # g++ 12 sees an overlap in every text literal + std::string that it inlines (GCC bug 105329).
    add_compile_options($<$<CXX_COMPILER_ID:GNU>:-Wno-restrict>)
  endif()
  add_link_options(-Wl,-z,relro,-z,now -Wl,-z,defs)
endif()

# vardo_program(TARGET DIRECTORY): places an executable in the mirrored tree
# and lets it find libvardo.so beside it, built and installed alike.
function(vardo_program target directory)
  set_target_properties(${target} PROPERTIES
    RUNTIME_OUTPUT_DIRECTORY ${directory}
    BUILD_RPATH_USE_ORIGIN ON
    BUILD_RPATH "\$ORIGIN/../lib"
    INSTALL_RPATH "\$ORIGIN/../lib"
    SKIP_BUILD_RPATH OFF
    BUILD_WITH_INSTALL_RPATH ON)
  target_link_options(${target} PRIVATE -Wl,--enable-new-dtags)
endfunction()
