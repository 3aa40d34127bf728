#include "ToolFiles.h"

#include "CategoryDocument.h"
#include "Contents.h"
#include "Document.h"
#include "Text.h"
#include "formats/Json.h"
#include "salvage/Reader.h"

namespace kx_failing {

using kx_test::Bytes;

namespace {

constexpr const char* kMadeFile = "made";

Bytes takeFile() {
  Bytes bytes = bytesAt(kMadeFile);
  removeFile(kMadeFile);
  return bytes;
}

}  // namespace

void add(std::vector<Listed>& list, const std::string& what, long fileCallsAtLeast,
         long allocationsAtLeast, const std::function<ToolTask()>& task) {
  list.push_back({"let the tool " + what, [task] { return std::make_unique<ToolCommand>(task()); },
                  fileCallsAtLeast, allocationsAtLeast});
}

void addApart(std::vector<Listed>& list, const std::string& what, long fileCallsAtLeast,
              long allocationsAtLeast, const std::function<ToolTask()>& task) {
  add(list, what, fileCallsAtLeast, allocationsAtLeast, task);
  list.back().mayEndProcess = true;
}

Bytes documentOf(int items, const std::string& category) {
  kxo::Outline outline;
  for (int i = 0; i < items; ++i) {
    kxo::Item item;
    item.text = "Item number " + std::to_string(i) + " of these";
    item.note = "A note";
    outline.Add(static_cast<unsigned>(i % 4), std::move(item));
  }
  kxo::Document document(kMadeFile);
  document.InitNewDatabase();
  document.TakeTitle("A title for the document");
  document.SetCategoryName(kxo::ToWide(category).c_str());
  document.TakeItems(outline);
  document.Save(here(L"made"), true);
  return takeFile();
}

Bytes categoryFile() {
  kxo::CategoryDocument categories(kMadeFile);
  categories.InitNewDatabase();
  for (const wchar_t* name : {L"Home", L"Work", L"Garden"}) {
    categories.AddNewCategory(name, nullptr);
  }
  categories.DeleteCategory(categories.FindCategory(L"Garden"), 1000);
  categories.Save(here(L"made"), true);
  return takeFile();
}

Bytes jsonOf(const Bytes& file) {
  putBytes(kMadeFile, file);
  const auto kind = kxo::salvage::GuessKind(file);
  const std::string json = kxo::WriteJson(kxo::ReadContents(kMadeFile, here(L"made"), kind));
  removeFile(kMadeFile);
  return {json.begin(), json.end()};
}

}  // namespace kx_failing
