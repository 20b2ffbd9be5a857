# Builds the test framework from the sources that its package installs: no package has it built for other systems.
find_path(LUMVEX_GOOGLETEST_DIR googletest/CMakeLists.txt PATHS /usr/src/googletest REQUIRED NO_CMAKE_FIND_ROOT_PATH
          DOC "Sources of GoogleTest")
set(INSTALL_GTEST OFF)
set(BUILD_GMOCK OFF)
add_subdirectory(${LUMVEX_GOOGLETEST_DIR} ${PROJECT_BINARY_DIR}/googletest EXCLUDE_FROM_ALL SYSTEM)
foreach(library gtest gtest_main)
  if(NOT TARGET GTest::${library})
    add_library(GTest::${library} ALIAS ${library})
  endif()
endforeach()
