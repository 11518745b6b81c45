# 32-bit Windows from Linux; Windows programs run under Wine in the project's own prefix.
set(VTDL_TRIPLE i686-w64-mingw32)
set(VTDL_EMULATOR script/wine)
include(${CMAKE_CURRENT_LIST_DIR}/mingw.cmake)
