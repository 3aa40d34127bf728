#include "OutlineDB.h"

#include <algorithm>
#include <cstring>
#include <new>

#include "CategoryDB.h"
#include "ReadExactly.h"
#include "TagAccess.h"
#include "Text.h"
#include "Throw.h"
#include "WinApi.h"

namespace kx_gen {

namespace {

constexpr char kSource[] = "OutlineDB";
constexpr char kSourceFile[] = ".\\OutlineDB";
enum : int {
  kLineNoMemory = 40,
  kLineFontHeight = 83,
  kLineVersion = 85,
  kLineFolderNull = 225,
  kLineExtensionNull = 226,
  kLineOldNameNull = 227,
  kLineCannotOpen = 190,
  kLineCannotSearch = 191,
  kLineDeleteNull = 359,
  kLineIsDeletedNull = 360,
  kLineOpenCaught = 364,
  kLineReadCount = 401,
  kLineReadIds = 402,
  kLineMemNoMemory = 490,
  kLineMemVersion = 529,
  kLineOtherNull = 410,
  // Header fields.
  kLineGetCategoryName = 601,
  kLineSetCategoryName,
  kLineSetCategoryNameOutline,
  kLineGetCategoryChanged,
  kLineSetCategoryChanged,
  kLineGetOutlineChanged,
  kLineSetOutlineChanged,
  kLineGetSynchronized,
  kLineSetSynchronized,
  kLineGetPrivate,
  kLineSetPrivate,
  kLineGetPrivateTagChanged,
  kLineSetPrivateTagChanged,
  kLineGetNumbering,
  kLineSetNumbering,
  kLineGetNumberingChanged,
  kLineSetNumberingChanged,
  kLineGetNumberingDivider,
  kLineSetNumberingDivider,
  kLineGetNumberingDividerChanged,
  kLineSetNumberingDividerChanged,
  kLineGetOutlineTitle,
  kLineSetOutlineTitle,
  kLineGetShowCheckedItems,
  kLineSetShowCheckedItems,
  kLineGetCheckedItemsChanged,
  kLineSetCheckedItemsChanged,
  kLineGetSelectedIndex,
  kLineSetSelectedIndex,
  kLineGetTopIndex,
  kLineSetTopIndex,
  kLineGetShowHeadingsMode,
  kLineSetShowHeadingsMode,
  kLineGetFontColor,
  kLineSetFontColor,
};

constexpr SourceLine at(int line) { return SourceLine{kSource, line}; }

constexpr uint32_t kCategoryNameTag = format::kStringTagBase + format::kStringCategoryName;

constexpr unsigned long kMemVersionNumber = 21;  // goes with message 25 here, and only here

constexpr size_t kIdsAtOnce = 16 * 1024;  // deleted ids a transfer

constexpr wchar_t kForbiddenInTitles[] = L"\\/:*?\"<>|";
constexpr wchar_t kEmptyTitle[] = L"Unfilled";  // not the unfiled category's name

}  // namespace

// --- Deleted ids ---

void CDeletedThoughts::AddId(unsigned long id) { ids_.push_back(static_cast<uint32_t>(id)); }

bool CDeletedThoughts::IsDeleted(unsigned long id) const {
  return std::find(ids_.begin(), ids_.end(), static_cast<uint32_t>(id)) != ids_.end();
}

void CDeletedThoughts::removeId(unsigned long id) {
  const auto found = std::find(ids_.begin(), ids_.end(), static_cast<uint32_t>(id));
  if (found != ids_.end()) ids_.erase(found);
}

void CDeletedThoughts::Clear() { ids_.clear(); }

// The count is the file's word only: ids are taken in pieces, so that the list never outgrows what
// the file holds.
void CDeletedThoughts::Read(CFileStream& stream) {
  ids_.clear();
  unsigned char countImage[format::kDeletedCountSize];
  readExactly(stream, countImage, sizeof(countImage), at(kLineReadCount));
  std::vector<unsigned char> image;
  for (uint32_t left = getLe32(countImage); left > 0;) {
    const uint32_t piece = std::min<uint32_t>(left, kIdsAtOnce);
    image.resize(piece * format::kDeletedIdSize);
    readExactly(stream, image.data(), static_cast<unsigned int>(image.size()), at(kLineReadIds));
    for (uint32_t i = 0; i < piece; ++i) {
      ids_.push_back(getLe32(&image[i * format::kDeletedIdSize]));
    }
    left -= piece;
  }
}

void CDeletedThoughts::Write(CFileStream& stream) {
  stream << static_cast<unsigned int>(ids_.size());
  for (const unsigned long id : ids_) stream << id;
}

// --- The database ---

COutlineDB::COutlineDB() : CDatabase(false) {
  KX_Trace(L"COutlineDB::COutlineDB");
  COutlineDB::CreateRecordset();
  SetVersionNum(format::kOutlineVersion);
  deletedThoughts_ = std::make_unique<CDeletedThoughts>();
  GetHeaderManager().RegisterHeader({format::kSharedHeaderId, format::kSharedHeaderSize},
                                    new CSharedHeader);
  GetHeaderManager().RegisterHeader(
      {format::kPrivateOutlineHeaderId, format::kPrivateOutlineHeaderSize},
      new CPrivateOutlineHeader);
}

COutlineDB::~COutlineDB() = default;

int COutlineDB::Open(const wchar_t* path, unsigned int mode) {
  KX_Trace(L"COutlineDB::Open %s %d", path, static_cast<int>(mode));
  try {
    return CDatabase::Open(path, mode);
  } catch (CException* e) {
    const wchar_t* description = e != nullptr ? e->GetDescription() : L"Unknown exception";
    const unsigned long number = e != nullptr ? e->GetErrNumber() : kNoErrNumber;
    KX_Trace(L"line %d exception %s nm %d", static_cast<int>(kLineOpenCaught), description,
             static_cast<int>(static_cast<int32_t>(number)));
    if (e != nullptr) e->Delete();
    Close();
    return 0;
  }
}

void COutlineDB::CheckDbInfo() {
  if (GetVersionNum() == format::kOutlineVersion) return;
  throwTraced<CDBException>(kSourceFile, kLineVersion, kMsgNewerVersion,
                            numberOf(kMsgNewerVersion));
}

void COutlineDB::ReadExtraRows() { deletedThoughts_->Read(*this); }

void COutlineDB::WriteExtraRows() { deletedThoughts_->Write(*this); }

void COutlineDB::CreateRecordset() {
  auto* recordset = new (std::nothrow) COutlineRecordset;
  if (recordset == nullptr) {
    throwTraced(kSourceFile, kLineNoMemory, kMsgOutOfMemory, numberOf(kMsgOutOfMemory));
  }
  InstallRecordset(recordset);
}

void COutlineDB::Delete(COutlineRecord* record) {
  if (kx_Check(record != nullptr, kSource, kLineDeleteNull)) GetRecordset()->Delete(record);
}

void COutlineDB::DeleteAll(bool rememberIds) {
  deletedThoughts_->Clear();
  GetRecordset()->DeleteIf([this, rememberIds](CDBRecord* record) {
    auto* item = static_cast<COutlineRecord*>(record);
    const unsigned long id = rememberIds ? item->GetId() : 0;
    if (id != 0) deletedThoughts_->AddId(id);
    return true;
  });
}

void COutlineDB::AddDeletedId(unsigned long id) { deletedThoughts_->AddId(id); }

bool COutlineDB::IsDeleted(unsigned long id) { return deletedThoughts_->IsDeleted(id); }

bool COutlineDB::IsDeleted(COutlineRecord* record) {
  if (!kx_Check(record != nullptr, kSource, kLineIsDeletedNull)) return false;
  return deletedThoughts_->IsDeleted(record->GetId());
}

void COutlineDB::removeDeletedId(unsigned long id) { deletedThoughts_->removeId(id); }

bool COutlineDB::ReadSharedHeader() { return ReadHeader(format::kSharedHeaderId); }
void COutlineDB::WriteSharedHeader() { WriteHeader(format::kSharedHeaderId); }
bool COutlineDB::ReadPrivateHeader() { return ReadHeader(format::kPrivateOutlineHeaderId); }
void COutlineDB::WritePrivateHeader() { WriteHeader(format::kPrivateOutlineHeaderId); }

CSharedHeader* COutlineDB::GetSharedHeaderPtr() {
  return static_cast<CSharedHeader*>(GetHeaderManager().GetHeaderPtr(format::kSharedHeaderId));
}

CPrivateOutlineHeader* COutlineDB::GetPrivateOutlineHeaderPtr() {
  return static_cast<CPrivateOutlineHeader*>(
      GetHeaderManager().GetHeaderPtr(format::kPrivateOutlineHeaderId));
}

CTaggedDataManager& COutlineDB::sharedTags() {
  return GetSharedHeaderPtr()->getTaggedDataManager();
}

CTaggedDataManager& COutlineDB::privateTags() {
  return GetPrivateOutlineHeaderPtr()->getTaggedDataManager();
}

// --- Fields of the shared header. They report under this source, hence not through the header's
// own accessors. ---

void COutlineDB::GetCategoryName(_String& name) {
  getText(sharedTags(), format::kStringCategoryName, name, at(kLineGetCategoryName));
}

void COutlineDB::SetCategoryName(const wchar_t* name) {
  setText(sharedTags(), format::kStringCategoryName, name, at(kLineSetCategoryName));
  setTruth(sharedTags(), format::kTagOutlineChanged, true, at(kLineSetCategoryNameOutline));
}

bool COutlineDB::GetCategoryChanged() {
  return isTagChanged(sharedTags(), kCategoryNameTag, at(kLineGetCategoryChanged));
}

void COutlineDB::SetCategoryChanged(bool changed) {
  setTagChanged(sharedTags(), kCategoryNameTag, changed, at(kLineSetCategoryChanged));
}

bool COutlineDB::GetOutlineChanged() {
  return getTruth(sharedTags(), format::kTagOutlineChanged, at(kLineGetOutlineChanged));
}

void COutlineDB::SetOutlineChanged(bool changed) {
  setTruth(sharedTags(), format::kTagOutlineChanged, changed, at(kLineSetOutlineChanged));
}

bool COutlineDB::GetSynchronized() {
  return getTruth(sharedTags(), format::kTagSynchronized, at(kLineGetSynchronized));
}

void COutlineDB::SetSynchronized(bool synchronized) {
  setTruth(sharedTags(), format::kTagSynchronized, synchronized, at(kLineSetSynchronized));
}

bool COutlineDB::GetPrivate() {
  return getTruth(sharedTags(), format::kTagPrivate, at(kLineGetPrivate));
}

void COutlineDB::SetPrivate(bool isPrivate) {
  setTruth(sharedTags(), format::kTagPrivate, isPrivate, at(kLineSetPrivate));
}

bool COutlineDB::GetPrivateTagChanged() {
  return isTagChanged(sharedTags(), format::kTagPrivate, at(kLineGetPrivateTagChanged));
}

void COutlineDB::SetPrivateTagChanged(bool changed) {
  setTagChanged(sharedTags(), format::kTagPrivate, changed, at(kLineSetPrivateTagChanged));
}

void COutlineDB::getNumbering(unsigned char* const tenBytes) {
  if (tenBytes == nullptr) return;
  getBytes(sharedTags(), format::kTagNumbering, tenBytes, format::kNumberingSize,
           at(kLineGetNumbering));
}

void COutlineDB::setNumbering(unsigned char* const tenBytes) {
  setBytes(sharedTags(), format::kTagNumbering, tenBytes, format::kNumberingSize,
           at(kLineSetNumbering));
}

bool COutlineDB::getNumberingChanged() {
  return isTagChanged(sharedTags(), format::kTagNumbering, at(kLineGetNumberingChanged));
}

void COutlineDB::setNumberingChanged(bool changed) {
  setTagChanged(sharedTags(), format::kTagNumbering, changed, at(kLineSetNumberingChanged));
}

unsigned short COutlineDB::getNumberingDivider() {
  return getNumber<uint16_t>(sharedTags(), format::kTagNumberingDivider,
                             at(kLineGetNumberingDivider));
}

void COutlineDB::setNumberingDivider(unsigned short divider) {
  setNumber<uint16_t>(sharedTags(), format::kTagNumberingDivider, divider,
                      at(kLineSetNumberingDivider));
}

bool COutlineDB::getNumberingDividerChanged() {
  return isTagChanged(sharedTags(), format::kTagNumberingDivider,
                      at(kLineGetNumberingDividerChanged));
}

void COutlineDB::setNumberingDividerChanged(bool changed) {
  setTagChanged(sharedTags(), format::kTagNumberingDivider, changed,
                at(kLineSetNumberingDividerChanged));
}

// --- Fields of the private header ---

void COutlineDB::GetOutlineTitle(_String& title) {
  getText(privateTags(), format::kStringOutlineTitle, title, at(kLineGetOutlineTitle));
}

void COutlineDB::SetOutlineTitle(const wchar_t* title) {
  setText(privateTags(), format::kStringOutlineTitle, title, at(kLineSetOutlineTitle));
}

unsigned char COutlineDB::GetShowCheckedItems() {
  return getNumber<uint8_t>(privateTags(), format::kTagShowCheckedItems,
                            at(kLineGetShowCheckedItems));
}

void COutlineDB::SetShowCheckedItems(unsigned char mode) {
  setNumber<uint8_t>(privateTags(), format::kTagShowCheckedItems, mode,
                     at(kLineSetShowCheckedItems));
}

bool COutlineDB::ShowCheckedItemsChanged() {
  return isTagChanged(privateTags(), format::kTagShowCheckedItems, at(kLineGetCheckedItemsChanged));
}

void COutlineDB::setCheckedItemsChanged(bool changed) {
  setTagChanged(privateTags(), format::kTagShowCheckedItems, changed,
                at(kLineSetCheckedItemsChanged));
}

unsigned long COutlineDB::GetSelectedIndex() {
  return getNumber<uint32_t>(privateTags(), format::kTagSelectedIndex, at(kLineGetSelectedIndex));
}

void COutlineDB::SetSelectedIndex(unsigned long index) {
  setNumber(privateTags(), format::kTagSelectedIndex, static_cast<uint32_t>(index),
            at(kLineSetSelectedIndex));
}

unsigned long COutlineDB::GetTopIndex() {
  return getNumber<uint32_t>(privateTags(), format::kTagTopIndex, at(kLineGetTopIndex));
}

void COutlineDB::SetTopIndex(unsigned long index) {
  setNumber(privateTags(), format::kTagTopIndex, static_cast<uint32_t>(index),
            at(kLineSetTopIndex));
}

unsigned char COutlineDB::GetShowHeadingsMode() {
  return getNumber<uint8_t>(privateTags(), format::kTagShowHeadingsMode,
                            at(kLineGetShowHeadingsMode));
}

void COutlineDB::SetShowHeadingsMode(unsigned char mode) {
  setNumber<uint8_t>(privateTags(), format::kTagShowHeadingsMode, mode,
                     at(kLineSetShowHeadingsMode));
}

void COutlineDB::GetOutlineFont(LOGFONTW& font, unsigned long* color) {
  TStoredFontInfo stored = {};
  GetPrivateOutlineHeaderPtr()->GetStoredFontInfo(&stored);
  font.lfHeight = stored.height;
  font.lfWidth = stored.width;
  font.lfEscapement = stored.escapement;
  font.lfOrientation = stored.orientation;
  font.lfWeight = stored.weight;
  font.lfItalic = stored.italic;
  font.lfUnderline = stored.underline;
  font.lfStrikeOut = stored.strikeOut;
  font.lfCharSet = stored.charSet;
  font.lfOutPrecision = stored.outPrecision;
  font.lfClipPrecision = stored.clipPrecision;
  font.lfQuality = stored.quality;
  font.lfPitchAndFamily = stored.pitchAndFamily;
  const auto stored32 =
      getNumber<uint32_t>(privateTags(), format::kTagFontColor, at(kLineGetFontColor));
  if (color != nullptr) *color = stored32;
}

void COutlineDB::SetOutlineFont(const LOGFONTW& font, unsigned long color) {
  kx_Check(font.lfHeight != 0, kSource, kLineFontHeight);
  TStoredFontInfo stored = {font.lfHeight,        font.lfWidth,         font.lfEscapement,
                            font.lfOrientation,   font.lfWeight,        font.lfItalic,
                            font.lfUnderline,     font.lfStrikeOut,     font.lfCharSet,
                            font.lfOutPrecision,  font.lfClipPrecision, font.lfQuality,
                            font.lfPitchAndFamily};
  GetPrivateOutlineHeaderPtr()->SetStoredFontInfo(&stored);
  setNumber(privateTags(), format::kTagFontColor, static_cast<uint32_t>(color),
            at(kLineSetFontColor));
}

void COutlineDB::GetOutlineWindowPos(WINDOWPLACEMENT& placement) {
  TStoredWindowPos stored = {};
  GetPrivateOutlineHeaderPtr()->GetStoredWndPos(&stored);
  placement.flags = stored.flags;
  placement.showCmd = stored.showCmd;
  placement.ptMinPosition.x = stored.minPositionX;
  placement.ptMinPosition.y = stored.minPositionY;
  placement.ptMaxPosition.x = stored.maxPositionX;
  placement.ptMaxPosition.y = stored.maxPositionY;
  placement.rcNormalPosition.left = stored.normalLeft;
  placement.rcNormalPosition.top = stored.normalTop;
  placement.rcNormalPosition.right = stored.normalRight;
  placement.rcNormalPosition.bottom = stored.normalBottom;
}

void COutlineDB::SetOutlineWindowPos(const WINDOWPLACEMENT& placement) {
  TStoredWindowPos stored = {placement.flags,
                             placement.showCmd,
                             placement.ptMinPosition.x,
                             placement.ptMinPosition.y,
                             placement.ptMaxPosition.x,
                             placement.ptMaxPosition.y,
                             placement.rcNormalPosition.left,
                             placement.rcNormalPosition.top,
                             placement.rcNormalPosition.right,
                             placement.rcNormalPosition.bottom};
  GetPrivateOutlineHeaderPtr()->SetStoredWndPos(&stored);
}

void COutlineDB::copySharedHeader(COutlineDB* other) {
  if (!kx_Check(other != nullptr, kSource, kLineOtherNull)) return;
  *GetSharedHeaderPtr() = *other->GetSharedHeaderPtr();
}

void COutlineDB::copyPrivateHeader(COutlineDB* other) {
  if (!kx_Check(other != nullptr, kSource, kLineOtherNull)) return;
  *GetPrivateOutlineHeaderPtr() = *other->GetPrivateOutlineHeaderPtr();
}

bool COutlineDB::compareSharedHeader(COutlineDB* other) {
  if (!kx_Check(other != nullptr, kSource, kLineOtherNull)) return false;
  _String name;
  _String otherName;
  GetCategoryName(name);
  other->GetCategoryName(otherName);
  if (name != otherName || GetPrivate() != other->GetPrivate()) return false;
  unsigned char numbering[format::kNumberingSize];
  unsigned char otherNumbering[format::kNumberingSize];
  getNumbering(numbering);
  other->getNumbering(otherNumbering);
  if (std::memcmp(numbering, otherNumbering, sizeof(numbering)) != 0) return false;
  return getNumberingDivider() == other->getNumberingDivider();
}

bool COutlineDB::comparePrivateHeader(COutlineDB* other) {
  if (!kx_Check(other != nullptr, kSource, kLineOtherNull)) return false;
  if (GetShowCheckedItems() != other->GetShowCheckedItems()) return false;
  _String title;
  _String otherTitle;
  GetOutlineTitle(title);
  other->GetOutlineTitle(otherTitle);
  return title == otherTitle;
}

// --- The memory outline database ---

CMemOutlDB::CMemOutlDB() : CDatabase(false) {
  KX_Trace(L"CMemOutlDB::CMemOutlDB");
  CMemOutlDB::CreateRecordset();
  SetVersionNum(format::kMemOutlineVersion);
}

CMemOutlDB::~CMemOutlDB() = default;

void CMemOutlDB::CheckDbInfo() {
  if (GetVersionNum() == format::kMemOutlineVersion) return;
  throwTraced<CDBException>(kSourceFile, kLineMemVersion, kMsgMemOutlineVersion, kMemVersionNumber);
}

void CMemOutlDB::ReadExtraRows() {}

void CMemOutlDB::WriteExtraRows() {}

void CMemOutlDB::CreateRecordset() {
  auto* recordset = new (std::nothrow) CLinkedOutlRS;
  if (recordset == nullptr) {
    throwTraced(kSourceFile, kLineMemNoMemory, kMsgOutOfMemory, numberOf(kMsgOutOfMemory));
  }
  InstallRecordset(recordset);
}

// The rows stand where other kinds have their header table.
unsigned long CMemOutlDB::getFirstRowStartPosReading() { return format::kHeaderTablePos; }

unsigned long CMemOutlDB::getFirstRowStartPosWriting() { return format::kHeaderTablePos; }

// --- Categories of outline files ---

bool updateFileCategory(const wchar_t* path, bool always, const wchar_t* oldName,
                        const wchar_t* newName) {
  COutlineDB db;
  if (db.Open(path, CFile::modeReadWrite) == 0) {
    throwTraced(kSourceFile, kLineCannotOpen, kMsgReadError, numberOf(kMsgReadError));
  }
  const bool hasHeader = db.ReadSharedHeader();
  if (!always) {
    _String name;
    db.GetCategoryName(name);
    if (name != oldName) {
      db.Close();
      return true;
    }
  }
  // A file that lacks the header needs a longer table, which moves everything behind it.
  if (!hasHeader) {
    db.ReadConduitHeader();
    db.ReadPrivateHeader();
    db.ReadRows();
  }
  db.SetCategoryName(newName);
  db.SetCategoryChanged(true);
  db.SetOutlineChanged(true);
  if (hasHeader) {
    db.WriteSharedHeader();
  } else {
    db.WriteAllHeaders();
    db.WriteRows();
  }
  db.Close();
  return true;
}

namespace {

// Whether a search that found nothing says that there is nothing: no match, no such folder, or no
// such name. Otherwise there may be files that were not seen.
bool hasNothingToFind(DWORD error) {
  return error == ERROR_FILE_NOT_FOUND || error == ERROR_PATH_NOT_FOUND ||
         error == ERROR_DIRECTORY || error == ERROR_INVALID_NAME;
}

}  // namespace

void updateCategory(const wchar_t* folder, const wchar_t* extension, const wchar_t* oldName,
                    const wchar_t* newName) {
  kx_Check(folder != nullptr, kSource, kLineFolderNull);
  kx_Check(extension != nullptr, kSource, kLineExtensionNull);
  kx_Check(oldName != nullptr, kSource, kLineOldNameNull);
  const _String wantedName(newName != nullptr ? newName : CCategoryDB::getUnfiledCategoryName());
  _String path(folder);
  if (path.empty() || path.back() != L'\\') path.push_back(L'\\');
  _String pattern;
  pattern.FormatString(L"%s*.%s", path.c_str(), extension != nullptr ? extension : L"");
  CFileFind find;
  bool more = find.FindFile(pattern);
  if (!more && !hasNothingToFind(GetLastError())) {
    throwTraced(kSource, kLineCannotSearch, kMsgReadError, numberOf(kMsgReadError));
  }
  while (more) {
    more = find.FindNextFileW();
    if (find.MatchesMask(FILE_ATTRIBUTE_DIRECTORY)) continue;
    updateFileCategory(find.GetFilePath(), false, oldName, wantedName);
  }
}

bool ValidateFileTitle(_String& title) {
  title.TrimLeft();
  title.TrimRight();
  for (size_t bad = title.find_first_of(kForbiddenInTitles); bad != _String::npos;
       bad = title.find_first_of(kForbiddenInTitles)) {
    title.erase(bad, 1);
  }
  cutToUnits(title, format::kMaxFileTitle);
  if (title.empty()) title = kEmptyTitle;
  return true;
}

}  // namespace kx_gen
