# 64-bit Windows from Linux; Windows programs run under Wine in a prefix for both bitnesses.
set(VTDL_TRIPLE x86_64-w64-mingw32)
set(VTDL_EMULATOR script/wine64)
include(${CMAKE_CURRENT_LIST_DIR}/mingw.cmake)
