#include "Documents.h"

#include <algorithm>
#include <memory>

#include "KxFormat.h"
#include "KxLittleEndian.h"

namespace kxo_test {

namespace format = kx_gen::format;

using kx_gen::CCategoryDB;
using kx_gen::CCategoryRecord;
using kx_gen::CDatabase;
using kx_gen::CDBRecord;
using kx_gen::CLinkedOutlRec;
using kx_gen::CMemOutlDB;
using kx_gen::COutlineDB;
using kx_gen::COutlineRecord;
using kxo::salvage::Kind;

namespace {

constexpr size_t kSectorSize = 512;

std::wstring Words(Random& random, size_t count) {
  static const wchar_t* const kWords[] = {L"oak", L"B\u00FCro", L"\u6771\u4EAC",       L"ta",
                                          L"PK",  L"x",         L"the long road home", L"\u20AC 20",
                                          L"\n"};
  std::wstring text;
  for (size_t i = 0; i < count; ++i) {
    if (i > 0) text += L' ';
    text += kWords[random.Below(std::size(kWords))];
  }
  return text;
}

/// One row of pixels, stored plain.
Bytes Drawing(Random& random) {
  const size_t width = random.Between(1, 60);
  Bytes pixels;
  for (size_t i = 0; i < 4 * width; ++i) pixels.push_back(random.Byte());
  return kx_test::join(
      {{format::kDrawingVersion},
       kx_test::le32(static_cast<uint32_t>(width)),
       kx_test::le32(1),
       kx_test::le32(static_cast<uint32_t>(pixels.size())),
       {32},
       kx_test::le32(static_cast<uint32_t>(pixels.size() + format::kCodedFrontSize)),
       {format::kCodedPlain, 0, 0, 0},
       pixels});
}

void SetBytes(CDBRecord& row, unsigned long tag, const Bytes& bytes) {
  row.getTaggedDataManager().setData(tag, bytes.data(), static_cast<unsigned long>(bytes.size()),
                                     nullptr, 0);
}

void FillItem(COutlineRecord& item, size_t number, Random& random) {
  item.SetId(static_cast<unsigned long>(number + 1));
  item.SetIndent(static_cast<unsigned char>(random.Below(6)));
  item.SetText((std::to_wstring(number) + L" " + Words(random, random.Below(12))).c_str());
  if (random.Below(4) == 0) {
    item.SetNote(Words(random, random.Below(60)).c_str());
  } else if (random.Below(4) == 0) {
    item.DeleteNote();
  }
  item.SetExpanded(random.Below(3) != 0);
  item.SetChecked(random.Below(3) == 0);
  item.SetNew(random.Below(2) == 0);
  item.SetDeleted(random.Below(20) == 0);
  if (random.Below(20) == 0) SetBytes(item, format::kTagDrawing, Drawing(random));
  if (random.Below(10) == 0) SetBytes(item, 40, {1, 2, 3, random.Byte()});
}

void FillCategory(CCategoryRecord& category, size_t number, Random& random) {
  category.SetCategoryId(
      number == 0 ? 0 : static_cast<unsigned long>(format::kFirstCategoryId + number % 128));
  category.SetCategoryName((std::to_wstring(number) + L" " + Words(random, 2)).c_str());
  category.SetLastChangedTime(static_cast<unsigned long>(1000000000 + number));
  category.SetEmpty(random.Below(5) == 0);
}

void FillRow(CDBRecord& row, Kind kind, size_t number, Random& random) {
  if (kind == Kind::kCategory) {
    FillCategory(static_cast<CCategoryRecord&>(row), number, random);
    return;
  }
  FillItem(static_cast<COutlineRecord&>(row), number, random);
  if (kind != Kind::kMemory) return;
  auto& linked = static_cast<CLinkedOutlRec&>(row);
  linked.setInternalId(static_cast<unsigned long>(number + 1));
  linked.setParentId(static_cast<unsigned long>(random.Below(number + 1)));
}

std::unique_ptr<CDatabase> NewDatabase(Kind kind) {
  if (kind == Kind::kMemory) return std::make_unique<CMemOutlDB>();
  if (kind == Kind::kCategory) return std::make_unique<CCategoryDB>();
  auto outline = std::make_unique<COutlineDB>();
  outline->SetOutlineTitle(L"Generated");
  for (unsigned long id : {5000ul, 5001ul, 5002ul}) outline->AddDeletedId(id);
  return outline;
}

}  // namespace

Bytes GeneratedDocument(Kind kind, size_t rows) {
  Random random(static_cast<uint32_t>(rows));
  kx_gen::MemFile file(1u << 16);  // the database lets go of it in its destructor
  const std::unique_ptr<CDatabase> db = NewDatabase(kind);
  db->Attach(&file);
  db->CDatabase::InitNewDatabase();
  for (size_t i = 0; i < rows; ++i) FillRow(*db->GetRecordset()->Append(), kind, i, random);
  db->WriteAllHeaders();
  db->WriteRows();
  Bytes bytes(file.GetLength());
  file.Seek(0, 0);
  file.Read(bytes.data(), static_cast<unsigned int>(bytes.size()));
  return bytes;
}

std::vector<RowPlace> RowsOf(const Bytes& file, Kind kind) {
  size_t pos = format::kHeaderTablePos;
  if (kind != Kind::kMemory) {
    const size_t headers = kx_gen::getLe16(&file[pos]);
    size_t slots = 0;
    for (size_t i = 0; i < headers; ++i) {
      slots += kx_gen::getLe32(&file[pos + 2 + i * format::kHeaderRecordSize + 2]);
    }
    pos += 2 + headers * format::kHeaderRecordSize + slots;
    const bool isOld = kx_gen::getLe16(&file[format::kVersionOffset]) == 0;
    pos += kind == Kind::kOutline ? 4 + 4 * kx_gen::getLe32(&file[pos]) : isOld ? 4 : 5;
  }
  std::vector<RowPlace> rows;
  while (pos < file.size()) {
    const size_t length = kx_gen::getLe32(&file[pos + format::kRowTagSize]);
    const size_t end = pos + format::kRowFrameSize + length;
    rows.push_back({pos, end, true, kx_test::slice(file, pos + 8, length)});
    pos = end;
  }
  return rows;
}

std::string NameOf(Damage damage) {
  switch (damage) {
    case Damage::kFlip:
      return "bytes flipped";
    case Damage::kZero:
      return "blocks zeroed";
    case Damage::kCutOff:
      return "end cut off";
    case Damage::kCutOut:
      return "pieces cut out";
    default:
      return "sectors inserted";
  }
}

DamagedFile::DamagedFile(Bytes file, Kind kind)
    : bytes_(std::move(file)), rows_(RowsOf(bytes_, kind)) {}

std::vector<Bytes> DamagedFile::WholeRows() const {
  std::vector<Bytes> whole;
  for (const RowPlace& row : rows_) {
    if (row.isWhole) whole.push_back(row.block);
  }
  return whole;
}

void DamagedFile::Suffer(Damage damage, Random& random) {
  if (bytes_.empty()) return;
  switch (damage) {
    case Damage::kFlip:
      return Flip(random);
    case Damage::kZero:
      return Zero(random);
    case Damage::kCutOff:
      return CutOff(random);
    case Damage::kCutOut:
      return CutOut(random);
    default:
      return Insert(random);
  }
}

void DamagedFile::Touch(size_t begin, size_t end) {
  for (RowPlace& row : rows_) {
    if (row.begin < end && begin < row.end) row.isWhole = false;
  }
}

void DamagedFile::Flip(Random& random) {
  const size_t pos = random.Below(bytes_.size());
  bytes_[pos] ^= static_cast<unsigned char>(random.Between(1, 0xFF));
  Touch(pos, pos + 1);
}

void DamagedFile::Zero(Random& random) {
  const size_t begin = random.Below(bytes_.size());
  const size_t end = std::min(bytes_.size(), begin + random.Between(1, 2 * kSectorSize));
  for (size_t pos = begin; pos < end; ++pos) {
    if (bytes_[pos] != 0) Touch(pos, pos + 1);
    bytes_[pos] = 0;
  }
}

/// First anywhere, then little by little, lest nothing be left.
void DamagedFile::CutOff(Random& random) {
  const size_t most = isCutOff_ ? std::min(bytes_.size(), 2 * kSectorSize) : bytes_.size();
  isCutOff_ = true;
  Remove(bytes_.size() - random.Between(1, most), bytes_.size());
}

void DamagedFile::CutOut(Random& random) {
  const size_t begin = random.Below(bytes_.size());
  Remove(begin, std::min(bytes_.size(), begin + random.Between(1, 2 * kSectorSize)));
}

void DamagedFile::Remove(size_t begin, size_t end) {
  Touch(begin, end);
  for (RowPlace& row : rows_) {
    if (row.begin < end) continue;
    row.begin -= end - begin;
    row.end -= end - begin;
  }
  bytes_.erase(bytes_.begin() + static_cast<std::ptrdiff_t>(begin),
               bytes_.begin() + static_cast<std::ptrdiff_t>(end));
}

/// Of zeros, of anything, or of what stands elsewhere in the file.
void DamagedFile::Insert(Random& random) {
  const size_t pos = random.Below(bytes_.size() + 1);
  Bytes sector(kSectorSize);
  const size_t content = random.Below(3);
  const size_t from = random.Below(bytes_.size());
  for (size_t i = 0; i < sector.size() && content != 0; ++i) {
    sector[i] = content == 1 ? random.Byte() : bytes_[(from + i) % bytes_.size()];
  }
  for (RowPlace& row : rows_) {
    if (row.begin < pos && pos < row.end) row.isWhole = false;
    if (row.begin < pos) continue;
    row.begin += sector.size();
    row.end += sector.size();
  }
  bytes_.insert(bytes_.begin() + static_cast<std::ptrdiff_t>(pos), sector.begin(), sector.end());
}

}  // namespace kxo_test
