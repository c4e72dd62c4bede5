# SPDX-License-Identifier: MIT
#
# 32-bit big-endian MIPS with Linux, with Debian's cross compiler (package g++-mips-linux-gnu).
set(CMAKE_SYSTEM_NAME Linux)
set(CMAKE_SYSTEM_PROCESSOR mips)
set(CMAKE_C_COMPILER mips-linux-gnu-gcc)
set(CMAKE_CXX_COMPILER mips-linux-gnu-g++)
