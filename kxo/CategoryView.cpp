#include "CategoryView.h"

#include "CategoryDocument.h"
#include "Columns.h"
#include "FileKind.h"
#include "JsonText.h"
#include "Output.h"

namespace kxo {
namespace {

using kx_gen::CCategoryRecord;

std::string StateOf(CCategoryRecord& category) {
  if (category.IsEmpty()) return category.IsDeleted() ? "  (deleted)" : "  (empty)";
  return category.IsNew() ? "  (new)" : category.IsChanged() ? "  (changed)" : "";
}

Json JsonOf(CCategoryRecord& category) {
  Json json = Json::object();
  json["id"] = category.GetCategoryId();
  json["name"] = CategoryNameOf(category);
  json["lastChanged"] = category.GetLastChangedTime();
  json["new"] = category.IsNew();
  json["changed"] = category.IsChanged();
  json["deleted"] = category.IsDeleted();
  json["empty"] = category.IsEmpty();
  return json;
}

std::string LineOf(CCategoryRecord& category) {
  constexpr size_t kIdWidth = 3;
  return PaddedBefore(kIdWidth, std::to_string(category.GetCategoryId())) + "  " +
         Shown(CategoryNameOf(category)) + StateOf(category) + "\n";
}

std::string LinesOf(CategoryDocument& categories, bool all) {
  std::string lines;
  for (size_t slot = 0; slot < categories.SlotCount(); ++slot) {
    if (all || !categories.Slot(slot).IsEmpty()) lines += LineOf(categories.Slot(slot));
  }
  return lines;
}

Json JsonOf(CategoryDocument& categories, bool all) {
  Json list = Json::array();
  for (size_t slot = 0; slot < categories.SlotCount(); ++slot) {
    if (all || !categories.Slot(slot).IsEmpty()) list.push_back(JsonOf(categories.Slot(slot)));
  }
  return list;
}

}  // namespace

void PrintCategories(const std::string& name, const std::filesystem::path& file, bool all,
                     bool json) {
  CategoryDocument categories(name);
  categories.OpenAndRead(file, false);
  if (!json) return WriteData(LinesOf(categories, all));
  Json object = Json::object();
  object["file"] = name;
  object["kind"] = KeyOf(salvage::Kind::kCategory);
  object["categories"] = JsonOf(categories, all);
  WriteData(DumpLines(object));
}

}  // namespace kxo
