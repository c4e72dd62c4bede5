# SPDX-License-Identifier: MIT
#
# Compiler and linker options: `vistel_code` for all code that goes into a program, generated code
# included; `vistel_options` the same with our warnings; `vistel_link` for linking a program.
include(CheckCXXSourceCompiles)
include(CheckIPOSupported)
include(CheckLinkerFlag)

set(VISTEL_LINK "static" CACHE STRING
    "How vistel.cgi is linked: static, partial (libstdc++ and libgcc static) or dynamic; \
always dynamic with sanitizers or coverage")
set_property(CACHE VISTEL_LINK PROPERTY STRINGS static partial dynamic)
if(NOT VISTEL_LINK MATCHES "^(static|partial|dynamic)$")
  message(FATAL_ERROR "VISTEL_LINK is '${VISTEL_LINK}'; it must be static, partial or dynamic")
endif()
# glibc's malloc is as fast for one page; musl's takes a fifth more time.
check_cxx_source_compiles("#include <cstdlib>
  #ifndef __GLIBC__
  #error another C library
  #endif
  int main() {}" VISTEL_GLIBC)
set(own_allocator ON)
if(VISTEL_GLIBC OR VISTEL_PLATFORM_LIBRARY)
  set(own_allocator OFF)
endif()
option(VISTEL_OWN_ALLOCATOR "Replace malloc by base/Allocator.cpp, which knows no threads" ${own_allocator})
set(VISTEL_MEMORY_MEGABYTES "64" CACHE STRING
    "Address space that one request may use, in MiB; 0: any; not limited with sanitizers")
if(NOT VISTEL_MEMORY_MEGABYTES MATCHES "^[0-9]+$")
  message(FATAL_ERROR "VISTEL_MEMORY_MEGABYTES is '${VISTEL_MEMORY_MEGABYTES}'; it must be a number")
endif()
option(VISTEL_SYSCALL_FILTER "End the program at a system call that no response needs (libseccomp)" OFF)
option(VISTEL_HARDENING "Harden the program against memory errors" ON)
set(VISTEL_SANITIZERS "" CACHE STRING "Sanitizers to build with, e.g. address,undefined")
option(VISTEL_COVERAGE "Build for gcov" OFF)

# Our own code throws nothing, and is smaller without unwinding code and type information. All of it is
# position-independent, so that each process has other addresses of code and data; a static program
# relocates itself if its C library can.
add_library(vistel_code INTERFACE)
target_include_directories(vistel_code INTERFACE "${PROJECT_SOURCE_DIR}")
# On a 32-bit machine, stat() refuses files with large inode numbers or sizes without this definition. On
# other machines it would only change the names of the functions that the tests wrap.
if(CMAKE_SIZEOF_VOID_P EQUAL 4)
  target_compile_definitions(vistel_code INTERFACE _FILE_OFFSET_BITS=64)
endif()
target_compile_options(vistel_code INTERFACE
  -fPIE -ffunction-sections -fdata-sections
  $<$<COMPILE_LANGUAGE:CXX>:-fno-exceptions -fno-rtti>)

add_library(vistel_options INTERFACE)
target_link_libraries(vistel_options INTERFACE vistel_code)
target_compile_options(vistel_options INTERFACE
  -Wall -Wextra -Wpedantic -Wshadow -Wconversion -Wformat=2 -Wundef
  $<$<COMPILE_LANGUAGE:CXX>:-Wold-style-cast -Wnon-virtual-dtor>)

# UndefinedBehaviorSanitizer keeps a description of each check, with addresses, in writable data. In a program
# at a fixed address the linker writes them; otherwise each start writes megabytes, and each fork copies them.
set(VISTEL_PIE -pie)
if(VISTEL_SANITIZERS)
  set(VISTEL_PIE -no-pie)
endif()

add_library(vistel_link INTERFACE)
target_link_options(vistel_link INTERFACE -Wl,--gc-sections -Wl,--as-needed)
if(VISTEL_SANITIZERS OR VISTEL_COVERAGE OR VISTEL_LINK STREQUAL "dynamic")
  target_link_options(vistel_link INTERFACE ${VISTEL_PIE})
elseif(VISTEL_LINK STREQUAL "partial")
  target_link_options(vistel_link INTERFACE -pie -static-libstdc++ -static-libgcc)
else()
  check_linker_flag(CXX -static-pie VISTEL_STATIC_PIE)
  if(NOT VISTEL_STATIC_PIE)
    message(STATUS "No static PIE here: the program will be loaded at a fixed address")
  endif()
  # For MIPS, GCC names a dynamic linker all the same, without which such a program doesn't start.
  target_link_options(vistel_link INTERFACE
    $<IF:$<BOOL:${VISTEL_STATIC_PIE}>,-static-pie;-Wl$<COMMA>--no-dynamic-linker,-static>)
endif()

# A process lives for one page, so its start matters: inlining calls between files pays off, and with
# packed relocations a static program reads far fewer memory pages to relocate itself.
option(VISTEL_LINK_TIME_OPTIMISATION "Optimise a release when it is linked, where the compiler can" ON)
if(CMAKE_BUILD_TYPE STREQUAL "Release" AND NOT VISTEL_SANITIZERS)
  if(VISTEL_LINK_TIME_OPTIMISATION)
    check_ipo_supported(RESULT VISTEL_IPO OUTPUT ignored)
    set(CMAKE_INTERPROCEDURAL_OPTIMIZATION ${VISTEL_IPO})
  endif()
  # The linker can make them for any C library, but a program whose C library doesn't apply them crashes at its
  # start. Nothing tells musl's version (1.2.4 and later do).
  check_linker_flag(CXX -Wl,--fatal-warnings,-z,pack-relative-relocs VISTEL_LINKER_PACKS_RELOCATIONS)
  check_cxx_source_compiles("#include <cstdlib>
    #if !defined(__GLIBC__) || !__GLIBC_PREREQ(2, 36)
    #error not applied
    #endif
    int main() {}" VISTEL_GLIBC_APPLIES_PACKED_RELOCATIONS)
  option(VISTEL_PACKED_RELOCATIONS "Pack a static program's relocations; its C library must apply them"
         ${VISTEL_GLIBC_APPLIES_PACKED_RELOCATIONS})
  if(VISTEL_LINKER_PACKS_RELOCATIONS AND VISTEL_PACKED_RELOCATIONS AND VISTEL_LINK STREQUAL "static")
    target_link_options(vistel_link INTERFACE -Wl,-z,pack-relative-relocs)
  endif()
endif()

if(VISTEL_SANITIZERS)
  add_compile_options(-fsanitize=${VISTEL_SANITIZERS} -fno-omit-frame-pointer
                      -fno-sanitize-recover=all)
  add_link_options(-fsanitize=${VISTEL_SANITIZERS} $<$<STREQUAL:$<TARGET_PROPERTY:TYPE>,EXECUTABLE>:-no-pie>)
  if(CMAKE_CXX_COMPILER_ID STREQUAL "GNU" AND VISTEL_SANITIZERS MATCHES "address")
    # As clang does, which saves the loader's work at each start.
    add_link_options(-static-libasan -static-libubsan)
  endif()
endif()
if(VISTEL_COVERAGE)
  add_compile_options(--coverage)
  add_link_options(--coverage)
endif()

if(VISTEL_HARDENING AND NOT VISTEL_SANITIZERS)
  target_compile_options(vistel_code INTERFACE
    -fstack-protector-strong -fstack-clash-protection -U_FORTIFY_SOURCE)
  if(CMAKE_BUILD_TYPE MATCHES "^(Release|RelWithDebInfo|MinSizeRel)$")
    target_compile_options(vistel_code INTERFACE -D_FORTIFY_SOURCE=2)
  endif()
  target_link_options(vistel_link INTERFACE
    -Wl,-z,relro -Wl,-z,now -Wl,-z,noexecstack -Wl,-z,separate-code)
endif()

if(VISTEL_SYSCALL_FILTER)
  find_library(VISTEL_SECCOMP_LIBRARY seccomp REQUIRED)
  target_link_libraries(vistel_options INTERFACE seccomp)
endif()
