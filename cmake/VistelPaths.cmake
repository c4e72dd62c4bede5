# SPDX-License-Identifier: MIT
#
# The fixed paths of the product. The defaults are the product's values; `./run` and the tests set
# paths below the build folder, which needs no change to the sources and no privileges. The paths are
# absolute: to install into another folder, use DESTDIR, not a prefix.
set(VISTEL_DOCUMENT_ROOT "/usr/www" CACHE STRING "Document root: templates, styles, pictures")
set(VISTEL_LOCALE_DIR "" CACHE STRING "Message catalogues; empty: locale below the document root")
set(VISTEL_UPLOAD_FILE "/tmp/upload.bin" CACHE STRING "Where an uploaded file is kept")
set(VISTEL_AUTHORISATION_FILE "/var/rpcauth" CACHE STRING
    "Shared secret for requests to the system manager")
set(VISTEL_SYSMGR_SOCKET "/var/run/sysmgr/socket" CACHE STRING "Socket of the system manager")
set(VISTEL_SYSMGR_PROVIDERS "/var/run/sysmgr/providers" CACHE STRING
    "Socket of the system manager for providers, the programs that make the device")
set(VISTEL_SYSMGR_MODEL "/usr/share/vistel/model.json" CACHE STRING
    "The device's model: keys, types, limits")
set(VISTEL_SYSMGR_DATABASE "/var/lib/sysmgr/settings.db" CACHE STRING "The settings")
set(VISTEL_PASSWORD_FILE "/var/lib/sysmgr/passwords" CACHE STRING
    "The device's password, which the web servers read")
set(VISTEL_FIRMWARE_KEYS "/usr/share/vistel/firmware-keys" CACHE STRING
    "Folder of the keys of those whose firmware is installed")
option(VISTEL_UNSIGNED_FIRMWARE "Install firmware images without signatures too" OFF)
set(VISTEL_COMMON_PASSWORDS "/usr/share/vistel/common-passwords" CACHE STRING
    "Passwords that nobody may choose")
set(VISTEL_SYSMGR_FILES "/var/run/sysmgr/files" CACHE STRING
    "Where the system manager puts files for others to fetch")
set(VISTEL_SBIN_DIR "/usr/sbin" CACHE STRING "Where sysmgrd and sysmgrctl are installed")
set(VISTEL_CGI_DIR "/usr/lib/cgi-bin" CACHE STRING
    "Where vistel.cgi is installed; outside the document root")
set(VISTEL_DATA_DIR "/usr/share/vistel" CACHE STRING
    "Where the web servers' configurations (folder deploy) and the editors' grammars (editors) are installed")
set(VISTEL_UNIT_DIR "/lib/systemd/system" CACHE STRING "Where systemd looks for units")
set(VISTEL_MAN_DIR "/usr/share/man" CACHE STRING "Manual pages")
set(VISTEL_DOC_DIR "/usr/share/doc/vistel" CACHE STRING "Documents, with the author's programs")
set(VISTEL_BIN_DIR "/usr/bin" CACHE STRING "Where the author's programs are installed")

if(NOT VISTEL_LOCALE_DIR)
  set(VISTEL_LOCALE_DIR "${VISTEL_DOCUMENT_ROOT}/locale")
endif()
# Template names are confined by comparing paths, which works only if all paths have the same form.
foreach(path VISTEL_DOCUMENT_ROOT VISTEL_LOCALE_DIR VISTEL_UPLOAD_FILE VISTEL_AUTHORISATION_FILE
             VISTEL_SYSMGR_SOCKET VISTEL_SYSMGR_PROVIDERS VISTEL_SYSMGR_MODEL VISTEL_SYSMGR_DATABASE VISTEL_SYSMGR_FILES
             VISTEL_FIRMWARE_KEYS VISTEL_PASSWORD_FILE VISTEL_COMMON_PASSWORDS
             VISTEL_SBIN_DIR VISTEL_CGI_DIR VISTEL_DATA_DIR VISTEL_UNIT_DIR VISTEL_MAN_DIR VISTEL_DOC_DIR
             VISTEL_BIN_DIR)
  if(NOT ${path} MATCHES "^(/[^/]+)+$")
    message(FATAL_ERROR "${path} is '${${path}}'; it must be absolute, without '/' at its end")
  endif()
endforeach()

# The messages file of the locale C.utf8 is the same on every little-endian machine, so a cross build
# installs the build machine's; for a big-endian one, with its numbers turned around.
set(VISTEL_NEUTRAL_LOCALE "/usr/lib/locale/C.utf8/LC_MESSAGES/SYS_LC_MESSAGES" CACHE FILEPATH
    "The C.utf8 locale's messages file, installed beside the catalogues")
set(VISTEL_INSTALLED_LOCALE "${VISTEL_NEUTRAL_LOCALE}")
if(CMAKE_CXX_BYTE_ORDER STREQUAL "BIG_ENDIAN" AND EXISTS "${VISTEL_NEUTRAL_LOCALE}")
  # A magic number, the number of texts, the place of each, and then the texts.
  file(READ "${VISTEL_NEUTRAL_LOCALE}" bytes HEX)
  string(SUBSTRING "${bytes}" 8 2 texts)
  if(bytes MATCHES "^10110320${texts}000000")
    math(EXPR numbers "(2 + 0x${texts}) * 8")
    string(SUBSTRING "${bytes}" 0 ${numbers} numbered)
    string(SUBSTRING "${bytes}" ${numbers} -1 rest)
    string(REGEX REPLACE "(..)(..)(..)(..)" "\\4\\3\\2\\1" bytes "${numbered}")
    string(REGEX REPLACE "(..)" "\\\\x\\1" bytes "${bytes}${rest}")
    set(VISTEL_INSTALLED_LOCALE "${PROJECT_BINARY_DIR}/SYS_LC_MESSAGES")
    execute_process(COMMAND bash -c "printf '${bytes}'" OUTPUT_FILE "${VISTEL_INSTALLED_LOCALE}" COMMAND_ERROR_IS_FATAL ANY)
  endif()
endif()
