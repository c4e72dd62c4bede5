# SPDX-License-Identifier: MIT
#
# What the product's programs are made of: the bill of materials sbom.spdx.json (SPDX 2.3), which the build writes
# from the linker's own list; and the target `relink-kit`, with which a recipient links the programs with another
# C library. docs/licences.md says what both are for.
set(programs vistel.cgi)
if(TARGET sysmgrd)
  list(APPEND programs sysmgrd)  # which is sysmgrctl, too
endif()

set(includes "$<TARGET_PROPERTY:vistel_gif,INTERFACE_INCLUDE_DIRECTORIES>")
if(TARGET sysmgrd)
  list(APPEND includes "$<TARGET_PROPERTY:vistel_sysmgr,INCLUDE_DIRECTORIES>")
endif()
set(sbom "${PROJECT_BINARY_DIR}/sbom.spdx.json")
set(maps "")
foreach(program IN LISTS programs)
  target_link_options(${program} PRIVATE "-Wl,-Map=$<TARGET_FILE:${program}>.map")
  list(APPEND maps "$<TARGET_FILE:${program}>")
endforeach()
file(GENERATE OUTPUT "${PROJECT_BINARY_DIR}/sbom-settings.cmake" CONTENT
"set(PROGRAMS \"${maps}\")
set(INCLUDES \"${includes}\")
set(COMPILER \"${CMAKE_CXX_COMPILER}\")
set(FLAGS [==[${CMAKE_CXX_FLAGS}]==])
set(READELF \"${CMAKE_READELF}\")
set(BISON \"${BISON_EXECUTABLE}\")
set(VERSION \"${PROJECT_VERSION}\")
set(SOURCE \"${PROJECT_SOURCE_DIR}\")
set(BUILD \"${PROJECT_BINARY_DIR}\")
")
add_custom_command(OUTPUT "${sbom}"
  COMMAND "${CMAKE_COMMAND}" "-DOUTPUT=${sbom}" "-DSETTINGS=${PROJECT_BINARY_DIR}/sbom-settings.cmake"
          -P "${PROJECT_SOURCE_DIR}/cmake/WriteSbom.cmake"
  DEPENDS ${programs} "${PROJECT_SOURCE_DIR}/cmake/WriteSbom.cmake" "${PROJECT_SOURCE_DIR}/cmake/versions.in"
          "${PROJECT_SOURCE_DIR}/CHANGELOG.md" "${PROJECT_BINARY_DIR}/sbom-settings.cmake"
  COMMENT "Listing what the programs are made of" VERBATIM)
add_custom_target(sbom ALL DEPENDS "${sbom}")

# Our own objects, in machine code and without what others wrote, one file for each program.
if(NOT VISTEL_GLIBC OR VISTEL_PLATFORM_LIBRARY)
  return()
endif()
set(kit "${PROJECT_BINARY_DIR}/relink-kit")
set(combine "${CMAKE_CXX_COMPILER}" -r -nostdlib -fPIE -O2)
if(CMAKE_INTERPROCEDURAL_OPTIMIZATION AND CMAKE_CXX_COMPILER_ID STREQUAL "GNU")
  # In one part: gcc 12 for MIPS fails to divide the whole of an archive.
  list(APPEND combine -flto -flto-partition=none -flinker-output=nolto-rel)
endif()
set(vistel.cgi_objects $<TARGET_OBJECTS:vistel.cgi> $<TARGET_OBJECTS:vistel_process_limits> $<TARGET_OBJECTS:vistel_no_exceptions>
    "$<$<BOOL:${VISTEL_SYSCALL_FILTER}>:$<TARGET_OBJECTS:vistel_system_call_filter>>")
foreach(part globals catalogue submission download image_response request query image wgl_language wgl_generated values)
  list(APPEND vistel.cgi_objects $<TARGET_OBJECTS:vistel_${part}>)
endforeach()
set(sysmgrd_objects $<$<BOOL:${VISTEL_BUILD_SYSMGR}>:$<TARGET_OBJECTS:sysmgrd>>)
set(vistel.cgi_archives vistel_platform vistel_base)
set(sysmgrd_archives vistel_control vistel_provider vistel_sysmgr vistel_platform vistel_base)
get_target_property(gif_libraries vistel_gif INTERFACE_LINK_LIBRARIES)
if(GIF_SOURCE_DIR)
  set(gif_libraries $<TARGET_FILE:vistel_gif>)
endif()
set(vistel.cgi_libraries ${gif_libraries})
set(sysmgrd_libraries ${SQLite3_LIBRARY} ${LIBEVENT_CORE_LIBRARY} ${EXPAT_LIBRARY} ${LIBSODIUM_LIBRARY} ${CRYPT_LIBRARY})

set(commands "")
set(lines "")
foreach(program IN LISTS programs)
  set(archives ${${program}_archives})
  list(TRANSFORM archives REPLACE "(.+)" "$<TARGET_FILE:\\1>")
  list(APPEND commands COMMAND ${combine} -o "${kit}/${program}.o" "${${program}_objects}"
       -Wl,--whole-archive ${archives} -Wl,--no-whole-archive)
  set(names "")
  foreach(library IN LISTS ${program}_libraries)
    if(library MATCHES "\\.a$|^\\$")
      list(APPEND commands COMMAND "${CMAKE_COMMAND}" -E copy "${library}" "${kit}/libraries")
      list(APPEND names "./libraries/$<PATH:GET_FILENAME,${library}>")
    elseif(library MATCHES "^/")
      cmake_path(GET library STEM name)
      string(REGEX REPLACE "^lib" "-l" name "${name}")
      list(APPEND names "${name}")
    endif()
  endforeach()
  set(options "$<TARGET_GENEX_EVAL:${program},$<TARGET_PROPERTY:${program},LINK_OPTIONS>>")
  if(program STREQUAL "vistel.cgi")
    set(options "$<TARGET_PROPERTY:vistel_link,INTERFACE_LINK_OPTIONS>")
  endif()
  string(APPEND lines "  ${program}) set -- $<JOIN:$<FILTER:${options},EXCLUDE,-Map>, > -o \"$1\" \"$1.o\" \${EXTRA-} $<JOIN:${names}, > -lm -pthread ;;\n")
endforeach()
file(GENERATE OUTPUT "${PROJECT_BINARY_DIR}/relink" CONTENT "#!/bin/sh
# Links a program of this folder anew: ./relink PROGRAM. CXX is the compiler; EXTRA may hold objects and libraries
# of your own, which come first. The C library is the compiler's, or that of EXTRA='-L FOLDER'.
set -eu
cd -- \"$(dirname -- \"$0\")\"
case \${1-} in
${lines}  *) echo 'usage: ./relink PROGRAM, one of: $<JOIN:${programs}, >' >&2; exit 2 ;;
esac
exec \${CXX:-$<PATH:GET_FILENAME,${CMAKE_CXX_COMPILER}>} \"$@\"
" FILE_PERMISSIONS OWNER_READ OWNER_WRITE OWNER_EXECUTE GROUP_READ GROUP_EXECUTE WORLD_READ WORLD_EXECUTE)
add_custom_command(OUTPUT "${kit}/relink"
  COMMAND "${CMAKE_COMMAND}" -E rm -rf "${kit}"
  COMMAND "${CMAKE_COMMAND}" -E make_directory "${kit}/libraries"
  ${commands}
  COMMAND "${CMAKE_COMMAND}" -E copy "${PROJECT_BINARY_DIR}/relink" "${PROJECT_SOURCE_DIR}/NOTICE"
          "${PROJECT_SOURCE_DIR}/LICENSE" "${kit}"
  DEPENDS ${programs} "${PROJECT_BINARY_DIR}/relink" COMMAND_EXPAND_LISTS VERBATIM
  COMMENT "Making ${kit}")
add_custom_target(relink-kit DEPENDS "${kit}/relink")
