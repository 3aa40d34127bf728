/* What the exported headers need of the system, on Windows: the export macro and the system's own
 * types. Acceptable to C99. The header of the same name for other systems stands in
 * fileio/platform/posix/include. */
#ifndef KX_PLATFORM_H
#define KX_PLATFORM_H

#ifndef WIN32_LEAN_AND_MEAN
#define WIN32_LEAN_AND_MEAN
#endif
#ifndef NOMINMAX
#define NOMINMAX
#endif
#include <stddef.h>
#include <stdint.h>
#include <wchar.h>
#include <windows.h>
#ifdef __cplusplus
/* Ahead of the first exported class: where GCC meets std::type_info only behind one, it exports the
 * type information of others' classes too. */
#include <typeinfo>
#endif

/* Marks what the DLL exports. KX_FILEIO_BUILD is defined while the library itself is built,
 * KX_FILEIO_STATIC where its objects are linked into a program. */
#if defined(KX_FILEIO_BUILD)
#define KX_API __declspec(dllexport)
#elif defined(KX_FILEIO_STATIC)
#define KX_API
#else
#define KX_API __declspec(dllimport)
#endif

/* Macros that would hide members and functions of the exported headers. */
#undef GetCurrentTime
#undef GetFileTitle
#undef _tsplitpath
#undef _tfullpath

#endif
