#include <stdio.h>
#include <stdlib.h>

#include "RV_FileIO.h"

/* Whether the last call failed; tells what happened. */
static int failed(const char* step) {
  wchar_t text[256];
  unsigned long number = 0;
  if (KX_FlatLastError(text, 256, &number) == 0) return 0;
  fprintf(stderr, "%s: %ls (number %lu)\n", step, text, number);
  return 1;
}

static void print(RV_REC item) {
  wchar_t* text = malloc((RV_GetText(item, NULL) + 1) * sizeof(wchar_t));
  if (text == NULL) return;
  RV_GetText(item, text);
  printf("- %ls\n", text);
  free(text);
}

int main(void) {
  RV_DB db = NULL;
  unsigned long i = 0;
  KX_FlatGuard(1);

  db = RV_CreateOutlineDB();
  if (RV_Open(db, L"trees.kxo", 0x1002) == 0) return 1; /* create, read and write */
  RV_InitNewDataBase(db);
  RV_SetText(RV_AppendRecordSet(db), L"Oak");
  RV_SetText(RV_AppendRecordSet(db), L"Ash");
  RV_WriteAllHeaders(db);
  if (failed("writing the headers")) return 1;
  RV_WriteRows(db);
  if (failed("writing the items")) return 1;
  RV_DeleteOutlineDB(db); /* closes the file, too */

  db = RV_CreateOutlineDB();
  if (RV_Open(db, L"trees.kxo", 0x0020) == 0) return 1; /* read, and let others read */
  RV_ReadRows(db);
  if (failed("reading the items")) return 1;
  for (i = 0; i < (unsigned long)RV_GetSize(db); ++i) print(RV_GetRecord(db, i));
  RV_DeleteOutlineDB(db);
  return 0;
}
