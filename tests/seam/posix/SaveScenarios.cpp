#include "SaveScenarios.h"

#include <sys/stat.h>

#include <iterator>

#include "CategoryDB.h"
#include "OutlineDB.h"
#include "Pictures.h"
#include "SafeSave.h"

namespace kx_seam {
namespace {

namespace fs = std::filesystem;

using kx_gen::CCategoryDB;
using kx_gen::CDatabase;
using kx_gen::CFile;
using kx_gen::CMemOutlDB;
using kx_gen::COutlineDB;
using kx_gen::COutlineRecord;

constexpr unsigned long kManyRows = 200;
constexpr unsigned long kFewRows = 2;
constexpr mode_t kOrdinaryMode = 0644;
constexpr mode_t kOddMode = 0647;
constexpr const char* kAbandoned = ".kx-save-00112233aabbccdd.tmp";

const char* nameOf(Kind kind) {
  constexpr const char* kNames[] = {"large outline", "small outline", "categories",
                                    "memory outline"};
  return kNames[static_cast<int>(kind)];
}

const char* nameOf(Place place) {
  constexpr const char* kNames[] = {
      "absent", "present", "open", "shared", "through link", "odd permissions", "beside abandoned"};
  return kNames[static_cast<int>(place)];
}

void addItems(CDatabase& db, unsigned long count, const std::wstring& word) {
  for (unsigned long i = 1; i <= count; ++i) {
    auto& item = static_cast<COutlineRecord&>(*db.GetRecordset()->Append());
    item.SetId(i);
    item.SetText((word + L" " + std::to_wstring(i)).c_str());
    item.SetNote(std::wstring(i % 60, L'n').c_str());
    if (i % 20 == 0) item.SetDrawing(kx_test::handleOf(kx_test::picture(24, 24, 24)).release());
  }
}

void fillOutline(COutlineDB& db, unsigned long rows, const std::wstring& word) {
  db.SetOutlineTitle(word.c_str());
  db.SetCategoryName(word.c_str());
  db.AddDeletedId(rows);
  addItems(db, rows, word);
}

void fillCategories(CCategoryDB& db, const std::wstring& word) {
  unsigned long time = 1000;
  db.AddNewCategory(0ul, L"Unfiled", time, 0);
  db.AddNewCategory(word.c_str(), &time);
  db.AddNewCategory((word + L" too").c_str(), &time);
}

}  // namespace

std::ostream& operator<<(std::ostream& out, const Scenario& scenario) {
  return out << nameOf(scenario.kind) << ", " << nameOf(scenario.place);
}

Stage::Stage(const Scenario& scenario, const fs::path& parent)
    : scenario_(scenario), folder_(parent / "stage"), file_(folder_ / "folder" / "document") {
  const auto written = [&](bool isNew) {
    const std::unique_ptr<CDatabase> db = MakeFilled(isNew);
    db->Open((fs::current_path() / "reference").wstring().c_str(),
             CFile::modeCreate | CFile::modeReadWrite);
    db->WriteAllHeaders();
    db->WriteRows();
    db->Close();
    return kx_test::readFile("reference");
  };
  old_ = scenario.place == Place::kAbsent ? kx_test::Bytes() : written(false);
  new_ = written(true);
  Reset();
}

void Stage::Reset() const {
  fs::remove_all(folder_);
  fs::create_directories(file_.parent_path());
  if (scenario_.place == Place::kThroughLink) {
    fs::create_symlink("folder/document", folder_ / "link");
  }
  if (scenario_.place == Place::kAbsent) return;
  kx_test::writeFile(file_, old_);
  ::chmod(file_.c_str(), scenario_.place == Place::kOddPermissions ? kOddMode : kOrdinaryMode);
  if (scenario_.place == Place::kBesideAbandoned) {
    kx_test::writeFile(file_.parent_path() / kAbandoned, {1, 2, 3});
  }
}

std::unique_ptr<CDatabase> Stage::MakeFilled(bool isNew) const {
  const std::wstring word = isNew ? L"new" : L"old";
  if (scenario_.kind == Kind::kCategories) {
    auto db = std::make_unique<CCategoryDB>();
    fillCategories(*db, word);
    return db;
  }
  if (scenario_.kind == Kind::kMemoryOutline) {
    auto db = std::make_unique<CMemOutlDB>();
    addItems(*db, isNew ? kFewRows + 1 : kFewRows, word);
    return db;
  }
  auto db = std::make_unique<COutlineDB>();
  const unsigned long rows = scenario_.kind == Kind::kLargeOutline ? kManyRows : kFewRows;
  fillOutline(*db, isNew ? rows + 1 : rows, word);
  return db;
}

std::wstring Stage::NameToSave() const {
  const bool isLinked = scenario_.place == Place::kThroughLink;
  return (isLinked ? folder_ / "link" : file_).wstring();
}

bool Stage::IsOpenInIt() const {
  return scenario_.place == Place::kOpen || scenario_.place == Place::kOpenAndShared;
}

std::unique_ptr<CDatabase> Stage::MakeDatabase() const {
  std::unique_ptr<CDatabase> db = MakeFilled(true);
  if (!IsOpenInIt()) return db;
  const bool isShared = scenario_.place == Place::kOpenAndShared;
  const unsigned int sharing = isShared ? CFile::shareDenyNone : CFile::shareExclusive;
  db->Open(NameToSave().c_str(), CFile::modeReadWrite | sharing);
  return db;
}

void Stage::Save(CDatabase& db) const { kx_gen::SaveDatabaseFile(db, NameToSave().c_str()); }

bool Stage::Holds(const kx_test::Bytes& bytes) const { return kx_test::readFile(file_) == bytes; }

bool Stage::IsOld() const {
  return scenario_.place == Place::kAbsent ? !fs::exists(file_) : Holds(old_);
}

bool Stage::IsNew() const { return fs::exists(file_) && Holds(new_); }

bool Stage::IsKept() const {
  struct stat data = {};
  if (::lstat(file_.c_str(), &data) != 0) return scenario_.place == Place::kAbsent;
  const mode_t mode = scenario_.place == Place::kOddPermissions ? kOddMode : kOrdinaryMode;
  const bool isLinked = scenario_.place == Place::kThroughLink;
  return S_ISREG(data.st_mode) && (data.st_mode & 07777) == mode &&
         fs::is_symlink(folder_ / "link") == isLinked;
}

size_t Stage::CountLeftovers() const {
  const auto files = static_cast<size_t>(
      std::distance(fs::directory_iterator(file_.parent_path()), fs::directory_iterator()));
  return fs::exists(file_) ? files - 1 : files;
}

}  // namespace kx_seam
