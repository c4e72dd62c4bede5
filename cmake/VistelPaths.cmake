# SPDX-License-Identifier: MIT
#
# The fixed paths of the product. The defaults are the product's values; `./run` and the tests
# point them below the build folder, which needs no change to the sources and no privileges.
set(VISTEL_DOCUMENT_ROOT "/usr/www" CACHE STRING "Document root: templates, styles, pictures")
set(VISTEL_LOCALE_DIR "${VISTEL_DOCUMENT_ROOT}/locale" CACHE STRING "Message catalogues")
set(VISTEL_UPLOAD_FILE "/tmp/upload.bin" CACHE STRING "Where an uploaded file is kept")
set(VISTEL_AUTHORISATION_FILE "/var/rpcauth" CACHE STRING
    "Shared secret for requests to the system manager")
set(VISTEL_SYSMGR_SOCKET "/var/run/sysmgr/socket" CACHE STRING "Socket of the system manager")
set(VISTEL_CGI_DIR "/usr/lib/cgi-bin" CACHE STRING
    "Where vistel.cgi is installed; outside the document root")
mark_as_advanced(VISTEL_CGI_DIR)
