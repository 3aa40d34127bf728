#include <fmt/format.h>

#include <algorithm>
#include <new>
#include <nlohmann/json.hpp>

#include "Base64.h"
#include "StoredFields.h"
#include "formats/CleanText.h"
#include "formats/Json.h"
#include "formats/JsonDrawing.h"
#include "formats/JsonSchema.h"

namespace kxo {

namespace {

using salvage::Kind;
using OrderedJson = nlohmann::ordered_json;

/// An object in the making: keys whose values are their defaults are left out.
class ObjectWriter {
 public:
  template <class Value>
  void operator()(const char* key, const Value& value, const Value& fallback) {
    if (!(value == fallback)) json_[key] = Put(value);
  }
  void Set(const char* key, OrderedJson value) { json_[key] = std::move(value); }
  void SetUnlessEmpty(const char* key, OrderedJson value) {
    if (!value.empty()) Set(key, std::move(value));
  }
  /// Whether a text had something in it that JSON cannot hold.
  bool IsCleaned() const { return isCleaned_; }
  OrderedJson Take() { return std::move(json_); }

 private:
  template <class Value>
  OrderedJson Put(const Value& value) {
    return value;
  }
  OrderedJson Put(const std::string& text) {
    std::string clean = CleanText().Of(text);
    isCleaned_ = isCleaned_ || clean != text;
    return clean;
  }
  OrderedJson Put(const std::optional<std::string>& text) {
    return text ? Put(*text) : OrderedJson(nullptr);
  }

