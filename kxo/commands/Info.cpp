#include <CLI/App.hpp>
#include <algorithm>
#include <array>
#include <cstdio>
#include <filesystem>
#include <initializer_list>
#include <memory>
#include <string>

#include "Document.h"
#include "InputDocument.h"
#include "JsonText.h"
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

/// For people and for programs.
struct Value {
  std::string text;
  Json json;
};

std::string Digits(unsigned long number) { return std::to_string(number); }
std::string ByteCount(uint64_t count) { return Counted(static_cast<size_t>(count), "byte"); }
Value Number(unsigned long number) { return {Digits(number), number}; }
Value Bytes(uint64_t count) { return {ByteCount(count), count}; }
Value YesNo(bool value) { return {value ? "yes" : "no", value}; }
Value Quoted(const std::string& text) { return {"\"" + Escaped(text) + "\"", text}; }

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

/// "window position" as "windowPosition".
std::string KeyOf(const std::string& name) {
  std::string key;
  bool startsWord = false;
  for (const char c : LowerCase(name)) {
    if (c != ' ' && c != '-') {
      key += startsWord && c >= 'a' && c <= 'z' ? static_cast<char>(c - 'a' + 'A') : c;
    }
    startsWord = c == ' ' || c == '-';
  }
  return key;
}

/// Lines of "name  value" under headings. A value may have several lines. As JSON every heading is
/// an object.
class Listing {
 public:
  Listing() : json_(Json::object()) {}
  Listing(const Listing&) = delete;
  Listing& operator=(const Listing&) = delete;
  ~Listing() = default;
  void Section(const std::string& title, const std::string& remark = "");
  void Add(const std::string& name, const Value& value);
  void AddLine(const std::string& name, const std::string& text);  ///< For people only.
  void Title(const std::string& title) {
    lines_ += Shown(title) + "\n";
    json_["file"] = title;
  }
  /// What only programs want to know of the section.
  Json& ForPrograms() { return section_.empty() ? json_ : json_[section_]; }
  const std::string& GetLines() const { return lines_; }
  const Json& GetJson() const { return json_; }

 private:
  std::string lines_;
  Json json_;
  std::string section_;
};

void Listing::Section(const std::string& title, const std::string& remark) {
  lines_ += "\n" + title + remark + "\n";
  section_ = KeyOf(title);
  json_[section_] = Json::object();
}

void Listing::Add(const std::string& name, const Value& value) {
  ForPrograms()[KeyOf(name)] = value.json;
  AddLine(name, value.text);
}

