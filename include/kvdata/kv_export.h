/* Export and calling-convention macros shared by every public kvdata header. */
#ifndef KVDATA_KV_EXPORT_H
#define KVDATA_KV_EXPORT_H

#include <stdint.h>

/* KV_API marks a function of the exported C interface.
 * - building the library: exported (dllexport / default visibility);
 * - using the static library (KVDATA_STATIC): plain declaration;
 * - using the DLL on Windows: dllimport. */
#if defined(_WIN32)
#  if defined(KVDATA_BUILDING)
#    define KV_API __declspec(dllexport)
#  elif defined(KVDATA_STATIC)
#    define KV_API
#  else
#    define KV_API __declspec(dllimport)
#  endif
#else
#  if defined(KVDATA_BUILDING)
#    define KV_API __attribute__((visibility("default")))
#  else
#    define KV_API
#  endif
#endif

/* The few functions that the shop programs call with the Windows standard
 * calling convention (DBA_InitDBA and the <family>_DoUpdate entries). On
 * 32-bit Windows they are __stdcall and exported with decorated names
 * (_DBA_InitDBA@4, _KundenDBA_DoUpdate@8); everywhere else the macro is empty. */
#if defined(_WIN32) && !defined(_WIN64)
#  define KV_STDCALL __stdcall
#else
#  define KV_STDCALL
#endif

/* Callbacks handed to the library use the platform's C calling convention. */
#define KV_CALLBACK

#ifdef __cplusplus
#  define KV_EXTERN_C_BEGIN extern "C" {
#  define KV_EXTERN_C_END }
#else
#  define KV_EXTERN_C_BEGIN
#  define KV_EXTERN_C_END
#endif

/* Packed record structures mirror the byte-exact file formats. */
#if defined(_MSC_VER)
#  define KV_PACK_BEGIN __pragma(pack(push, 1))
#  define KV_PACK_END __pragma(pack(pop))
#else
#  define KV_PACK_BEGIN _Pragma("pack(push, 1)")
#  define KV_PACK_END _Pragma("pack(pop)")
#endif

#ifdef __cplusplus
#  define KV_STATIC_ASSERT(cond, msg) static_assert(cond, msg)
#else
#  define KV_STATIC_ASSERT(cond, msg) _Static_assert(cond, msg)
#endif

#endif /* KVDATA_KV_EXPORT_H */
