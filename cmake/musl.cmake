# SPDX-License-Identifier: MIT
#
# A static program with musl for this machine: Debian's compiler with the headers, start files and C library
# of its package musl-dev. A device's own musl toolchain needs a file like mipsel-linux-gnu.cmake instead.
#
# libstdc++'s headers were made for glibc and ask for its version; there is none. The program needs nothing of
# the library itself, see main/NoExceptions.cpp.
set(CMAKE_SYSTEM_NAME Linux)
set(CMAKE_SYSTEM_PROCESSOR "${CMAKE_HOST_SYSTEM_PROCESSOR}")
set(CMAKE_C_COMPILER gcc)
set(CMAKE_CXX_COMPILER g++)

execute_process(COMMAND gcc -dumpmachine OUTPUT_VARIABLE machine OUTPUT_STRIP_TRAILING_WHITESPACE)
execute_process(COMMAND gcc -dumpversion OUTPUT_VARIABLE version OUTPUT_STRIP_TRAILING_WHITESPACE)
foreach(file crtbeginS.o crtendS.o libgcc.a include)
  execute_process(COMMAND gcc "-print-file-name=${file}" OUTPUT_VARIABLE "gcc_${file}"
                  OUTPUT_STRIP_TRAILING_WHITESPACE)
endforeach()
string(REPLACE "-gnu" "-musl" musl "${machine}")
set(musl_include "/usr/include/${musl}")
set(musl_lib "/usr/lib/${musl}")
if(NOT EXISTS "${musl_lib}/libc.a")
  message(FATAL_ERROR "musl is missing: no '${musl_lib}/libc.a'. Install it (Debian: musl-dev).")
endif()

set(CMAKE_C_FLAGS_INIT "-nostdinc -isystem ${musl_include} -isystem ${gcc_include}")
string(CONCAT CMAKE_CXX_FLAGS_INIT "-nostdinc -nostdinc++ -isystem /usr/include/c++/${version} "
  "-isystem /usr/include/${machine}/c++/${version} -isystem ${musl_include} -isystem ${gcc_include} "
  "\"-D__GLIBC_PREREQ(a,b)=0\" -D__locale_t=locale_t")
foreach(language C CXX)
  string(CONCAT CMAKE_${language}_LINK_EXECUTABLE
    "<CMAKE_${language}_COMPILER> <FLAGS> <CMAKE_${language}_LINK_FLAGS> <LINK_FLAGS> -static-pie -nostdlib "
    "${musl_lib}/rcrt1.o ${musl_lib}/crti.o ${gcc_crtbeginS.o} <OBJECTS> -o <TARGET> -L${musl_lib} <LINK_LIBRARIES> "
    "${musl_lib}/libc.a ${gcc_libgcc.a} ${gcc_crtendS.o} ${musl_lib}/crtn.o")
endforeach()
set(CMAKE_FIND_ROOT_PATH_MODE_LIBRARY ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_INCLUDE ONLY)
