/// The names that fields have in JSON and in OPML alike, with their values in the model and their
/// defaults. A visitor is called with each name, its value and its default.
#pragma once

#include "Outline.h"

namespace kxo {

template <class Visitor, class Row, class New>
void VisitFlags(Visitor& visit, Row& row, const New& fresh) {
  visit("new", row.isNew, fresh.isNew);
  visit("changed", row.changed, fresh.changed);
  visit("deleted", row.deleted, fresh.deleted);
  visit("empty", row.empty, fresh.empty);
  visit("archived", row.archived, fresh.archived);
  visit("sortChanged", row.sortChanged, fresh.sortChanged);
}

/// But for the numbering.
template <class Visitor, class AnyShared>
void VisitShared(Visitor& visit, AnyShared& shared) {
  static const SharedFields fresh;
  visit("category", shared.category, fresh.category);
  visit("matchName", shared.matchName, fresh.matchName);
  visit("private", shared.isPrivate, fresh.isPrivate);
  visit("synchronized", shared.synchronized, fresh.synchronized);
  visit("outlineChanged", shared.outlineChanged, fresh.outlineChanged);
  visit("numberingDivider", shared.numberingDivider, fresh.numberingDivider);
}

/// But for the objects in it.
template <class Visitor, class AnyView>
void VisitView(Visitor& visit, AnyView& view) {
  static const View fresh;
  visit("showCheckedItems", view.showCheckedItems, fresh.showCheckedItems);
  visit("showHeadingsMode", view.showHeadingsMode, fresh.showHeadingsMode);
  visit("selectedIndex", view.selectedIndex, fresh.selectedIndex);
  visit("topIndex", view.topIndex, fresh.topIndex);
}

template <class Visitor, class AnyWindow>
void VisitWindow(Visitor& visit, AnyWindow& window) {
  static const WindowPlace fresh;
  visit("flags", window.flags, fresh.flags);
  visit("showCommand", window.showCommand, fresh.showCommand);
  visit("minimized", window.minimized, fresh.minimized);
  visit("maximized", window.maximized, fresh.maximized);
  visit("normal", window.normal, fresh.normal);
}

template <class Visitor, class AnyFont>
void VisitFont(Visitor& visit, AnyFont& font) {
  static const Font fresh;
  visit("name", font.name, fresh.name);
  visit("color", font.color, fresh.color);
  visit("height", font.height, fresh.height);
  visit("width", font.width, fresh.width);
  visit("escapement", font.escapement, fresh.escapement);
  visit("orientation", font.orientation, fresh.orientation);
  visit("weight", font.weight, fresh.weight);
  visit("italic", font.italic, fresh.italic);
  visit("underline", font.underline, fresh.underline);
  visit("strikeOut", font.strikeOut, fresh.strikeOut);
  visit("charSet", font.charSet, fresh.charSet);
  visit("outPrecision", font.outPrecision, fresh.outPrecision);
  visit("clipPrecision", font.clipPrecision, fresh.clipPrecision);
  visit("quality", font.quality, fresh.quality);
  visit("pitchAndFamily", font.pitchAndFamily, fresh.pitchAndFamily);
}

}  // namespace kxo
