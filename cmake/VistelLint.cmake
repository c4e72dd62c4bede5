# SPDX-License-Identifier: MIT
#
# clang-tidy as the target `tidy`: checks each source with the options that this build compiles it with,
# but for the sanitizers', and again only after its object was compiled again.
find_program(CLANG_TIDY_EXECUTABLE clang-tidy)
mark_as_advanced(CLANG_TIDY_EXECUTABLE)

# The targets of a folder and of those below it, the tests aside.
function(vistel_targets_below folder result)
  get_property(found DIRECTORY "${folder}" PROPERTY BUILDSYSTEM_TARGETS)
  get_property(subfolders DIRECTORY "${folder}" PROPERTY SUBDIRECTORIES)
  list(FILTER subfolders EXCLUDE REGEX "/tests$")
  foreach(subfolder IN LISTS subfolders)
    vistel_targets_below("${subfolder}" below)
    list(APPEND found ${below})
  endforeach()
  set(${result} ${found} PARENT_SCOPE)
endfunction()

function(vistel_add_lint)
  vistel_targets_below("${PROJECT_SOURCE_DIR}" targets)
  set(stamps "")
  foreach(target IN LISTS targets)
    get_target_property(type ${target} TYPE)
    if(NOT type MATCHES "^(OBJECT_LIBRARY|STATIC_LIBRARY|EXECUTABLE)$")
      continue()
    endif()
    get_target_property(sources ${target} SOURCES)
    get_target_property(folder ${target} SOURCE_DIR)
    get_target_property(binary ${target} BINARY_DIR)
    foreach(source IN LISTS sources)
      cmake_path(ABSOLUTE_PATH source BASE_DIRECTORY "${folder}" OUTPUT_VARIABLE file)
      cmake_path(IS_PREFIX PROJECT_BINARY_DIR "${file}" generated)
      if(generated OR NOT file MATCHES "\\.cpp$")
        continue()
      endif()
      cmake_path(RELATIVE_PATH file BASE_DIRECTORY "${PROJECT_SOURCE_DIR}" OUTPUT_VARIABLE name)
      cmake_path(RELATIVE_PATH file BASE_DIRECTORY "${folder}" OUTPUT_VARIABLE object)
      set(stamp "${PROJECT_BINARY_DIR}/tidy/${name}")
      cmake_path(GET stamp PARENT_PATH stamp_folder)
      file(MAKE_DIRECTORY "${stamp_folder}")
      # Standard error only counts what was found in headers of the system.
      add_custom_command(OUTPUT "${stamp}"
        COMMAND sh -c [["$@" 2>"$0.log" || { cat "$0.log" >&2; exit 1; }]] "${stamp}"
                "${CLANG_TIDY_EXECUTABLE}" --quiet -p "${PROJECT_BINARY_DIR}"
                --extra-arg=-fno-sanitize=all "${file}"
        COMMAND "${CMAKE_COMMAND}" -E touch "${stamp}"
        DEPENDS "${binary}/CMakeFiles/${target}.dir/${object}.o" "${PROJECT_SOURCE_DIR}/.clang-tidy"
        COMMENT "Checking ${name}" VERBATIM)
      list(APPEND stamps "${stamp}")
    endforeach()
  endforeach()
  add_custom_target(tidy DEPENDS ${stamps})
endfunction()
