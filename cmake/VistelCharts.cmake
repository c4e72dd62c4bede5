# SPDX-License-Identifier: MIT
#
# Makes the charts' templates with a program of ours that runs during the build. `VISTEL_CHARTS` lists
# the files.
if(CMAKE_CROSSCOMPILING)
  # The program is for the build machine, with its own compiler and giflib. It is built while CMake
  # configures, so that the message can say what is missing.
  find_program(VISTEL_HOST_CXX NAMES c++ g++ clang++ NO_CMAKE_FIND_ROOT_PATH
               DOC "C++ compiler of the build machine")
  set(chart_template "${PROJECT_BINARY_DIR}/chart-template")
  set(errors "no compiler found")
  if(VISTEL_HOST_CXX)
    execute_process(
      COMMAND "${VISTEL_HOST_CXX}" -std=c++17 "-I${PROJECT_SOURCE_DIR}" -o "${chart_template}"
              "${PROJECT_SOURCE_DIR}/image/MakeTemplate.cpp" -lgif
      RESULT_VARIABLE failed ERROR_VARIABLE errors)
  endif()
  if(NOT VISTEL_HOST_CXX OR failed)
    message(FATAL_ERROR "${errors}\nimage/MakeTemplate.cpp, which makes the charts' templates, "
                        "can't be built for this machine: give its own C++ compiler with "
                        "-DVISTEL_HOST_CXX=<file>, which needs giflib (Debian: libgif-dev), or "
                        "leave the site out with -DVISTEL_BUILD_SITE=OFF.")
  endif()
  foreach(source MakeTemplate.cpp TemplateGlyphs.h GifLibrary.h Chart.h)
    set_property(DIRECTORY APPEND PROPERTY CMAKE_CONFIGURE_DEPENDS
                 "${PROJECT_SOURCE_DIR}/image/${source}")
  endforeach()
else()
  add_executable(chart-template "${PROJECT_SOURCE_DIR}/image/MakeTemplate.cpp")
  target_link_libraries(chart-template PRIVATE vistel_options vistel_link vistel_gif)
  set(chart_template chart-template)
endif()

set(VISTEL_CHARTS "")
foreach(chart power snr)
  set(file "${PROJECT_BINARY_DIR}/site/styles/std/img/${chart}_template.gif")
  add_custom_command(
    OUTPUT "${file}"
    COMMAND "${CMAKE_COMMAND}" -E make_directory "${PROJECT_BINARY_DIR}/site/styles/std/img"
    COMMAND ${chart_template} ${chart} "${file}"
    DEPENDS ${chart_template}
    COMMENT "Making the template of the ${chart} chart"
    VERBATIM)
  list(APPEND VISTEL_CHARTS "${file}")
endforeach()
