#include "formats/OpmlFields.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <cstdint>
#include <limits>
#include <optional>
#include <string_view>
#include <type_traits>
#include <utility>

#include "formats/SharedKeys.h"
#include "formats/XmlBuild.h"

namespace kxo::opml {
namespace {

// NOLINTNEXTLINE(misc-unused-using-decls): the check does not see literals
using std::string_view_literals::operator""sv;

// --- Values as texts, and back: false for a text that is none ---

constexpr std::string_view kHexDigits = "0123456789abcdef";

std::vector<std::string_view> WordsOf(std::string_view text) {
  std::vector<std::string_view> words;
  while (true) {
    const size_t start = text.find_first_not_of(' ');
    if (start == std::string_view::npos) return words;
    text.remove_prefix(start);
    const size_t end = std::min(text.find(' '), text.size());
    words.push_back(text.substr(0, end));
    text.remove_prefix(end);
  }
}

/// Splits off what stands before the next colon.
std::string_view TakePart(std::string_view& word) {
  const size_t end = std::min(word.find(':'), word.size());
  const std::string_view part = word.substr(0, end);
  word.remove_prefix(std::min(end + 1, word.size()));
  return part;
}

void Join(std::string& list, const std::string& word) {
  if (!list.empty()) list += ' ';
  list += word;
}

std::string TextOf(bool value) { return value ? "true" : "false"; }
bool ValueOf(std::string_view text, bool& value) {
  value = text == "true"sv;
  return value || text == "false"sv;
}

template <class Number, std::enable_if_t<std::is_integral_v<Number>, int> = 0>
std::string TextOf(Number value) {
  return std::to_string(value);
}
template <class Number, std::enable_if_t<std::is_integral_v<Number>, int> = 0>
bool ValueOf(std::string_view text, Number& value) {
  const char* const end = text.data() + text.size();
  const auto parsed = std::from_chars(text.data(), end, value);
  return !text.empty() && parsed.ec == std::errc() && parsed.ptr == end;
}

/// Bytes, which stand in strings as texts do.
struct Hex {
  std::string bytes;
  bool operator==(const Hex&) const = default;
};
std::string TextOf(const Hex& hex) {
  std::string text;
  for (const char c : hex.bytes) {
    const auto byte = static_cast<unsigned char>(c);
    text += kHexDigits[byte >> 4];
    text += kHexDigits[byte & 0xF];
  }
  return text;
}
bool ValueOf(std::string_view text, Hex& hex) {
  hex.bytes.clear();
  if (text.size() % 2 != 0) return false;
  for (size_t i = 0; i < text.size(); i += 2) {
    const size_t high = kHexDigits.find(text[i]);
    const size_t low = kHexDigits.find(text[i + 1]);
    if (high == std::string_view::npos || low == std::string_view::npos) return false;
    hex.bytes += static_cast<char>((high << 4) | low);
  }
  return true;
}

/// A list has a word for each element; these give one element's.
std::string WordOf(uint32_t value) { return TextOf(value); }
bool ElementOf(std::string_view word, uint32_t& value) { return ValueOf(word, value); }

std::string WordOf(const std::pair<uint32_t, uint8_t>& version) {
  return TextOf(version.first) + ":" + TextOf(version.second);
}
bool ElementOf(std::string_view word, std::pair<uint32_t, uint8_t>& version) {
  return ValueOf(TakePart(word), version.first) && ValueOf(word, version.second);
}

std::string WordOf(const UnknownTag& tag) {
  return TextOf(tag.id) + ":" + TextOf(tag.version) + ":" + TextOf(tag.changed) + ":" +
         TextOf(Hex{tag.data});
}
bool ElementOf(std::string_view word, UnknownTag& tag) {
  Hex data;
  const bool isTag = ValueOf(TakePart(word), tag.id) && ValueOf(TakePart(word), tag.version) &&
                     ValueOf(TakePart(word), tag.changed) && ValueOf(word, data);
  tag.data = std::move(data.bytes);
  return isTag;
}

std::string WordOf(const HeaderSlot& slot) {
  return TextOf(slot.id) + ":" + TextOf(slot.sizeBytes);
}
bool ElementOf(std::string_view word, HeaderSlot& slot) {
  return ValueOf(TakePart(word), slot.id) && ValueOf(word, slot.sizeBytes);
}

std::string WordOf(const UnknownHeader& header) {
  return TextOf(header.id) + ":" + TextOf(Hex{header.slot});
}
bool ElementOf(std::string_view word, UnknownHeader& header) {
  Hex slot;
  const bool isHeader = ValueOf(TakePart(word), header.id) && ValueOf(word, slot);
  header.slot = std::move(slot.bytes);
  return isHeader;
}

template <class Element>
std::string TextOf(const std::vector<Element>& list) {
  std::string text;
  for (const Element& element : list) Join(text, WordOf(element));
  return text;
}
template <class Element>
bool ValueOf(std::string_view text, std::vector<Element>& list) {
  list.clear();
  for (const std::string_view word : WordsOf(text)) {
    Element element;
    if (!ElementOf(word, element)) return false;
    list.push_back(std::move(element));
  }
  return true;
}

template <class Number, size_t kCount>
std::string TextOf(const std::array<Number, kCount>& numbers) {
  std::string text;
  for (const Number number : numbers) Join(text, TextOf(number));
  return text;
}
template <class Number, size_t kCount>
bool ValueOf(std::string_view text, std::array<Number, kCount>& numbers) {
  const std::vector<std::string_view> words = WordsOf(text);
  if (words.size() != kCount) return false;
  return std::equal(words.begin(), words.end(), numbers.begin(),
                    [](std::string_view word, Number& number) { return ValueOf(word, number); });
}

// --- The two directions ---

/// Adds attributes for values that are not the usual ones.
class FieldWriter {
 public:
  FieldWriter(pugi::xml_node element, CleanText& clean) : element_(element), clean_(clean) {}

