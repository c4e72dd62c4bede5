# SPDX-License-Identifier: MIT
#
# giflib as the target `vistel_gif`: the archive for a static program, else the shared library.
# GIF_INCLUDE_DIR and GIF_LIBRARY name them by hand. With GIF_SOURCE_DIR, giflib is compiled with the program:
# for a C library or a processor that has no package of it; tools/fetch-giflib gets the sources.
set(GIF_SOURCE_DIR "" CACHE PATH "Folder of giflib's sources (version 5); empty: use a compiled giflib")
set(GIF_INCLUDE_DIR "" CACHE PATH "Folder of gif_lib.h; empty: looked for")
set(GIF_LIBRARY "" CACHE FILEPATH "giflib; empty: looked for")

function(vistel_find_gif)
  set(name gif)
  if(VISTEL_LINK STREQUAL "static" AND NOT VISTEL_SANITIZERS AND NOT VISTEL_COVERAGE)
    set(name libgif.a)
  endif()
  set(include "${GIF_INCLUDE_DIR}")
  if(NOT include)
    unset(include)
    find_path(include gif_lib.h NO_CACHE)
  endif()
  set(library "${GIF_LIBRARY}")
  if(NOT library)
    unset(library)
    find_library(library NAMES ${name} NO_CACHE)
  endif()
  if(NOT EXISTS "${include}/gif_lib.h" OR NOT EXISTS "${library}")
    set(advice "Install it (Debian: libgif-dev).")
    if(CMAKE_CROSSCOMPILING)
      string(CONCAT advice "Give the folder that holds the device's usr/include and usr/lib with "
        "-DCMAKE_FIND_ROOT_PATH=<folder>, or -DGIF_INCLUDE_DIR=<folder> and "
        "-DGIF_LIBRARY=<file>; on Debian, install libgif-dev:<architecture>.")
    endif()
    message(FATAL_ERROR "giflib for ${CMAKE_SYSTEM_PROCESSOR} is missing: gif_lib.h in "
                        "'${include}', ${name} as '${library}'. ${advice}")
  endif()
  add_library(vistel_gif INTERFACE)
  target_include_directories(vistel_gif SYSTEM INTERFACE "${include}")
  target_link_libraries(vistel_gif INTERFACE "${library}" m)
endfunction()

function(vistel_compile_gif)
  set(sources dgif_lib.c egif_lib.c gif_err.c gif_hash.c gifalloc.c openbsd-reallocarray.c)
  list(TRANSFORM sources PREPEND "${GIF_SOURCE_DIR}/")
  foreach(source ${sources})
    if(NOT EXISTS "${source}")
      message(FATAL_ERROR "GIF_SOURCE_DIR: there is no '${source}'. tools/fetch-giflib gets giflib's sources.")
    endif()
  endforeach()
  add_library(vistel_gif STATIC ${sources})
  set_target_properties(vistel_gif PROPERTIES C_STANDARD 99 C_EXTENSIONS ON COMPILE_OPTIONS "-w")
  target_link_libraries(vistel_gif PRIVATE vistel_code INTERFACE m)
  target_include_directories(vistel_gif SYSTEM INTERFACE "${GIF_SOURCE_DIR}")
endfunction()

if(GIF_SOURCE_DIR)
  vistel_compile_gif()
else()
  vistel_find_gif()
endif()
