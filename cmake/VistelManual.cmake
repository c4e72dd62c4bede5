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
    set(file "${PROJECT_BINARY_DIR}/man/${page}")
    configure_file("${PROJECT_SOURCE_DIR}/docs/man/${page}.in" "${file}" @ONLY)
    if(VISTEL_DEBIAN_PACKAGES)  # Debian has them compressed
      execute_process(COMMAND gzip -9n INPUT_FILE "${file}" OUTPUT_FILE "${file}.gz" COMMAND_ERROR_IS_FATAL ANY)
      string(APPEND file ".gz")
    endif()
    install(FILES "${file}" COMPONENT ${component}
            DESTINATION "${VISTEL_MAN_DIR}/man${section}")
  endforeach()
endfunction()
