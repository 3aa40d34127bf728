#include <fmt/format.h>

#include <algorithm>
#include <new>
#include <set>

#include "Failure.h"
#include "StoredFields.h"
#include "formats/CleanText.h"
#include "formats/Json.h"
#include "formats/JsonDrawing.h"
#include "formats/JsonParse.h"
#include "formats/JsonSchema.h"
#include "formats/XmlText.h"

namespace kxo {

namespace {

namespace format = kx_gen::format;

using salvage::Kind;

/// Runs `call`, which works on blocks; one that is damaged is not what was expected there.
template <class Call>
auto OnBlocks(const JsonPlace& place, Call call) -> decltype(call()) {
  try {
    return call();
  } catch (kx_gen::CException* e) {
    const bool isMemory = e == nullptr || e->GetErrNumber() + 1 == kx_gen::kMsgOutOfMemory;
    if (e != nullptr) e->Delete();
    if (isMemory) throw std::bad_alloc();
  }
  place.Fail("a block with fields that can be read", "a damaged one");
}

// --- What stands beside the values ---

uint32_t TagNamed(json::FieldNames fields, const std::string& name, const JsonPlace& place) {
  for (const json::FieldName& field : fields) {
    if (name == field.name) return field.tag;
  }
  std::string names;
  for (const json::FieldName& field : fields) {
    names += (names.empty() ? "" : ", ") + std::string(field.name);
  }
  place.Fail(names.empty() ? "no field" : "one of " + names, Json(name).dump());
}

UnknownTag UnknownTagOf(const Json& json, const JsonPlace& place, json::FieldNames fields) {
  JsonObject object(json, place);
  UnknownTag tag;
  const Json* id = object.Find("id");
  if (id == nullptr) place.Fail("the key id", json);
  TakeValue(*id, object.PlaceOf("id"), tag.id);
  for (const json::FieldName& field : fields) {
    if (field.tag == tag.id) {
      object.PlaceOf("id").Fail("no field of this file", fmt::format("that of {}", field.name));
    }
  }
  if (const Json* data = object.Find("data")) tag.data = TakeBase64(*data, object.PlaceOf("data"));
  object("changed", tag.changed, false);
  object("version", tag.version, uint8_t{0});
  object.Finish();
  return tag;
}

/// The keys beside those of values, of one row or header.
class ExtrasReader {
 public:
  ExtrasReader(JsonObject& object, json::FieldNames fields) : fields_(fields) {
    if (const Json* list = object.Find("changedFields")) {
      TakeChangedFields(*list, object.PlaceOf("changedFields"));
    }
    if (const Json* versions = object.Find("tagVersions")) {
      TakeVersions(*versions, object.PlaceOf("tagVersions"));
    }
    if (const Json* list = object.Find("unknownTags")) {
      TakeUnknownTags(*list, object.PlaceOf("unknownTags"));
    }
    if (const Json* block = object.Find("storedBlock")) {
      stored_ = TakeBase64(*block, object.PlaceOf("storedBlock"));
    }
  }

  const std::optional<std::string>& GetStored() const { return stored_; }
  /// `isPresent` tells of a field that may be missing whether it is there. `present`: what stands
  /// in the stored block, if there is one.
  template <class IsPresent>
  Extras Get(const JsonPlace& place, const Extras* present, IsPresent isPresent);

 private:
  void TakeChangedFields(const Json& json, const JsonPlace& place);
  void TakeVersions(const Json& json, const JsonPlace& place);
  void TakeUnknownTags(const Json& json, const JsonPlace& place);
  void SortUnknownTags(const JsonPlace& place);

