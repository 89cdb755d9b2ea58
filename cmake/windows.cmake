# Windows (mingw-w64) part of the build: kvdata.dll with its export list,
# the string table as a resource, the import libraries, GoogleTest built from
# source for the cross toolchain, and Wine as the emulator that runs the
# x86_64 test programs.
enable_language(RC)

# ---- running the tests under Wine ------------------------------------------------
# The x86_64 test programs run under wine64 with a private prefix in the
# build directory (created by `make windows-test`); the i686 ones are only
# compiled, so that 32-bit faults (packing, stdcall, 64-bit offsets) still
# show up at build time.
if(CMAKE_CROSSCOMPILING AND CMAKE_SIZEOF_VOID_P EQUAL 8 AND NOT CMAKE_CROSSCOMPILING_EMULATOR)
  find_program(KVDATA_WINE NAMES wine64 wine PATHS /usr/lib/wine)
  if(KVDATA_WINE)
    set(KVDATA_WINEPREFIX ${CMAKE_BINARY_DIR}/wineprefix)
    set(CMAKE_CROSSCOMPILING_EMULATOR
      /usr/bin/env WINEDEBUG=-all WINEPREFIX=${KVDATA_WINEPREFIX} ${KVDATA_WINE})
  endif()
endif()

# ---- exported names --------------------------------------------------------
# src/exports/kvdata.def is the one list of exported names. The linker gets a
# per-architecture copy of it:
#   - i686: a stdcall function (listed as DBA_InitDBA@4) is exported under
#     its decorated name _DBA_InitDBA@4 ("==" sets the name in the export
#     table; the import library still resolves the caller's _DBA_InitDBA@4);
#   - x86_64: there is no decoration at all, so "@4" is dropped.
# Every other line is copied unchanged.
set(KVDATA_DEF_SOURCE ${PROJECT_SOURCE_DIR}/src/exports/kvdata.def)
set_property(DIRECTORY ${PROJECT_SOURCE_DIR} APPEND PROPERTY CMAKE_CONFIGURE_DEPENDS ${KVDATA_DEF_SOURCE})
file(STRINGS ${KVDATA_DEF_SOURCE} kv_def_lines)
set(kv_def_out "")
foreach(line IN LISTS kv_def_lines)
  if(line MATCHES "^([ \t]+)([A-Za-z_][A-Za-z0-9_]*)@([0-9]+)[ \t]*$")
    if(CMAKE_SIZEOF_VOID_P EQUAL 4)
      set(line "${CMAKE_MATCH_1}${CMAKE_MATCH_2}@${CMAKE_MATCH_3} == _${CMAKE_MATCH_2}@${CMAKE_MATCH_3}")
    else()
      set(line "${CMAKE_MATCH_1}${CMAKE_MATCH_2}")
    endif()
  endif()
  string(APPEND kv_def_out "${line}\n")
endforeach()
if(CMAKE_SIZEOF_VOID_P EQUAL 4)
  set(KVDATA_ARCH_DEF ${CMAKE_BINARY_DIR}/kvdata-i686.def)
else()
  set(KVDATA_ARCH_DEF ${CMAKE_BINARY_DIR}/kvdata-x86_64.def)
endif()
file(CONFIGURE OUTPUT ${KVDATA_ARCH_DEF} CONTENT "${kv_def_out}" @ONLY)

# The .def file alone decides what is exported. With dllexport on the
# declarations as well, ld would add a second, undecorated-at-the-front name
# (DBA_InitDBA@4) for every stdcall function; so the library sources are
# compiled with plain declarations here.
get_target_property(kv_obj_defs kvdata_obj COMPILE_DEFINITIONS)
list(REMOVE_ITEM kv_obj_defs KVDATA_BUILDING)
list(APPEND kv_obj_defs KVDATA_STATIC)
set_target_properties(kvdata_obj PROPERTIES COMPILE_DEFINITIONS "${kv_obj_defs}")

