# GoogleTest from the distribution's sources, so that it is built by the toolchain of each preset.
set(INSTALL_GTEST OFF)
set(BUILD_GMOCK OFF)
set(gtest_disable_pthreads ${WIN32})
add_subdirectory(/usr/src/googletest ${CMAKE_BINARY_DIR}/googletest EXCLUDE_FROM_ALL)
# It runs once: compiled as it stands.
foreach(library gtest gtest_main)
  target_compile_options(${library} PRIVATE -O0)
endforeach()
