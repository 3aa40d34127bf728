/* A program in C that works with documents through the flat interface alone. It runs in an empty
 * folder, tells what it does, and ends with 0 when everything was as it should be. */
#include <stdio.h>
#include <stdlib.h>
#include <string.h>

#include "RV_FileIO.h"

enum { kDocuments = 50, kWork = 30, kModeReadWrite = 0x0002, kModeCreate = 0x1000 };

static const wchar_t kFirst[] = L"first.kxo";
static const wchar_t kCategories[] = L"categories.db";

static int failures = 0;

/* Counts what is not as it should be. */
static void expect(int condition, const char* what) {
  if (condition) return;
  printf("  NOT TRUE: %s\n", what);
  ++failures;
}

/* A call that must not have failed. */
static void expectNoError(const char* what) {
  wchar_t text[256];
  if (KX_FlatLastError(text, 256, NULL) == 0) return;
  printf("  %s failed: %ls\n", what, text);
  ++failures;
}

/* A call that must have failed with this number. */
static void expectError(const char* what, unsigned long expected) {
  unsigned long number = 0;
  wchar_t text[256];
  const unsigned long length = KX_FlatLastError(text, 256, &number);
  expect(length > 0 && number == expected, what);
  printf("  %s: \"%ls\", number %lu\n", what, text, number);
}

/* The text of a record, in memory that the caller frees. */
static wchar_t* textOf(RV_REC record) {
  wchar_t* text = malloc((RV_GetText(record, NULL) + 1) * sizeof(wchar_t));
  if (text == NULL) exit(2);
  RV_GetText(record, text);
  return text;
}

static int hasText(RV_REC record, const wchar_t* expected) {
  wchar_t* text = textOf(record);
  const int same = wcscmp(text, expected) == 0;
  free(text);
  return same;
}

static RV_REC addItem(RV_DB db, unsigned long id, unsigned int indent, const wchar_t* text) {
  RV_REC record = RV_AppendRecordSet(db);
  RV_SetId(record, id);
  RV_SetIndent(record, indent);
  RV_SetText(record, text);
  RV_SetNew(record, 1);
  expectNoError("adding an item");
  return record;
}

static void save(RV_DB db) {
  RV_WriteAllHeaders(db);
  expectNoError("writing the headers");
  RV_WriteRows(db);
  expectNoError("writing the rows");
  RV_Close(db);
}

static RV_DB create(const wchar_t* name, const wchar_t* category) {
  RV_DB db = RV_CreateOutlineDB();
  expect(RV_Open(db, name, kModeCreate | kModeReadWrite) == 1, "a document is created");
  RV_InitNewDataBase(db);
  RV_SetCategoryName(db, category);
  expectNoError("initialising a document");
  return db;
}

static RV_DB openToRead(const wchar_t* name) {
  RV_DB db = RV_CreateOutlineDB();
  expect(RV_Open(db, name, 0) == 1, "a document is opened");
  expect(RV_ReadSharedHeader(db) == 1, "it has a shared header");
  RV_ReadRows(db);
  expectNoError("reading a document");
  return db;
}

/* --- A document with a note, a drawing and deleted ids --- */

/* A bitmap of 2 by 2 pixels: a header of 40 bytes, then the rows from the bottom up, each filled up
 * to a multiple of 4 bytes. The image size, at byte 20, must not be 0. */
enum { kPictureSize = 40 + 2 * 8, kImageSizeAt = 20 };

static void fillPicture(unsigned char* bytes) {
  static const unsigned char kPixels[16] = {0xFF, 0, 0,    0, 0xFF, 0, 0, 0,
                                            0,    0, 0xFF, 9, 9,    9, 0, 0};
  memset(bytes, 0, kPictureSize);
  bytes[0] = 40;  /* header size */
  bytes[4] = 2;   /* width */
  bytes[8] = 2;   /* height */
  bytes[12] = 1;  /* planes */
  bytes[14] = 24; /* bits a pixel */
  bytes[kImageSizeAt] = sizeof(kPixels);
  memcpy(bytes + 40, kPixels, sizeof(kPixels));
}

static void draw(RV_REC record) {
  RV_DIB dib = MemAlloc(kPictureSize);
  if (dib == NULL) exit(2);
  fillPicture(MemGetPtr(dib));
  MemReleasePtr(dib);
  RV_SetDrawing(record, dib); /* takes the bitmap */
  expectNoError("storing a drawing");
  expect(RV_HasDrawing(record) == 1, "the drawing is there");
}

