# Windows programs of 32 bits, built with the mingw-w64 packages of Debian.
set(LUMVEX_MINGW_TARGET i686-w64-mingw32)
include(${CMAKE_CURRENT_LIST_DIR}/mingw-w64.cmake)

# Computes with SSE as on 64 bits: the x87 unit computes with more digits than it stores, and changes some values
# (signalling NaNs) by loading them. Programs of other compilers align the stack to 4 bytes only, and SSE needs 16: the
# server's functions realign it.
set(CMAKE_CXX_FLAGS_INIT "-msse2 -mfpmath=sse -mstackrealign")
