#include <CLI/App.hpp>
#include <algorithm>
#include <array>
#include <cstdio>
#include <filesystem>
#include <initializer_list>
#include <memory>
#include <string>

#include "Document.h"
#include "Output.h"
#include "TagList.h"
#include "Text.h"
#include "commands/CodePageOption.h"
#include "commands/Commands.h"

namespace kxo {
namespace {

namespace format = kx_gen::format;

using kx_gen::_String;
using kx_gen::CTaggedDataHeader;

constexpr uint32_t StringTag(uint8_t number) { return format::kStringTagBase + number; }

std::string Number(unsigned long number) { return std::to_string(number); }
std::string Bytes(uint64_t count) { return Counted(static_cast<size_t>(count), "byte"); }
std::string YesNo(bool value) { return value ? "yes" : "no"; }
std::string Quoted(const std::string& text) { return "\"" + Escaped(text) + "\""; }

std::string Hex(unsigned long number, int digits) {
  std::array<char, 16> text{};
  std::snprintf(text.data(), text.size(), "%0*lX", digits, number);
  return text.data();
}

std::string Join(std::initializer_list<long> numbers) {
  std::string text;
  for (const long number : numbers) {
    text += text.empty() ? "" : ", ";
    text += std::to_string(number);
  }
  return text;
}

/// Lines of "name  value" under headings. A value may have several lines.
class Listing {
 public:
  void Section(const std::string& title) { lines_ += "\n" + title + "\n"; }
  void Add(const std::string& name, const std::string& value);
  void Title(const std::string& title) { lines_ += title + "\n"; }
  const std::string& GetLines() const { return lines_; }

 private:
  std::string lines_;
};

void Listing::Add(const std::string& name, const std::string& value) {
  constexpr size_t kNameWidth = 22;
  const size_t gap = std::max(kNameWidth, name.size() + 2) - name.size();
  lines_ += "  " + name + std::string(gap, ' ');
  for (const char c : value) {
    lines_ += c;
    if (c == '\n') lines_ += std::string(2 + kNameWidth, ' ');
  }
  lines_ += "\n";
}

/// The fields of one header. A field that synchronisation has yet to see is marked as changed, and
/// one that the header does not have is said to be absent.
class HeaderListing {
 public:
  HeaderListing(Document& document, unsigned short id, CTaggedDataHeader& header, Listing& listing)
      : document_(document), id_(id), header_(header), listing_(listing) {}

  template <class Value>
  void Add(const std::string& name, uint32_t tag, Value value) {
    known_.push_back(tag);
    document_.InHeader(id_, [&] {
      if (!header_.hasTag(tag)) {
        listing_.Add(name, "absent");
        return;
      }
      bool changed = false;
      header_.getTaggedDataManager().getTagChanged(tag, &changed);
      listing_.Add(name, value() + (changed ? "  (changed)" : ""));
    });
  }
  /// The tags that have not been listed by name.
  void AddOthers();

