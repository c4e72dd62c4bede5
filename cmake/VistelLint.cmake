# SPDX-License-Identifier: MIT
#
# clang-tidy as the target `tidy`: checks the sources with the options that this build compiles them with,
# but for the sanitizers', and again only after an object of the same group was compiled again.
option(VISTEL_LINT_THOROUGH "Lint each source by itself, and follow paths through it as far as clang-tidy does" OFF)
if(VISTEL_LINT_THOROUGH)
  set(lint_group_size 1)
  set(lint_options "")
else()
  # A group shares the headers, which take most of the time. Each function is looked at by itself as well, as if
  # nobody called it; of the paths through the longest functions, a fortieth.
  set(lint_group_size 20)
  set(lint_options --extra-arg=-Xclang --extra-arg=-analyzer-inlining-mode=all
    --extra-arg=-Xclang --extra-arg=-analyzer-config --extra-arg=-Xclang --extra-arg=max-nodes=5000)
endif()

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

# One group of sources of a target, named after it and a number.
function(vistel_lint_group name sources objects)
  set(stamp "${PROJECT_BINARY_DIR}/tidy/${name}")
  list(JOIN sources "\n" lines)
  file(CONFIGURE OUTPUT "${stamp}.list" CONTENT "${lines}\n" @ONLY)
  add_custom_command(OUTPUT "${stamp}.checked"
    COMMAND "${PROJECT_SOURCE_DIR}/tools/lint-group" "${PROJECT_BINARY_DIR}" "${stamp}.cpp" ${lint_options} ${sources}
    COMMAND "${CMAKE_COMMAND}" -E touch "${stamp}.checked"
    DEPENDS ${objects} "${stamp}.list" "${PROJECT_SOURCE_DIR}/.clang-tidy" "${PROJECT_SOURCE_DIR}/tools/lint-group"
    COMMENT "Checking ${name}" VERBATIM)
  set_property(GLOBAL APPEND PROPERTY vistel_lint_stamps "${stamp}.checked")
endfunction()

function(vistel_add_lint)
  vistel_targets_below("${PROJECT_SOURCE_DIR}" targets)
  set(seen "") # some are compiled in two targets
  foreach(target IN LISTS targets)
    get_target_property(type ${target} TYPE)
    if(NOT type MATCHES "^(OBJECT_LIBRARY|STATIC_LIBRARY|EXECUTABLE)$")
      continue()
    endif()
    get_target_property(sources ${target} SOURCES)
    get_target_property(folder ${target} SOURCE_DIR)
    get_target_property(binary ${target} BINARY_DIR)
    set(files "")
    set(objects "")
    set(number 1)
    foreach(source IN LISTS sources)
      cmake_path(ABSOLUTE_PATH source BASE_DIRECTORY "${folder}" OUTPUT_VARIABLE file)
      cmake_path(IS_PREFIX PROJECT_BINARY_DIR "${file}" generated)
      if(generated OR NOT file MATCHES "\\.cpp$" OR file IN_LIST seen)
        continue()
      endif()
      list(APPEND seen "${file}")
      cmake_path(RELATIVE_PATH file BASE_DIRECTORY "${folder}" OUTPUT_VARIABLE object)
      list(APPEND files "${file}")
      list(APPEND objects "${binary}/CMakeFiles/${target}.dir/${object}.o")
      list(LENGTH files count)
      if(count EQUAL lint_group_size)
        vistel_lint_group("${target}-${number}" "${files}" "${objects}")
        math(EXPR number "${number} + 1")
        set(files "")
        set(objects "")
      endif()
    endforeach()
    if(files)
      vistel_lint_group("${target}-${number}" "${files}" "${objects}")
    endif()
  endforeach()
  get_property(stamps GLOBAL PROPERTY vistel_lint_stamps)
  add_custom_target(tidy DEPENDS ${stamps})
endfunction()
