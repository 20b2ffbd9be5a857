# Cross-building for Windows; included with LUMVEX_MINGW_TARGET set.
set(CMAKE_SYSTEM_NAME Windows)
string(REGEX MATCH "^[^-]+" CMAKE_SYSTEM_PROCESSOR ${LUMVEX_MINGW_TARGET})

# The variant of the compiler that has std::thread and std::mutex.
set(CMAKE_C_COMPILER ${LUMVEX_MINGW_TARGET}-gcc-posix)
set(CMAKE_CXX_COMPILER ${LUMVEX_MINGW_TARGET}-g++-posix)
set(CMAKE_RC_COMPILER ${LUMVEX_MINGW_TARGET}-windres)
set(CMAKE_FIND_ROOT_PATH /usr/${LUMVEX_MINGW_TARGET})
set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
set(CMAKE_FIND_ROOT_PATH_MODE_LIBRARY ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_INCLUDE ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_PACKAGE ONLY)

# Programs need no libraries but the system's own: those of the compiler, the one for threads included, are linked in.
foreach(kind EXE SHARED MODULE)
  set(CMAKE_${kind}_LINKER_FLAGS_INIT "-static -Wl,--no-insert-timestamp")  # the same sources, the same bytes
endforeach()

set(CMAKE_CROSSCOMPILING_EMULATOR ${CMAKE_CURRENT_LIST_DIR}/../scripts/wine)