static void expectDrawing(RV_REC record) {
  unsigned char expected[kPictureSize];
  long width = 0;
  long height = 0;
  RV_DIB dib = NULL;
  fillPicture(expected);
  expected[kImageSizeAt] = 0; /* what comes back has no image size */
  RV_GetDrawingSize(record, &width, &height);
  expect(width == 2 && height == 2, "the drawing is 2 by 2");
  expect(RV_GetSizeX() == 2 && RV_GetSizeY() == 2, "the size is kept");
  dib = RV_GetDrawing(record);
  expect(dib != NULL && MemGetSize(dib) >= kPictureSize, "the drawing comes back");
  if (dib != NULL)
    expect(memcmp(MemGetPtr(dib), expected, kPictureSize) == 0, "with the same pixels");
  MemFree(dib);
}

static void makeFirst(void) {
  RV_DB db = create(kFirst, L"Work");
  RV_REC root = addItem(db, 1, 0, L"Journey");
  RV_REC child = addItem(db, 2, 1, L"Caf\u00E9 \u6771\u4EAC");
  RV_REC gone = addItem(db, 3, 1, L"gone");
  RV_SetNote(root, L"first line\nsecond line");
  RV_SetChecked(child, 77);
  draw(child);
  RV_AddDeletedId(db, RV_GetId(gone));
  RV_Delete(db, gone);
  RV_AddDeletedId(db, 99);
  RV_SetOutlineTitle(db, L"My journey");
  expect(RV_GetSize(db) == 2, "two items are left");
  save(db);
  RV_DeleteOutlineDB(db);
}

static void readFirst(void) {
  wchar_t title[32];
  RV_DB db = openToRead(kFirst);
  RV_REC child = RV_GetRecord(db, 1);
  expect(RV_ReadPrivateHeader(db) == 1, "it has a private header");
  expect(RV_GetOutlineTitle(db, NULL) < 32, "the title is not too long");
  RV_GetOutlineTitle(db, title);
  expect(wcscmp(title, L"My journey") == 0, "the title is kept");
  expect(RV_GetSize(db) == 2, "both items are there");
  expect(wcscmp(RV_GetRecordString(db, 0), L"Journey") == 0, "the first item's text is kept");
  expect(hasText(child, L"Caf\u00E9 \u6771\u4EAC"), "the second item's text is kept");
  expect(RV_GetRecordLevel(db, 1) == 1, "its level is kept");
  expect(RV_GetRecordChecked(db, 1) == 1, "a truth value comes back as 1");
  expect(RV_GetNote(RV_GetRecord(db, 0), NULL) == 22, "the note is kept");
  expectDrawing(child);
  expect(RV_IsDeletedId(db, 3) == 1 && RV_IsDeletedId(db, 99) == 1, "deleted ids are kept");
  expect(RV_IsDeletedId(db, 1) == 0, "other ids are not deleted");
  expect(RV_IsFileRecord(child) == 1, "the item is of the file");
  RV_Close(db);
  RV_DeleteOutlineDB(db);
}

/* --- A category renamed across a folder --- */

/* "docNN.kxo" */
static void nameDocument(wchar_t* name, int number) {
  wmemcpy(name, L"docNN.kxo", 10);
  name[3] = (wchar_t)(L'0' + number / 10);
  name[4] = (wchar_t)(L'0' + number % 10);
}

static void makeDocuments(void) {
  wchar_t name[10];
  int number = 0;
  for (number = 0; number < kDocuments; ++number) {
    RV_DB db = NULL;
    nameDocument(name, number);
    db = create(name, number < kWork ? L"Work" : L"Play");
    addItem(db, (unsigned long)number + 1, 0, name);
    save(db);
    RV_DeleteOutlineDB(db);
  }
}

static int countDocumentsOf(const wchar_t* category) {
  wchar_t name[10];
  int number = 0;
  int count = 0;
  for (number = 0; number < kDocuments; ++number) {
    wchar_t found[64] = {0};
    RV_DB db = NULL;
    nameDocument(name, number);
    db = openToRead(name);
    if (RV_GetCategoryName(db, NULL) < 64) RV_GetCategoryName(db, found);
    if (wcscmp(found, category) == 0) ++count;
    expect(hasText(RV_GetRecord(db, 0), name), "the item is untouched");
    RV_DeleteOutlineDB(db);
  }
  return count;
}

static RV_CAT openCategories(unsigned int mode) {
  RV_CAT categories = RV_CreateCategoryDB();
  expect(RV_OpenCategoryFile(categories, kCategories, mode) == 1, "the category file is opened");
  return categories;
}

static void makeCategories(void) {
  RV_CAT categories = openCategories(2);
  RV_CategoryInitNewDataBase(categories);
  expect(RV_AddNewCategorybyName(categories, L"Work") != NULL, "a category is added");
  expect(RV_AddNewCategorybyName(categories, L"Play") != NULL, "and another");
  RV_WriteAllCategoryHeaders(categories);
  RV_CategoryWriteRows(categories);
  expectNoError("writing the category file");
  RV_DeleteCategoryDB(categories);
}