  json::FieldNames fields_;
  std::optional<std::set<uint32_t>> changed_;
  std::vector<std::pair<uint32_t, uint8_t>> versions_;
  std::vector<UnknownTag> unknownTags_;
  std::optional<std::string> stored_;
};

void ExtrasReader::TakeChangedFields(const Json& json, const JsonPlace& place) {
  changed_.emplace();
  size_t index = 0;
  for (const Json& element : TakeList(json, place)) {
    const JsonPlace at = place.At(index++);
    std::string name;
    TakeValue(element, at, name);
    changed_->insert(TagNamed(fields_, name, at));
  }
}

void ExtrasReader::TakeVersions(const Json& json, const JsonPlace& place) {
  if (!json.is_object()) place.Fail("an object", json);
  for (const auto& [name, value] : json.items()) {
    const JsonPlace at = place.At(name);
    uint8_t version = 0;
    const uint32_t tag = TagNamed(fields_, name, at);
    TakeValue(value, at, version);
    if (version != 0) versions_.emplace_back(tag, version);
  }
  std::sort(versions_.begin(), versions_.end());
}

void ExtrasReader::TakeUnknownTags(const Json& json, const JsonPlace& place) {
  for (const Json& element : TakeList(json, place)) {
    unknownTags_.push_back(UnknownTagOf(element, place.At(unknownTags_.size()), fields_));
  }
}

/// A block has them so; one that another program made may not.
void ExtrasReader::SortUnknownTags(const JsonPlace& place) {
  std::stable_sort(unknownTags_.begin(), unknownTags_.end(),
                   [](const UnknownTag& a, const UnknownTag& b) { return a.id < b.id; });
  const auto twice =
      std::adjacent_find(unknownTags_.begin(), unknownTags_.end(),
                         [](const UnknownTag& a, const UnknownTag& b) { return a.id == b.id; });
  if (twice == unknownTags_.end()) return;
  place.At("unknownTags").Fail("each id once", fmt::format("{} twice", twice->id));
}

template <class IsPresent>
Extras ExtrasReader::Get(const JsonPlace& place, const Extras* present, IsPresent isPresent) {
  if (present == nullptr || present->unknownTags != unknownTags_) SortUnknownTags(place);
  const std::vector<uint32_t> tags = stored_ ? TagsIn(*stored_) : std::vector<uint32_t>();
  const auto isThere = [&](uint32_t tag) {
    if (const std::optional<bool> known = isPresent(tag)) return *known;
    return !stored_ || std::find(tags.begin(), tags.end(), tag) != tags.end();
  };
  Extras extras;
  for (const json::FieldName& field : fields_) {
    const bool isUnmarked = changed_ && !changed_->contains(field.tag) && isThere(field.tag);
    if (isUnmarked) extras.unmarked.push_back(field.tag);
  }
  std::sort(extras.unmarked.begin(), extras.unmarked.end());
  for (const auto& entry : versions_) {
    if (isThere(entry.first)) extras.versions.push_back(entry);
  }
  extras.unknownTags = std::move(unknownTags_);
  extras.stored = std::move(stored_);
  return extras;
}

constexpr auto kAllPresent = [](uint32_t) { return std::optional<bool>(); };

/// A text that JSON could not hold stands in the block as it is, as long as nobody has edited it.
void KeepUnclean(std::string& text, const std::string& stored) {
  if (text != stored && CleanText().Of(stored) == text) text = stored;
}

void RequireHeld(const JsonPlace& place, bool isHeld) {
  if (!isHeld) place.Fail("what a file can hold", "something else");
}

// --- Rows ---

std::string BlockOfDrawing(JsonObject& object) {
  std::string data;
  if (const Json* json = object.Find("data")) {
    data = TakeBase64(*json, object.PlaceOf("data"));
    if (data.size() < format::kDrawingFixedSize) {
      object.PlaceOf("data").Fail("the block of a drawing", Counted(data.size(), "byte"));
    }
  }
  const Json* json = object.Find("png");
  if (json == nullptr) return data;
  const std::string drawn = json::BlockOfPng(TakeBase64(*json, object.PlaceOf("png")));
  if (drawn.empty()) object.PlaceOf("png").Fail("a PNG picture in base64", "something else");
  const std::string stored = json::PngOfBlock(data);
  const bool isSame = !stored.empty() && json::BlockOfPng(stored) == drawn;
  return isSame ? data : drawn;
}

/// The numbers beside a picture are for the reader; what they say must be true.
template <class Number>
void CheckNumber(JsonObject& object, const char* key, Number number) {
  const Json* json = object.Find(key);
  if (json == nullptr || *json == Json(number)) return;
  object.PlaceOf(key).Fail(fmt::format("{}, as in the picture", number), *json);
}

std::optional<Drawing> TakeDrawing(const Json& json, const JsonPlace& place) {
  if (json.is_null()) return std::nullopt;
  JsonObject object(json, place);
  std::string block = BlockOfDrawing(object);
  if (block.empty()) place.Fail("the key png or data", json);
  Drawing drawing = DrawingOf(std::move(block));
  CheckNumber(object, "width", drawing.width);
  CheckNumber(object, "height", drawing.height);
  CheckNumber(object, "bitsPerPixel", drawing.bitsPerPixel);
  object.Finish();
  return drawing;
}

struct LeveledItem {
  Item item;
  unsigned level = 0;
};

LeveledItem TakeItem(const Json& json, const JsonPlace& place, Kind kind) {
  JsonObject object(json, place);
  Item item;
  uint8_t level = 0;
  json::VisitItem(object, level, item, kind);
  if (const Json* drawing = object.Find("drawing")) {
    item.drawing = TakeDrawing(*drawing, object.PlaceOf("drawing"));
  }
  ExtrasReader extras(object, json::ItemFields(kind));
  object.Finish();
  std::optional<Item> present;
  if (extras.GetStored()) {
    unsigned ignored = 0;
    present = OnBlocks(object.PlaceOf("storedBlock"),
                       [&] { return ItemOfBlock(kind, *extras.GetStored(), ignored); });
    KeepUnclean(item.text, present->text);
    if (item.note && present->note) KeepUnclean(*item.note, *present->note);
  }
  item.extras = extras.Get(place, present ? &present->extras : nullptr,
                           [&](uint32_t tag) -> std::optional<bool> {
                             if (tag == format::kStringTagBase + format::kStringNote)
                               return item.note.has_value();
                             if (tag == format::kTagDrawing) return item.drawing.has_value();
                             return std::nullopt;
                           });
  LeveledItem made;
  made.item = OnBlocks(
      place, [&] { return ItemOfBlock(kind, BlockOfItem(kind, level, item), made.level); });
  RequireHeld(place, made.item == item && made.level == level);
  return made;
}

Category TakeCategory(const Json& json, const JsonPlace& place) {
  JsonObject object(json, place);
  Category category;
  json::VisitCategory(object, category);
  ExtrasReader extras(object, json::CategoryFields());
  object.Finish();
  std::optional<Category> present;
  if (extras.GetStored()) {
    present = OnBlocks(object.PlaceOf("storedBlock"),
                       [&] { return CategoryOfBlock(*extras.GetStored()); });
    KeepUnclean(category.name, present->name);
  }
  category.extras = extras.Get(place, present ? &present->extras : nullptr, kAllPresent);
  Category made = OnBlocks(place, [&] { return CategoryOfBlock(BlockOfCategory(category)); });
  RequireHeld(place, made == category);
  return made;
}

// --- Headers ---

/// The objects of `headers`, each with what stands beside the values of one header.
class HeadersReader {
 public:
  HeadersReader(JsonObject& file, Kind kind) : place_(file.PlaceOf("headers")) {
    const Json* json = file.Find("headers");
    JsonObject headers(json != nullptr ? *json : empty_, place_);
    conduit_ = headers.Find("conduit");
    if (kind == Kind::kOutline) {
      shared_ = headers.Find("shared");
      private_ = headers.Find("private");
    }
    headers.Finish();
  }
  Extras Conduit() const;
  void Finish(SharedFields& shared) const;
  void Finish(std::string& title, View& view) const;

