/* Memory handles: heap blocks that know the size of their data. Bitmaps cross the library's
 * interface as such handles. Acceptable to C99.
 *
 * A handle is the address of a block: 4 bytes that hold the data's size, then the data. Every
 * function takes a null handle and answers with null or 0. */
#ifndef KX_MEMAPI_H
#define KX_MEMAPI_H

#include "KxPlatform.h"

#ifdef __cplusplus
extern "C" {
#endif

/* A new handle of `size` data bytes (which should not be 0), uninitialised. Null when memory ran
 * out or the size has more than 32 bits. The caller frees it with MemFree. */
KX_API void* MemAlloc(unsigned long size);
/* The data, valid until the handle is freed or reallocated. */
KX_API void* MemGetPtr(void* handle);
/* Ends what MemGetPtr began; frees nothing. */
KX_API void MemReleasePtr(void* handle);
KX_API void MemFree(void* handle);
/* The possibly moved handle of `size` data bytes; null, and the old handle still valid, when memory
 * ran out. */
KX_API void* MemRealloc(void* handle, unsigned long size);
/* A new handle of the same size with the same data, but for its last 4 bytes, which are zero. */
KX_API void* MemDuplicate(void* handle);
/* The size of the data in bytes. */
KX_API unsigned long MemGetSize(void* handle);

#ifdef __cplusplus
}
#endif

#endif
