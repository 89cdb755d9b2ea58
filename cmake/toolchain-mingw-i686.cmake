# 32-bit Windows (i686) with mingw-w64.
set(CMAKE_SYSTEM_PROCESSOR i686)
include(${CMAKE_CURRENT_LIST_DIR}/toolchain-mingw.cmake)
