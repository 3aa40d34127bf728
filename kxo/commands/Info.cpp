#include <CLI/App.hpp>
#include <algorithm>
#include <array>
#include <chrono>
#include <filesystem>
#include <initializer_list>
#include <memory>
#include <string>

#include "CategoryDocument.h"
#include "Document.h"
#include "HeaderListing.h"
#include "InputDocument.h"
#include "JsonText.h"
#include "LinkedTree.h"
#include "Listing.h"
#include "MemoryDocument.h"
#include "Output.h"
#include "Text.h"
#include "UtcTime.h"
#include "commands/CodePageOption.h"
#include "commands/Commands.h"

namespace kxo {
namespace {

namespace format = kx_gen::format;

using kx_gen::_String;
using salvage::Kind;

constexpr uint32_t StringTag(uint8_t number) { return format::kStringTagBase + number; }

std::string Join(std::initializer_list<long> numbers) {
  std::string text;
  for (const long number : numbers) {
    text += text.empty() ? "" : ", ";
    text += std::to_string(number);
  }
  return text;
}

template <class Header, class Getter>
Value TextOf(Header& header, Getter getter) {
  _String text;
  (header.*getter)(text);
  return Quoted(FromWide(text));
}

/// Where the parts of a file end.
struct Ends {
  uint64_t file = 0;
  uint64_t rows = 0;
};

void ListRowSizes(const Ends& ends, uint64_t rowsBegin, Listing& listing) {
  listing.Add("rows", Bytes(ends.rows - rowsBegin));
  if (ends.file > ends.rows) listing.Add("behind the last row", Bytes(ends.file - ends.rows));
}

/// Of a file with headers, and something between these and its rows.
void ListSizes(const Ends& ends, uint64_t extraBegin, const std::string& extra, uint64_t extraSize,
               Listing& listing) {
  listing.Section("Sizes");
  listing.Add("file", Bytes(ends.file));
  listing.Add("headers with table", Bytes(extraBegin - format::kDbInfoSize));
  listing.Add(extra,
              {ByteCount(extraSize) + " from offset " + std::to_string(extraBegin), extraSize});
  ListRowSizes(ends, extraBegin + extraSize, listing);
}

Value NumberingOf(Document& document) {
  std::array<unsigned char, format::kNumberingSize> numbering{};
  document.getNumbering(numbering.data());
  std::string text;
  for (const unsigned char byte : numbering) {
    text += text.empty() ? "" : " ";
    text += Hex(byte, 2);
  }
  return {text, text};
}

void ListShared(Document& document, const ListedFile& file) {
  kx_gen::CSharedHeader& header = document.Shared();
  ListHeading(file, format::kSharedHeaderId, "Shared header");
  HeaderListing fields(file, format::kSharedHeaderId, header);
  fields.Add("category", StringTag(format::kStringCategoryName),
             [&] { return TextOf(header, &kx_gen::CSharedHeader::GetCategoryName); });
  fields.Add("match name", StringTag(format::kStringMatchName),
             [&] { return TextOf(header, &kx_gen::CSharedHeader::GetPalmMatchName); });
  fields.Add("outline changed", format::kTagOutlineChanged,
             [&] { return YesNo(header.GetOutlineChanged()); });
  fields.Add("synchronised", format::kTagSynchronized,
             [&] { return YesNo(header.GetSynchronized()); });
  fields.Add("private", format::kTagPrivate, [&] { return YesNo(header.GetPrivate()); });
  fields.Add("numbering", format::kTagNumbering, [&] { return NumberingOf(document); });
  fields.Add("numbering divider", format::kTagNumberingDivider,
             [&] { return Number(header.getNumberingDivider()); });
  fields.AddOthers();
}

Value WindowOf(kx_gen::CPrivateOutlineHeader& header) {
  kx_gen::TStoredWindowPos pos{};
  header.GetStoredWndPos(&pos);
  const std::string text =
      "normal rectangle " +
      Join({pos.normalLeft, pos.normalTop, pos.normalRight, pos.normalBottom}) + "\nminimised at " +
      Join({pos.minPositionX, pos.minPositionY}) + ", maximised at " +
      Join({pos.maxPositionX, pos.maxPositionY}) + "\nshow command " + Digits(pos.showCmd) +
      ", flags " + Digits(pos.flags);
  Json json = Json::object();
  json["normal"] = {pos.normalLeft, pos.normalTop, pos.normalRight, pos.normalBottom};
  json["minimised"] = {pos.minPositionX, pos.minPositionY};
  json["maximised"] = {pos.maxPositionX, pos.maxPositionY};
  json["showCommand"] = pos.showCmd;
  json["flags"] = pos.flags;
  return {text, json};
}

std::string TextOfFont(const kx_gen::TStoredFontInfo& font) {
  return "height " + Join({font.height}) + ", width " + Join({font.width}) + ", escapement " +
         Join({font.escapement}) + ", orientation " + Join({font.orientation}) + ", weight " +
         Join({font.weight}) + "\nitalic " + Digits(font.italic) + ", underline " +
         Digits(font.underline) + ", strike-out " + Digits(font.strikeOut) + ", character set " +
         Digits(font.charSet) + "\noutput precision " + Digits(font.outPrecision) +
         ", clip precision " + Digits(font.clipPrecision) + ", quality " + Digits(font.quality) +
         ", pitch and family " + Digits(font.pitchAndFamily);
}

Value FontOf(kx_gen::CPrivateOutlineHeader& header) {
  kx_gen::TStoredFontInfo font{};
  header.GetStoredFontInfo(&font);
  // Of a packed record: copies, not references.
  const auto number = [](long value) { return Json(value); };
  Json json = Json::object();
  json["height"] = number(font.height);
  json["width"] = number(font.width);
  json["escapement"] = number(font.escapement);
  json["orientation"] = number(font.orientation);
  json["weight"] = number(font.weight);
  json["italic"] = number(font.italic);
  json["underline"] = number(font.underline);
  json["strikeOut"] = number(font.strikeOut);
  json["characterSet"] = number(font.charSet);
  json["outputPrecision"] = number(font.outPrecision);
  json["clipPrecision"] = number(font.clipPrecision);
  json["quality"] = number(font.quality);
  json["pitchAndFamily"] = number(font.pitchAndFamily);
  return {TextOfFont(font), json};
}

void ListPrivate(Document& document, const ListedFile& file) {
  using Header = kx_gen::CPrivateOutlineHeader;
  Header& header = document.Private();
  ListHeading(file, format::kPrivateOutlineHeaderId, "Private header");
  HeaderListing fields(file, format::kPrivateOutlineHeaderId, header);
  fields.Add("title", StringTag(format::kStringOutlineTitle),
             [&] { return TextOf(header, &Header::GetOutlineTitle); });
  fields.Add("show checked items", format::kTagShowCheckedItems,
             [&] { return Number(header.GetShowCheckedItems()); });
  fields.Add("show headings mode", format::kTagShowHeadingsMode,
             [&] { return Number(header.GetShowHeadingsMode()); });
  fields.Add("selected index", format::kTagSelectedIndex,
             [&] { return Number(header.GetSelectedIndex()); });
  fields.Add("top index", format::kTagTopIndex, [&] { return Number(header.GetTopIndex()); });
  fields.Add("window position", format::kTagWindowPos, [&] { return WindowOf(header); });
  fields.Add("font", format::kTagFontInfo, [&] { return FontOf(header); });
  fields.Add("font name", StringTag(format::kStringFontName),
             [&] { return TextOf(header, &Header::GetFontName); });
  fields.Add("font colour", format::kTagFontColor, [&] {
    return Value{"0x" + Hex(header.GetFontColor(), 8), header.GetFontColor()};
  });
  fields.AddOthers();
}

void ListDeletedIds(Document& document, Listing& listing) {
  const kx_gen::CDeletedThoughts& deleted = document.GetDeletedThoughts();
  std::string text = Digits(deleted.GetCount());
  Json ids = Json::array();
  for (size_t i = 0; i < deleted.GetCount(); ++i) {
    text += (i == 0 ? ": " : ", ") + Digits(deleted.GetId(i));
    ids.push_back(deleted.GetId(i));
  }
  listing.Section("Deleted ids");
  listing.Add("ids", {text, ids});
}

/// A counter for each property that an item may have, and how many have it.
void ListItems(const Outline& outline, Listing& listing) {
  const auto& nodes = outline.GetNodes();
  const auto count = [&nodes](auto has) {
    return Number(static_cast<unsigned long>(std::count_if(
        nodes.begin(), nodes.end(), [&](const Outline::Node& node) { return has(node.item); })));
  };
  unsigned levels = 0;
  uint64_t drawingBytes = 0;
  for (const Outline::Node& node : nodes) {
    levels = std::max(levels, node.level + 1);
    if (node.item.drawing) drawingBytes += node.item.drawing->block.size();
  }
  listing.Section("Items");
  listing.Add("items", Number(nodes.size()));
  listing.Add("levels", Number(levels));
  listing.Add("notes", count([](const Item& item) { return item.note && !item.note->empty(); }));
  listing.Add("empty notes",
              count([](const Item& item) { return item.note && item.note->empty(); }));
  Value drawings = count([](const Item& item) { return item.drawing.has_value(); });
  if (drawingBytes > 0) drawings.text += ", " + ByteCount(drawingBytes);
  listing.Add("drawings", drawings);
  listing.ForPrograms()["drawingBytes"] = drawingBytes;
  listing.Add("checked", count([](const Item& item) { return item.checked; }));
  listing.Add("folded", count([](const Item& item) { return !item.expanded; }));
  listing.Add("with an id", count([](const Item& item) { return item.id != 0; }));
  listing.Add("flagged new", count([](const Item& item) { return item.isNew; }));
  listing.Add("flagged changed", count([](const Item& item) { return item.changed; }));
  listing.Add("flagged deleted", count([](const Item& item) { return item.deleted; }));
  listing.Add("flagged empty", count([](const Item& item) { return item.empty; }));
  listing.Add("flagged archived", count([](const Item& item) { return item.archived; }));
  listing.Add("sort changed", count([](const Item& item) { return item.sortChanged; }));
}

void ListKind(kx_gen::CDatabase& db, Kind kind, Listing& listing) {
  const std::string name = kind == Kind::kOutline ? "outline document" : salvage::NameOf(kind);
  listing.Add("kind", {name, KeyOf(kind)});
  listing.Add("version", Number(db.GetVersionNum()));
  listing.Add("rows", Number(db.GetRowCount()));
}

void ListOutline(const InputPlace& place, uint64_t fileSize, Listing& listing) {
  Document document(place.GetName());
  document.OpenToRead(place.GetPath());
  document.ReadHeaders();
  const Outline outline = document.ReadOutline();
  const ListedFile file = {document, place.GetName(), listing};
  ListKind(document, Kind::kOutline, listing);
  ListItems(outline, listing);
  ListDeletedIds(document, listing);
  ListShared(document, file);
  ListPrivate(document, file);
  ListConduit(file);
  ListSlots(file);
  const uint64_t idsSize =
      format::kDeletedCountSize + format::kDeletedIdSize * document.GetDeletedThoughts().GetCount();
  ListSizes({fileSize, document.RowsEnd()}, document.FirstRowsOffset(), "deleted ids", idsSize,
            listing);
}

void ListMemoryOutline(const InputPlace& place, uint64_t fileSize, Listing& listing) {
  MemoryDocument document(place.GetName());
  document.OpenAndRead(place.GetPath());
  const Outline items = document.GetItems(Lacking::kThrows);
  ListKind(document, Kind::kMemory, listing);
  const bool isLinked = IsLinked(items);
  ListItems(LinkedTree(items), listing);
  listing.Add("tree",
              {isLinked ? "by parent ids" : "by levels", isLinked ? "parentIds" : "levels"});
  listing.Section("Sizes");
  listing.Add("file", Bytes(fileSize));
  ListRowSizes({fileSize, EndOfRows(document, format::kDbInfoSize)}, format::kDbInfoSize, listing);
}

/// A counter for each state that a slot may have.
void ListSlotStates(CategoryDocument& categories, Listing& listing) {
  const auto count = [&categories](auto has) {
    unsigned long counted = 0;
    for (size_t slot = 0; slot < categories.SlotCount(); ++slot) {
      if (has(categories.Slot(slot))) ++counted;
    }
    return Number(counted);
  };
  using kx_gen::CCategoryRecord;
  listing.Section("Categories");
  listing.Add("categories", Number(categories.GetCategoryCount()));
  listing.Add("empty slots", count([](CCategoryRecord& slot) { return slot.IsEmpty(); }));
  listing.Add("flagged new", count([](CCategoryRecord& slot) { return slot.IsNew(); }));
  listing.Add("flagged changed", count([](CCategoryRecord& slot) { return slot.IsChanged(); }));
  listing.Add("flagged deleted", count([](CCategoryRecord& slot) { return slot.IsDeleted(); }));
  listing.Add("flagged archived", count([](CCategoryRecord& slot) { return slot.IsArchived(); }));
}

/// Of any category, deleted ones too.
Value LastChangeOf(CategoryDocument& categories) {
  uint32_t last = 0;
  for (size_t slot = 0; slot < categories.SlotCount(); ++slot) {
    last = std::max(last, static_cast<uint32_t>(categories.Slot(slot).GetLastChangedTime()));
  }
  if (last == 0) return {"none", nullptr};
  const std::string time = UtcTime(std::chrono::sys_seconds(std::chrono::seconds(last)));
  return {time, time};
}

void ListCategories(const InputPlace& place, uint64_t fileSize, Listing& listing) {
  CategoryDocument categories(place.GetName());
  categories.OpenAndRead(place.GetPath(), false);
  const ListedFile file = {categories, place.GetName(), listing};
  ListKind(categories, Kind::kCategory, listing);
  ListSlotStates(categories, listing);
  listing.Add("last change", LastChangeOf(categories));
  listing.Add("last id", Number(categories.GetLastIdRead()));
  if (categories.HasNewFlag()) listing.Add("new flag", YesNo(categories.isNew()));
  ListConduit(file);
  ListSlots(file);
  const unsigned long rowsBegin = categories.ExtraOffset() + categories.ExtraSize();
  ListSizes({fileSize, EndOfRows(categories, rowsBegin)}, categories.ExtraOffset(),
            "last id and flag", categories.ExtraSize(), listing);
}

struct InfoOptions {
  std::string file;
  bool json = false;
};

void RunInfo(const Session& session, const InfoOptions& options) {
  const InputPlace place(session, options.file);
  const Kind kind = place.LookForKind();
  const uint64_t fileSize = std::filesystem::file_size(place.GetPath());
  Listing listing;
  listing.Title(place.GetName());
  if (kind == Kind::kOutline) {
    ListOutline(place, fileSize, listing);
  } else if (kind == Kind::kMemory) {
    ListMemoryOutline(place, fileSize, listing);
  } else {
    ListCategories(place, fileSize, listing);
  }
  WriteData(options.json ? DumpLines(listing.GetJson()) : listing.GetLines());
}

}  // namespace

void AddInfo(CLI::App& app, ChosenCommand& chosen) {
  auto options = std::make_shared<InfoOptions>();
  CLI::App* command = app.add_subcommand("info");
  command->group("Commands");
  command->description(
      "Tells the header fields, counts and sizes of a document.\n\n"
      "Examples:\n"
      "  kxo info plan.kxo\n"
      "  kxo info plan.kxo --json | jq .items.notes\n"
      "  ssh host cat categories.kxc | kxo info -\n\n"
      "That is: how many items there are and of what kind, which ids of deleted items wait\n"
      "for synchronisation, every field of the headers, and what takes how much room. Fields\n"
      "that synchronisation has yet to see are marked as changed. Of a category file: which\n"
      "categories there are, in what state, when one changed last, and the last id.\n");
  command->add_option("FILE", options->file, "The document; - is standard input")->required();
  command->add_flag("--json", options->json, "Print it as JSON");
  AddCodePageOption(*command);
  command->callback([options, &chosen] {
    chosen = [options](const Session& session) { RunInfo(session, *options); };
  });
}

}  // namespace kxo
