/* A program in C that has nothing of the library but its file name: it loads the DLL, asks for each
 * function by name, works with a document, unloads the DLL and loads it again. It runs in an empty
 * folder, tells what it does, and ends with 0 when everything was as it should be. */
#include <stdio.h>
#include <stdlib.h>
#include <string.h>

#include "RV_FileIO.h"

enum { kRead = 0x0000, kReadWrite = 0x0002, kCreate = 0x1002, kTextMax = 256 };

static const wchar_t kLibrary[] = L"KX_FileIO.dll";
static const wchar_t kDocument[] = L"journey.kxo";

/* The functions that are asked for, each under its own name with "call_" in front. The header only
 * lends their types: nothing here is linked to the library. */
/* clang-format off */
#define FUNCTIONS(X)           \
  X(KX_FlatGuard)              \
  X(KX_FlatLastError)          \
  X(KX_SetUnfiledCategoryName) \
  X(MemAlloc)                  \
  X(MemGetPtr)                 \
  X(MemReleasePtr)             \
  X(MemFree)                   \
  X(MemGetSize)                \
  X(RV_CreateOutlineDB)        \
  X(RV_DeleteOutlineDB)        \
  X(RV_Open)                   \
  X(RV_Close)                  \
  X(RV_InitNewDataBase)        \
  X(RV_ReadRows)               \
  X(RV_WriteRows)              \
  X(RV_WriteAllHeaders)        \
  X(RV_ReadSharedHeader)       \
  X(RV_ReadPrivateHeader)      \
  X(RV_GetSize)                \
  X(RV_GetRecord)              \
  X(RV_AppendRecordSet)        \
  X(RV_Delete)                 \
  X(RV_AddDeletedId)           \
  X(RV_IsDeletedId)            \
  X(RV_removeDeletedId)        \
  X(RV_SetCategoryName)        \
  X(RV_GetCategoryName)        \
  X(RV_SetOutlineTitle)        \
  X(RV_GetOutlineTitle)        \
  X(RV_GetRecordString)        \
  X(RV_GetRecordLevel)         \
  X(RV_GetRecordChecked)       \
  X(RV_GetRecordId)            \
  X(RV_SetId)                  \
  X(RV_SetIndent)              \
  X(RV_SetText)                \
  X(RV_SetNote)                \
  X(RV_GetNote)                \
  X(RV_SetChecked)             \
  X(RV_SetNew)                 \
  X(RV_SetDrawing)             \
  X(RV_GetDrawing)             \
  X(RV_HasDrawing)             \
  X(RV_GetDrawingSize)
/* clang-format on */

#define DECLARE(name) static __typeof__(name)* call_##name;
FUNCTIONS(DECLARE)

static int failures = 0;

/* Counts what is not as it should be. */
static void expect(int condition, const char* what) {
  if (condition) return;
  printf("  NOT TRUE: %s\n", what);
  ++failures;
}

/* Ends the program where nothing after would make sense. */
static void demand(int condition, const char* what) {
  if (condition) return;
  printf("  NOT TRUE, AND NOTHING GOES ON: %s\n", what);
  exit(2);
}

/* --- The library --- */

/* Puts the address of a function into a pointer of its type. */
static int find(HMODULE library, const char* name, void* pointer) {
  const FARPROC address = GetProcAddress(library, name);
  memcpy(pointer, &address, sizeof(address));
  if (address == NULL) printf("  there is no %s\n", name);
  return address != NULL;
}

