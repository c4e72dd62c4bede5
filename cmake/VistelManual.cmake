# SPDX-License-Identifier: MIT
#
# Manual pages: docs/man has one source for each program, which gets the version and the build's paths.
option(VISTEL_INSTALL_MANUALS "Install manual pages" ON)

# Installs pages, such as sysmgrd.8, with a component.
function(vistel_add_manual component)
  if(NOT VISTEL_INSTALL_MANUALS)
    return()
  endif()
  foreach(page IN LISTS ARGN)
    string(REGEX REPLACE ".*\\." "" section "${page}")
    configure_file("${PROJECT_SOURCE_DIR}/docs/man/${page}.in" "${PROJECT_BINARY_DIR}/man/${page}" @ONLY)
    install(FILES "${PROJECT_BINARY_DIR}/man/${page}" COMPONENT ${component}
            DESTINATION "${VISTEL_MAN_DIR}/man${section}")
  endforeach()
endfunction()