  OrderedJson json_ = OrderedJson::object();
  bool isCleaned_ = false;
};

OrderedJson JsonOf(const UnknownTag& tag) {
  ObjectWriter object;
  object.Set("id", tag.id);
  object("data", ToBase64(tag.data), std::string());
  object("changed", tag.changed, false);
  object("version", tag.version, uint8_t{0});
  return object.Take();
}

OrderedJson JsonOf(const std::vector<UnknownTag>& tags) {
  OrderedJson list = OrderedJson::array();
  for (const UnknownTag& tag : tags) list.push_back(JsonOf(tag));
  return list;
}

bool Contains(const std::vector<uint32_t>& tags, uint32_t tag) {
  return std::find(tags.begin(), tags.end(), tag) != tags.end();
}

/// Of the fields that stand in the block.
OrderedJson ChangedFields(const Extras& extras, json::FieldNames fields,
                          const std::vector<uint32_t>& present) {
  OrderedJson names = OrderedJson::array();
  for (const json::FieldName& field : fields) {
    const bool isChanged = Contains(present, field.tag) && !Contains(extras.unmarked, field.tag);
    if (isChanged) names.push_back(field.name);
  }
  return names;
}

OrderedJson Versions(const Extras& extras, json::FieldNames fields) {
  OrderedJson versions = OrderedJson::object();
  for (const json::FieldName& field : fields) {
    for (const auto& [tag, version] : extras.versions) {
      if (tag == field.tag) versions[field.name] = version;
    }
  }
  return versions;
}

/// `block` gives the block of the whole row or header.
template <class Block>
void PutExtras(ObjectWriter& object, const Extras& extras, json::FieldNames fields,
               bool isBlockNeeded, Block block) {
  if (!extras.unmarked.empty()) {
    object.Set("changedFields", ChangedFields(extras, fields, TagsIn(block())));
  }
  object.SetUnlessEmpty("tagVersions", Versions(extras, fields));
  object.SetUnlessEmpty("unknownTags", JsonOf(extras.unknownTags));
  if (extras.stored || isBlockNeeded) object.Set("storedBlock", ToBase64(block()));
}

/// A block that gives back what it was made of, as all that came from a file does. Setters of the
/// library pass over exhausted memory.
std::string Whole(std::string block, bool isHeld) {
  if (!isHeld) throw std::bad_alloc();
  return block;
}

std::string WholeBlock(Kind kind, const Outline::Node& node) {
  std::string block = BlockOfItem(kind, node.level, node.item);
  unsigned level = 0;
  const bool isHeld = ItemOfBlock(kind, block, level) == node.item && level == node.level;
  return Whole(std::move(block), isHeld);
}

std::string WholeBlock(const Category& category) {
  std::string block = BlockOfCategory(category);
  const bool isHeld = CategoryOfBlock(block) == category;
  return Whole(std::move(block), isHeld);
}

std::string WholeBlock(const SharedFields& shared) {
  std::string block = BlockOfShared(shared);
  const bool isHeld = SharedOfBlock(block) == shared;
  return Whole(std::move(block), isHeld);
}

std::string WholeBlock(const Outline& outline) {
  std::string block = BlockOfView(outline.title, outline.view);
  std::string title;
  const bool isHeld = ViewOfBlock(block, title) == outline.view && title == outline.title;
  return Whole(std::move(block), isHeld);
}

std::string WholeBlock(const Extras& conduit) {
  std::string block = BlockOfConduit(conduit);
  const bool isHeld = ConduitOfBlock(block) == conduit;
  return Whole(std::move(block), isHeld);
}

OrderedJson JsonOf(const Drawing& drawing) {
  ObjectWriter object;
  object.Set("width", drawing.width);
  object.Set("height", drawing.height);
  object.Set("bitsPerPixel", drawing.bitsPerPixel);
  const std::string png = json::PngOfBlock(drawing.block);
  if (!png.empty()) object.Set("png", ToBase64(png));
  if (png.empty() || json::BlockOfPng(png) != drawing.block) {
    object.Set("data", ToBase64(drawing.block));
  }
  return object.Take();
}

OrderedJson JsonOf(const Outline::Node& node, Kind kind) {
  ObjectWriter object;
  const auto level = static_cast<uint8_t>(node.level);
  json::VisitItem(object, level, node.item, kind);
  if (node.item.drawing) object.Set("drawing", JsonOf(*node.item.drawing));
  PutExtras(object, node.item.extras, json::ItemFields(kind), object.IsCleaned(),
            [&] { return WholeBlock(kind, node); });
  return object.Take();
}

OrderedJson JsonOf(const Category& category) {
  ObjectWriter object;
  json::VisitCategory(object, category);
  PutExtras(object, category.extras, json::CategoryFields(), object.IsCleaned(),
            [&] { return WholeBlock(category); });
  return object.Take();
}

OrderedJson JsonOf(const View& view, bool& isCleaned) {
  ObjectWriter object;
  VisitView(object, view);
  ObjectWriter window;
  VisitWindow(window, view.window);
  object.SetUnlessEmpty("window", window.Take());
  ObjectWriter font;
  VisitFont(font, view.font);
  isCleaned = font.IsCleaned();
  object.SetUnlessEmpty("font", font.Take());
  return object.Take();
}

std::string NumberingOf(const SharedFields& shared) {
  return fmt::format("{:02x}", fmt::join(shared.numbering, ""));
}

template <class Block>
OrderedJson ExtrasOf(const Extras& extras, json::FieldNames fields, bool isBlockNeeded,
                     Block block) {
  ObjectWriter object;
  PutExtras(object, extras, fields, isBlockNeeded, block);
  return object.Take();
}

OrderedJson ConduitOf(const HeaderTable& headers) {
  return ExtrasOf(headers.conduit, {}, false, [&] { return WholeBlock(headers.conduit); });
}

void PutTable(ObjectWriter& object, const HeaderTable& headers, const HeaderTable& fresh) {
  OrderedJson slots = OrderedJson::array();
  for (const HeaderSlot& slot : headers.slots) {
    ObjectWriter entry;
    entry.Set("id", slot.id);
    entry.Set("size", slot.sizeBytes);
    slots.push_back(entry.Take());
  }
  if (headers.slots != fresh.slots) object.Set("slotSizes", std::move(slots));
  OrderedJson unknown = OrderedJson::array();
  for (const UnknownHeader& header : headers.unknown) {
    ObjectWriter entry;
    entry.Set("id", header.id);
    entry.Set("slot", ToBase64(header.slot));
    unknown.push_back(entry.Take());
  }
  object.SetUnlessEmpty("unknownHeaders", std::move(unknown));
}

void PutOutline(ObjectWriter& object, const Outline& outline) {
  object("title", outline.title, std::string(json::kNewTitle));
  const bool isTitleCleaned = object.IsCleaned();
  ObjectWriter shared;
  VisitShared(shared, outline.shared);
  const bool isSharedCleaned = shared.IsCleaned();
  const OrderedJson fields = shared.Take();
  for (const auto& [key, value] : fields.items()) object.Set(key.c_str(), value);
  object("numbering", NumberingOf(outline.shared), NumberingOf(SharedFields()));
  bool isViewCleaned = false;
  object.SetUnlessEmpty("view", JsonOf(outline.view, isViewCleaned));
  object("deletedIds", outline.deletedIds, {});
  ObjectWriter headers;
  headers.SetUnlessEmpty("conduit", ConduitOf(outline.headers));
  headers.SetUnlessEmpty(
      "shared", ExtrasOf(outline.shared.extras, json::SharedHeaderFields(), isSharedCleaned,
                         [&] { return WholeBlock(outline.shared); }));
  headers.SetUnlessEmpty(
      "private", ExtrasOf(outline.view.extras, json::PrivateHeaderFields(),
                          isTitleCleaned || isViewCleaned, [&] { return WholeBlock(outline); }));
  object.SetUnlessEmpty("headers", headers.Take());
  PutTable(object, outline.headers, NewHeaders());
}

void PutCategories(ObjectWriter& object, const CategoryList& list) {
  const CategoryList fresh;
  object("lastId", list.lastId, fresh.lastId);
  object("newFlag", list.isNew, fresh.isNew);
  ObjectWriter headers;
  headers.SetUnlessEmpty("conduit", ConduitOf(list.headers));
  object.SetUnlessEmpty("headers", headers.Take());
  PutTable(object, list.headers, fresh.headers);
}

/// The objects of items stand on a line each, and so do the keys around them.
class FileWriter {
 public:
  void PutKeys(const OrderedJson& object) {
    for (const auto& [key, value] : object.items()) {
      text_ += "  " + OrderedJson(key).dump() + ": " + value.dump() + ",\n";
    }
  }
  template <class List, class ToJson>
  void PutItems(const List& list, ToJson toJson) {
    text_ += "  \"items\": [";
    const char* separator = "\n    ";
    for (const auto& element : list) {
      text_ += separator + toJson(element).dump();
      separator = ",\n    ";
    }
    text_ += list.empty() ? "]\n" : "\n  ]\n";
  }
  std::string Take() { return "{\n" + std::move(text_) + "}\n"; }

 private:
  std::string text_;
};

}  // namespace

std::string WriteJson(const Contents& contents) {
  ObjectWriter object;
  object.Set("kind", json::NameOf(contents.kind));
  object.Set("version", json::VersionOf(contents.kind));
  if (contents.kind == Kind::kOutline) PutOutline(object, contents.outline);
  if (contents.kind == Kind::kCategory) PutCategories(object, contents.categories);
  FileWriter file;
  file.PutKeys(object.Take());
  if (contents.kind == Kind::kCategory) {
    file.PutItems(contents.categories.slots, [](const Category& slot) { return JsonOf(slot); });
  } else {
    file.PutItems(contents.outline.GetNodes(),
                  [&](const Outline::Node& node) { return JsonOf(node, contents.kind); });
  }
  return file.Take();
}

}  // namespace kxo