static HMODULE load(void) {
  int asked = 0;
  int found = 0;
  const HMODULE library = LoadLibraryW(kLibrary);
  demand(library != NULL, "the library is loaded by its name");
#define FIND(name) \
  ++asked;         \
  found += find(library, #name, &call_##name);
  FUNCTIONS(FIND)
  demand(found == asked, "every function is found by its name");
  printf("  %d of %d functions found\n", found, asked);
  expect(GetProcAddress(library, "RV_Fly") == NULL, "no other is");
  expect(call_KX_FlatGuard(1) == 0, "the guard is off at first");
  call_KX_SetUnfiledCategoryName(L"Unfiled");
  return library;
}

static void unload(HMODULE library) {
  expect(GetModuleHandleW(kLibrary) == library, "the library is there by its name");
  expect(FreeLibrary(library) != FALSE, "it is unloaded");
  expect(GetModuleHandleW(kLibrary) == NULL, "and gone then");
}

/* --- Errors --- */

static void expectNoError(const char* what) {
  wchar_t text[kTextMax];
  if (call_KX_FlatLastError(text, kTextMax, NULL) == 0) return;
  printf("  %s failed: %ls\n", what, text);
  ++failures;
}

/* Tells the error of the call before. */
static void tellError(const char* what) {
  wchar_t text[kTextMax];
  unsigned long number = 0;
  expect(call_KX_FlatLastError(text, kTextMax, &number) > 0, what);
  printf("  %s: \"%ls\", number %lu\n", what, text, number);
}

/* --- A document with notes, a drawing and deleted ids --- */

static RV_REC addItem(RV_DB db, unsigned long id, unsigned int indent, const wchar_t* text,
                      const wchar_t* note) {
  RV_REC record = call_RV_AppendRecordSet(db);
  demand(record != NULL, "an item is added");
  call_RV_SetId(record, id);
  call_RV_SetIndent(record, indent);
  call_RV_SetText(record, text);
  call_RV_SetNote(record, note);
  call_RV_SetNew(record, 1);
  expectNoError("filling an item");
  return record;
}

/* A bitmap of 3 by 2 pixels of 24 bits: a header of 40 bytes, then the rows from the bottom up,
 * each filled up to a multiple of 4 bytes. */
enum { kHeaderSize = 40, kRowSize = 12, kImageSizeAt = 20, kPictureSize = 40 + 2 * 12 };

static void fillPicture(unsigned char* bytes) {
  int i = 0;
  memset(bytes, 0, kPictureSize);
  bytes[0] = kHeaderSize;
  bytes[4] = 3;   /* width */
  bytes[8] = 2;   /* height */
  bytes[12] = 1;  /* planes */
  bytes[14] = 24; /* bits a pixel */
  bytes[kImageSizeAt] = 2 * kRowSize;
  for (i = 0; i < 9; ++i) {
    bytes[kHeaderSize + i] = (unsigned char)(17 * i);
    bytes[kHeaderSize + kRowSize + i] = (unsigned char)(255 - 17 * i);
  }
}

static void draw(RV_REC record) {
  RV_DIB dib = call_MemAlloc(kPictureSize);
  demand(dib != NULL, "there is memory for a bitmap");
  fillPicture(call_MemGetPtr(dib));
  call_MemReleasePtr(dib);
  call_RV_SetDrawing(record, dib); /* takes the bitmap */
  expectNoError("storing a drawing");
}

static void tellDrawing(RV_REC record) {
  unsigned char expected[kPictureSize];
  long width = 0;
  long height = 0;
  RV_DIB dib = call_RV_GetDrawing(record);
  call_RV_GetDrawingSize(record, &width, &height);
  fillPicture(expected);
  expected[kImageSizeAt] = 0; /* what comes back has no image size */
  demand(dib != NULL && call_MemGetSize(dib) >= kPictureSize, "the drawing comes back");
  expect(memcmp(call_MemGetPtr(dib), expected, kPictureSize) == 0, "with the same pixels");
  call_MemFree(dib);
  printf("    drawing of %ld by %ld\n", width, height);
}

static void save(RV_DB db) {
  call_RV_WriteAllHeaders(db);
  expectNoError("writing the headers");
  call_RV_WriteRows(db);
  expectNoError("writing the rows");
  call_RV_DeleteOutlineDB(db);
}

static void make(void) {
  RV_DB db = call_RV_CreateOutlineDB();
  expect(call_RV_Open(db, kDocument, kCreate) == 1, "a document is created");
  call_RV_InitNewDataBase(db);
  call_RV_SetCategoryName(db, L"Work");
  call_RV_SetOutlineTitle(db, L"My journey");
  addItem(db, 1, 0, L"Journey", L"first line\nsecond line");
  draw(addItem(db, 2, 1, L"Caf\u00E9 \u6771\u4EAC", L""));
  call_RV_AddDeletedId(db, 3);
  call_RV_Delete(db, addItem(db, 3, 1, L"gone", L""));
  call_RV_AddDeletedId(db, 0xFFFFFFFF);
  save(db);
}

static RV_DB openToEdit(void) {
  RV_DB db = call_RV_CreateOutlineDB();
  demand(call_RV_Open(db, kDocument, kReadWrite) == 1, "the document is opened");
  expect(call_RV_ReadSharedHeader(db) == 1, "it has a shared header");
  expect(call_RV_ReadPrivateHeader(db) == 1, "and a private one");
  call_RV_ReadRows(db);
  expectNoError("reading the document");
  return db;
}

static void printText(const wchar_t* text) {
  for (; *text != L'\0'; ++text) {
    if (*text < 0x80 && *text >= 0x20) {
      printf("%c", (char)*text);
    } else {
      printf("\\u%04X", (unsigned)*text);
    }
  }
}

static void tellItem(RV_DB db, unsigned long i) {
  RV_REC record = call_RV_GetRecord(db, i);
  wchar_t note[kTextMax] = {0};
  printf("  item %lu, level %u%s: ", call_RV_GetRecordId(db, i), call_RV_GetRecordLevel(db, i),
         call_RV_GetRecordChecked(db, i) != 0 ? ", checked" : "");
  printText(call_RV_GetRecordString(db, i));
  if (call_RV_GetNote(record, NULL) < kTextMax) call_RV_GetNote(record, note);
  if (note[0] != L'\0') printf("; ");
  printText(note);
  printf("\n");
  if (call_RV_HasDrawing(record) != 0) tellDrawing(record);
  expectNoError("looking at an item");
}

static void tell(RV_DB db) {
  wchar_t title[kTextMax] = {0};
  wchar_t category[kTextMax] = {0};
  const unsigned long count = (unsigned long)call_RV_GetSize(db);
  unsigned long i = 0;
  if (call_RV_GetOutlineTitle(db, NULL) < kTextMax) call_RV_GetOutlineTitle(db, title);
  if (call_RV_GetCategoryName(db, NULL) < kTextMax) call_RV_GetCategoryName(db, category);
  printf("  %ls, of %ls, %lu items\n", title, category, count);
  for (i = 0; i < count; ++i) tellItem(db, i);
  printf("  deleted: 3 %s, -1 %s\n", call_RV_IsDeletedId(db, 3) != 0 ? "yes" : "no",
         call_RV_IsDeletedId(db, 0xFFFFFFFF) != 0 ? "yes" : "no");
}

static void edit(void) {
  RV_DB db = openToEdit();
  tell(db);
  call_RV_SetChecked(call_RV_GetRecord(db, 0), 1);
  call_RV_SetNote(call_RV_GetRecord(db, 1), L"a note now");
  call_RV_removeDeletedId(db, 3);
  save(db);
}

/* --- Damage --- */

/* Writes a copy of the document that ends `cut` bytes early, and in which the byte at `at` from the
 * end (0: none) is another. */
static void damageTo(const char* name, size_t cut, size_t at) {
  unsigned char bytes[4096];
  size_t count = 0;
  FILE* file = fopen("journey.kxo", "rb");
  demand(file != NULL, "the document is there");
  count = fread(bytes, 1, sizeof(bytes), file);
  fclose(file);
  demand(count > 1300 && count < sizeof(bytes), "and has its size");
  if (at != 0) bytes[count - at] ^= 0xFF;
  file = fopen(name, "wb");
  demand(file != NULL, "a damaged copy is made");
  fwrite(bytes, 1, count - cut, file);
  fclose(file);
}

static void readDamaged(const wchar_t* name, const char* what) {
  RV_DB db = call_RV_CreateOutlineDB();
  expect(call_RV_Open(db, name, kRead) == 1, "a document with damaged items is opened");
  call_RV_ReadRows(db);
  tellError(what);
  printf("    the first item is \"%ls\"\n", call_RV_GetRecordString(db, 0));
  call_RV_DeleteOutlineDB(db);
}

static void handleDamage(void) {
  FILE* file = fopen("foreign.kxo", "wb");
  RV_DB db = call_RV_CreateOutlineDB();
  demand(file != NULL, "a foreign file is made");
  fputs("this is no document of the outliner", file);
  fclose(file);
  damageTo("cut.kxo", 50, 0);
  readDamaged(L"cut.kxo", "reading a cut document");
  damageTo("unframed.kxo", 0, 1);
  readDamaged(L"unframed.kxo", "reading an item without its end");
  expect(call_RV_Open(db, L"foreign.kxo", kRead) == 0, "a foreign file is not opened");
  expect(call_RV_Open(db, L"missing.kxo", kRead) == 0, "nor a missing one");
  expect(call_RV_Open(db, kDocument, kRead) == 1, "the document is");
  call_RV_DeleteOutlineDB(db);
}

/* --- Two visits: one by a thread that outlives the library, and had an error in it --- */

static DWORD WINAPI firstVisit(LPVOID unused) {
  const HMODULE library = load();
  (void)unused;
  printf("a document with notes, a drawing and deleted ids\n");
  make();
  edit();
  printf("damage\n");
  handleDamage();
  unload(library);
  return 0;
}

static void secondVisit(void) {
  const HMODULE library = load();
  RV_DB db = openToEdit();
  tell(db);
  call_RV_DeleteOutlineDB(db);
  unload(library);
}

int main(void) {
  HANDLE thread = NULL;
  printf("loading\n");
  thread = CreateThread(NULL, 0, firstVisit, NULL, 0, NULL);
  demand(thread != NULL, "there is a thread");
  expect(WaitForSingleObject(thread, 60000) == WAIT_OBJECT_0, "it ends");
  CloseHandle(thread);
  printf("loading again\n");
  secondVisit();
  printf("%d things are not as they should be\n", failures);
  return failures == 0 ? 0 : 1;
}