  template <class Value>
  void operator()(const std::string& name, const Value& value, const Value& usual) {
    if (!(value == usual)) Add(name, TextOf(value));
  }
  void operator()(const std::string& name, const std::string& value, const std::string& usual) {
    if (value != usual) Add(name, clean_.OfXml(value));
  }
  void operator()(const std::string& name, const std::optional<std::string>& bytes) {
    if (bytes) Add(name, TextOf(Hex{*bytes}));
  }

 private:
  void Add(const std::string& name, const std::string& text) {
    AddAttribute(element_, NameWith(kPrefix, name), text);
  }

  pugi::xml_node element_;
  CleanText& clean_;
};

/// Takes the values of attributes that are there.
class FieldReader {
 public:
  FieldReader(const pugi::xml_node& element, const std::string& prefix,
              std::vector<std::string>& refused)
      : element_(element), prefix_(prefix), refused_(refused) {}

  template <class Value>
  void operator()(const std::string& name, Value& value, const Value& usual) {
    const pugi::xml_attribute attribute = Find(name);
    if (!attribute || ValueOf(attribute.value(), value)) return;
    value = usual;
    refused_.emplace_back(attribute.name());
  }
  void operator()(const std::string& name, std::string& value, const std::string& /*usual*/) {
    if (const pugi::xml_attribute attribute = Find(name)) value = attribute.value();
  }
  void operator()(const std::string& name, std::optional<std::string>& bytes) {
    const pugi::xml_attribute attribute = Find(name);
    if (!attribute) return;
    Hex hex;
    if (ValueOf(attribute.value(), hex)) {
      bytes = std::move(hex.bytes);
    } else {
      refused_.emplace_back(attribute.name());
    }
  }

 private:
  pugi::xml_attribute Find(const std::string& name) {
    return element_.attribute(NameWith(prefix_, name).c_str());
  }

