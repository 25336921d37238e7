# In the place of an NDK where there is none: a Debian Clang for 64-bit ARM with the settings that the
# NDK's toolchain file makes, on Debian's cross libc in bionic's place. The cache names the Clang.
# The folder lib beside the builds holds the log library, which an NDK brings.
include(${CMAKE_CURRENT_LIST_DIR}/aarch64-linux-gnu.cmake)
set(ANDROID TRUE)
set(CMAKE_POSITION_INDEPENDENT_CODE TRUE)
set(CMAKE_FIND_ROOT_PATH_MODE_PACKAGE ONLY)
cmake_path(GET CMAKE_CURRENT_LIST_DIR PARENT_PATH root)
string(JOIN " " flags -DANDROID -g -fdata-sections -ffunction-sections -funwind-tables
       -fstack-protector-strong -D_FORTIFY_SOURCE=2 -Wformat -Werror=format-security
       -isystem ${root}/platform/android_log/include)
set(CMAKE_C_FLAGS_INIT ${flags})
set(CMAKE_CXX_FLAGS_INIT ${flags})
foreach(kind EXE SHARED)
  string(JOIN " " CMAKE_${kind}_LINKER_FLAGS_INIT -fuse-ld=lld -static-libstdc++
         -Wl,--no-undefined-version -Wl,--fatal-warnings -Wl,--no-undefined
         -L${root}/build/android-like/lib)
endforeach()
