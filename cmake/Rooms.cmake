# The rooms of src/ and what each may include: src/arrows is the list, and scripts/check-arrows says in words where an
# include breaks it. Here the compiler is held to it as well: a room's headers are linked into a folder of its own,
# build/<preset>/rooms/<room>, and a room's files are compiled with the folders of the rooms that it may include.

# Reads src/arrows, and links the headers of every room of src/.
function(lumvex_read_arrows)
  set_property(DIRECTORY APPEND PROPERTY CMAKE_CONFIGURE_DEPENDS ${PROJECT_SOURCE_DIR}/src/arrows)
  file(STRINGS src/arrows rows REGEX "^src/")
  foreach(row IN LISTS rows)
    string(REGEX MATCH "^([^ :]+)[^:]*:(.*)$" matched "${row}")
    set(room ${CMAKE_MATCH_1})
    separate_arguments(named UNIX_COMMAND "${CMAKE_MATCH_2}")
    set(reached ${room})
    foreach(each IN LISTS named)
      get_property(further GLOBAL PROPERTY lumvex_reached_by_${each})
      list(APPEND reached ${further})
    endforeach()
    list(REMOVE_DUPLICATES reached)
    set_property(GLOBAL PROPERTY lumvex_reached_by_${room} ${reached})
    set_property(GLOBAL APPEND PROPERTY lumvex_all_rooms ${room})
  endforeach()

  # Rooms may lie in rooms, so that single files are linked.
  file(GLOB_RECURSE headers CONFIGURE_DEPENDS RELATIVE ${PROJECT_SOURCE_DIR}/src src/*.hpp src/*.def)
  foreach(header IN LISTS headers)
    get_filename_component(inside ${header} DIRECTORY)
    lumvex_room_of(room src/${inside})
    if(room)
      lumvex_folder_of(folder ${room})
      file(MAKE_DIRECTORY ${folder}/${inside})
      file(CREATE_LINK ${PROJECT_SOURCE_DIR}/src/${header} ${folder}/${header} SYMBOLIC)
    endif()
  endforeach()
endfunction()

# A folder that has no row of its own belongs to the room around it; empty where there is none.
function(lumvex_room_of variable folder)
  get_property(rooms GLOBAL PROPERTY lumvex_all_rooms)
  while(folder AND NOT folder IN_LIST rooms)
    get_filename_component(folder "${folder}" DIRECTORY)
  endwhile()
  set(${variable} "${folder}" PARENT_SCOPE)
endfunction()

# src/core/tree -> build/<preset>/rooms/core.tree
function(lumvex_folder_of variable room)
  string(REGEX REPLACE "^src/" "" name ${room})
  string(REPLACE "/" "." name ${name})
  set(${variable} ${PROJECT_BINARY_DIR}/rooms/${name} PARENT_SCOPE)
endfunction()

# lumvex_see_rooms(TARGET FOLDER): a target of files of a room, or of a folder in one, sees what the room may include.
function(lumvex_see_rooms target folder)
  lumvex_room_of(room ${folder})
  get_property(reached GLOBAL PROPERTY lumvex_reached_by_${room})
  if(NOT reached)
    message(FATAL_ERROR "src/arrows has no row for ${folder}")
  endif()
  foreach(each IN LISTS reached)
    lumvex_folder_of(folder ${each})
    target_include_directories(${target} PRIVATE ${folder})
  endforeach()
endfunction()

# lumvex_rooms(TARGET ROOMS ROOM... [LIBRARIES ...] [OPTIONS ...] [DEFINITIONS ...]): the object files of all sources in
# the rooms, folders below the current one. A file whose name ends with a system's (_windows, _posix) is taken on that
# system alone. A file for one POSIX system (_linux, _other) is left to whoever chooses between them. What links TARGET
# sees all of src/.
function(lumvex_rooms target)
  cmake_parse_arguments(ARG "" "" "ROOMS;LIBRARIES;OPTIONS;DEFINITIONS" ${ARGN})
  add_library(${target} INTERFACE)
  target_include_directories(${target} INTERFACE ${PROJECT_SOURCE_DIR}/src)
  target_link_libraries(${target} INTERFACE ${ARG_LIBRARIES})
  foreach(each IN LISTS ARG_ROOMS)
    get_filename_component(folder ${CMAKE_CURRENT_SOURCE_DIR}/${each} ABSOLUTE)  # also through a link
    file(RELATIVE_PATH path ${PROJECT_SOURCE_DIR} ${folder})
    file(GLOB sources CONFIGURE_DEPENDS ${folder}/*.cpp)
    if(WIN32)
      list(FILTER sources EXCLUDE REGEX "_(posix|linux|other)\\.cpp$")
    else()
      list(FILTER sources EXCLUDE REGEX "_(windows|linux|other)\\.cpp$")
    endif()
    if(NOT sources)
      continue()  # headers alone
    endif()
    string(REPLACE "/" "_" objects ${path})
    string(REGEX REPLACE "^src" "room" objects ${objects})
    add_library(${objects} OBJECT ${sources})
    lumvex_see_rooms(${objects} ${path})
    target_link_libraries(${objects} PRIVATE ${ARG_LIBRARIES} lumvex_options)
    target_compile_options(${objects} PRIVATE ${ARG_OPTIONS})
    target_compile_definitions(${objects} PRIVATE ${ARG_DEFINITIONS})
    set_target_properties(${objects} PROPERTIES UNITY_BUILD ${LUMVEX_COMPILE_TOGETHER} UNITY_BUILD_BATCH_SIZE 7)
    target_sources(${target} INTERFACE $<TARGET_OBJECTS:${objects}>)
  endforeach()
endfunction()