  const pugi::xml_node& element_;
  const std::string& prefix_;
  std::vector<std::string>& refused_;
};

// --- The fields, stated once for both ---

/// `name` is the beginning of their names.
template <class Direction, class ExtrasOrConst>
void VisitExtras(Direction& visit, const std::string& name, ExtrasOrConst& extras) {
  static const Extras kUsual;
  visit(name + "Unmarked", extras.unmarked, kUsual.unmarked);
  visit(name + "TagVersions", extras.versions, kUsual.versions);
  visit(name + "UnknownTags", extras.unknownTags, kUsual.unknownTags);
  visit(name + "Stored", extras.stored);
}

/// Items of other outliners are new here.
Item NewItem() {
  Item item;
  item.isNew = true;
  return item;
}

template <class Direction, class ItemOrConst>
void VisitItem(Direction& visit, ItemOrConst& item) {
  static const Item kUsual = NewItem();
  visit("id", item.id, kUsual.id);
  VisitFlags(visit, item, kUsual);
  VisitExtras(visit, "row", item.extras);
}

/// Puts a word in front of the names, which then go on with a capital letter.
template <class Direction>
class Prefixed {
 public:
  Prefixed(Direction& visit, std::string prefix) : visit_(visit), prefix_(std::move(prefix)) {}
  template <class Value, class Usual>
  void operator()(std::string name, Value& value, const Usual& usual) {
    name.front() = static_cast<char>(name.front() - 'a' + 'A');
    visit_(prefix_ + name, value, usual);
  }

 private:
  Direction& visit_;
  std::string prefix_;
};

template <class Direction, class ViewOrConst>
void VisitViewFields(Direction& visit, ViewOrConst& view) {
  VisitView(visit, view);
  Prefixed window(visit, "window");
  VisitWindow(window, view.window);
  Prefixed font(visit, "font");
  VisitFont(font, view.font);
  VisitExtras(visit, "private", view.extras);
}

template <class Direction, class SharedOrConst>
void VisitSharedFields(Direction& visit, SharedOrConst& shared) {
  static const SharedFields kUsual;
  VisitShared(visit, shared);
  visit("numbering", shared.numbering, kUsual.numbering);
  VisitExtras(visit, "shared", shared.extras);
}

template <class Direction, class OutlineOrConst>
void VisitOutline(Direction& visit, OutlineOrConst& outline) {
  static const HeaderTable kUsual = NewHeaders();
  VisitSharedFields(visit, outline.shared);
  VisitViewFields(visit, outline.view);
  visit("slots", outline.headers.slots, kUsual.slots);
  visit("unknownHeaders", outline.headers.unknown, kUsual.unknown);
  VisitExtras(visit, "conduit", outline.headers.conduit);
  visit("deletedIds", outline.deletedIds, std::vector<uint32_t>());
}

}  // namespace

void WriteFields(const Outline& outline, pugi::xml_node head, CleanText& clean) {
  FieldWriter visit(head, clean);
  VisitOutline(visit, outline);
}

void WriteFields(const Item& item, pugi::xml_node headline, CleanText& clean) {
  FieldWriter visit(headline, clean);
  visit("note", item.note.has_value(), true);
  VisitItem(visit, item);
}

void ReadFields(Outline& outline, const pugi::xml_node& head, const std::string& prefix,
                std::vector<std::string>& refused) {
  FieldReader visit(head, prefix, refused);
  VisitOutline(visit, outline);
}

void ReadFields(Item& item, const pugi::xml_node& headline, const std::string& prefix,
                std::vector<std::string>& refused) {
  FieldReader visit(headline, prefix, refused);
  bool hasNote = true;
  visit("note", hasNote, true);
  if (!hasNote && item.note->empty()) item.note.reset();
  VisitItem(visit, item);
}

std::string NameWith(const std::string& prefix, const std::string& name) {
  return prefix + ":" + name;
}

std::string PrefixAt(const pugi::xml_node& element) {
  constexpr std::string_view kDeclaration = "xmlns:";
  for (const pugi::xml_attribute& attribute : element.attributes()) {
    const std::string_view name = attribute.name();
    if (name.substr(0, kDeclaration.size()) == kDeclaration &&
        std::string_view(attribute.value()) == kNamespace) {
      return std::string(name.substr(kDeclaration.size()));
    }
  }
  return "";
}

}  // namespace kxo::opml