target_link_options(kvdata PRIVATE ${KVDATA_ARCH_DEF})
set_property(TARGET kvdata APPEND PROPERTY LINK_DEPENDS ${KVDATA_ARCH_DEF})

# The user-interface functions (message box, beep, wait cursor, strings).
target_link_libraries(kvdata PRIVATE user32)
target_link_libraries(kvdata_static INTERFACE user32)

# ---- string table ------------------------------------------------------------
# The DLL carries its texts as a Windows resource. A resource object in a
# static library is never pulled in by the linker, so programs that link
# kvdata_static add KVDATA_RESOURCE to their own sources.
set(KVDATA_RESOURCE ${PROJECT_SOURCE_DIR}/src/services/win32/kvdata.rc)
target_sources(kvdata PRIVATE ${KVDATA_RESOURCE})
set_source_files_properties(${KVDATA_RESOURCE} PROPERTIES
  OBJECT_DEPENDS ${PROJECT_SOURCE_DIR}/src/services/strings_table.h)
target_include_directories(kvdata PRIVATE ${PROJECT_SOURCE_DIR}/src)

# ---- import libraries ----------------------------------------------------------
# libkvdata.dll.a for GNU linkers and kvdata.lib (the same COFF import
# archive, which Microsoft's linker reads too) for MSVC projects.
set_target_properties(kvdata PROPERTIES IMPORT_PREFIX "lib" IMPORT_SUFFIX ".dll.a")
add_custom_command(TARGET kvdata POST_BUILD
  COMMAND ${CMAKE_COMMAND} -E copy $<TARGET_LINKER_FILE:kvdata> $<TARGET_FILE_DIR:kvdata>/kvdata.lib
  VERBATIM)

# ---- a program linked against the DLL -------------------------------------------
if(KVDATA_BUILD_TESTS)
  add_executable(kvdata_dll_consumer ${CMAKE_CURRENT_LIST_DIR}/dll_consumer.c)
  target_link_libraries(kvdata_dll_consumer PRIVATE kvdata)
  # It finds kvdata.dll beside itself, as a shop program does.
  set_target_properties(kvdata_dll_consumer PROPERTIES RUNTIME_OUTPUT_DIRECTORY ${CMAKE_BINARY_DIR})
endif()

# ---- GoogleTest for the cross toolchain ---------------------------------------
# Debian's gtest libraries are Linux objects; its sources (libgtest-dev,
# /usr/src/googletest) are built here with the mingw compiler instead.
if(KVDATA_BUILD_TESTS AND CMAKE_CROSSCOMPILING AND NOT TARGET GTest::gtest)
  set(KVDATA_GTEST_SOURCE /usr/src/googletest CACHE PATH "GoogleTest sources for the cross build")
  if(NOT EXISTS ${KVDATA_GTEST_SOURCE}/CMakeLists.txt)
    message(FATAL_ERROR "No GoogleTest sources in ${KVDATA_GTEST_SOURCE}: install libgtest-dev "
                        "(or set KVDATA_GTEST_SOURCE), or configure with -DKVDATA_BUILD_TESTS=OFF.")
  endif()
  set(gtest_disable_pthreads ON CACHE BOOL "" FORCE)  # win32 threads, no winpthread DLL
  set(INSTALL_GTEST OFF CACHE BOOL "" FORCE)
  set(BUILD_GMOCK OFF CACHE BOOL "" FORCE)  # no test uses GoogleMock
  add_subdirectory(${KVDATA_GTEST_SOURCE} ${CMAKE_BINARY_DIR}/googletest EXCLUDE_FROM_ALL)
  target_compile_options(gtest PRIVATE -Wno-error)
  # gtest 1.12 builds its Notification on std::mutex, which the win32
  # thread model lacks; a replacement is force-included instead.
  target_compile_definitions(gtest PUBLIC GTEST_HAS_NOTIFICATION_=1)
  target_compile_options(gtest PUBLIC
    "SHELL:-include ${CMAKE_CURRENT_LIST_DIR}/gtest_notification_win32.h")
  # googletest's own CMake defines the GTest::gtest alias.
endif()
