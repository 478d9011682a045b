# Cross-compiling for i686 Windows with Debian's MinGW-w64 (package g++-mingw-w64-i686).
set(CMAKE_SYSTEM_PROCESSOR i686)
set(TOOLCHAIN_PREFIX i686-w64-mingw32)
include(${CMAKE_CURRENT_LIST_DIR}/mingw-common.cmake)