 private:
  ExtrasReader Read(const Json* json, const JsonPlace& place, json::FieldNames fields) const {
    JsonObject object(json != nullptr ? *json : empty_, place);
    ExtrasReader extras(object, fields);
    object.Finish();
    return extras;
  }

  Json empty_ = Json::object();
  JsonPlace place_;
  const Json* conduit_ = nullptr;
  const Json* shared_ = nullptr;
  const Json* private_ = nullptr;
};

Extras HeadersReader::Conduit() const {
  const JsonPlace place = place_.At("conduit");
  ExtrasReader reader = Read(conduit_, place, {});
  std::optional<Extras> present;
  if (reader.GetStored()) {
    present = OnBlocks(place, [&] { return ConduitOfBlock(*reader.GetStored()); });
  }
  const Extras extras = reader.Get(place, present ? &*present : nullptr, kAllPresent);
  Extras made = OnBlocks(place, [&] { return ConduitOfBlock(BlockOfConduit(extras)); });
  RequireHeld(place, made == extras);
  return made;
}

void HeadersReader::Finish(SharedFields& shared) const {
  const JsonPlace place = place_.At("shared");
  ExtrasReader reader = Read(shared_, place, json::SharedHeaderFields());
  std::optional<SharedFields> present;
  if (reader.GetStored()) {
    present = OnBlocks(place, [&] { return SharedOfBlock(*reader.GetStored()); });
    KeepUnclean(shared.category, present->category);
    KeepUnclean(shared.matchName, present->matchName);
  }
  shared.extras = reader.Get(place, present ? &present->extras : nullptr, kAllPresent);
  SharedFields made = OnBlocks(place, [&] { return SharedOfBlock(BlockOfShared(shared)); });
  RequireHeld(place, made == shared);
  shared = std::move(made);
}

void HeadersReader::Finish(std::string& title, View& view) const {
  const JsonPlace place = place_.At("private");
  ExtrasReader reader = Read(private_, place, json::PrivateHeaderFields());
  std::optional<View> present;
  std::string presentTitle;
  if (reader.GetStored()) {
    present = OnBlocks(place, [&] { return ViewOfBlock(*reader.GetStored(), presentTitle); });
    KeepUnclean(title, presentTitle);
    KeepUnclean(view.font.name, present->font.name);
  }
  view.extras = reader.Get(place, present ? &present->extras : nullptr, kAllPresent);
  std::string madeTitle;
  View made = OnBlocks(place, [&] { return ViewOfBlock(BlockOfView(title, view), madeTitle); });
  RequireHeld(place, made == view && madeTitle == title);
  view = std::move(made);
}

/// The header table and its slots.
class TableReader {
 public:
  TableReader(JsonObject& object, Kind kind) : object_(object), kind_(kind) {}
  void Take(HeaderTable& headers);

