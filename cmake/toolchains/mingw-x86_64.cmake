# Cross-compiling for x86_64 Windows with Debian's MinGW-w64 (package g++-mingw-w64-x86-64).
set(CMAKE_SYSTEM_PROCESSOR x86_64)
set(TOOLCHAIN_PREFIX x86_64-w64-mingw32)
include(${CMAKE_CURRENT_LIST_DIR}/mingw-common.cmake)
