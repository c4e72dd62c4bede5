# SPDX-License-Identifier: MIT
#
# Installs the site: templates, styles and scripts without the words that explain them, compiled message
# catalogues, the templates of the charts, and the neutral locale that gettext needs on a machine without locales.
include(VistelCharts)

function(vistel_add_catalogue language)
  set(source "${PROJECT_SOURCE_DIR}/site/locale/${language}.po")
  set(catalogue "${PROJECT_BINARY_DIR}/site/locale/${language}/LC_MESSAGES/vistel.mo")
  add_custom_command(
    OUTPUT "${catalogue}"
    COMMAND "${CMAKE_COMMAND}" "-DMSGFMT=${MSGFMT_EXECUTABLE}" "-DSOURCE=${source}"
            "-DCATALOGUE=${catalogue}" -P "${PROJECT_SOURCE_DIR}/cmake/CompileCatalogue.cmake"
    DEPENDS "${source}" "${PROJECT_SOURCE_DIR}/cmake/CompileCatalogue.cmake"
    COMMENT "Compiling the ${language} catalogue"
    VERBATIM)
  install(FILES "${catalogue}" COMPONENT product DESTINATION "${VISTEL_LOCALE_DIR}/${language}/LC_MESSAGES")
  set_property(GLOBAL APPEND PROPERTY VISTEL_CATALOGUES "${catalogue}")
endfunction()

# The languages are those of the catalogues; no other list exists.
file(GLOB catalogue_sources CONFIGURE_DEPENDS "${PROJECT_SOURCE_DIR}/site/locale/??.po")
foreach(source IN LISTS catalogue_sources)
  cmake_path(GET source STEM language)
  vistel_add_catalogue(${language})
endforeach()
get_property(catalogues GLOBAL PROPERTY VISTEL_CATALOGUES)
add_custom_target(vistel_site ALL DEPENDS ${catalogues} ${VISTEL_CHARTS})

# A page about an error is its texts in the frame of all of them. The first heading is the page's title.
function(vistel_add_error_page source)
  cmake_path(GET source FILENAME name)
  file(READ "${source}" sections)
  string(REGEX MATCH "<h1>([^<]*)</h1>" heading "${sections}")
  set(title "${CMAKE_MATCH_1}")
  set(way_home "<p class=\"actions\"><a class=\"button\" href=\"/\">\
Home · <span lang=\"de\">Start</span> · <span lang=\"fr\">Accueil</span></a></p>\n")
  if(name STREQUAL "421.html") # it would lead to the same error
    set(way_home "")
  endif()
  configure_file("${PROJECT_SOURCE_DIR}/site/errors/frame.html.in" "${PROJECT_BINARY_DIR}/site/errors/${name}" @ONLY)
  set_property(DIRECTORY APPEND PROPERTY CMAKE_CONFIGURE_DEPENDS "${source}")
  install(FILES "${PROJECT_BINARY_DIR}/site/errors/${name}" COMPONENT product
          DESTINATION "${VISTEL_DOCUMENT_ROOT}/errors")
endfunction()

file(GLOB error_sources CONFIGURE_DEPENDS "${PROJECT_SOURCE_DIR}/site/errors/???.html")
foreach(source IN LISTS error_sources)
  vistel_add_error_page("${source}")
endforeach()
# Some web servers use the status 502 for an empty answer, others 500.
install(FILES "${PROJECT_BINARY_DIR}/site/errors/502.html"
        COMPONENT product DESTINATION "${VISTEL_DOCUMENT_ROOT}/errors" RENAME 500.html)

# A template begins with a comment that explains it, before anything else that it does. On a device these words
# would take a tenth of the site's flash, and each page would scan them.
function(vistel_add_template name)
  set(source "${PROJECT_SOURCE_DIR}/site/${name}")
  file(READ "${source}" template)
  string(REGEX REPLACE "^<~ - `[^`<$]*" "<~ - `" template "${template}")
  file(CONFIGURE OUTPUT "${PROJECT_BINARY_DIR}/site/${name}" CONTENT "${template}" @ONLY)
  set_property(DIRECTORY APPEND PROPERTY CMAKE_CONFIGURE_DEPENDS "${source}")
  cmake_path(GET name PARENT_PATH folder)
  install(FILES "${PROJECT_BINARY_DIR}/site/${name}" COMPONENT product
          DESTINATION "${VISTEL_DOCUMENT_ROOT}/${folder}")
endfunction()

file(GLOB_RECURSE templates RELATIVE "${PROJECT_SOURCE_DIR}/site" CONFIGURE_DEPENDS "${PROJECT_SOURCE_DIR}/site/wgl/*.wgl")
foreach(template IN LISTS templates)
  vistel_add_template("${template}")
endforeach()

# So do styles and scripts: without the lines that are comments, and without what indents the others. All other
# files of a style, such as pictures, stay as they are.
function(vistel_add_style name)
  set(file "${PROJECT_SOURCE_DIR}/site/${name}")
  if(name MATCHES "\\.(css|js)$")
    file(READ "${file}" style)
    set_property(DIRECTORY APPEND PROPERTY CMAKE_CONFIGURE_DEPENDS "${file}")
    string(REGEX REPLACE "\n *//[^\n]*" "" style "\n${style}")
    string(REGEX REPLACE "\n */\\*([^*]|\\*+[^*/])*\\*+/" "" style "${style}")
    string(REGEX REPLACE "\n[ \n]*" "\n" style "${style}")
    string(REGEX REPLACE "^\n" "" style "${style}")
    set(file "${PROJECT_BINARY_DIR}/site/${name}")
    file(CONFIGURE OUTPUT "${file}" CONTENT "${style}" @ONLY)
  endif()
  cmake_path(GET name PARENT_PATH folder)
  install(FILES "${file}" COMPONENT product DESTINATION "${VISTEL_DOCUMENT_ROOT}/${folder}")
endfunction()

file(GLOB_RECURSE styles RELATIVE "${PROJECT_SOURCE_DIR}/site" CONFIGURE_DEPENDS "${PROJECT_SOURCE_DIR}/site/styles/*")
foreach(style IN LISTS styles)
  vistel_add_style("${style}")
endforeach()
install(FILES ${VISTEL_CHARTS} COMPONENT product DESTINATION "${VISTEL_DOCUMENT_ROOT}/styles/std/img")

if(EXISTS "${VISTEL_INSTALLED_LOCALE}")
  install(FILES "${VISTEL_INSTALLED_LOCALE}"
          COMPONENT product DESTINATION "${VISTEL_LOCALE_DIR}/C.utf8/LC_MESSAGES")
elseif(NOT VISTEL_LINK STREQUAL "static")
  message(WARNING "${VISTEL_NEUTRAL_LOCALE} is missing: on a machine without locales, this "
                  "program would not translate")
endif()

install(DIRECTORY "${PROJECT_SOURCE_DIR}/deploy" COMPONENT product DESTINATION "${VISTEL_DATA_DIR}"
        USE_SOURCE_PERMISSIONS PATTERN "*.service" EXCLUDE PATTERN "*.in" EXCLUDE)
configure_file("deploy/vistel-web@.service.in" "${PROJECT_BINARY_DIR}/deploy/vistel-web@.service" @ONLY)
install(FILES "${PROJECT_BINARY_DIR}/deploy/vistel-web@.service" COMPONENT product DESTINATION "${VISTEL_UNIT_DIR}")
