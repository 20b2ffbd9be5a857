# For cpack --config: one zip file of what the presets windows and windows32 install.
get_filename_component(root ${CMAKE_CURRENT_LIST_DIR}/../.. ABSOLUTE)
include(${root}/build/windows/CPackConfig.cmake)
set(CPACK_INSTALL_CMAKE_PROJECTS)
foreach(build windows windows32)
  foreach(component library development tool server)
    list(APPEND CPACK_INSTALL_CMAKE_PROJECTS ${root}/build/${build} Lumvex ${component} /)
  endforeach()
endforeach()
