# SPDX-License-Identifier: MIT
#
# Debian packages by cpack, one for each component: `cmake --workflow --preset packages`. The rule to know: they
# are built with Debian's paths and linked to Debian's libraries, by the preset of that name.
set(CPACK_GENERATOR DEB)
set(CPACK_PACKAGE_NAME vistel)
set(CPACK_PACKAGE_VERSION "${PROJECT_VERSION}")
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
set(CPACK_COMPONENT_AUTHOR_DESCRIPTION "tools for authors of device web pages
Checks and shows templates of the page generator without a device, and
simulates an adapter.")

# What the packages hold beside the components' own files, and the scripts that run at their installation.
set(debian "${PROJECT_BINARY_DIR}/debian")
find_program(GZIP_EXECUTABLE gzip REQUIRED)
file(MAKE_DIRECTORY "${debian}")
execute_process(COMMAND "${GZIP_EXECUTABLE}" -9n INPUT_FILE "${PROJECT_SOURCE_DIR}/CHANGELOG.md"
                OUTPUT_FILE "${debian}/changelog.gz" COMMAND_ERROR_IS_FATAL ANY)
set_property(DIRECTORY APPEND PROPERTY CMAKE_CONFIGURE_DEPENDS "${PROJECT_SOURCE_DIR}/CHANGELOG.md")
foreach(component product service author)
  string(TOUPPER ${component} upper)
  set(folder "/usr/share/doc/${CPACK_DEBIAN_${upper}_PACKAGE_NAME}")
  install(FILES "${PROJECT_SOURCE_DIR}/packaging/debian/copyright" "${debian}/changelog.gz" "${PROJECT_SOURCE_DIR}/NOTICE"
          COMPONENT ${component} DESTINATION "${folder}")
endforeach()
foreach(script postinst postrm)
  configure_file("packaging/debian/vistel-sysmgr.${script}.in" "${debian}/${script}" @ONLY
    FILE_PERMISSIONS OWNER_READ OWNER_WRITE OWNER_EXECUTE GROUP_READ GROUP_EXECUTE WORLD_READ WORLD_EXECUTE)
endforeach()
configure_file(packaging/debian/vistel-sysmgr.prerm "${debian}/prerm" COPYONLY
  FILE_PERMISSIONS OWNER_READ OWNER_WRITE OWNER_EXECUTE GROUP_READ GROUP_EXECUTE WORLD_READ WORLD_EXECUTE)
file(WRITE "${debian}/conffiles" "${VISTEL_SYSMGR_MODEL}\n")
set(CPACK_DEBIAN_SERVICE_PACKAGE_CONTROL_EXTRA
    "${debian}/postinst;${debian}/prerm;${debian}/postrm;${debian}/conffiles")

include(CPack)
