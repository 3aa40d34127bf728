#include "StoredFields.h"

#include <algorithm>
#include <new>
#include <string_view>
#include <type_traits>
#include <utility>

#include "TagList.h"
#include "Text.h"
#include "salvage/Fields.h"

namespace kxo {

namespace format = kx_gen::format;

using kx_gen::_String;
using kx_gen::CCategoryRecord;
using kx_gen::CConduitHeader;
using kx_gen::CLinkedOutlRec;
using kx_gen::COutlineRecord;
using kx_gen::CPrivateOutlineHeader;
using kx_gen::CSharedHeader;
using kx_gen::CTaggedDataManager;
using salvage::Kind;

namespace {

void CheckResult(long result) {
  if (result == -1) throw std::bad_alloc();
  CTaggedDataManager::ProcessError(".\\StoredFields", 0, result, nullptr);
}

// --- Blocks ---

std::string_view BlockOf(CTaggedDataManager& tags) {
  return tags.size() == 0 ? std::string_view() : std::string_view(tags.get(0), tags.size());
}

/// For a block of this size: setters pass over exhausted memory.
void MakeRoom(CTaggedDataManager& tags, size_t size) {
  if (size > tags.size()) CheckResult(tags.reserve(static_cast<unsigned long>(size - tags.size())));
}

/// Replaces the whole block of a row or header.
template <class Holder>
void SetBlock(Holder& holder, std::string_view block) {
  holder.FreeData();
  CTaggedDataManager& tags = holder.getTaggedDataManager();
  CheckResult(tags.insert(0, block.data(), static_cast<unsigned long>(block.size())));
}

std::string DataOf(CTaggedDataManager& tags, uint32_t id) {
  unsigned long size = 0;
  CheckResult(tags.getTagDataSize(id, &size));
  const char* data = tags.getDataPtr(id, size);
  if (data == nullptr) CheckResult(kx_gen::kTagErrCorrupt);
  return {data, size};
}

void SetTag(CTaggedDataManager& tags, const UnknownTag& tag) {
  CheckResult(tags.setData(tag.id, tag.data.data(), static_cast<unsigned long>(tag.data.size()),
                           nullptr, tag.version));
  CheckResult(tags.setTagChanged(tag.id, tag.changed));
}

bool HasTag(CTaggedDataManager& tags, uint32_t id) {
  bool found = false;
  CheckResult(tags.hasTag(id, &found));
  return found;
}

bool IsMarked(CTaggedDataManager& tags, uint32_t id) {
  bool changed = false;
  CheckResult(tags.getTagChanged(id, &changed));
  return changed;
}

uint8_t VersionOf(CTaggedDataManager& tags, uint32_t id) {
  unsigned char version = 0;
  CheckResult(tags.getTagVersion(id, &version));
  return version;
}

/// The tags that are no fields, as far as the block is sound.
std::vector<UnknownTag> UnknownTagsOf(std::string_view block, salvage::Fields fields) {
  std::vector<UnknownTag> unknown;
  const auto* bytes = reinterpret_cast<const unsigned char*>(block.data());
  size_t pos = 0;
  for (const TagEntry& entry : ListTags(bytes, block.size())) {
    if (FindField(fields, entry.id) == nullptr) {
      const uint32_t flags = kx_gen::getLe32(bytes + pos + format::kTagFlagsOffset);
      unknown.push_back(
          {entry.id, std::string(block.substr(pos + format::kTagSize, entry.sizeBytes)),
           (flags & format::kTagFlagChanged) != 0, bytes[pos + format::kTagVersionOffset]});
    }
    pos += format::kTagSize + entry.sizeBytes;
  }
  return unknown;
}

/// Whether all of the block can be reached: the library finds tags in ascending order.
bool IsInOrder(std::string_view block) {
  const auto tags = ListTags(reinterpret_cast<const unsigned char*>(block.data()), block.size());
  size_t size = 0;
  uint32_t previous = 0;
  for (const TagEntry& tag : tags) {
    if (tag.id <= previous) return false;
    previous = tag.id;
    size += format::kTagSize + tag.sizeBytes;
  }
  return block.size() - size < format::kTagSize;
}

// --- What stands beside the values ---

Extras ExtrasOf(CTaggedDataManager& tags, salvage::Fields fields) {
  Extras extras;
  for (const salvage::Field& field : fields) {
    if (!HasTag(tags, field.tag)) continue;
    if (!IsMarked(tags, field.tag)) extras.unmarked.push_back(field.tag);
    const uint8_t version = VersionOf(tags, field.tag);
    if (version != 0) extras.versions.emplace_back(field.tag, version);
  }
  extras.unknownTags = UnknownTagsOf(BlockOf(tags), fields);
  return extras;
}

bool Contains(const std::vector<UnknownTag>& list, const UnknownTag& tag) {
  return std::find(list.begin(), list.end(), tag) != list.end();
}

void SetVersion(CTaggedDataManager& tags, uint32_t id, uint8_t version) {
  if (VersionOf(tags, id) == version) return;
  SetTag(tags, {id, DataOf(tags, id), true, version});
}

uint8_t WantedVersion(const Extras& extras, uint32_t id) {
  for (const auto& [tag, version] : extras.versions) {
    if (tag == id) return version;
  }
  return 0;
}

/// `present`: what the block has already.
void ApplyExtras(CTaggedDataManager& tags, salvage::Fields fields, const Extras& present,
                 const Extras& wanted) {
  for (const UnknownTag& tag : present.unknownTags) {
    if (!Contains(wanted.unknownTags, tag)) CheckResult(tags.deleteData(tag.id));
  }
  for (const UnknownTag& tag : wanted.unknownTags) {
    if (!Contains(present.unknownTags, tag)) SetTag(tags, tag);
  }
  for (const salvage::Field& field : fields) {
    if (!HasTag(tags, field.tag)) continue;
    SetVersion(tags, field.tag, WantedVersion(wanted, field.tag));
    const bool isUnmarked = std::find(wanted.unmarked.begin(), wanted.unmarked.end(), field.tag) !=
                            wanted.unmarked.end();
    CheckResult(tags.setTagChanged(field.tag, !isUnmarked));
  }
}

/// Whether a value is to be put in.
template <class Model, class Value>
bool Differs(const Model* present, const Model& wanted, Value Model::*value) {
  return present == nullptr || !(present->*value == wanted.*value);
}

/// Asks for the fields of one row or header.
class Reader {
 public:
  Reader(CTaggedDataManager& tags, Lacking lacking) : tags_(tags), lacking_(lacking) {}

