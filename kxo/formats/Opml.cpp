#include "formats/Opml.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <optional>
#include <pugixml.hpp>
#include <string_view>
#include <utility>
#include <vector>

#include "Failure.h"
#include "StoredFields.h"
#include "Text.h"
#include "formats/ExpansionState.h"
#include "formats/OpmlFields.h"
#include "formats/XmlText.h"
#include "pictures/Png.h"
#include "pictures/StoredDrawing.h"

namespace kxo {
namespace {

// NOLINTNEXTLINE(misc-unused-using-decls): the check does not see literals
using std::string_view_literals::operator""sv;

constexpr std::array kCheckAttributes = {"_status"sv, "_complete"sv, "complete"sv, "checked"sv};
constexpr std::array kTrueValues = {"true"sv, "checked"sv,  "1"sv,         "yes"sv, "on"sv,
                                    "x"sv,    "complete"sv, "completed"sv, "done"sv};
constexpr std::array kFalseValues = {"false"sv, "unchecked"sv, "0"sv,    "no"sv,
                                     "off"sv,   "none"sv,      "todo"sv, ""sv};

template <class Values>
bool Contains(const Values& values, std::string_view value) {
  return std::find(values.begin(), values.end(), value) != values.end();
}

std::optional<bool> TruthOf(std::string_view value) {
  const std::string word = LowerCase(Trimmed(value));
  if (Contains(kTrueValues, word)) return true;
  if (Contains(kFalseValues, word)) return false;
  return std::nullopt;
}

bool IsElement(const pugi::xml_node& node) { return node.type() == pugi::node_element; }

bool IsNamespace(std::string_view attribute) {
  return attribute == "xmlns"sv || attribute.substr(0, 6) == "xmlns:"sv;
}

/// All text of an element, of CDATA sections too.
std::string ContentsOf(const pugi::xml_node& element) {
  std::string contents;
  for (const pugi::xml_node& child : element) contents += child.value();
  return Trimmed(contents);
}

class OpmlReader {
 public:
  OpmlReader(const ImportSource& source, std::string text, ImportNotes& notes)
      : source_(source), name_(source.name), text_(std::move(text)), notes_(notes) {}
  Outline Read();

 private:
  void Parse();
  pugi::xml_node FindRoot();
  void ReadHead(const pugi::xml_node& head);
  void ReadHeadlines(const pugi::xml_node& parent, unsigned level);
  unsigned ReadHeadline(const pugi::xml_node& headline, unsigned level, unsigned most);
  unsigned LevelOf(const pugi::xml_node& headline, unsigned least, unsigned most);
  Item ItemOf(const pugi::xml_node& headline);
  void TakeOwnFields(const pugi::xml_node& headline, Item& item);
  std::optional<Drawing> DrawingIn(const std::string& pictureName);
  bool IsOwn(std::string_view attribute) const;
  pugi::xml_attribute OwnAttribute(const pugi::xml_node& element, const char* name) const;
  void CountRefused(const std::vector<std::string>& names);
  bool ReadCheckMark(const pugi::xml_node& headline);
  void CheckAttributeNames(const pugi::xml_node& headline);
  void CountAttributes(const pugi::xml_node& element, std::string_view carried = "");
  void CountOther(const pugi::xml_node& node);
  TextPlace PlaceOf(const pugi::xml_node& node) const;
  [[noreturn]] void FailAsNoOpml(const pugi::xml_node& node, const std::string& why) const;
  [[noreturn]] void FailAt(const TextPlace& place, const std::string& wrong) const;

