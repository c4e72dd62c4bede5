# SPDX-License-Identifier: MIT
#
# The processor family of the product's devices: 32-bit little-endian MIPS with Linux. Uses Debian's cross
# compiler (package g++-mipsel-linux-gnu).
set(CMAKE_SYSTEM_NAME Linux)
set(CMAKE_SYSTEM_PROCESSOR mipsel)
set(CMAKE_C_COMPILER mipsel-linux-gnu-gcc)
set(CMAKE_CXX_COMPILER mipsel-linux-gnu-g++)
