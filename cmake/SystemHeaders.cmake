# vtdl_system_headers(target folder): an interface library of /usr/include/FOLDER, a header-only
# library of the distribution. It is reached through a link in the build folder, because
# /usr/include itself would bring this machine's C library into the win32 build.
function(vtdl_system_headers target folder)
  if(NOT EXISTS /usr/include/${folder})
    message(FATAL_ERROR "/usr/include/${folder} is missing; script/bootstrap installs it")
  endif()
  set(links ${CMAKE_BINARY_DIR}/system-headers/${target})
  file(MAKE_DIRECTORY ${links})
  file(CREATE_LINK /usr/include/${folder} ${links}/${folder} SYMBOLIC)
  add_library(${target} INTERFACE)
  target_include_directories(${target} SYSTEM INTERFACE ${links})
endfunction()
