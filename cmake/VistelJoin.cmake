# SPDX-License-Identifier: MIT
#
# Sources that are compiled together share the headers and what is made of their templates: from nothing, a build
# takes half the time, and after an edit of one source a little more.
set(VISTEL_JOINED_AT_ONCE 8)

function(vistel_join_sources)
  if(VISTEL_JOIN_SOURCES)
    set_target_properties(${ARGN} PROPERTIES UNITY_BUILD ON UNITY_BUILD_BATCH_SIZE ${VISTEL_JOINED_AT_ONCE})
  endif()
endfunction()

# compile_commands.json names the joined files only; editors and lint ask for the sources.
if(VISTEL_JOIN_SOURCES AND VISTEL_BUILD_TESTS)
  find_package(Python3 REQUIRED COMPONENTS Interpreter)
  set(separated "${PROJECT_BINARY_DIR}/compile_commands.separated")
  add_custom_command(OUTPUT "${separated}"
    COMMAND "${Python3_EXECUTABLE}" "${PROJECT_SOURCE_DIR}/tools/separate-commands" "${PROJECT_BINARY_DIR}"
    COMMAND "${CMAKE_COMMAND}" -E touch "${separated}"
    DEPENDS "${PROJECT_BINARY_DIR}/compile_commands.json" "${PROJECT_SOURCE_DIR}/tools/separate-commands"
    COMMENT "Listing the commands of all sources" VERBATIM)
  add_custom_target(vistel_commands ALL DEPENDS "${separated}")
endif()
