# Windows programs of 32 bits, built with the mingw-w64 packages of Debian.
set(LUMVEX_MINGW_TARGET i686-w64-mingw32)
include(${CMAKE_CURRENT_LIST_DIR}/mingw-w64.cmake)
