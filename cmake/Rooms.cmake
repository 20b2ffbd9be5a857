# lumvex_rooms(TARGET ROOM...): an object library of all source files in the rooms, folders below the current one. A file
# whose name ends with a system's (_windows, _posix) is taken on that system alone. A file for one POSIX system
# (_linux, _other) is left to whoever chooses between them.
function(lumvex_rooms target)
  set(sources)
  foreach(room IN LISTS ARGN)
    file(GLOB found CONFIGURE_DEPENDS ${CMAKE_CURRENT_SOURCE_DIR}/${room}/*.cpp)
    list(APPEND sources ${found})
  endforeach()
  if(WIN32)
    list(FILTER sources EXCLUDE REGEX "_(posix|linux|other)\\.cpp$")
  else()
    list(FILTER sources EXCLUDE REGEX "_(windows|linux|other)\\.cpp$")
  endif()
  add_library(${target} OBJECT ${sources})
  target_include_directories(${target} PUBLIC ${PROJECT_SOURCE_DIR}/src ${PROJECT_BINARY_DIR}/made)
  target_link_libraries(${target} PRIVATE lumvex_options)
endfunction()