 private:
  Document& document_;
  unsigned short id_;
  CTaggedDataHeader& header_;
  Listing& listing_;
  std::vector<uint32_t> known_;
};

void HeaderListing::AddOthers() {
  const auto tags = ListTags(header_.GetHeaderDataPtr(), header_.getTaggedDataManager().size());
  for (const TagEntry& tag : tags) {
    if (std::find(known_.begin(), known_.end(), tag.id) == known_.end()) {
      listing_.Add("tag 0x" + Hex(tag.id, 8), Bytes(tag.sizeBytes) + ", unknown here, kept");
    }
  }
}

template <class Header, class Getter>
std::string TextOf(Header& header, Getter getter) {
  _String text;
  (header.*getter)(text);
  return Quoted(FromWide(text));
}

std::string HeaderName(unsigned short id) {
  switch (id) {
    case format::kConduitHeaderId:
      return "1 conduit";
    case format::kSharedHeaderId:
      return "2 shared";
    case format::kPrivateOutlineHeaderId:
      return "3 private";
    default:
      return std::to_string(id) + " unknown";
  }
}

void ListSizes(Document& document, uint64_t fileSize, Listing& listing) {
  const unsigned long rowsStart = document.FirstRowsOffset();
  const unsigned long rowsEnd = document.RowsEnd();
  const uint64_t idsSize =
      format::kDeletedCountSize + format::kDeletedIdSize * document.GetDeletedThoughts().GetCount();
  listing.Section("Sizes");
  listing.Add("file", Bytes(fileSize));
  listing.Add("headers with table", Bytes(rowsStart - format::kDbInfoSize));
  listing.Add("deleted ids", Bytes(idsSize) + " from offset " + Number(rowsStart));
  listing.Add("rows", Bytes(rowsEnd - rowsStart - idsSize));
  if (fileSize > rowsEnd) listing.Add("behind the last row", Bytes(fileSize - rowsEnd));
}

std::string SlotUse(Document& document, const kx_gen::THeaderInfo& info) {
  CTaggedDataHeader* header = document.GetHeaderManager().GetHeaderPtr(info.record.id);
  if (header == nullptr) return "kept as it is";
  return Number(header->getTaggedDataManager().size()) + " used";
}

void ListSlots(Document& document, Listing& listing) {
  listing.Section("Header slots");
  for (const kx_gen::THeaderInfo* info : document.GetHeaderManager().GetReadList()) {
    const unsigned long offset = document.GetHeaderManager().GetHeaderReadPos(info->record.id);
    listing.Add(HeaderName(info->record.id), Bytes(info->record.size) + " from offset " +
                                                 Number(offset) + ", " + SlotUse(document, *info));
  }
}

/// False, with a word about it, when the file lacks the header and its fields are defaults.
void ListHeading(Document& document, unsigned short id, const std::string& title,
                 Listing& listing) {
  listing.Section(document.HasHeader(id) ? title : title + " (not in the file: defaults)");
}

void ListConduit(Document& document, Listing& listing) {
  CTaggedDataHeader& header = *document.GetConduitHeader();
  ListHeading(document, format::kConduitHeaderId, "Conduit header", listing);
  if (header.getTaggedDataManager().size() == 0) listing.Add("fields", "none");
  HeaderListing(document, format::kConduitHeaderId, header, listing).AddOthers();
}

std::string NumberingOf(Document& document) {
  std::array<unsigned char, format::kNumberingSize> numbering{};
  document.getNumbering(numbering.data());
  std::string text;
  for (const unsigned char byte : numbering) {
    text += text.empty() ? "" : " ";
    text += Hex(byte, 2);
  }
  return text;
}

void ListShared(Document& document, Listing& listing) {
  kx_gen::CSharedHeader& header = document.Shared();
  ListHeading(document, format::kSharedHeaderId, "Shared header", listing);
  HeaderListing fields(document, format::kSharedHeaderId, header, listing);
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

std::string WindowOf(kx_gen::CPrivateOutlineHeader& header) {
  kx_gen::TStoredWindowPos pos{};
  header.GetStoredWndPos(&pos);
  return "normal rectangle " +
         Join({pos.normalLeft, pos.normalTop, pos.normalRight, pos.normalBottom}) +
         "\nminimised at " + Join({pos.minPositionX, pos.minPositionY}) + ", maximised at " +
         Join({pos.maxPositionX, pos.maxPositionY}) + "\nshow command " + Number(pos.showCmd) +
         ", flags " + Number(pos.flags);
}

std::string FontOf(kx_gen::CPrivateOutlineHeader& header) {
  kx_gen::TStoredFontInfo font{};
  header.GetStoredFontInfo(&font);
  return "height " + Join({font.height}) + ", width " + Join({font.width}) + ", escapement " +
         Join({font.escapement}) + ", orientation " + Join({font.orientation}) + ", weight " +
         Join({font.weight}) + "\nitalic " + Number(font.italic) + ", underline " +
         Number(font.underline) + ", strike-out " + Number(font.strikeOut) + ", character set " +
         Number(font.charSet) + "\noutput precision " + Number(font.outPrecision) +
         ", clip precision " + Number(font.clipPrecision) + ", quality " + Number(font.quality) +
         ", pitch and family " + Number(font.pitchAndFamily);
}

void ListPrivate(Document& document, Listing& listing) {
  using Header = kx_gen::CPrivateOutlineHeader;
  Header& header = document.Private();
  ListHeading(document, format::kPrivateOutlineHeaderId, "Private header", listing);
  HeaderListing fields(document, format::kPrivateOutlineHeaderId, header, listing);
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
  fields.Add("font colour", format::kTagFontColor,
             [&] { return "0x" + Hex(header.GetFontColor(), 8); });
  fields.AddOthers();
}

void ListDeletedIds(Document& document, Listing& listing) {
  const kx_gen::CDeletedThoughts& deleted = document.GetDeletedThoughts();
  std::string ids;
  for (size_t i = 0; i < deleted.GetCount(); ++i) {
    ids += i == 0 ? ": " : ", ";
    ids += Number(deleted.GetId(i));
  }
  listing.Section("Deleted ids");
  listing.Add("ids", Number(deleted.GetCount()) + ids);
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
  listing.Add("drawings", count([](const Item& item) { return item.drawing.has_value(); }) +
                              (drawingBytes > 0 ? ", " + Bytes(drawingBytes) : ""));
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

void RunInfo(const Session& session, const std::string& name) {
  const std::filesystem::path path = session.ExistingFile(name);
  const std::unique_ptr<Document> document = OpenDocument(name, path);
  document->ReadHeaders();
  const Outline outline = document->ReadOutline();

  Listing listing;
  listing.Title(WritesToTerminal() ? Escaped(name) : OnOneLine(name));
  listing.Add("kind", "outline document");
  listing.Add("version", Number(document->GetVersionNum()));
  listing.Add("rows", Number(document->GetRowCount()));
  ListItems(outline, listing);
  ListDeletedIds(*document, listing);
  ListShared(*document, listing);
  ListPrivate(*document, listing);
  ListConduit(*document, listing);
  ListSlots(*document, listing);
  ListSizes(*document, std::filesystem::file_size(path), listing);
  WriteData(listing.GetLines());
}

}  // namespace

void AddInfo(CLI::App& app, ChosenCommand& chosen) {
  auto name = std::make_shared<std::string>();
  CLI::App* command = app.add_subcommand("info");
  command->group("Commands");
  command->description(
      "Tells the header fields, counts and sizes of a document.\n\n"
      "Example:\n"
      "  kxo info plan.kxo\n\n"
      "That is: how many items there are and of what kind, which ids of deleted items wait\n"
      "for synchronisation, every field of the headers, and what takes how much room. Fields\n"
      "that synchronisation has yet to see are marked as changed.\n");
  command->add_option("FILE", *name, "The document")->required();
  AddCodePageOption(*command);
  command->callback(
      [name, &chosen] { chosen = [name](const Session& session) { RunInfo(session, *name); }; });
}

}  // namespace kxo