void Listing::AddLine(const std::string& name, const std::string& text) {
  constexpr size_t kNameWidth = 22;
  const size_t gap = std::max(kNameWidth, name.size() + 2) - name.size();
  lines_ += "  " + name + std::string(gap, ' ');
  for (const char c : text) {
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

  template <class Getter>
  void Add(const std::string& name, uint32_t tag, Getter getter) {
    known_.push_back(tag);
    document_.InHeader(id_, [&] {
      if (!header_.hasTag(tag)) {
        listing_.Add(name, {"absent", nullptr});
        return;
      }
      bool changed = false;
      header_.getTaggedDataManager().getTagChanged(tag, &changed);
      Value value = getter();
      if (changed) {
        value.text += "  (changed)";
        listing_.ForPrograms()["changedFields"].push_back(KeyOf(name));
      }
      listing_.Add(name, value);
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
      const std::string name = "tag 0x" + Hex(tag.id, 8);
      listing_.Add(name, {ByteCount(tag.sizeBytes) + ", unknown here, kept", tag.sizeBytes});
    }
  }
}

template <class Header, class Getter>
Value TextOf(Header& header, Getter getter) {
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
  listing.Add("deleted ids", {ByteCount(idsSize) + " from offset " + Digits(rowsStart), idsSize});
  listing.Add("rows", Bytes(rowsEnd - rowsStart - idsSize));
  if (fileSize > rowsEnd) listing.Add("behind the last row", Bytes(fileSize - rowsEnd));
}

void ListSlots(Document& document, Listing& listing) {
  listing.Section("Header slots");
  listing.ForPrograms() = Json::array();
  for (const kx_gen::THeaderInfo* info : document.GetHeaderManager().GetReadList()) {
    const unsigned short id = info->record.id;
    const uint32_t size = info->record.size;
    const unsigned long offset = document.GetHeaderManager().GetHeaderReadPos(id);
    Json slot = {{"id", id}, {"size", size}, {"offset", offset}};
    std::string use = "kept as it is";
    if (CTaggedDataHeader* header = document.GetHeaderManager().GetHeaderPtr(id)) {
      slot["used"] = header->getTaggedDataManager().size();
      use = Digits(header->getTaggedDataManager().size()) + " used";
    }
    listing.ForPrograms().push_back(slot);
    listing.AddLine(HeaderName(id),
                    ByteCount(size) + " from offset " + Digits(offset) + ", " + use);
  }
}

/// The fields of a header that the file lacks are defaults.
void ListHeading(Document& document, unsigned short id, const std::string& title,
                 Listing& listing) {
  const bool inFile = document.HasHeader(id);
  listing.Section(title, inFile ? "" : " (not in the file: defaults)");
  listing.ForPrograms()["inFile"] = inFile;
}

void ListConduit(Document& document, Listing& listing) {
  CTaggedDataHeader& header = *document.GetConduitHeader();
  ListHeading(document, format::kConduitHeaderId, "Conduit header", listing);
  if (header.getTaggedDataManager().size() == 0) listing.AddLine("fields", "none");
  HeaderListing(document, format::kConduitHeaderId, header, listing).AddOthers();
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

Value WindowOf(kx_gen::CPrivateOutlineHeader& header) {
  kx_gen::TStoredWindowPos pos{};
  header.GetStoredWndPos(&pos);
  const std::string text =
      "normal rectangle " +
      Join({pos.normalLeft, pos.normalTop, pos.normalRight, pos.normalBottom}) + "\nminimised at " +
      Join({pos.minPositionX, pos.minPositionY}) + ", maximised at " +
      Join({pos.maxPositionX, pos.maxPositionY}) + "\nshow command " + Digits(pos.showCmd) +
      ", flags " + Digits(pos.flags);
  Json json;
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
  Json json;
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

struct InfoOptions {
  std::string file;
  bool json = false;
};

void RunInfo(const Session& session, const InfoOptions& options) {
  const InputPlace place(session, options.file);
  const std::unique_ptr<Document> document = place.Open();
  document->ReadHeaders();
  const Outline outline = document->ReadOutline();

  Listing listing;
  listing.Title(place.GetName());
  listing.Add("kind", {"outline document", "outline"});
  listing.Add("version", Number(document->GetVersionNum()));
  listing.Add("rows", Number(document->GetRowCount()));
  ListItems(outline, listing);
  ListDeletedIds(*document, listing);
  ListShared(*document, listing);
  ListPrivate(*document, listing);
  ListConduit(*document, listing);
  ListSlots(*document, listing);
  ListSizes(*document, std::filesystem::file_size(place.GetPath()), listing);
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
      "  kxo info plan.kxo --json | jq .items.notes\n\n"
      "That is: how many items there are and of what kind, which ids of deleted items wait\n"
      "for synchronisation, every field of the headers, and what takes how much room. Fields\n"
      "that synchronisation has yet to see are marked as changed.\n");
  command->add_option("FILE", options->file, "The document; - is standard input")->required();
  command->add_flag("--json", options->json, "Print it as JSON");
  AddCodePageOption(*command);
  command->callback([options, &chosen] {
    chosen = [options](const Session& session) { RunInfo(session, *options); };
  });
}

}  // namespace kxo