static void renameWork(void) {
  RV_CAT categories = openCategories(3);
  RV_CategoryReadRows(categories);
  RV_RenameCategory(categories, L"Work", L"Labour");
  RV_CategoryWriteRows(categories);
  RV_DeleteCategoryDB(categories);
  KX_UpdateCategory(L".", L"kxo", L"Work", L"Labour");
  expectNoError("renaming the category");
}

static void expectCategories(void) {
  RV_CAT categories = openCategories(1);
  RV_STR name = KX_StringCreate();
  RV_CREC labour = NULL;
  RV_ITER first;
  RV_CategoryReadRows(categories);
  labour = RV_FindCategorybyName(categories, L"Labour");
  expect(labour != NULL, "the category has its new name");
  expect(RV_GetCategoryID(categories, labour) == 129, "and its old id");
  RV_GetCatCategoryName(categories, labour, name);
  expect(wcscmp(KX_StringText(name), L"Labour") == 0, "a string carries the name");
  KX_StringDelete(name);
  first = RV_GetIterator(categories);
  expect(first.slot == 0 && first.db == categories, "the iterator is at the unfiled category");
  expect(RV_GetNext(categories).slot == 1, "the next one is behind it");
  expect(RV_GetCategoryRecordSize(categories) == 3, "there are three");
  expectNoError("reading the category file");
  RV_DeleteCategoryDB(categories);
}

static void renameAcrossTheFolder(void) {
  makeDocuments();
  makeCategories();
  expect(countDocumentsOf(L"Work") == kWork, "the documents have their category");
  renameWork();
  expect(countDocumentsOf(L"Labour") == kWork, "each of them has the new one");
  expect(countDocumentsOf(L"Work") == 0, "none has the old one");
  expect(countDocumentsOf(L"Play") == kDocuments - kWork, "the others keep theirs");
  expectCategories();
}

/* --- Damage --- */

/* Writes the file "cut.kxo" with all but the last bytes of the first document. */
static void cutFirst(void) {
  unsigned char bytes[4096];
  size_t count = 0;
  FILE* file = fopen("first.kxo", "rb");
  if (file == NULL) exit(2);
  count = fread(bytes, 1, sizeof(bytes), file);
  fclose(file);
  expect(count > 100 && count < sizeof(bytes), "the document is there");
  file = fopen("cut.kxo", "wb");
  if (file == NULL) exit(2);
  fwrite(bytes, 1, count - 50, file);
  fclose(file);
}

static void writeForeign(const char* name) {
  FILE* file = fopen(name, "wb");
  if (file == NULL) exit(2);
  fputs("this is no document of the outliner", file);
  fclose(file);
}

static void handleDamage(void) {
  RV_DB db = RV_CreateOutlineDB();
  RV_CAT categories = RV_CreateCategoryDB();
  cutFirst();
  expect(RV_Open(db, L"cut.kxo", 0) == 1, "a cut document can be opened");
  RV_ReadRows(db);
  expectError("reading a cut document", 7);
  expect(wcscmp(RV_GetRecordString(db, 0), L"Journey") == 0, "what was read is there");
  RV_Close(db);
  writeForeign("foreign.kxo");
  expect(RV_Open(db, L"foreign.kxo", 0) == 0, "a foreign file is not opened");
  expect(RV_Open(db, kFirst, 0) == 1, "the next one is");
  RV_DeleteOutlineDB(db);
  writeForeign("foreign.db");
  expect(RV_OpenCategoryFile(categories, L"foreign.db", 1) == 0, "nor as a category file");
  expectError("opening a foreign category file", 12);
  RV_DeleteCategoryDB(categories);
}

static void handleNulls(void) {
  RV_CAT categories = RV_CreateCategoryDB();
  RV_CREC category = RV_AddNewCategorybyName(categories, L"Work");
  expect(RV_GetSize(NULL) == 0, "a null handle is refused");
  expect(RV_GetIterator(NULL).db == NULL, "so it is where an iterator is asked for");
  RV_GetCatCategoryName(categories, category, NULL);
  RV_DeleteOutlineDB(NULL);
  expectNoError("refusing null handles");
  RV_DeleteCategoryDB(categories);
}

int main(void) {
  expect(KX_FlatGuard(1) == 0, "the guard is off at first");
  KX_SetUnfiledCategoryName(L"Unfiled");
  printf("a document with a note, a drawing and deleted ids\n");
  makeFirst();
  readFirst();
  printf("a category renamed across %d documents\n", kDocuments);
  renameAcrossTheFolder();
  printf("damage\n");
  handleDamage();
  printf("null handles\n");
  handleNulls();
  printf("%d things are not as they should be\n", failures);
  return failures == 0 ? 0 : 1;
}
