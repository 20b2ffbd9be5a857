# Windows programs of 32 bits, built with the mingw-w64 packages of Debian.
set(LUMVEX_MINGW_TARGET i686-w64-mingw32)
include(${CMAKE_CURRENT_LIST_DIR}/mingw-w64.cmake)

# Numbers as on 64 bits: the older unit computes with more digits than it stores, and changes some values by loading them.
# Other compilers' programs align the stack to 4 bytes, which the newer unit's instructions do not take.
set(CMAKE_CXX_FLAGS_INIT "-msse2 -mfpmath=sse -mstackrealign")