 private:
  void TakeUnknown(HeaderTable& headers, const Json& json);
  void TakeSlots(HeaderTable& headers, const Json& json);
  void CheckSlot(const HeaderTable& headers, const HeaderSlot& slot, const JsonPlace& place) const;
  void AddMissing(HeaderTable& headers) const;
  void CheckTogether(const HeaderTable& headers) const;

  JsonObject& object_;
  Kind kind_;
};

/// What the positions in a table can count.
constexpr size_t kHeadersMax = (0xFFFF - format::kHeaderCountSize) / format::kHeaderRecordSize;
/// From here on a file made anew gets slots that are only as large as they must be.
constexpr uint64_t kSlotsSizeMax = 1u << 20;

bool HasSlot(const HeaderTable& headers, uint16_t id) {
  return std::any_of(headers.slots.begin(), headers.slots.end(),
                     [id](const HeaderSlot& slot) { return slot.id == id; });
}

void TableReader::Take(HeaderTable& headers) {
  if (const Json* json = object_.Find("unknownHeaders")) TakeUnknown(headers, *json);
  if (const Json* json = object_.Find("slotSizes")) TakeSlots(headers, *json);
  AddMissing(headers);
  CheckTogether(headers);
}

void TableReader::TakeUnknown(HeaderTable& headers, const Json& json) {
  const JsonPlace place = object_.PlaceOf("unknownHeaders");
  std::set<uint16_t> ids;
  for (const Json& element : TakeList(json, place)) {
    const JsonPlace at = place.At(headers.unknown.size());
    JsonObject object(element, at);
    const Json* id = object.Find("id");
    const Json* slot = object.Find("slot");
    if (id == nullptr || slot == nullptr) at.Fail("the keys id and slot", element);
    UnknownHeader& header = headers.unknown.emplace_back();
    TakeValue(*id, object.PlaceOf("id"), header.id);
    header.slot = TakeBase64(*slot, object.PlaceOf("slot"));
    object.Finish();
    const bool isKnown = HeaderSize(kind_, header.id) > 0;
    if (isKnown) object.PlaceOf("id").Fail("no header of this kind", *id);
    if (!ids.insert(header.id).second) object.PlaceOf("id").Fail("each id once", *id);
  }
}

void TableReader::TakeSlots(HeaderTable& headers, const Json& json) {
  const JsonPlace place = object_.PlaceOf("slotSizes");
  headers.slots.clear();
  std::set<uint16_t> ids;
  for (const Json& element : TakeList(json, place)) {
    const JsonPlace at = place.At(headers.slots.size());
    JsonObject object(element, at);
    const Json* id = object.Find("id");
    const Json* size = object.Find("size");
    if (id == nullptr || size == nullptr) at.Fail("the keys id and size", element);
    HeaderSlot& slot = headers.slots.emplace_back();
    TakeValue(*id, object.PlaceOf("id"), slot.id);
    TakeValue(*size, object.PlaceOf("size"), slot.sizeBytes);
    object.Finish();
    if (!ids.insert(slot.id).second) object.PlaceOf("id").Fail("each id once", *id);
    CheckSlot(headers, slot, at);
  }
}

void TableReader::CheckSlot(const HeaderTable& headers, const HeaderSlot& slot,
                            const JsonPlace& place) const {
  const uint32_t least = HeaderSize(kind_, slot.id);
  const std::string found = std::to_string(slot.sizeBytes);
  if (least > 0) {
    if (slot.sizeBytes < least) place.At("size").Fail(fmt::format("at least {}", least), found);
    return;
  }
  const auto header =
      std::find_if(headers.unknown.begin(), headers.unknown.end(),
                   [&](const UnknownHeader& unknown) { return unknown.id == slot.id; });
  if (header == headers.unknown.end()) {
    place.At("id").Fail("a header of this kind or of unknownHeaders", std::to_string(slot.id));
  }
  if (header->slot.size() != slot.sizeBytes) {
    place.At("size").Fail(fmt::format("{}, as long as its slot", header->slot.size()), found);
  }
}

/// As saving adds them.
void TableReader::AddMissing(HeaderTable& headers) const {
  for (const UnknownHeader& header : headers.unknown) {
    if (HasSlot(headers, header.id)) continue;
    headers.slots.push_back({header.id, static_cast<uint32_t>(header.slot.size())});
  }
  for (const uint16_t id : HeadersOf(kind_)) {
    if (!HasSlot(headers, id)) headers.slots.push_back({id, HeaderSize(kind_, id)});
  }
}

void TableReader::CheckTogether(const HeaderTable& headers) const {
  const JsonPlace place = object_.PlaceOf("slotSizes");
  if (headers.slots.size() > kHeadersMax) {
    place.Fail(fmt::format("at most {} headers", kHeadersMax),
               std::to_string(headers.slots.size()));
  }
  uint64_t sum = format::kHeaderTablePos + format::kHeaderCountSize +
                 format::kHeaderRecordSize * headers.slots.size();
  bool isLarger = false;
  for (const HeaderSlot& slot : headers.slots) {
    const uint32_t least = HeaderSize(kind_, slot.id);
    isLarger = isLarger || (least > 0 && slot.sizeBytes > least);
    sum += slot.sizeBytes;
  }
  if (isLarger && sum > kSlotsSizeMax) {
    place.Fail(fmt::format("slots of at most {} bytes together", kSlotsSizeMax),
               std::to_string(sum));
  }
}

/// A block and its length must fit the slot.
void CheckFits(const HeaderTable& headers, uint16_t id, size_t blockSize, const JsonPlace& place) {
  for (const HeaderSlot& slot : headers.slots) {
    const uint64_t needed = uint64_t{blockSize} + format::kSlotLengthSize;
    if (slot.id != id || needed <= slot.sizeBytes) continue;
    place.Fail(fmt::format("fields that fit a slot of {} bytes", slot.sizeBytes),
               fmt::format("{}; give header {} more of slotSizes", needed, id));
  }
}

void TakeNumbering(JsonObject& object, SharedFields& shared) {
  const Json* json = object.Find("numbering");
  if (json == nullptr) return;
  const JsonPlace place = object.PlaceOf("numbering");
  constexpr std::string_view kDigits = "0123456789abcdef";
  std::string text;
  TakeValue(*json, place, text);
  text = LowerCase(text);
  const bool isHex = text.find_first_not_of(kDigits) == std::string::npos;
  if (!isHex || text.size() != 2 * shared.numbering.size()) {
    place.Fail(fmt::format("{} bytes as hexadecimal digits", shared.numbering.size()), *json);
  }
  for (size_t i = 0; i < shared.numbering.size(); ++i) {
    shared.numbering[i] =
        static_cast<uint8_t>(kDigits.find(text[2 * i]) << 4 | kDigits.find(text[2 * i + 1]));
  }
}

void TakeView(JsonObject& file, View& view) {
  const Json* json = file.Find("view");
  if (json == nullptr) return;
  const JsonPlace place = file.PlaceOf("view");
  JsonObject object(*json, place);
  VisitView(object, view);
  if (const Json* window = object.Find("window")) {
    const JsonPlace at = object.PlaceOf("window");
    JsonObject inner(*window, at);
    VisitWindow(inner, view.window);
    inner.Finish();
  }
  if (const Json* font = object.Find("font")) {
    const JsonPlace at = object.PlaceOf("font");
    JsonObject inner(*font, at);
    VisitFont(inner, view.font);
    inner.Finish();
  }
  object.Finish();
}

// --- Files ---

/// The items; none when there is no list of them.
template <class Take>
void TakeItems(JsonObject& object, Take take) {
  const Json* json = object.Find("items");
  if (json == nullptr) return;
  const JsonPlace place = object.PlaceOf("items");
  size_t index = 0;
  for (const Json& element : TakeList(*json, place)) take(element, place.At(index++));
}

void TakeProperties(JsonObject& object, Outline& outline) {
  outline.title = json::kNewTitle;
  object("title", outline.title, outline.title);
  VisitShared(object, outline.shared);
  TakeNumbering(object, outline.shared);
  TakeView(object, outline.view);
  object("deletedIds", outline.deletedIds, {});
  const HeadersReader headers(object, Kind::kOutline);
  outline.headers.conduit = headers.Conduit();
  headers.Finish(outline.shared);
  headers.Finish(outline.title, outline.view);
  TableReader(object, Kind::kOutline).Take(outline.headers);
  const JsonPlace place = object.PlaceOf("headers");
  CheckFits(outline.headers, format::kConduitHeaderId,
            BlockOfConduit(outline.headers.conduit).size(), place.At("conduit"));
  CheckFits(outline.headers, format::kSharedHeaderId, BlockOfShared(outline.shared).size(),
            place.At("shared"));
  CheckFits(outline.headers, format::kPrivateOutlineHeaderId,
            BlockOfView(outline.title, outline.view).size(), place.At("private"));
}

void TakeCategories(JsonObject& object, CategoryList& list) {
  object("lastId", list.lastId, list.lastId);
  object("newFlag", list.isNew, list.isNew);
  const HeadersReader headers(object, Kind::kCategory);
  list.headers.conduit = headers.Conduit();
  TableReader(object, Kind::kCategory).Take(list.headers);
  CheckFits(list.headers, format::kConduitHeaderId, BlockOfConduit(list.headers.conduit).size(),
            object.PlaceOf("headers"));
  TakeItems(object, [&](const Json& json, const JsonPlace& place) {
    list.slots.push_back(TakeCategory(json, place));
  });
}

Kind TakeKind(JsonObject& object, const JsonPlace& place, const Json& json) {
  const Json* kind = object.Find("kind");
  if (kind == nullptr) place.Fail("the key kind", json);
  std::string name;
  TakeValue(*kind, object.PlaceOf("kind"), name);
  std::string names;
  for (const Kind known : {Kind::kOutline, Kind::kMemory, Kind::kCategory}) {
    if (name == json::NameOf(known)) return known;
    names += (names.empty() ? "" : ", ") + std::string(json::NameOf(known));
  }
  object.PlaceOf("kind").Fail("one of " + names, Json(name).dump());
}

void CheckVersion(JsonObject& object, Kind kind) {
  const Json* version = object.Find("version");
  const unsigned expected = json::VersionOf(kind);
  if (version == nullptr || *version == Json(expected)) return;
  object.PlaceOf("version").Fail(std::to_string(expected), *version);
}

/// Shells of Windows save what a program prints as UTF-16, with a mark in front.
std::string Utf8Of(const std::string& name, const std::string& bytes) {
  const std::string mark = bytes.substr(0, 2);
  if (mark != "\xFF\xFE" && mark != "\xFE\xFF") return bytes;
  ImportNotes notes;  // there is nothing to guess
  return PlainToUtf8(name, bytes, notes);
}

}  // namespace

Contents ReadJson(const std::string& name, const std::string& bytes) {
  const Json json = ParseJson(name, Utf8Of(name, bytes));
  const JsonPlace place(name);
  JsonObject object(json, place);
  Contents contents;
  contents.kind = TakeKind(object, place, json);
  CheckVersion(object, contents.kind);
  if (contents.kind == Kind::kCategory) {
    TakeCategories(object, contents.categories);
  } else {
    if (contents.kind == Kind::kOutline) TakeProperties(object, contents.outline);
    TakeItems(object, [&](const Json& element, const JsonPlace& at) {
      LeveledItem taken = TakeItem(element, at, contents.kind);
      contents.outline.Add(taken.level, std::move(taken.item));
    });
  }
  object.Finish();
  return contents;
}

}  // namespace kxo
