// A document that is edited as the input says, saved after some of the edits, and opened again. The
// input's end chooses the edits; its start is the file.

#include <fuzzer/FuzzedDataProvider.h>

#include "DatabaseFuzz.h"

namespace {

using kx_fuzz::OutlineDb;
using kx_gen::COutlineRecord;

constexpr size_t kFileMax = 1 << 16;

std::wstring textOf(FuzzedDataProvider& input) {
  const std::string units = input.ConsumeRandomLengthString(300);
  std::wstring text;
  for (size_t i = 0; i + 1 < units.size(); i += 2) {
    const auto low = static_cast<unsigned char>(units[i]);
    const auto high = static_cast<unsigned char>(units[i + 1]);
    text += static_cast<wchar_t>(low | (high << 8));
  }
  return text;
}

COutlineRecord* anItem(OutlineDb& db, FuzzedDataProvider& input) {
  const auto count = db.GetRecordset()->getSize();
  if (count == 0) return nullptr;
  return static_cast<COutlineRecord*>(
      db.getRecord(input.ConsumeIntegralInRange<unsigned long>(0, count - 1ul)));
}

void changeItem(COutlineRecord& item, FuzzedDataProvider& input) {
  switch (input.ConsumeIntegralInRange<int>(0, 9)) {
    case 0:
      item.SetText(textOf(input).c_str());
      break;
    case 1:
      item.SetNote(textOf(input).c_str());
      break;
    case 2:
      item.DeleteNote();
      break;
    case 3:
      item.SetId(input.ConsumeIntegral<uint32_t>());
      break;
    case 4:
      item.SetIndent(input.ConsumeIntegral<uint8_t>());
      break;
    case 5:
      item.SetChecked(input.ConsumeBool());
      break;
    case 6:
      item.SetExpanded(input.ConsumeBool());
      break;
    case 7:
      item.SetDeleted(input.ConsumeBool());
      break;
    case 8:
      item.updateRecordChanged();
      break;
    default:
      item.ClearChanges();
      break;
  }
}

void changeRows(OutlineDb& db, FuzzedDataProvider& input) {
  auto& rows = *db.GetRecordset();
  COutlineRecord* const item = anItem(db, input);
  COutlineRecord* const other = anItem(db, input);
  switch (input.ConsumeIntegralInRange<int>(0, 6)) {
    case 0:
      rows.Append();
      break;
    case 1:
      rows.InsertBefore(item);
      break;
    case 2:
      rows.InsertAfter(item);
      break;
    case 3:
      rows.MoveBefore(item, other);
      break;
    case 4:
      rows.Delete(item);
      break;
    case 5:
      db.purgeDeletedRecs();
      break;
    default:
      db.DeleteAll(input.ConsumeBool());
      break;
  }
}

void changeHeaders(OutlineDb& db, FuzzedDataProvider& input) {
  switch (input.ConsumeIntegralInRange<int>(0, 6)) {
    case 0:
      db.SetOutlineTitle(textOf(input).c_str());
      break;
    case 1:
      db.SetCategoryName(textOf(input).c_str());
      break;
    case 2:
      db.SetPrivate(input.ConsumeBool());
      break;
    case 3:
      db.SetSelectedIndex(input.ConsumeIntegral<uint32_t>());
      break;
    case 4:
      db.AddDeletedId(input.ConsumeIntegral<uint32_t>());
      break;
    case 5:
      db.removeDeletedId(input.ConsumeIntegral<uint32_t>());
      break;
    default:
      db.SetOutlineChanged(input.ConsumeBool());
      break;
  }
}

void edit(OutlineDb& db, FuzzedDataProvider& input) {
  kx_test::attempt([&] {
    switch (input.ConsumeIntegralInRange<int>(0, 3)) {
      case 0:
        changeRows(db, input);
        break;
      case 1:
        changeHeaders(db, input);
        break;
      default: {
        COutlineRecord* const item = anItem(db, input);
        if (item != nullptr) changeItem(*item, input);
      }
    }
  });
}

bool reopen(OutlineDb& db, const std::wstring& path) {
  if (!kx_fuzz::opens(db, path)) return false;
  kx_test::readAll(db);
  return true;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  const kx_fuzz::Budget budget(size);
  FuzzedDataProvider input(data, size);
  const std::string file = input.ConsumeRandomLengthString(kFileMax);
  const std::wstring path = kx_fuzz::scratchFile(
      "document", static_cast<const uint8_t*>(static_cast<const void*>(file.data())), file.size());
  OutlineDb db;
  if (!reopen(db, path)) {
    const auto create = kx_fuzz::kReadWrite | 0x1000u;
    if (db.Open(path.c_str(), create) == 0) return 0;
    db.InitNewDatabase();
  }
  while (input.remaining_bytes() > 0) {
    edit(db, input);
    if (input.ConsumeIntegralInRange<int>(0, 7) != 0) continue;
    if (!kx_test::saveAll(db)) break;
    kx_fuzz::requireSaved(db, path);
    if (!reopen(db, path)) break;
  }
  return 0;
}
