/// Which keys the objects of docs/json.md have, in which order, and their defaults: told once for
/// writing and reading. A visitor is called with each key, its value and its default.
#pragma once

#include <array>
#include <cstdint>
#include <span>

#include "KxFormat.h"
#include "Outline.h"
#include "formats/SharedKeys.h"
#include "salvage/Fields.h"

namespace kxo::json {

constexpr const char* kNewTitle = "Untitled";

/// A field that a row or header stores, as lists of fields name it.
struct FieldName {
  const char* name;
  uint32_t tag;
};
using FieldNames = std::span<const FieldName>;

namespace detail {

namespace format = kx_gen::format;
constexpr uint32_t Text(uint8_t number) { return format::kStringTagBase + number; }

constexpr std::array kItemFields = {
    FieldName{"flags", format::kTagFlagByte},     FieldName{"sortChanged", format::kTagSortChanged},
    FieldName{"id", format::kTagOutlineId},       FieldName{"level", format::kTagIndent},
    FieldName{"text", Text(format::kStringText)}, FieldName{"note", Text(format::kStringNote)},
    FieldName{"expanded", format::kTagExpanded},  FieldName{"checked", format::kTagChecked},
    FieldName{"drawing", format::kTagDrawing},    FieldName{"internalId", format::kTagInternalId},
    FieldName{"parentId", format::kTagParentId}};
/// Only memory outlines have the last ones.
constexpr size_t kLinkFieldCount = 2;
constexpr std::array kCategoryFields = {FieldName{"flags", format::kTagFlagByte},
                                        FieldName{"sortChanged", format::kTagSortChanged},
                                        FieldName{"id", format::kTagCategoryId},
                                        FieldName{"name", Text(format::kStringCategoryRecordName)},
                                        FieldName{"lastChangedTime", format::kTagLastChangedTime}};
constexpr std::array kSharedFields = {FieldName{"category", Text(format::kStringCategoryName)},
                                      FieldName{"matchName", Text(format::kStringMatchName)},
                                      FieldName{"private", format::kTagPrivate},
                                      FieldName{"synchronized", format::kTagSynchronized},
                                      FieldName{"outlineChanged", format::kTagOutlineChanged},
                                      FieldName{"numbering", format::kTagNumbering},
                                      FieldName{"numberingDivider", format::kTagNumberingDivider}};
constexpr std::array kPrivateFields = {FieldName{"title", Text(format::kStringOutlineTitle)},
                                       FieldName{"showCheckedItems", format::kTagShowCheckedItems},
                                       FieldName{"showHeadingsMode", format::kTagShowHeadingsMode},
                                       FieldName{"selectedIndex", format::kTagSelectedIndex},
                                       FieldName{"topIndex", format::kTagTopIndex},
                                       FieldName{"window", format::kTagWindowPos},
                                       FieldName{"font", format::kTagFontInfo},
                                       FieldName{"fontName", Text(format::kStringFontName)},
                                       FieldName{"fontColor", format::kTagFontColor}};

}  // namespace detail

inline FieldNames ItemFields(salvage::Kind kind) {
  const FieldNames all = detail::kItemFields;
  return kind == salvage::Kind::kMemory ? all : all.first(all.size() - detail::kLinkFieldCount);
}
inline FieldNames CategoryFields() { return detail::kCategoryFields; }
inline FieldNames SharedHeaderFields() { return detail::kSharedFields; }
inline FieldNames PrivateHeaderFields() { return detail::kPrivateFields; }

/// But for the drawing and what stands beside the values.
template <class Visitor, class Level, class AnyItem>
void VisitItem(Visitor& visit, Level& level, AnyItem& item, salvage::Kind kind) {
  static const Item fresh;
  visit("id", item.id, fresh.id);
  visit("level", level, std::remove_const_t<Level>{});
  visit("text", item.text, fresh.text);
  visit("note", item.note, fresh.note);
  visit("expanded", item.expanded, fresh.expanded);
  visit("checked", item.checked, fresh.checked);
  VisitFlags(visit, item, fresh);
  if (kind != salvage::Kind::kMemory) return;
  visit("internalId", item.internalId, fresh.internalId);
  visit("parentId", item.parentId, fresh.parentId);
}

template <class Visitor, class AnyCategory>
void VisitCategory(Visitor& visit, AnyCategory& category) {
  static const Category fresh;
  visit("id", category.id, fresh.id);
  visit("name", category.name, fresh.name);
  visit("lastChangedTime", category.lastChangedTime, fresh.lastChangedTime);
  VisitFlags(visit, category, fresh);
}

/// The name of a kind.
inline const char* NameOf(salvage::Kind kind) {
  switch (kind) {
    case salvage::Kind::kMemory:
      return "memoryOutline";
    case salvage::Kind::kCategory:
      return "category";
    default:
      return "outline";
  }
}

/// The version that files of a kind are saved in.
inline unsigned VersionOf(salvage::Kind kind) { return salvage::NewestVersion(kind); }

}  // namespace kxo::json
