# SPDX-License-Identifier: MIT
#
# The product's own processor family: 32-bit little-endian MIPS under Linux, with Debian's cross
# compiler (package g++-mipsel-linux-gnu).
set(CMAKE_SYSTEM_NAME Linux)
set(CMAKE_SYSTEM_PROCESSOR mipsel)
set(CMAKE_C_COMPILER mipsel-linux-gnu-gcc)
set(CMAKE_CXX_COMPILER mipsel-linux-gnu-g++)
