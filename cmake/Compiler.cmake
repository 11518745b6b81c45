# How everything of ours is compiled: warnings are errors, and win32 arithmetic is SSE2 (with x87,
# results differ between optimisation levels, and from the native builds).
add_library(vtdl_compiler INTERFACE)
target_compile_options(vtdl_compiler INTERFACE
  -Wall -Wextra -Wpedantic -Wshadow -Wconversion -Werror)
if(WIN32)
  target_compile_definitions(vtdl_compiler INTERFACE
    UNICODE _UNICODE WIN32_LEAN_AND_MEAN NOMINMAX _WIN32_WINNT=0x0601)
  target_compile_options(vtdl_compiler INTERFACE -msse2 -mfpmath=sse)
  # Programs move in memory, run no data and notice a smashed stack; tests/images.sh reads this back. No
  # time of linking inside, so that the same sources give the same bytes.
  target_compile_options(vtdl_compiler INTERFACE -fstack-protector-strong)
  target_link_options(vtdl_compiler INTERFACE -static -fstack-protector-strong
    -Wl,--dynamicbase,--nxcompat,--no-insert-timestamp)
  if(CMAKE_SIZEOF_VOID_P EQUAL 8)
    target_link_options(vtdl_compiler INTERFACE -Wl,--high-entropy-va)
  endif()
endif()
# What is tested is watched, not what tests it.
define_property(TARGET PROPERTY VTDL_UNDEFINED_UNWATCHED INITIALIZE_FROM_VARIABLE VTDL_UNDEFINED_UNWATCHED)
if(VTDL_SANITIZE)
  target_compile_options(vtdl_compiler INTERFACE
    -fsanitize=address $<$<NOT:$<BOOL:$<TARGET_PROPERTY:VTDL_UNDEFINED_UNWATCHED>>>:-fsanitize=undefined>
    -fno-sanitize-recover=all -fno-omit-frame-pointer
    # A report names lines, and a null pointer shows without being asked for at each use. Alignment is
    # a third of the compiler's time; the fuzzers ask for it.
    -g1 -fno-sanitize=null,alignment,object-size
    # Each access is watched by a call: a quarter less for the compiler than by code of its own.
    --param=asan-instrumentation-with-call-threshold=0)
  target_link_options(vtdl_compiler INTERFACE -fsanitize=address,undefined)
endif()
if(VTDL_FUZZ)
  if(NOT CMAKE_CXX_COMPILER_ID STREQUAL "Clang" OR VTDL_TESTS)
    message(FATAL_ERROR "The fuzzers are built by clang, and apart from the tests: use the preset fuzz")
  endif()
  target_compile_options(vtdl_compiler INTERFACE
    -fsanitize=fuzzer-no-link,address,undefined
    -fsanitize-coverage-ignorelist=${PROJECT_SOURCE_DIR}/tests/fuzz/unwatched.txt -fno-sanitize-recover=all -fno-omit-frame-pointer)
  target_link_options(vtdl_compiler INTERFACE -fsanitize=address,undefined)
endif()
