# What `cmake --install` puts where. Components: library (what programs run with), development (what they are built with),
# tool, server (Windows alone).
include(GNUInstallDirs)
include(CMakePackageConfigHelpers)
set(CMAKE_INSTALL_DEFAULT_DIRECTORY_PERMISSIONS
    OWNER_READ OWNER_WRITE OWNER_EXECUTE GROUP_READ GROUP_EXECUTE WORLD_READ WORLD_EXECUTE)
set(doc_dir ${CMAKE_INSTALL_DATAROOTDIR}/doc/lumvex)
set(package_dir ${CMAKE_INSTALL_LIBDIR}/cmake/Lumvex)

# Headers: those written by hand and those made from the tables.
set(not_here)
if(WIN32)  # the SDK has these
  set(not_here PATTERN native EXCLUDE PATTERN native_automation.hpp EXCLUDE)
endif()
install(DIRECTORY include/lumvex ${PROJECT_BINARY_DIR}/include/lumvex DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}
        COMPONENT development FILES_MATCHING PATTERN *.hpp ${not_here})

# Libraries, and the targets that other CMake projects link.
set(libraries lumvex_interface_headers lumvex_static)
foreach(library lumvex_shared lumvex_client)
  if(TARGET ${library})
    list(APPEND libraries ${library})
  endif()
endforeach()
install(TARGETS ${libraries} EXPORT LumvexTargets
        LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR} COMPONENT library NAMELINK_COMPONENT development
        ARCHIVE DESTINATION ${CMAKE_INSTALL_LIBDIR} COMPONENT development
        INCLUDES DESTINATION ${CMAKE_INSTALL_INCLUDEDIR})
install(EXPORT LumvexTargets NAMESPACE Lumvex:: DESTINATION ${package_dir} COMPONENT development)
configure_package_config_file(cmake/LumvexConfig.cmake.in ${PROJECT_BINARY_DIR}/LumvexConfig.cmake
                              INSTALL_DESTINATION ${package_dir} NO_SET_AND_CHECK_MACRO)
write_basic_package_version_file(${PROJECT_BINARY_DIR}/LumvexConfigVersion.cmake COMPATIBILITY SameMajorVersion)
install(FILES ${PROJECT_BINARY_DIR}/LumvexConfig.cmake ${PROJECT_BINARY_DIR}/LumvexConfigVersion.cmake
        DESTINATION ${package_dir} COMPONENT development)

# For everybody else. The file finds its prefix by its own place.
if(NOT WIN32)
  cmake_path(RELATIVE_PATH CMAKE_INSTALL_FULL_INCLUDEDIR BASE_DIRECTORY ${CMAKE_INSTALL_FULL_LIBDIR}/pkgconfig
             OUTPUT_VARIABLE to_include)
  configure_file(cmake/lumvex.pc.in lumvex.pc @ONLY)
  install(FILES ${PROJECT_BINARY_DIR}/lumvex.pc DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig COMPONENT development)
endif()

if(TARGET lumvex_tool)
  install(TARGETS lumvex_tool DESTINATION ${CMAKE_INSTALL_BINDIR} COMPONENT tool)
  if(LUMVEX_TOOL_MANUAL)  # what the tool prints of itself
    install(FILES ${LUMVEX_TOOL_MANUAL}/lumvex.1${LUMVEX_TOOL_MANUAL_COMPRESSED} COMPONENT tool
            DESTINATION ${CMAKE_INSTALL_MANDIR}/man1)
    install(FILES ${LUMVEX_TOOL_MANUAL}/lumvex.bash RENAME lumvex COMPONENT tool
            DESTINATION ${CMAKE_INSTALL_DATADIR}/bash-completion/completions)
    set(zsh site-functions)
    if(LUMVEX_FOR_DEBIAN)
      set(zsh vendor-completions)
    endif()
    install(FILES ${LUMVEX_TOOL_MANUAL}/_lumvex DESTINATION ${CMAKE_INSTALL_DATADIR}/zsh/${zsh} COMPONENT tool)
  endif()
endif()
if(TARGET lumvex_server)
  install(TARGETS lumvex_server RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR} COMPONENT server)
  install(FILES ${CMAKE_RUNTIME_OUTPUT_DIRECTORY}/Lumvex51.tlb DESTINATION ${CMAKE_INSTALL_BINDIR} COMPONENT server)
  install(PROGRAMS packaging/windows/register.cmd DESTINATION . COMPONENT server)
endif()

install(FILES README.md THIRD-PARTY.md DESTINATION ${doc_dir} COMPONENT tool)
install(FILES docs/performance.md docs/reliability.md DESTINATION ${doc_dir}/docs COMPONENT tool)
install(FILES docs/architecture.md docs/file-format.md DESTINATION ${doc_dir}/docs COMPONENT development)
install(FILES ${PROJECT_BINARY_DIR}/reference.md DESTINATION ${doc_dir} COMPONENT development)
