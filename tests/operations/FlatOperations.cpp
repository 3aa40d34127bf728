// The flat interface, over the same objects: a database is a handle of itself.

#include "World.h"

namespace kx_operations {

namespace {

RV_DB databaseHandle(World& world, Words& words) { return &world.database(words); }

/// A text that a flat function puts into a buffer.
template <class Call>
std::wstring flatText(Call call) {
  std::wstring text(call(nullptr), L'\0');
  call(text.data());
  return text;
}

void guard(World& world, Words& words) { world.tell(KX_FlatGuard(words.truth() ? 1 : 0)); }

void lastError(World& world, Words& /*words*/) {
  unsigned long number = 0;
  std::wstring text(KX_FlatLastError(nullptr, 0, &number) + 1, L'\0');
  KX_FlatLastError(text.data(), static_cast<unsigned long>(text.size()), nullptr);
  text.pop_back();
  world.tell("number " + std::to_string(number) + " " + shown(text));
}

// --- Outlines ---

void makeOutline(World& world, Words& words) {
  world.keepDatabase(words.word(), static_cast<kx_gen::CDatabase*>(RV_CreateOutlineDB()));
}

void open(World& world, Words& words) {
  RV_DB db = databaseHandle(world, words);
  const std::wstring path = words.text();
  world.tell(RV_Open(db, path.c_str(), openMode(words)));
}

void init(World& world, Words& words) { RV_InitNewDataBase(databaseHandle(world, words)); }

void save(World& world, Words& words) {
  RV_DB db = databaseHandle(world, words);
  RV_WriteAllHeaders(db);
  RV_WriteRows(db);
  RV_Close(db);
}

void saveSafely(World& world, Words& words) {
  RV_DB db = databaseHandle(world, words);
  world.tell(KX_SaveOutline(db, words.text().c_str()));
}

void loadHeaders(World& world, Words& words) {
  RV_DB db = databaseHandle(world, words);
  world.tell(RV_ReadSharedHeader(db));
  world.tell(RV_ReadPrivateHeader(db));
}

void loadRows(World& world, Words& words) { RV_ReadRows(databaseHandle(world, words)); }

void tellSize(World& world, Words& words) { world.tell(RV_GetSize(databaseHandle(world, words))); }

void add(World& world, Words& words) {
  RV_DB db = databaseHandle(world, words);
  RV_REC record = RV_AppendRecordSet(db);
  RV_SetId(record, words.as<unsigned long>());
  RV_SetIndent(record, words.as<unsigned int>());
  RV_SetText(record, words.text().c_str());
  RV_SetNew(record, 1);
}

void edit(World& world, Words& words) {
  RV_DB db = databaseHandle(world, words);
  RV_REC record = RV_GetRecord(db, words.as<unsigned long>());
  RV_SetText(record, words.text().c_str());
  RV_SetNote(record, words.text().c_str());
  RV_SetChecked(record, words.as<int>());
  RV_SetExpanded(record, words.as<int>());
  RV_updateRecordChanged(record);
  world.tell(RV_IsChanged(record));
}

void tellRow(World& world, Words& words) {
  RV_DB db = databaseHandle(world, words);
  const auto index = words.as<unsigned long>();
  world.tell("id " + std::to_string(RV_GetRecordId(db, index)));
  world.tell("level " + std::to_string(RV_GetRecordLevel(db, index)));
  if (RV_GetRecordChecked(db, index) != 0) world.tell("checked");
  const wchar_t* text = RV_GetRecordString(db, index);
  world.tell(text != nullptr ? shown(text) : "no text");
  RV_REC record = RV_GetRecord(db, index);
  world.tell("position " + std::to_string(RV_GetPos(record)));
  if (RV_HasNote(record) == 0) return;
  world.tell(shown(flatText([&](wchar_t* out) { return RV_GetNote(record, out); })));
}

void copyRow(World& world, Words& words) {
  RV_DB db = databaseHandle(world, words);
  RV_REC target = RV_GetRecord(db, words.as<unsigned long>());
  world.tell(RV_CopyRecord(db, target, RV_GetRecord(db, words.as<unsigned long>())) == target);
}

void duplicateRow(World& world, Words& words) {
  RV_DB db = databaseHandle(world, words);
  RV_REC copy = RV_DuplicateRecord(db, RV_GetRecord(db, words.as<unsigned long>()));
  world.tell(copy != nullptr);
  if (copy != nullptr) RV_SetId(copy, words.as<unsigned long>());
  world.tell(RV_GetSize(db));
}

void removeRow(World& world, Words& words) {
  RV_DB db = databaseHandle(world, words);
  RV_REC record = RV_GetRecord(db, words.as<unsigned long>());
  RV_AddDeletedId(db, RV_GetId(record));
  RV_Delete(db, record);
  world.tell(RV_GetSize(db));
}

void removeAll(World& world, Words& words) {
  RV_DB db = databaseHandle(world, words);
  RV_DeleteAll(db, words.truth() ? 1 : 0);
  world.tell(RV_GetSize(db));
}

void draw(World& world, Words& words) {
  RV_DB db = databaseHandle(world, words);
  RV_REC record = RV_GetRecord(db, words.as<unsigned long>());
  RV_SetDrawing(record, handleOf(dataOf(world.handle(words))).release());
  long width = 0;
  long height = 0;
  RV_GetDrawingSize(record, &width, &height);
  world.tell(std::to_string(RV_GetSizeX()) + "x" + std::to_string(RV_GetSizeY()));
}

void setHeader(World& world, Words& words) {
  RV_DB db = databaseHandle(world, words);
  RV_SetOutlineTitle(db, words.text().c_str());
  RV_SetCategoryName(db, words.text().c_str());
  RV_setNumberingDivider(db, words.as<unsigned int>());
  RV_SetTopIndex(db, words.as<unsigned long>());
}

void tellHeader(World& world, Words& words) {
  RV_DB db = databaseHandle(world, words);
  world.tell(shown(flatText([&](wchar_t* out) { return RV_GetOutlineTitle(db, out); })));
  world.tell(shown(flatText([&](wchar_t* out) { return RV_GetCategoryName(db, out); })));
  world.tell(RV_getNumberingDivider(db));
  world.tell(RV_GetTopIndex(db));
}

// --- Categories ---

void makeCategories(World& world, Words& words) {
  world.keepDatabase(words.word(), static_cast<kx_gen::CDatabase*>(RV_CreateCategoryDB()));
}

void openCategories(World& world, Words& words) {
  RV_CAT cat = databaseHandle(world, words);
  const std::wstring path = words.text();
  world.tell(RV_OpenCategoryFile(cat, path.c_str(), words.as<unsigned int>()));
}

void saveCategories(World& world, Words& words) {
  RV_CAT cat = databaseHandle(world, words);
  RV_WriteAllCategoryHeaders(cat);
  RV_CategoryWriteRows(cat);
  RV_CategoryClose(cat);
}

void saveCategoriesSafely(World& world, Words& words) {
  RV_CAT cat = databaseHandle(world, words);
  world.tell(KX_SaveCategories(cat, words.text().c_str()));
}

/// Adding by name takes the present time, which is then replaced by a given one.
void addCategory(World& world, Words& words) {
  RV_CAT cat = databaseHandle(world, words);
  RV_CREC category = RV_AddNewCategorybyName(cat, words.text().c_str());
  const auto time = words.as<unsigned long>();
  if (category == nullptr) return;
  auto* record = static_cast<kx_gen::CDBRecord*>(category);
  dynamic_cast<kx_gen::CCategoryRecord&>(*record).SetLastChangedTime(time);
  world.tell(RV_GetCategoryID(cat, category));
}

void findCategory(World& world, Words& words) {
  RV_CAT cat = databaseHandle(world, words);
  RV_CREC category = RV_FindCategorybyName(cat, words.text().c_str());
  world.tell(category != nullptr ? std::to_string(RV_GetCategoryID(cat, category)) : "none");
}

void walkCategories(World& world, Words& words) {
  RV_CAT cat = databaseHandle(world, words);
  for (int i = 0; i < RV_GetCategoryRecordSize(cat); ++i) {
    world.tell(shown(flatText([&](wchar_t* out) {
      return RV_GetIterCategoryName(cat, out, static_cast<unsigned long>(i));
    })));
  }
}

// --- Mistakes ---

/// Handles that are null, and such of another kind.
void refuse(World& world, Words& words) {
  RV_DB other = databaseHandle(world, words);
  world.tell(RV_GetSize(nullptr));
  world.tell(RV_GetPrivate(other));
  world.tell(RV_GetId(nullptr));
  world.tell(RV_GetCategoryID(other, nullptr));
  RV_SetText(nullptr, L"text");
  RV_AddDeletedId(other, 1);
}

}  // namespace

Operations flatOperations() {
  return {
      {"guard", guard},
      {"last-error", lastError},
      {"flat-new-outline", makeOutline},
      {"flat-open", open},
      {"flat-init", init},
      {"flat-save", save},
      {"flat-save-safely", saveSafely},
      {"flat-load-headers", loadHeaders},
      {"flat-load-rows", loadRows},
      {"flat-size", tellSize},
      {"flat-add", add},
      {"flat-edit", edit},
      {"flat-row", tellRow},
      {"flat-copy", copyRow},
      {"flat-duplicate", duplicateRow},
      {"flat-remove", removeRow},
      {"flat-remove-all", removeAll},
      {"flat-draw", draw},
      {"flat-set-header", setHeader},
      {"flat-header", tellHeader},
      {"flat-new-categories", makeCategories},
      {"flat-open-categories", openCategories},
      {"flat-save-categories", saveCategories},
      {"flat-save-categories-safely", saveCategoriesSafely},
      {"flat-add-category", addCategory},
      {"flat-find-category", findCategory},
      {"flat-walk", walkCategories},
      {"flat-refuse", refuse},
  };
}

}  // namespace kx_operations
