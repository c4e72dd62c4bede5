# SPDX-License-Identifier: MIT
#
# A device's own toolchain with musl, as OpenWrt's SDK, Buildroot and musl-cross-make make it. Its compilers are
# <MUSL_TOOLCHAIN>/bin/<MUSL_TARGET>-gcc and -g++, and bring musl with them:
#
#   cmake -S . -B build/device -DCMAKE_BUILD_TYPE=Release -DCMAKE_TOOLCHAIN_FILE=cmake/device-musl.cmake
#         -DMUSL_TOOLCHAIN=/opt/toolchain -DMUSL_TARGET=mipsel-openwrt-linux-musl
#         -DGIF_SOURCE_DIR=build/giflib -DVISTEL_BUILD_SYSMGR=OFF
set(MUSL_TOOLCHAIN "" CACHE PATH "Folder of the device's toolchain")
set(MUSL_TARGET "" CACHE STRING "How the names of its programs begin, such as mipsel-openwrt-linux-musl")
list(APPEND CMAKE_TRY_COMPILE_PLATFORM_VARIABLES MUSL_TOOLCHAIN MUSL_TARGET)

set(CMAKE_SYSTEM_NAME Linux)
string(REGEX MATCH "^[^-]*" CMAKE_SYSTEM_PROCESSOR "${MUSL_TARGET}")
set(CMAKE_C_COMPILER "${MUSL_TOOLCHAIN}/bin/${MUSL_TARGET}-gcc")
set(CMAKE_CXX_COMPILER "${MUSL_TOOLCHAIN}/bin/${MUSL_TARGET}-g++")
foreach(compiler "${CMAKE_C_COMPILER}" "${CMAKE_CXX_COMPILER}")
  if(NOT EXISTS "${compiler}")
    message(FATAL_ERROR "There is no '${compiler}': MUSL_TOOLCHAIN or MUSL_TARGET is wrong")
  endif()
endforeach()

# Libraries and headers are the toolchain's, programs this machine's.
set(CMAKE_FIND_ROOT_PATH "${MUSL_TOOLCHAIN}")
set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
set(CMAKE_FIND_ROOT_PATH_MODE_LIBRARY ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_INCLUDE ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_PACKAGE ONLY)
