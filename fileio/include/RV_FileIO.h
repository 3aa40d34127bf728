/* The flat interface of KX_FileIO: outline and category databases for callers that cannot use the
 * library's classes.
 *
 * Conventions
 *  1. Handles are opaque pointers. A function that only reaches what every database, or every
 *     record, has takes any kind of it. A null handle, or one of the wrong kind where that can be
 *     told, is refused: an assertion in the log and a zero result. That is no error (6.). Stale
 *     handles are undefined.
 *  2. Whoever creates a handle deletes it: RV_CreateOutlineDB and RV_DeleteOutlineDB and so on.
 *     Records and recordsets that a database hands out belong to the database.
 *  3. Truth values are int: results are exactly 0 or 1, any argument but 0 is true.
 *  4. Nothing narrower than int crosses. 8- and 16-bit numbers are unsigned int and cut inside;
 *     32-bit numbers are unsigned long, also where that has 64 bits.
 *  5. Text is null-terminated wide text; a null argument means "". A function that fills a text
 *     buffer returns the text's length without its terminator, and takes a null buffer as a
 *     question for it: ask, allocate length + 1 characters, ask again. A refused or failed call
 *     leaves the buffer as it was.
 *  6. Errors are the exceptions of the classes, thrown through these functions. A caller that
 *     cannot catch them turns on the guard with KX_FlatGuard(1): functions then return 0 or null
 *     and KX_FlatLastError tells what happened.
 *  7. Bitmaps cross as memory handles (MemAPI.h) of packed device-independent bitmaps. The Mem
 *     functions throw nothing and leave the last error alone.
 *  8. A handle belongs to one thread at a time; different handles may live on different threads.
 *
 * Not offered here, but by the classes: the conduit header, the match name, the font's face name,
 * the parent ids of memory outlines, the times of categories, pictures as files.
 *
 * Acceptable to C99. In C++ a string is a _String& and an iterator a CCategoryIterator, which
 * travel in the same form. docs/flat-interface.md is a guide with examples. */
#ifndef KX_RV_FILEIO_H
#define KX_RV_FILEIO_H

#include "KxPlatform.h"
#include "MemAPI.h"

/* NOLINTBEGIN(modernize-use-using): C99 reads this too */
typedef void* RV_DB;   /* outline database */
typedef void* RV_REC;  /* outline record */
typedef void* RV_RS;   /* recordset */
typedef void* RV_CAT;  /* category database */
typedef void* RV_CREC; /* category record */
typedef void* RV_STR;  /* a _String */
typedef void* RV_DIB;  /* memory handle of a bitmap */

/* A position among the live categories; the form of CCategoryIterator. The end is a slot that the
 * database does not have. */
typedef struct RV_ITER {
  size_t slot;
  RV_CAT db;
} RV_ITER;
/* NOLINTEND(modernize-use-using) */

