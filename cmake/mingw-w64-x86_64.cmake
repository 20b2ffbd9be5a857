# Windows programs of 64 bits, built with the mingw-w64 packages of Debian.
set(LUMVEX_MINGW_TARGET x86_64-w64-mingw32)
include(${CMAKE_CURRENT_LIST_DIR}/mingw-w64.cmake)
