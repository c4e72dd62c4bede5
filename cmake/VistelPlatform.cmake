# SPDX-License-Identifier: MIT
#
# A device maker's own client library instead of ours: the folder that holds its headers as
# platform/<name>.h, and the library itself. Set both or neither.
set(VISTEL_PLATFORM_INCLUDE_DIR "" CACHE PATH
    "Folder with platform/<name>.h of a client library of your own; empty for ours")
set(VISTEL_PLATFORM_LIBRARY "" CACHE FILEPATH
    "The library of your own that goes with those headers; empty for ours")
if(VISTEL_PLATFORM_INCLUDE_DIR OR VISTEL_PLATFORM_LIBRARY)
  if(NOT EXISTS "${VISTEL_PLATFORM_INCLUDE_DIR}/platform/SysMgrProxy.h")
    message(FATAL_ERROR "VISTEL_PLATFORM_INCLUDE_DIR is '${VISTEL_PLATFORM_INCLUDE_DIR}'; "
                        "there must be a file platform/SysMgrProxy.h in it")
  endif()
  if(NOT EXISTS "${VISTEL_PLATFORM_LIBRARY}")
    message(FATAL_ERROR "VISTEL_PLATFORM_LIBRARY is '${VISTEL_PLATFORM_LIBRARY}'; "
                        "it must be the library that goes with VISTEL_PLATFORM_INCLUDE_DIR")
  endif()
  # Before the project's own folder, which has headers of the same names.
  target_include_directories(vistel_code BEFORE INTERFACE "${VISTEL_PLATFORM_INCLUDE_DIR}")
endif()
