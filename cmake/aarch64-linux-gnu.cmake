# 64-bit ARM Linux with Debian's cross compiler, or with the Clang that the cache names, against the
# cross compiler's libraries; programs run through user-mode emulation.
set(CMAKE_SYSTEM_NAME Linux)
set(CMAKE_SYSTEM_PROCESSOR aarch64)
set(CMAKE_C_COMPILER aarch64-linux-gnu-gcc CACHE STRING "")
set(CMAKE_CXX_COMPILER aarch64-linux-gnu-g++ CACHE STRING "")
set(CMAKE_C_COMPILER_TARGET aarch64-linux-gnu)  # for Clang
set(CMAKE_CXX_COMPILER_TARGET aarch64-linux-gnu)
set(CMAKE_FIND_ROOT_PATH /usr/aarch64-linux-gnu)
set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
set(CMAKE_FIND_ROOT_PATH_MODE_LIBRARY ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_PACKAGE BOTH)

# What the emulator does not find below its prefix it looks for on the machine itself, where Debian's
# own arm64 packages may have put another libc in /lib/aarch64-linux-gnu, which the loader searches
# first. With it the cross loader hangs as soon as a thread starts.
set(CMAKE_CROSSCOMPILING_EMULATOR qemu-aarch64 -L /usr/aarch64-linux-gnu
    -E LD_LIBRARY_PATH=/usr/aarch64-linux-gnu/lib)
