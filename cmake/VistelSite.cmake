# SPDX-License-Identifier: MIT
#
# The site: templates and styles as they are, message catalogues compiled, and the neutral locale
# that gettext needs on a machine that has none.
find_program(MSGFMT_EXECUTABLE msgfmt REQUIRED)

# The catalogues leave out their character set. Pages are UTF-8 and get the catalogue's own bytes;
# told the set, gettext would first load the C library's tables for converting it into itself.
function(vistel_add_catalogue language)
  set(source "${PROJECT_SOURCE_DIR}/site/locale/${language}.po")
  set(catalogue "${PROJECT_BINARY_DIR}/site/locale/${language}/LC_MESSAGES/vistel.mo")
  cmake_path(GET catalogue PARENT_PATH folder)
  add_custom_command(
    OUTPUT "${catalogue}"
    COMMAND "${CMAKE_COMMAND}" -E make_directory "${folder}"
    COMMAND "${MSGFMT_EXECUTABLE}" --check --output-file=/dev/null "${source}"
    COMMAND sh -c "sed 's/; charset=UTF-8//' \"$1\" | \"$2\" --output-file=\"$3\" - 2>/dev/null"
            compile "${source}" "${MSGFMT_EXECUTABLE}" "${catalogue}"
    DEPENDS "${source}"
    COMMENT "Compiling the ${language} catalogue"
    VERBATIM)
  install(FILES "${catalogue}" DESTINATION "${VISTEL_LOCALE_DIR}/${language}/LC_MESSAGES")
  set_property(GLOBAL APPEND PROPERTY VISTEL_CATALOGUES "${catalogue}")
endfunction()

foreach(language en de fr)
  vistel_add_catalogue(${language})
endforeach()
get_property(catalogues GLOBAL PROPERTY VISTEL_CATALOGUES)
add_custom_target(vistel_site ALL DEPENDS ${catalogues})

install(DIRECTORY "${PROJECT_SOURCE_DIR}/site/wgl" "${PROJECT_SOURCE_DIR}/site/styles"
        DESTINATION "${VISTEL_DOCUMENT_ROOT}")

# The file is the same on every little-endian machine, so a cross build takes the build machine's.
set(VISTEL_NEUTRAL_LOCALE "/usr/lib/locale/C.utf8/LC_MESSAGES/SYS_LC_MESSAGES" CACHE FILEPATH
    "The C.utf8 locale's messages file, installed beside the catalogues")
if(EXISTS "${VISTEL_NEUTRAL_LOCALE}")
  install(FILES "${VISTEL_NEUTRAL_LOCALE}"
          DESTINATION "${VISTEL_LOCALE_DIR}/C.utf8/LC_MESSAGES")
endif()