  const ImportSource& source_;
  const std::string& name_;
  std::string text_;
  ImportNotes& notes_;
  pugi::xml_document document_;
  Outline outline_;
  std::optional<std::string> expansionState_;
  std::string prefix_;  // of our own attributes; empty where the file has none
  std::vector<std::pair<size_t, bool>> foldings_;  // of items where expansionState cannot tell
};

Outline OpmlReader::Read() {
  Parse();
  const pugi::xml_node root = FindRoot();
  prefix_ = opml::PrefixAt(root);
  CountAttributes(root, "version");
  bool hasHead = false;
  bool hasBody = false;
  for (const pugi::xml_node& child : root) {
    if (!hasHead && child.name() == "head"sv) {
      hasHead = true;
      ReadHead(child);
    } else if (!hasBody && child.name() == "body"sv) {
      hasBody = true;
      CountAttributes(child);
      ReadHeadlines(child, 0);
    } else {
      CountOther(child);
    }
  }
  if (!hasBody) FailAsNoOpml(root, "it has no <body>");
  if (expansionState_) ApplyExpansionState(*expansionState_, outline_, notes_);
  for (const auto& [index, expanded] : foldings_) outline_.GetItem(index).expanded = expanded;
  return std::move(outline_);
}

void OpmlReader::Parse() {
  CheckCharacters(name_, text_);
  const pugi::xml_parse_result result = document_.load_buffer(
      text_.data(), text_.size(), pugi::parse_default | pugi::parse_fragment, pugi::encoding_utf8);
  if (result.status == pugi::status_out_of_memory) throw std::bad_alloc();
  if (!result) {
    FailAt(PlaceAt(text_, static_cast<size_t>(result.offset)), result.description());
  }
}

/// The parser takes any number of elements and any text beside them; XML is one element.
pugi::xml_node OpmlReader::FindRoot() {
  pugi::xml_node root;
  for (const pugi::xml_node& node : document_) {
    if (!IsElement(node)) FailAt(PlaceOf(node), "text outside the document's element");
    if (root)
      FailAt(PlaceOf(node), "a second element <" + std::string(node.name()) + "> at the top");
    root = node;
  }
  if (!root) FailAt(TextPlace{}, "no element at all");
  if (root.name() != "opml"sv) {
    FailAsNoOpml(root, "its element is <" + std::string(root.name()) + ">, not <opml>");
  }
  return root;
}

void OpmlReader::ReadHead(const pugi::xml_node& head) {
  bool hasTitle = false;
  CountAttributes(head);
  if (!prefix_.empty()) {
    std::vector<std::string> refused;
    opml::ReadFields(outline_, head, prefix_, refused);
    CountRefused(refused);
  }
  for (const pugi::xml_node& child : head) {
    if (!hasTitle && child.name() == "title"sv) {
      hasTitle = true;
      CountAttributes(child);
      outline_.title = ContentsOf(child);
    } else if (!expansionState_ && child.name() == "expansionState"sv) {
      CountAttributes(child);
      expansionState_ = ContentsOf(child);
    } else if (IsElement(child)) {
      notes_.CountHeadElement(child.name());
    } else {
      notes_.CountText();
    }
  }
  if (const pugi::xml_attribute title = OwnAttribute(head, opml::kTitle)) {
    outline_.title = title.value();
    if (outline_.title.empty()) notes_.KeepEmptyTitle();
  }
}

void OpmlReader::ReadHeadlines(const pugi::xml_node& parent, unsigned level) {
  unsigned most = Outline::kMaxLevel;
  for (const pugi::xml_node& child : parent) {
    if (child.name() == "outline"sv) {
      most = ReadHeadline(child, level, most);
    } else {
      CountOther(child);
    }
  }
}

/// The level that it has; `most` is that of the sibling before it.
unsigned OpmlReader::ReadHeadline(const pugi::xml_node& headline, unsigned level, unsigned most) {
  if (level > Outline::kMaxLevel) {
    throw FileFailure(kExitDamaged, name_,
                      "too deep at " + Named(PlaceOf(headline)) + ": a headline of level " +
                          std::to_string(level + 1) + ", and a .kxo document holds " +
                          std::to_string(Outline::kMaxLevel + 1) + " levels",
                      "move the deepest headlines up and import again");
  }
  CheckAttributeNames(headline);
  const unsigned stored = LevelOf(headline, level, most);
  const size_t index = outline_.Add(stored, ItemOf(headline));
  if (const pugi::xml_attribute expanded = OwnAttribute(headline, opml::kExpanded)) {
    foldings_.emplace_back(index, expanded.as_bool());
  }
  ReadHeadlines(headline, stored + 1);
  return stored;
}

/// Our attribute tells the level of an item that skips some. It must not change whose child the
/// item is: nobody keeps others from moving headlines about.
unsigned OpmlReader::LevelOf(const pugi::xml_node& headline, unsigned least, unsigned most) {
  const pugi::xml_attribute attribute = OwnAttribute(headline, opml::kLevel);
  if (!attribute) return least;
  unsigned level = 0;
  const std::string_view text = attribute.value();
  const char* const end = text.data() + text.size();
  const auto [stop, error] = std::from_chars(text.data(), end, level);
  if (error == std::errc() && stop == end && level <= Outline::kMaxLevel) {
    return std::clamp(level, least, most);
  }
  notes_.CountAttribute(attribute.name());
  return least;
}

Item OpmlReader::ItemOf(const pugi::xml_node& headline) {
  Item item;
  item.isNew = true;
  item.note = headline.attribute("_note").value();  // new items have one, if only an empty one
  item.checked = ReadCheckMark(headline);
  // Older writers name a headline by its title alone.
  const std::string_view textName = headline.attribute("text") ? "text"sv : "title"sv;
  item.text = headline.attribute(textName.data()).value();
  for (const pugi::xml_attribute& attribute : headline.attributes()) {
    const std::string_view attributeName = attribute.name();
    if (attributeName != textName && attributeName != "_note"sv &&
        !Contains(kCheckAttributes, attributeName) && !IsNamespace(attributeName) &&
        !IsOwn(attributeName)) {
      notes_.CountAttribute(attribute.name());
    }
  }
  if (!prefix_.empty()) TakeOwnFields(headline, item);
  return item;
}

void OpmlReader::TakeOwnFields(const pugi::xml_node& headline, Item& item) {
  std::vector<std::string> refused;
  opml::ReadFields(item, headline, prefix_, refused);
  CountRefused(refused);
  const pugi::xml_attribute picture = OwnAttribute(headline, opml::kDrawing);
  if (picture) item.drawing = DrawingIn(picture.value());
}

std::optional<Drawing> OpmlReader::DrawingIn(const std::string& pictureName) {
  const std::string png = source_.picture ? source_.picture(pictureName) : "";
  const auto* bytes = reinterpret_cast<const unsigned char*>(png.data());
  const OwnedHandle dib(png.empty() ? nullptr : DecodePng(bytes, png.size()));
  const std::vector<unsigned char> block =
      dib ? BlockOfDib(dib.get()) : std::vector<unsigned char>();
  if (block.empty()) {
    notes_.Say("not carried: the drawing " + pictureName + ", which cannot be read");
    return std::nullopt;
  }
  return DrawingOf(std::string(block.begin(), block.end()));
}

bool OpmlReader::IsOwn(std::string_view attribute) const {
  return !prefix_.empty() && attribute.substr(0, prefix_.size()) == prefix_ &&
         attribute.substr(prefix_.size(), 1) == ":"sv;
}

pugi::xml_attribute OpmlReader::OwnAttribute(const pugi::xml_node& element,
                                             const char* name) const {
  if (prefix_.empty()) return {};
  return element.attribute(opml::NameWith(prefix_, name).c_str());
}

void OpmlReader::CountRefused(const std::vector<std::string>& names) {
  for (const std::string& attribute : names) notes_.CountAttribute(attribute);
}

/// One attribute that says so makes an item checked. A value that is neither true nor false, and
/// one that says the opposite of another, is not carried.
bool OpmlReader::ReadCheckMark(const pugi::xml_node& headline) {
  std::vector<std::pair<pugi::xml_attribute, std::optional<bool>>> found;
  for (const std::string_view attributeName : kCheckAttributes) {
    const pugi::xml_attribute attribute = headline.attribute(attributeName.data());
    if (attribute) found.emplace_back(attribute, TruthOf(attribute.value()));
  }
  const bool checked = std::any_of(found.begin(), found.end(),
                                   [](const auto& entry) { return entry.second.value_or(false); });
  for (const auto& [attribute, truth] : found) {
    if (truth != checked) {
      notes_.CountAttribute(std::string(attribute.name()) + "=\"" + attribute.value() + "\"");
    }
  }
  return checked;
}

void OpmlReader::CheckAttributeNames(const pugi::xml_node& headline) {
  std::vector<std::string_view> names;
  for (const pugi::xml_attribute& attribute : headline.attributes()) {
    names.emplace_back(attribute.name());
  }
  std::sort(names.begin(), names.end());
  const auto twice = std::adjacent_find(names.begin(), names.end());
  if (twice != names.end()) {
    FailAt(PlaceOf(headline), "an element has the attribute " + std::string(*twice) + " twice");
  }
}

void OpmlReader::CountAttributes(const pugi::xml_node& element, std::string_view carried) {
  for (const pugi::xml_attribute& attribute : element.attributes()) {
    if (attribute.name() != carried && !IsNamespace(attribute.name()) && !IsOwn(attribute.name())) {
      notes_.CountAttribute(std::string(element.name()) + " " + attribute.name());
    }
  }
}

void OpmlReader::CountOther(const pugi::xml_node& node) {
  if (IsElement(node)) {
    notes_.CountElement(node.name());
  } else {
    notes_.CountText();
  }
}

/// The parser knows the place of a name, before which its element begins, and that of a text with
/// the blanks in front.
TextPlace OpmlReader::PlaceOf(const pugi::xml_node& node) const {
  const auto offset = static_cast<size_t>(std::max<ptrdiff_t>(node.offset_debug(), 0));
  if (IsElement(node)) return PlaceAt(text_, std::max<size_t>(offset, 1) - 1);
  return PlaceAt(text_, text_.find_first_not_of(" \t\r\n", offset));
}

void OpmlReader::FailAsNoOpml(const pugi::xml_node& node, const std::string& why) const {
  throw FileFailure(kExitDamaged, name_, "not OPML at " + Named(PlaceOf(node)) + ": " + why);
}

void OpmlReader::FailAt(const TextPlace& place, const std::string& wrong) const {
  throw FileFailure(kExitDamaged, name_, "malformed XML at " + Named(place) + ": " + wrong);
}

}  // namespace

Outline ReadOpml(const ImportSource& source, ImportNotes& notes) {
  return OpmlReader(source, XmlToUtf8(source.name, source.bytes, notes), notes).Read();
}

}  // namespace kxo
