# SPDX-License-Identifier: MIT
#
# 32-bit ARM with a floating-point unit and Linux, with Debian's cross compiler (package g++-arm-linux-gnueabihf).
set(CMAKE_SYSTEM_NAME Linux)
set(CMAKE_SYSTEM_PROCESSOR armv7l)
set(CMAKE_C_COMPILER arm-linux-gnueabihf-gcc)
set(CMAKE_CXX_COMPILER arm-linux-gnueabihf-g++)
