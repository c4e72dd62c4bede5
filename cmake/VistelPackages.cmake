# SPDX-License-Identifier: MIT
#
# Debian packages by cpack, one for each component: `cmake --workflow --preset packages`. The rule to know: they
# are built with Debian's paths and linked to Debian's libraries, by the preset of that name.
set(CPACK_GENERATOR DEB)
set(CPACK_PACKAGE_NAME vistel)
set(CPACK_PACKAGE_VERSION "${PROJECT_VERSION}")
set(CPACK_DEBIAN_PACKAGE_RELEASE 1)
set(CPACK_DEBIAN_SOURCE vistel)
# Whoever builds packages answers for them, and says so in the usual variables.
set(VISTEL_PACKAGER "Nobody yet <nobody@packages.example>")
if(DEFINED ENV{DEBEMAIL})
  set(VISTEL_PACKAGER "$ENV{DEBFULLNAME} <$ENV{DEBEMAIL}>")
endif()
set(CPACK_PACKAGE_CONTACT "${VISTEL_PACKAGER}")
set(CPACK_DEB_COMPONENT_INSTALL ON)
set(CPACK_SET_DESTDIR ON)
set(CPACK_INSTALL_PREFIX "/usr")
set(CPACK_STRIP_FILES ON)
set(CPACK_COMPONENTS_ALL product service author)
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
set(CPACK_DEBIAN_PACKAGE_SECTION net)
set(CPACK_DEBIAN_PACKAGE_CONTROL_STRICT_PERMISSION ON)
set(CPACK_INSTALL_DEFAULT_DIRECTORY_PERMISSIONS
    OWNER_READ OWNER_WRITE OWNER_EXECUTE GROUP_READ GROUP_EXECUTE WORLD_READ WORLD_EXECUTE)

set(CPACK_DEBIAN_PRODUCT_PACKAGE_NAME vistel)
set(CPACK_COMPONENT_PRODUCT_DESCRIPTION "pages of a network adapter's web interface
The page generator, a CGI program, with a site of templates in three languages
and configurations for four web servers.")
set(CPACK_DEBIAN_PRODUCT_PACKAGE_DEPENDS "vistel-sysmgr")
set(CPACK_DEBIAN_PRODUCT_PACKAGE_RECOMMENDS "lighttpd-modules-lua | nginx | apache2-bin | busybox")
# Debian's busybox has no tcpsvd of its own.
set(CPACK_DEBIAN_PRODUCT_PACKAGE_SUGGESTS ipsvd)

set(CPACK_DEBIAN_SERVICE_PACKAGE_NAME vistel-sysmgr)
set(CPACK_COMPONENT_SERVICE_DESCRIPTION "settings and live values of a network adapter
The system manager, a service that keeps the device's settings, and its
control program. Programs of the device's maker connect to it and become
the device.")
set(CPACK_DEBIAN_SERVICE_PACKAGE_DEPENDS adduser)

set(CPACK_DEBIAN_AUTHOR_PACKAGE_NAME vistel-author)
set(CPACK_DEBIAN_AUTHOR_PACKAGE_SUGGESTS vistel-sysmgr)  # the model is there
set(CPACK_COMPONENT_AUTHOR_DESCRIPTION "tools for authors of device web pages
Checks and shows templates of the page generator without a device, and
simulates an adapter.")

# What the packages hold beside the components' own files, and the scripts that run at their installation.
set(debian "${PROJECT_BINARY_DIR}/debian")
find_program(GZIP_EXECUTABLE gzip REQUIRED)
file(MAKE_DIRECTORY "${debian}")
set_property(DIRECTORY APPEND PROPERTY CMAKE_CONFIGURE_DEPENDS "${PROJECT_SOURCE_DIR}/CHANGELOG.md")
file(STRINGS "${PROJECT_SOURCE_DIR}/CHANGELOG.md" heading REGEX "^## \\[${PROJECT_VERSION}\\] - ")
string(REGEX REPLACE ".* - " "" release_date "${heading}")
execute_process(COMMAND date -u -R -d "${release_date}" OUTPUT_VARIABLE release_date
                OUTPUT_STRIP_TRAILING_WHITESPACE COMMAND_ERROR_IS_FATAL ANY)
configure_file(packaging/debian/changelog.in "${debian}/changelog.Debian" @ONLY)
function(compress source name)
  execute_process(COMMAND "${GZIP_EXECUTABLE}" -9n INPUT_FILE "${source}" OUTPUT_FILE "${debian}/${name}.gz"
                  COMMAND_ERROR_IS_FATAL ANY)
endfunction()
compress("${PROJECT_SOURCE_DIR}/CHANGELOG.md" changelog)
compress("${debian}/changelog.Debian" changelog.Debian)
foreach(component product service author)
  string(TOUPPER ${component} upper)
  set(package "${CPACK_DEBIAN_${upper}_PACKAGE_NAME}")
  set(folder "/usr/share/doc/${package}")
  configure_file(packaging/debian/lintian-overrides.in "${debian}/overrides/${package}" @ONLY)
  install(FILES "${debian}/overrides/${package}" COMPONENT ${component} DESTINATION /usr/share/lintian/overrides)
  install(FILES "${PROJECT_SOURCE_DIR}/packaging/debian/copyright" "${debian}/changelog.gz"
                "${debian}/changelog.Debian.gz" "${PROJECT_SOURCE_DIR}/NOTICE" COMPONENT ${component} DESTINATION "${folder}")
endforeach()
# The configurations that put the servers of Debian in front of the pages, where they enable them by a command.
set(fronts "")
function(add_front source file)
  cmake_path(GET file PARENT_PATH folder)
  cmake_path(GET file FILENAME name)
  install(FILES "${PROJECT_SOURCE_DIR}/deploy/front/${source}" COMPONENT product DESTINATION "${folder}" RENAME "${name}")
  set(fronts "${fronts}${file}\n" PARENT_SCOPE)
endfunction()
add_front(lighttpd.conf /etc/lighttpd/conf-available/50-vistel.conf)
add_front(nginx.conf /etc/nginx/sites-available/vistel)
add_front(apache.conf /etc/apache2/sites-available/vistel.conf)

set(script_mode FILE_PERMISSIONS OWNER_READ OWNER_WRITE OWNER_EXECUTE GROUP_READ GROUP_EXECUTE WORLD_READ WORLD_EXECUTE)
file(WRITE "${debian}/product/conffiles" "${fronts}")
foreach(script prerm postrm)
  configure_file(packaging/debian/vistel.${script} "${debian}/product/${script}" COPYONLY ${script_mode})
endforeach()
set(CPACK_DEBIAN_PRODUCT_PACKAGE_CONTROL_EXTRA
    "${debian}/product/prerm;${debian}/product/postrm;${debian}/product/conffiles")

foreach(script postinst postrm)
  configure_file("packaging/debian/vistel-sysmgr.${script}.in" "${debian}/service/${script}" @ONLY ${script_mode})
endforeach()
configure_file(packaging/debian/vistel-sysmgr.prerm "${debian}/service/prerm" COPYONLY ${script_mode})
file(WRITE "${debian}/service/conffiles" "${VISTEL_SYSMGR_MODEL}\n")
set(CPACK_DEBIAN_SERVICE_PACKAGE_CONTROL_EXTRA
    "${debian}/service/postinst;${debian}/service/prerm;${debian}/service/postrm;${debian}/service/conffiles")

include(CPack)