  /// Runs `take`, unless the field is lacking and keeps its default.
  template <class Take>
  void Field(uint32_t tag, Take take) const {
    if (lacking_ == Lacking::kThrows || HasTag(tags_, tag)) take();
  }
  template <class Take>
  void Text(uint8_t number, std::string& text, Take take) const {
    Field(format::kStringTagBase + number, [&] {
      _String wide;
      take(wide);
      text = FromWide(wide);
    });
  }

 private:
  CTaggedDataManager& tags_;
  Lacking lacking_;
};

// --- Rows ---

template <class Model>
void ReadFlags(const Reader& reader, kx_gen::CDBRecord& row, Model& model) {
  reader.Field(format::kTagFlagByte, [&] {
    model.isNew = row.IsNew();
    model.changed = row.IsChanged();
    model.deleted = row.IsDeleted();
    model.empty = row.IsEmpty();
    model.archived = row.IsArchived();
  });
  reader.Field(format::kTagSortChanged, [&] { model.sortChanged = row.IsSortChanged(); });
}

template <class Model>
bool AreFlagsEqual(const Model& a, const Model& b) {
  return a.isNew == b.isNew && a.changed == b.changed && a.deleted == b.deleted &&
         a.empty == b.empty && a.archived == b.archived;
}

template <class Model>
void SetFlags(kx_gen::CDBRecord& row, const Model* present, const Model& wanted) {
  // The bits can be set in a flag byte that is there.
  const bool isSame = present != nullptr && AreFlagsEqual(*present, wanted);
  if (!isSame && !HasTag(row.getTaggedDataManager(), format::kTagFlagByte)) row.SetFlag(0);
  if (Differs(present, wanted, &Model::isNew)) row.SetNew(wanted.isNew);
  if (Differs(present, wanted, &Model::changed)) row.SetChanged(wanted.changed);
  if (Differs(present, wanted, &Model::deleted)) row.SetDeleted(wanted.deleted);
  if (Differs(present, wanted, &Model::empty)) row.SetEmpty(wanted.empty);
  if (Differs(present, wanted, &Model::archived)) row.SetArchived(wanted.archived);
  if (Differs(present, wanted, &Model::sortChanged)) row.SetSortChanged(wanted.sortChanged);
}

/// An item and the level that its row holds too.
struct LeveledItem {
  Item item;
  unsigned level = 0;
  bool operator==(const LeveledItem&) const = default;
};

template <class Row>
constexpr bool kIsLinked = std::is_same_v<Row, CLinkedOutlRec>;

template <class Row>
struct ItemCodec {
  using Holder = Row;
  using Model = LeveledItem;
  static salvage::Fields Fields() {
    return RowFields(kIsLinked<Row> ? Kind::kMemory : Kind::kOutline);
  }
  template <class Any>
  static auto& ExtrasIn(Any& model) {
    return model.item.extras;
  }
  static Model Read(const Reader& reader, Row& row);
  static void Apply(Row& row, const Model* present, const Model& wanted);
};

template <class Row>
LeveledItem ItemCodec<Row>::Read(const Reader& reader, Row& row) {
  LeveledItem read;
  Item& item = read.item;
  reader.Field(format::kTagIndent, [&] { read.level = row.GetIndent(); });
  reader.Field(format::kTagOutlineId, [&] { item.id = static_cast<uint32_t>(row.GetId()); });
  reader.Text(format::kStringText, item.text, [&](_String& text) { row.GetText(text); });
  if (row.HasNote()) {
    reader.Text(format::kStringNote, item.note.emplace(),
                [&](_String& text) { row.GetNote(text); });
  }
  reader.Field(format::kTagExpanded, [&] { item.expanded = row.GetExpanded(); });
  reader.Field(format::kTagChecked, [&] { item.checked = row.GetChecked(); });
  ReadFlags(reader, row, item);
  if (row.HasDrawing()) {
    item.drawing = DrawingOf(DataOf(row.getTaggedDataManager(), format::kTagDrawing));
  }
  if constexpr (kIsLinked<Row>) {
    reader.Field(format::kTagInternalId,
                 [&] { item.internalId = static_cast<uint32_t>(row.getInternalId()); });
    reader.Field(format::kTagParentId,
                 [&] { item.parentId = static_cast<uint32_t>(row.getParentId()); });
  }
  return read;
}

void SetNote(COutlineRecord& row, const std::optional<std::string>& note) {
  if (note) {
    row.SetNote(ToWide(*note).c_str());
  } else {
    row.DeleteNote();
  }
}

void SetDrawing(COutlineRecord& row, const std::optional<Drawing>& drawing) {
  if (drawing) {
    SetTag(row.getTaggedDataManager(), {format::kTagDrawing, drawing->block, true, 0});
  } else {
    row.DeleteBitmap();
  }
}

template <class Row>
void ItemCodec<Row>::Apply(Row& row, const LeveledItem* present, const LeveledItem& wanted) {
  const Item* const was = present != nullptr ? &present->item : nullptr;
  const Item& item = wanted.item;
  if (Differs(present, wanted, &LeveledItem::level)) {
    row.SetIndent(static_cast<unsigned char>(wanted.level));
  }
  if (Differs(was, item, &Item::id)) row.SetId(item.id);
  if (Differs(was, item, &Item::text)) row.SetText(ToWide(item.text).c_str());
  if (Differs(was, item, &Item::note)) SetNote(row, item.note);
  if (Differs(was, item, &Item::expanded)) row.SetExpanded(item.expanded);
  if (Differs(was, item, &Item::checked)) row.SetChecked(item.checked);
  SetFlags(row, was, item);
  if (Differs(was, item, &Item::drawing)) SetDrawing(row, item.drawing);
  if constexpr (kIsLinked<Row>) {
    if (Differs(was, item, &Item::internalId)) row.setInternalId(item.internalId);
    if (Differs(was, item, &Item::parentId)) row.setParentId(item.parentId);
  }
}

struct CategoryCodec {
  using Holder = CCategoryRecord;
  using Model = Category;
  static salvage::Fields Fields() { return RowFields(Kind::kCategory); }
  template <class Any>
  static auto& ExtrasIn(Any& model) {
    return model.extras;
  }
  static Model Read(const Reader& reader, Holder& row);
  static void Apply(Holder& row, const Model* present, const Model& wanted);
};

Category CategoryCodec::Read(const Reader& reader, CCategoryRecord& row) {
  Category category;
  reader.Field(format::kTagCategoryId,
               [&] { category.id = static_cast<uint32_t>(row.GetCategoryId()); });
  reader.Text(format::kStringCategoryRecordName, category.name,
              [&](_String& text) { row.GetCategoryName(text); });
  reader.Field(format::kTagLastChangedTime,
               [&] { category.lastChangedTime = static_cast<uint32_t>(row.GetLastChangedTime()); });
  ReadFlags(reader, row, category);
  return category;
}

void CategoryCodec::Apply(CCategoryRecord& row, const Category* present, const Category& wanted) {
  if (Differs(present, wanted, &Category::id)) row.SetCategoryId(wanted.id);
  if (Differs(present, wanted, &Category::name)) row.SetCategoryName(ToWide(wanted.name).c_str());
  if (Differs(present, wanted, &Category::lastChangedTime)) {
    row.SetLastChangedTime(wanted.lastChangedTime);
  }
  SetFlags(row, present, wanted);
}

// --- Headers ---

struct SharedCodec {
  using Holder = CSharedHeader;
  using Model = SharedFields;
  static salvage::Fields Fields() { return salvage::HeaderFields(format::kSharedHeaderId); }
  template <class Any>
  static auto& ExtrasIn(Any& model) {
    return model.extras;
  }
  static Model Read(const Reader& reader, Holder& header);
  static void Apply(Holder& header, const Model* present, const Model& wanted);
};

SharedFields SharedCodec::Read(const Reader& reader, CSharedHeader& header) {
  SharedFields fields;
  reader.Text(format::kStringCategoryName, fields.category,
              [&](_String& text) { header.GetCategoryName(text); });
  reader.Text(format::kStringMatchName, fields.matchName,
              [&](_String& text) { header.GetPalmMatchName(text); });
  reader.Field(format::kTagPrivate, [&] { fields.isPrivate = header.GetPrivate(); });
  reader.Field(format::kTagSynchronized, [&] { fields.synchronized = header.GetSynchronized(); });
  reader.Field(format::kTagOutlineChanged,
               [&] { fields.outlineChanged = header.GetOutlineChanged(); });
  reader.Field(format::kTagNumbering, [&] { header.getNumbering(fields.numbering.data()); });
  reader.Field(format::kTagNumberingDivider,
               [&] { fields.numberingDivider = header.getNumberingDivider(); });
  return fields;
}

void SharedCodec::Apply(CSharedHeader& header, const SharedFields* present,
                        const SharedFields& wanted) {
  if (Differs(present, wanted, &SharedFields::category)) {
    header.SetCategoryName(ToWide(wanted.category).c_str());
  }
  // Setting the category may have set it.
  const bool isPresent = header.hasTag(format::kTagOutlineChanged);
  const bool now = isPresent ? header.GetOutlineChanged() : SharedFields().outlineChanged;
  if (present == nullptr || now != wanted.outlineChanged) {
    header.SetOutlineChanged(wanted.outlineChanged);
  }
  if (Differs(present, wanted, &SharedFields::matchName)) {
    header.SetPalmMatchName(ToWide(wanted.matchName).c_str());
  }
  if (Differs(present, wanted, &SharedFields::isPrivate)) header.SetPrivate(wanted.isPrivate);
  if (Differs(present, wanted, &SharedFields::synchronized)) {
    header.SetSynchronized(wanted.synchronized);
  }
  if (Differs(present, wanted, &SharedFields::numbering)) {
    auto numbering = wanted.numbering;
    header.setNumbering(numbering.data());
  }
  if (Differs(present, wanted, &SharedFields::numberingDivider)) {
    header.setNumberingDivider(wanted.numberingDivider);
  }
}

/// All of the private header.
struct TitledView {
  std::string title = "Untitled";
  View view;
  bool operator==(const TitledView&) const = default;
};

struct PrivateCodec {
  using Holder = CPrivateOutlineHeader;
  using Model = TitledView;
  static salvage::Fields Fields() { return salvage::HeaderFields(format::kPrivateOutlineHeaderId); }
  template <class Any>
  static auto& ExtrasIn(Any& model) {
    return model.view.extras;
  }
  static Model Read(const Reader& reader, Holder& header);
  static void Apply(Holder& header, const Model* present, const Model& wanted);
};

WindowPlace WindowOf(CPrivateOutlineHeader& header) {
  kx_gen::TStoredWindowPos pos{};
  header.GetStoredWndPos(&pos);
  return {pos.flags,
          pos.showCmd,
          {pos.minPositionX, pos.minPositionY},
          {pos.maxPositionX, pos.maxPositionY},
          {pos.normalLeft, pos.normalTop, pos.normalRight, pos.normalBottom}};
}

void SetWindow(CPrivateOutlineHeader& header, const WindowPlace& window) {
  kx_gen::TStoredWindowPos pos = {window.flags,        window.showCommand,  window.minimized[0],
                                  window.minimized[1], window.maximized[0], window.maximized[1],
                                  window.normal[0],    window.normal[1],    window.normal[2],
                                  window.normal[3]};
  header.SetStoredWndPos(&pos);
}

/// Without name and colour, which are fields of their own.
Font FontInfoOf(CPrivateOutlineHeader& header) {
  kx_gen::TStoredFontInfo info{};
  header.GetStoredFontInfo(&info);
  Font font;
  font.height = info.height;
  font.width = info.width;
  font.escapement = info.escapement;
  font.orientation = info.orientation;
  font.weight = info.weight;
  font.italic = info.italic;
  font.underline = info.underline;
  font.strikeOut = info.strikeOut;
  font.charSet = info.charSet;
  font.outPrecision = info.outPrecision;
  font.clipPrecision = info.clipPrecision;
  font.quality = info.quality;
  font.pitchAndFamily = info.pitchAndFamily;
  return font;
}

void SetFontInfo(CPrivateOutlineHeader& header, const Font& font) {
  kx_gen::TStoredFontInfo info = {
      font.height,        font.width,     font.escapement,    font.orientation, font.weight,
      font.italic,        font.underline, font.strikeOut,     font.charSet,     font.outPrecision,
      font.clipPrecision, font.quality,   font.pitchAndFamily};
  header.SetStoredFontInfo(&info);
}

Font WithoutNameAndColor(Font font) {
  font.name.clear();
  font.color = 0;
  return font;
}

TitledView PrivateCodec::Read(const Reader& reader, CPrivateOutlineHeader& header) {
  TitledView read;
  View& view = read.view;
  reader.Text(format::kStringOutlineTitle, read.title,
              [&](_String& text) { header.GetOutlineTitle(text); });
  reader.Field(format::kTagShowCheckedItems,
               [&] { view.showCheckedItems = header.GetShowCheckedItems(); });
  reader.Field(format::kTagShowHeadingsMode,
               [&] { view.showHeadingsMode = header.GetShowHeadingsMode(); });
  reader.Field(format::kTagSelectedIndex,
               [&] { view.selectedIndex = static_cast<uint32_t>(header.GetSelectedIndex()); });
  reader.Field(format::kTagTopIndex,
               [&] { view.topIndex = static_cast<uint32_t>(header.GetTopIndex()); });
  reader.Field(format::kTagWindowPos, [&] { view.window = WindowOf(header); });
  reader.Field(format::kTagFontInfo, [&] { view.font = FontInfoOf(header); });
  reader.Text(format::kStringFontName, view.font.name,
              [&](_String& text) { header.GetFontName(text); });
  reader.Field(format::kTagFontColor,
               [&] { view.font.color = static_cast<uint32_t>(header.GetFontColor()); });
  return read;
}

void SetFont(CPrivateOutlineHeader& header, const Font* present, const Font& wanted) {
  if (present == nullptr || WithoutNameAndColor(*present) != WithoutNameAndColor(wanted)) {
    SetFontInfo(header, wanted);
  }
  if (Differs(present, wanted, &Font::name)) header.SetFontName(ToWide(wanted.name).c_str());
  if (Differs(present, wanted, &Font::color)) header.SetFontColor(wanted.color);
}

void PrivateCodec::Apply(CPrivateOutlineHeader& header, const TitledView* present,
                         const TitledView& wanted) {
  const View* const was = present != nullptr ? &present->view : nullptr;
  const View& view = wanted.view;
  if (Differs(present, wanted, &TitledView::title)) {
    header.SetOutlineTitle(ToWide(wanted.title).c_str());
  }
  if (Differs(was, view, &View::showCheckedItems)) {
    header.SetShowCheckedItems(view.showCheckedItems);
  }
  if (Differs(was, view, &View::showHeadingsMode)) {
    header.SetShowHeadingsMode(view.showHeadingsMode);
  }
  if (Differs(was, view, &View::selectedIndex)) header.SetSelectedIndex(view.selectedIndex);
  if (Differs(was, view, &View::topIndex)) header.SetTopIndex(view.topIndex);
  if (Differs(was, view, &View::window)) SetWindow(header, view.window);
  SetFont(header, was != nullptr ? &was->font : nullptr, view.font);
}

/// The conduit header has no fields of its own.
struct ConduitModel {
  Extras extras;
  bool operator==(const ConduitModel&) const = default;
};

struct ConduitCodec {
  using Holder = CConduitHeader;
  using Model = ConduitModel;
  static salvage::Fields Fields() { return salvage::HeaderFields(format::kConduitHeaderId); }
  template <class Any>
  static auto& ExtrasIn(Any& model) {
    return model.extras;
  }
  static Model Read(const Reader& /*reader*/, Holder& /*header*/) { return {}; }
  static void Apply(Holder& /*header*/, const Model* /*present*/, const Model& /*wanted*/) {}
};

// --- All of them alike ---

/// The fields and what stands beside them, without the stored block.
template <class Codec>
typename Codec::Model ReadFields(typename Codec::Holder& holder, Lacking lacking) {
  typename Codec::Model model = Codec::Read(Reader(holder.getTaggedDataManager(), lacking), holder);
  Codec::ExtrasIn(model) = ExtrasOf(holder.getTaggedDataManager(), Codec::Fields());
  return model;
}

/// Puts in what differs from `present`, or else all.
template <class Codec>
void ApplyFields(typename Codec::Holder& holder, const typename Codec::Model* present,
                 const typename Codec::Model& wanted) {
  Codec::Apply(holder, present, wanted);
  ApplyExtras(holder.getTaggedDataManager(), Codec::Fields(),
              present != nullptr ? Codec::ExtrasIn(*present) : Extras(), Codec::ExtrasIn(wanted));
}

/// Puts `wanted` into a stored block. False when what stands there is in the way of it.
template <class Codec>
bool ApplyToStored(typename Codec::Holder& holder, const std::string& stored,
                   const typename Codec::Model& wanted) {
  SetBlock(holder, stored);
  const auto present = ReadFields<Codec>(holder, Lacking::kIsDefault);
  if (present == wanted) return true;
  if (!IsInOrder(stored)) return false;
  ApplyFields<Codec>(holder, &present, wanted);
  return ReadFields<Codec>(holder, Lacking::kIsDefault) == wanted;
}

/// Fills a row or header as it is when it is made.
template <class Codec>
void Fill(typename Codec::Holder& holder, const typename Codec::Model& wanted) {
  const std::optional<std::string>& stored = Codec::ExtrasIn(wanted).stored;
  if (stored) {
    const std::string fresh(BlockOf(holder.getTaggedDataManager()));
    if (ApplyToStored<Codec>(holder, *stored, wanted)) return;
    SetBlock(holder, fresh);
  }
  ApplyFields<Codec>(holder, nullptr, wanted);
}

template <class Holder>
void Init(Holder& holder) {
  if constexpr (std::is_base_of_v<kx_gen::CDBRecord, Holder>) holder.Init();
}

/// All of it: where the fields would not give the block again, the block too.
template <class Codec>
typename Codec::Model Read(typename Codec::Holder& holder, Lacking lacking = Lacking::kIsDefault) {
  auto model = ReadFields<Codec>(holder, lacking);
  const std::string_view block = BlockOf(holder.getTaggedDataManager());
  typename Codec::Holder again;
  Init(again);
  MakeRoom(again.getTaggedDataManager(), block.size());
  ApplyFields<Codec>(again, nullptr, model);
  if (BlockOf(again.getTaggedDataManager()) != block) Codec::ExtrasIn(model).stored = block;
  return model;
}

template <class Row>
Item ReadItem(Row& row, unsigned& level, Lacking lacking) {
  LeveledItem read = Read<ItemCodec<Row>>(row, lacking);
  level = read.level;
  return std::move(read.item);
}

}  // namespace

Item ItemOf(COutlineRecord& row, unsigned& level, Lacking lacking) {
  return ReadItem(row, level, lacking);
}
Item ItemOf(CLinkedOutlRec& row, unsigned& level, Lacking lacking) {
  return ReadItem(row, level, lacking);
}
Category CategoryOf(CCategoryRecord& row, Lacking lacking) {
  return Read<CategoryCodec>(row, lacking);
}

void FillRow(COutlineRecord& row, unsigned level, const Item& item) {
  Fill<ItemCodec<COutlineRecord>>(row, {item, level});
}
void FillRow(CLinkedOutlRec& row, unsigned level, const Item& item) {
  Fill<ItemCodec<CLinkedOutlRec>>(row, {item, level});
}
void FillRow(CCategoryRecord& row, const Category& category) { Fill<CategoryCodec>(row, category); }

SharedFields FieldsOf(CSharedHeader& header) { return Read<SharedCodec>(header); }

View ViewOf(CPrivateOutlineHeader& header, std::string& title) {
  TitledView read = Read<PrivateCodec>(header);
  title = std::move(read.title);
  return std::move(read.view);
}

Extras ExtrasOf(CConduitHeader& header) { return Read<ConduitCodec>(header).extras; }

void FillHeader(CSharedHeader& header, const SharedFields& fields) {
  Fill<SharedCodec>(header, fields);
}
void FillHeader(CPrivateOutlineHeader& header, const std::string& title, const View& view) {
  Fill<PrivateCodec>(header, {title, view});
}
void FillHeader(CConduitHeader& header, const Extras& extras) {
  Fill<ConduitCodec>(header, {extras});
}

// --- Blocks by themselves ---

namespace {

template <class Codec>
typename Codec::Model ReadBlock(const std::string& block) {
  typename Codec::Holder holder;
  SetBlock(holder, block);
  return Read<Codec>(holder);
}

template <class Codec>
std::string BlockOfModel(const typename Codec::Model& model) {
  typename Codec::Holder holder;
  Init(holder);
  Fill<Codec>(holder, model);
  return std::string(BlockOf(holder.getTaggedDataManager()));
}

using OutlineCodec = ItemCodec<COutlineRecord>;
using LinkedCodec = ItemCodec<CLinkedOutlRec>;

}  // namespace

Item ItemOfBlock(Kind kind, const std::string& block, unsigned& level) {
  LeveledItem read =
      kind == Kind::kMemory ? ReadBlock<LinkedCodec>(block) : ReadBlock<OutlineCodec>(block);
  level = read.level;
  return std::move(read.item);
}

std::string BlockOfItem(Kind kind, unsigned level, const Item& item) {
  return kind == Kind::kMemory ? BlockOfModel<LinkedCodec>({item, level})
                               : BlockOfModel<OutlineCodec>({item, level});
}

Category CategoryOfBlock(const std::string& block) { return ReadBlock<CategoryCodec>(block); }
std::string BlockOfCategory(const Category& category) {
  return BlockOfModel<CategoryCodec>(category);
}

SharedFields SharedOfBlock(const std::string& block) { return ReadBlock<SharedCodec>(block); }
std::string BlockOfShared(const SharedFields& fields) { return BlockOfModel<SharedCodec>(fields); }

View ViewOfBlock(const std::string& block, std::string& title) {
  TitledView read = ReadBlock<PrivateCodec>(block);
  title = std::move(read.title);
  return std::move(read.view);
}
std::string BlockOfView(const std::string& title, const View& view) {
  return BlockOfModel<PrivateCodec>({title, view});
}

Extras ConduitOfBlock(const std::string& block) { return ReadBlock<ConduitCodec>(block).extras; }
std::string BlockOfConduit(const Extras& extras) { return BlockOfModel<ConduitCodec>({extras}); }

std::vector<uint32_t> TagsIn(const std::string& block) {
  std::vector<uint32_t> ids;
  const auto* bytes = reinterpret_cast<const unsigned char*>(block.data());
  for (const TagEntry& entry : ListTags(bytes, block.size())) ids.push_back(entry.id);
  return ids;
}

// --- The table ---

namespace {

template <class List>
auto* EntryOf(const List& list, uint16_t id) {
  const auto found = std::find_if(list.begin(), list.end(),
                                  [id](const auto* info) { return info->record.id == id; });
  return found != list.end() ? *found : nullptr;
}

}  // namespace

HeaderTable TableOf(kx_gen::CHeaderManager& manager, Kind kind) {
  HeaderTable table;
  const auto& list = manager.GetReadList();
  for (const kx_gen::THeaderInfo* info : list) {
    const kx_gen::THeaderRecord record = info->record;
    table.slots.push_back({record.id, record.size});
    if (info->header != nullptr) continue;
    table.unknown.push_back({record.id, std::string(info->slot.begin(), info->slot.end())});
  }
  for (const uint16_t id : HeadersOf(kind)) {
    if (EntryOf(list, id) == nullptr) table.slots.push_back({id, HeaderSize(kind, id)});
  }
  return table;
}

void TakeTable(kx_gen::CHeaderManager& manager, const HeaderTable& headers) {
  for (const HeaderSlot& slot : headers.slots) manager.AddHeader({slot.id, slot.sizeBytes});
  for (const UnknownHeader& header : headers.unknown) {
    manager.AddHeader({header.id, static_cast<uint32_t>(header.slot.size())});
    EntryOf(manager.GetReadList(), header.id)->slot.assign(header.slot.begin(), header.slot.end());
  }
}

Drawing DrawingOf(std::string block) {
  if (block.size() < format::kDrawingFixedSize) CheckResult(kx_gen::kTagErrNotFound);
  const auto* bytes = reinterpret_cast<const unsigned char*>(block.data());
  const auto number = [bytes](size_t at) {
    return static_cast<int32_t>(kx_gen::getLe32(bytes + at));
  };
  return {number(format::kDrawingWidthOffset), number(format::kDrawingHeightOffset),
          bytes[format::kDrawingBitsOffset], std::move(block)};
}

}  // namespace kxo
