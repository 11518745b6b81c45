# vtdl_type_library(target): compiles the IDL files of src/typelib into ${CMAKE_BINARY_DIR}/typelib and
# makes an interface library of their headers.
function(vtdl_type_library target)
  set(source ${PROJECT_SOURCE_DIR}/src/typelib)
  set(out ${CMAKE_BINARY_DIR}/typelib)
  file(MAKE_DIRECTORY ${out})
  find_program(WIDL ${VTDL_TRIPLE}-widl REQUIRED)
  if(CMAKE_SIZEOF_VOID_P EQUAL 8)
    set(options -m64 -L/usr/lib/x86_64-linux-gnu/wine/x86_64-windows)
  else()
    set(options -m32 -L/usr/lib/i386-linux-gnu/wine/i386-windows)
  endif()
  # -I: oaidl.idl, of the platform's own IDL files; -L: the compiled stdole2.tlb.
  set(widl ${WIDL} ${options} -I/usr/include/wine/wine/windows -I${source} -L${out})

  add_executable(finish ${source}/finish.cpp)  # runs here, once
  target_compile_options(finish PRIVATE -O0)
  target_link_libraries(finish PRIVATE vtdl_compiler oleaut32 ole32 uuid)
  target_link_options(finish PRIVATE -municode)

  add_custom_command(
    OUTPUT ${out}/itimer.tlb ${out}/itimer.h
    COMMAND ${widl} -t -o ${out}/itimer.tlb ${source}/itimer.idl
    COMMAND ${widl} -h -o ${out}/itimer.h ${source}/itimer.idl
    DEPENDS ${source}/itimer.idl)
  add_custom_command(
    OUTPUT ${out}/vtdl.tlb ${out}/vtdl.h
    COMMAND ${widl} -t -o ${out}/compiled.tlb ${source}/vtdl.idl
    COMMAND ${widl} -h -o ${out}/vtdl.h ${source}/vtdl.idl
    COMMAND finish ${out}/compiled.tlb ${out}/itimer.tlb ${out}/vtdl.tlb
    DEPENDS ${source}/vtdl.idl ${out}/itimer.tlb finish)
  add_custom_target(${target}_files DEPENDS
    ${out}/vtdl.tlb ${out}/vtdl.h ${out}/itimer.tlb ${out}/itimer.h)

  add_library(${target} INTERFACE)
  target_include_directories(${target} SYSTEM INTERFACE ${out})
  add_dependencies(${target} ${target}_files)
endfunction()