#ifdef __cplusplus
#include "CategoryDB.h"
#define KX_ITERATOR kx_gen::CCategoryIterator
#define KX_STRING_REF kx_gen::_String&
extern "C" {
#else
#define KX_ITERATOR RV_ITER
#define KX_STRING_REF RV_STR
#endif

/* errors, strings, and what no class member stands behind */

/* Turns the guard on or off for the process (off at first) and returns its former state. */
KX_API int KX_FlatGuard(int on);
/* What the last guarded call of this thread ended with: copies at most `capacity` characters of the
 * text, terminator included, and the error number; returns the text's whole length, which is at
 * most 1,023. 0 and number 0 when that call succeeded. Clears nothing. */
KX_API unsigned long KX_FlatLastError(wchar_t* text, unsigned long capacity, unsigned long* number);
KX_API RV_STR KX_StringCreate(void);
KX_API const wchar_t* KX_StringText(RV_STR);
KX_API void KX_StringDelete(RV_STR);
/* The display name of the unfiled category, at most 31 characters. */
KX_API void KX_SetUnfiledCategoryName(const wchar_t* name);
/* In every outline of `folder` with `extension` (without dot) whose category is exactly `oldName`,
 * makes it `newName`; null means the unfiled category's name. */
KX_API void KX_UpdateCategory(const wchar_t* folder, const wchar_t* extension,
                              const wchar_t* oldName, const wchar_t* newName);
/* Save a whole database, headers and rows, so that the file is the old or the new document,
 * whatever happens meanwhile: what fails leaves the old one untouched, and anybody else who has it
 * open makes it fail with a sharing violation. 1 when the new one is in place. An open database
 * stays open, in its mode; one that was never opened need not be. The first takes any kind of
 * database. */
KX_API int KX_SaveOutline(RV_DB, const wchar_t* path);
KX_API int KX_SaveCategories(RV_CAT, const wchar_t* path);

/* outline database: life, file, rows */
KX_API RV_DB RV_CreateOutlineDB(void);
KX_API void RV_DeleteOutlineDB(RV_DB);
KX_API int RV_Open(RV_DB, const wchar_t* path, unsigned int mode);
KX_API void RV_Close(RV_DB);
KX_API void RV_CheckDbInfo(RV_DB);
KX_API void RV_InitNewDataBase(RV_DB);
KX_API void RV_ReadRows(RV_DB);
KX_API void RV_WriteRows(RV_DB);
KX_API void RV_WriteAllHeaders(RV_DB);
KX_API void RV_ReadExtraRows(RV_DB);
KX_API void RV_WriteExtraRows(RV_DB);
KX_API void RV_CreateRecordset(RV_DB);
/* 1: the file has it */
KX_API int RV_ReadSharedHeader(RV_DB);
KX_API void RV_WriteSharedHeader(RV_DB);
KX_API int RV_ReadPrivateHeader(RV_DB);
KX_API void RV_WritePrivateHeader(RV_DB);
/* a file position, as RV_GetPos gives it */
KX_API void RV_ReadRow(RV_DB, unsigned long position, RV_REC);

/* recordset */
KX_API int RV_GetSize(RV_DB);
KX_API RV_REC RV_GetRecord(RV_DB, unsigned long index);
KX_API RV_RS RV_GetRecordSet(RV_DB);
KX_API RV_REC RV_AppendRecordSet(RV_DB);
KX_API void RV_EmptyRS(RV_DB);
KX_API void RV_AddtoRS(RV_DB, RV_REC);
KX_API RV_REC RV_CreateDBRecord(RV_DB);
KX_API void RV_DeleteDBRecord(RV_DB, RV_REC);
KX_API void RV_Delete(RV_DB, RV_REC);
KX_API void RV_DeleteAll(RV_DB, int rememberIds);

/* deleted ids */
KX_API void RV_AddDeletedId(RV_DB, unsigned long id);
KX_API int RV_IsDeletedId(RV_DB, unsigned long id);
KX_API int RV_IsDeletedRec(RV_DB, RV_REC);
KX_API void RV_removeDeletedId(RV_DB, unsigned long id);

/* headers */
KX_API unsigned long RV_GetCategoryName(RV_DB, wchar_t* buffer);
KX_API void RV_SetCategoryName(RV_DB, const wchar_t* name);
KX_API int RV_GetCategoryChanged(RV_DB);
KX_API void RV_SetCategoryChanged(RV_DB, int);
KX_API unsigned long RV_GetOutlineTitle(RV_DB, wchar_t* buffer);
KX_API void RV_SetOutlineTitle(RV_DB, const wchar_t* title);
KX_API int RV_GetOutlineChanged(RV_DB);
KX_API void RV_SetOutlineChanged(RV_DB, int);
KX_API int RV_GetPrivate(RV_DB);
KX_API void RV_SetPrivate(RV_DB, int);
KX_API int RV_GetPrivateTagChanged(RV_DB);
KX_API void RV_SetPrivateTagChanged(RV_DB, int);
KX_API int RV_GetSynchronized(RV_DB);
KX_API void RV_SetSynchronized(RV_DB, int);
KX_API unsigned int RV_GetShowCheckedItems(RV_DB);
KX_API void RV_SetShowCheckedItems(RV_DB, unsigned int);
KX_API int RV_ShowCheckedItemsChanged(RV_DB);
KX_API void RV_setCheckedItemsChanged(RV_DB, int);
KX_API unsigned long RV_GetSelectedIndex(RV_DB);
KX_API void RV_SetSelectedIndex(RV_DB, unsigned long);
KX_API unsigned long RV_GetTopIndex(RV_DB);
KX_API void RV_SetTopIndex(RV_DB, unsigned long);
KX_API void RV_getNumbering(RV_DB, unsigned char* tenBytes);
KX_API void RV_setNumbering(RV_DB, const unsigned char* tenBytes);
KX_API int RV_getNumberingChanged(RV_DB);
KX_API void RV_setNumberingChanged(RV_DB, int);
KX_API unsigned int RV_getNumberingDivider(RV_DB);
KX_API void RV_setNumberingDivider(RV_DB, unsigned int);
KX_API int RV_getNumberingDividerChanged(RV_DB);
KX_API void RV_setNumberingDividerChanged(RV_DB, int);
KX_API unsigned int RV_GetShowHeadingsMode(RV_DB);
KX_API void RV_SetShowHeadingsMode(RV_DB, unsigned int);
KX_API void RV_GetOutlineFont(RV_DB, LOGFONTW*, unsigned long* color);
KX_API void RV_SetOutlineFont(RV_DB, const LOGFONTW*, unsigned long color);
KX_API void RV_GetOutlineWindowPos(RV_DB, WINDOWPLACEMENT*);
KX_API void RV_SetOultineWindowPos(RV_DB, const WINDOWPLACEMENT*);
KX_API void RV_copySharedHeader(RV_DB, RV_DB other);
KX_API void RV_copyPrivateHeader(RV_DB, RV_DB other);
KX_API int RV_compareSharedHeader(RV_DB, RV_DB other);
KX_API int RV_comparePrivateHeader(RV_DB, RV_DB other);

/* records by index; the text stays valid until the next call on the same database */
KX_API const wchar_t* RV_GetRecordString(RV_DB, unsigned long index);
KX_API int RV_GetRecordChecked(RV_DB, unsigned long index);
KX_API unsigned int RV_GetRecordLevel(RV_DB, unsigned long index);
KX_API unsigned long RV_GetRecordId(RV_DB, unsigned long index);

/* record */
KX_API RV_REC RV_CreateOutlineRecord(void);
KX_API void RV_DeleteCOutlineRecord(RV_REC);
KX_API void RV_Init(RV_REC);
KX_API void RV_SetId(RV_REC, unsigned long);
KX_API unsigned long RV_GetId(RV_REC);
KX_API void RV_SetIndent(RV_REC, unsigned int);
KX_API unsigned int RV_GetIndent(RV_REC);
KX_API void RV_SetExpanded(RV_REC, int);
KX_API int RV_GetExpanded(RV_REC);
KX_API void RV_SetChecked(RV_REC, int);
KX_API int RV_GetChecked(RV_REC);
KX_API void RV_SetText(RV_REC, const wchar_t*);
KX_API unsigned long RV_GetText(RV_REC, wchar_t* buffer);
KX_API void RV_SetNote(RV_REC, const wchar_t*);
KX_API unsigned long RV_GetNote(RV_REC, wchar_t* buffer);
KX_API void RV_DeleteText(RV_REC);
KX_API void RV_DeleteNote(RV_REC);
KX_API int RV_HasNote(RV_REC);
KX_API void RV_DeleteBitmap(RV_REC);
KX_API int RV_HasDrawing(RV_REC);
/* the caller frees it with MemFree */
KX_API RV_DIB RV_GetDrawing(RV_REC);
/* frees the bitmap, also when it ends in an error; one that cannot be converted stays */
KX_API void RV_SetDrawing(RV_REC, RV_DIB);
KX_API void RV_GetDrawingSize(RV_REC, long* width, long* height);
KX_API long RV_GetSizeX(void);
KX_API long RV_GetSizeY(void);
KX_API void RV_UpdateChangedFields(RV_REC, RV_REC other);
KX_API void RV_updateRecordChanged(RV_REC);
KX_API void RV_SetSortChanged(RV_REC, int);
KX_API int RV_IsChanged(RV_REC);
KX_API void RV_SetNew(RV_REC, int);
KX_API unsigned long RV_GetIndex(RV_REC);
KX_API unsigned long RV_GetPos(RV_REC);
KX_API int RV_IsFileRecord(RV_REC);
KX_API RV_REC RV_CopyRecord(RV_DB, RV_REC destination, RV_REC source);
KX_API RV_REC RV_DuplicateRecord(RV_DB, RV_REC);

/* category database */
KX_API RV_CAT RV_CreateCategoryDB(void);
KX_API void RV_DeleteCategoryDB(RV_CAT);
KX_API int RV_OpenCategoryFile(RV_CAT, const wchar_t* name, unsigned int mode);
KX_API void RV_CategoryClose(RV_CAT);
KX_API void RV_CheckCategoryDbInfo(RV_CAT);
KX_API void RV_CategoryInitNewDataBase(RV_CAT);
KX_API void RV_CreateCategoryRecordset(RV_CAT);
KX_API void RV_CategoryReadRows(RV_CAT);
KX_API void RV_CategoryWriteRows(RV_CAT);
KX_API void RV_WriteAllCategoryHeaders(RV_CAT);
KX_API void RV_CategoryReadExtraRows(RV_CAT);
KX_API void RV_CategoryWriteExtraRows(RV_CAT);
KX_API unsigned int RV_GetMaxCategoryAmount(RV_CAT);
KX_API RV_RS RV_GetCatRecordset(RV_CAT);
KX_API int RV_GetCategoryRecordSize(RV_CAT);
KX_API int RV_isFull(RV_CAT);
KX_API int RV_FindFirstHole(RV_CAT);
KX_API void RV_ResizeDB(RV_CAT, unsigned long count);
KX_API void RV_deleteAllCategories(RV_CAT);
KX_API void RV_DeleteCategory(RV_CAT, RV_CREC, unsigned long time);
KX_API void RV_UndeleteCategory(RV_CAT, RV_CREC, unsigned long time);
KX_API void RV_GetCatCategoryName(RV_CAT, RV_CREC, KX_STRING_REF out);
KX_API unsigned long RV_GetCategoryID(RV_CAT, RV_CREC);
KX_API void RV_SetCategoryID(RV_CAT, RV_CREC, unsigned long id);
#ifdef __clang__
#pragma clang diagnostic push
#pragma clang diagnostic ignored "-Wreturn-type-c-linkage"
#endif
/* the first live category, and always the second: walk all by index */
KX_API KX_ITERATOR RV_GetIterator(RV_CAT);
KX_API KX_ITERATOR RV_GetNext(RV_CAT);
#ifdef __clang__
#pragma clang diagnostic pop
#endif
KX_API unsigned long RV_GetIterCategoryName(RV_CAT, wchar_t* out, unsigned long index);
KX_API RV_CREC RV_AddNewCategorybyName(RV_CAT, const wchar_t* name);
KX_API RV_CREC RV_FindCategorybyName(RV_CAT, const wchar_t* name);
KX_API void RV_RenameCategory(RV_CAT, const wchar_t* oldName, const wchar_t* newName);
KX_API void RV_DeleteCategorybyName(RV_CAT, const wchar_t* name);

#ifdef __cplusplus
}
#endif
#undef KX_ITERATOR
#undef KX_STRING_REF

#endif
