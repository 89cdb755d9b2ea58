# Shared part of the mingw-w64 toolchain files: cross-compiling kvdata.dll
# with Debian's mingw-w64 g++ (win32 thread model: no std::thread /
# std::mutex, which the library does not use anyway). The including file sets
# CMAKE_SYSTEM_PROCESSOR first.
set(CMAKE_SYSTEM_NAME Windows)
set(KVDATA_MINGW_TRIPLET ${CMAKE_SYSTEM_PROCESSOR}-w64-mingw32)

set(CMAKE_C_COMPILER ${KVDATA_MINGW_TRIPLET}-gcc)
set(CMAKE_CXX_COMPILER ${KVDATA_MINGW_TRIPLET}-g++)
set(CMAKE_RC_COMPILER ${KVDATA_MINGW_TRIPLET}-windres)

set(CMAKE_FIND_ROOT_PATH /usr/${KVDATA_MINGW_TRIPLET})
set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
set(CMAKE_FIND_ROOT_PATH_MODE_LIBRARY ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_INCLUDE ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_PACKAGE ONLY)

# The DLL and every program must run on a bare Windows: the GCC runtime and
# libstdc++ are linked in, so only Windows system DLLs are imported.
set(CMAKE_SHARED_LINKER_FLAGS_INIT "-static")
set(CMAKE_EXE_LINKER_FLAGS_INIT "-static")
