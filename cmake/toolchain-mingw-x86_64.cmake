# 64-bit Windows (x86_64) with mingw-w64.
set(CMAKE_SYSTEM_PROCESSOR x86_64)
include(${CMAKE_CURRENT_LIST_DIR}/toolchain-mingw.cmake)
