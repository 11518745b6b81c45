# GoogleTest: the distribution's own natively, else from its sources.
if(NOT WIN32)
  find_package(GTest REQUIRED)
  return()
endif()
set(INSTALL_GTEST OFF)
set(BUILD_GMOCK OFF)
set(gtest_disable_pthreads ON)
add_subdirectory(/usr/src/googletest ${CMAKE_BINARY_DIR}/googletest EXCLUDE_FROM_ALL)
# It runs once: compiled as it stands.
foreach(library gtest gtest_main)
  target_compile_options(${library} PRIVATE -O0)
endforeach()
