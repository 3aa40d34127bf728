#include <md4c.h>

#include <algorithm>
#include <array>
#include <charconv>
#include <exception>
#include <limits>
#include <new>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "Failure.h"
#include "Text.h"
#include "formats/Markdown.h"
#include "formats/XmlText.h"

namespace kxo {
namespace {

// NOLINTNEXTLINE(misc-unused-using-decls): the check does not see literals
using std::string_view_literals::operator""sv;

std::string_view ViewOf(const MD_CHAR* text, MD_SIZE size) { return {text, size}; }

struct NamedEntity {
  std::string_view name;
  std::string_view text;
};
/// Others stay as they are written.
constexpr std::array<NamedEntity, 6> kEntities = {{{"&amp;", "&"},
                                                   {"&lt;", "<"},
                                                   {"&gt;", ">"},
                                                   {"&quot;", "\""},
                                                   {"&apos;", "'"},
                                                   {"&nbsp;", "\xC2\xA0"}}};

std::string NumericEntity(std::string_view digits) {
  const bool hex = !digits.empty() && LowerCase(digits.substr(0, 1)) == "x";
  if (hex) digits.remove_prefix(1);
  uint32_t c = 0;
  std::from_chars(digits.data(), digits.data() + digits.size(), c, hex ? 16 : 10);
  std::string utf8;
  AppendUtf8(utf8, c == 0 || c >= kNotUtf8 || IsSurrogate(c) ? kReplacementCharacter : c);
  return utf8;
}

std::string TextOfEntity(std::string_view entity) {
  if (entity.substr(0, 2) == "&#"sv) return NumericEntity(entity.substr(2, entity.size() - 3));
  for (const NamedEntity& known : kEntities) {
    if (known.name == entity) return std::string(known.text);
  }
  return std::string(entity);
}

std::string TextOfAttribute(const MD_ATTRIBUTE& attribute) {
  std::string text;
  for (size_t i = 0; attribute.size > 0 && attribute.substr_offsets[i] < attribute.size; ++i) {
    const MD_OFFSET start = attribute.substr_offsets[i];
    const std::string_view piece =
        ViewOf(attribute.text + start, attribute.substr_offsets[i + 1] - start);
    text += attribute.substr_types[i] == MD_TEXT_ENTITY ? TextOfEntity(piece) : std::string(piece);
  }
  return text;
}

bool IsPartOfTable(MD_BLOCKTYPE type) {
  constexpr std::array kParts = {MD_BLOCK_THEAD, MD_BLOCK_TBODY, MD_BLOCK_TR, MD_BLOCK_TH,
                                 MD_BLOCK_TD};
  return std::find(kParts.begin(), kParts.end(), type) != kParts.end();
}

bool IsComment(std::string_view html) {
  return html.substr(0, 4) == "<!--"sv && html.size() >= 7 && html.substr(html.size() - 3) == "-->";
}

/// Takes what the parser meets, in its order.
class Builder {
 public:
  Builder(const std::string& name, std::string_view source, ImportNotes& notes)
      : name_(name), source_(source), notes_(notes) {}

  void Enter(MD_BLOCKTYPE type, void* detail);
  void Leave(MD_BLOCKTYPE type);
  void EnterSpan(MD_SPANTYPE type);
  void LeaveSpan(MD_SPANTYPE type, void* detail);
  void Take(MD_TEXTTYPE type, std::string_view text);
  Outline Finish();

 private:
  static constexpr size_t kNoItem = std::numeric_limits<size_t>::max();

  struct Entry {
    size_t level = 0;
    Item item;
  };
  /// A list item that is being read.
  struct ListItem {
    size_t level = 0;
    bool isTask = false;
    bool checked = false;
    bool holdsList = false;
    size_t item = kNoItem;
  };

  void EnterList();
  void EnterListItem(const MD_BLOCK_LI_DETAIL& detail);
  void LeaveListItem();
  void EnterHeading(unsigned rank);
  void LeaveHeading();
  void TakeHtml(std::string_view html);
  void TakeCell();
  void LeaveLeaf();
  void LeaveHtmlBlock();
  void Place(std::string text);
  size_t AddItem(size_t level, std::string text, bool checked);
  [[noreturn]] void FailForDepth() const;
  void AddToNote(size_t item, const std::string& text);
  bool HasTitle() const { return beginsWithHeading_ && topHeadings_ == 1; }
  void TakeTitle(Outline& outline);

  const std::string& name_;
  std::string_view source_;
  ImportNotes& notes_;
  std::vector<Entry> entries_;
  std::vector<ListItem> listItems_;
  std::string leaf_;       // the text of the paragraph, or the like, that is being read
  bool isInLeaf_ = false;  // something of it was met, if only something without text
  bool isHtmlBlock_ = false;
  std::vector<size_t> linkStarts_;  // in leaf_
  std::string lineBreak_ = "\n";
  size_t place_ = 0;          // in the source, of what was met last
  size_t base_ = 0;           // the level of what is in no list
  size_t heading_ = kNoItem;  // whose note paragraphs are; none once items follow it
  unsigned headingRank_ = 0;
  size_t topHeadings_ = 0;
  bool beginsWithHeading_ = false;
};

void Builder::Enter(MD_BLOCKTYPE type, void* detail) {
  if (!IsPartOfTable(type)) LeaveLeaf();
  switch (type) {
    case MD_BLOCK_UL:
    case MD_BLOCK_OL:
      EnterList();
      break;
    case MD_BLOCK_LI:
      EnterListItem(*static_cast<const MD_BLOCK_LI_DETAIL*>(detail));
      break;
    case MD_BLOCK_H:
      EnterHeading(static_cast<const MD_BLOCK_H_DETAIL*>(detail)->level);
      break;
    case MD_BLOCK_HTML:
      isHtmlBlock_ = true;
      break;
    case MD_BLOCK_HR:
      notes_.CountMarkup("rule");
      break;
    case MD_BLOCK_QUOTE:
      notes_.CountMarkup("quote");
      break;
    case MD_BLOCK_TH:
    case MD_BLOCK_TD:
      TakeCell();
      break;
    default:
      break;
  }
}

void Builder::Leave(MD_BLOCKTYPE type) {
  switch (type) {
    case MD_BLOCK_LI:
      LeaveListItem();
      break;
    case MD_BLOCK_H:
      LeaveHeading();
      break;
    case MD_BLOCK_HTML:
      LeaveHtmlBlock();
      break;
    case MD_BLOCK_CODE:
      if (!leaf_.empty() && leaf_.back() == '\n') leaf_.pop_back();
      LeaveLeaf();
      break;
    case MD_BLOCK_TR:
      leaf_ += lineBreak_;
      break;
    case MD_BLOCK_TABLE:
      leaf_.resize(leaf_.size() - std::min(leaf_.size(), lineBreak_.size()));
      LeaveLeaf();
      break;
    case MD_BLOCK_P:
      LeaveLeaf();
      break;
    default:
      break;
  }
}

void Builder::EnterListItem(const MD_BLOCK_LI_DETAIL& detail) {
  ListItem opened;
  opened.level = listItems_.empty() ? base_ : listItems_.back().level + 1;
  opened.isTask = detail.is_task != 0;
  opened.checked = opened.isTask && detail.task_mark != ' ';
  listItems_.push_back(opened);
  heading_ = kNoItem;
}

/// A list item that holds nothing but a list is a level that is skipped.
void Builder::EnterList() {
  if (listItems_.empty()) return;
  ListItem& around = listItems_.back();
  around.holdsList = true;
  if (around.isTask && around.item == kNoItem) Place("");
}

void Builder::LeaveListItem() {
  LeaveLeaf();
  const ListItem& left = listItems_.back();
  if (left.item == kNoItem && !left.holdsList) Place("");
  listItems_.pop_back();
}

void Builder::EnterHeading(unsigned rank) {
  headingRank_ = rank;
  isInLeaf_ = true;
  if (!listItems_.empty()) return;
  if (rank == 1) ++topHeadings_;
  if (entries_.empty()) beginsWithHeading_ = rank == 1;
}

void Builder::LeaveHeading() {
  if (!listItems_.empty()) return LeaveLeaf();
  isInLeaf_ = false;
  heading_ = AddItem(headingRank_ - 1, std::exchange(leaf_, ""), false);
  base_ = headingRank_;
}

/// Cells stand in a line, with tabs between.
void Builder::TakeCell() {
  isInLeaf_ = true;
  if (!leaf_.empty() && leaf_.back() != '\n') leaf_ += '\t';
}

void Builder::EnterSpan(MD_SPANTYPE type) {
  isInLeaf_ = true;
  switch (type) {
    case MD_SPAN_A:
    case MD_SPAN_IMG:
      linkStarts_.push_back(leaf_.size());
      break;
    case MD_SPAN_CODE:
      notes_.CountMarkup("code");
      break;
    default:
      notes_.CountMarkup("emphasis");
  }
}

void Builder::LeaveSpan(MD_SPANTYPE type, void* detail) {
  if (type != MD_SPAN_A && type != MD_SPAN_IMG) return;
  const std::string address =
      TextOfAttribute(type == MD_SPAN_A ? static_cast<const MD_SPAN_A_DETAIL*>(detail)->href
                                        : static_cast<const MD_SPAN_IMG_DETAIL*>(detail)->src);
  const std::string text = leaf_.substr(linkStarts_.back());
  const bool isAddress = text == address || "mailto:" + text == address;
  const bool isAlone = text.empty();
  linkStarts_.pop_back();
  if (!isAddress) leaf_ += (isAlone ? "<" : " <") + address + ">";
}

void Builder::Take(MD_TEXTTYPE type, std::string_view text) {
  const char* const begin = source_.data();
  if (text.data() >= begin && text.data() < begin + source_.size()) {
    place_ = static_cast<size_t>(text.data() - begin);
  }
  isInLeaf_ = true;
  switch (type) {
    case MD_TEXT_BR:
      leaf_ += lineBreak_;
      break;
    case MD_TEXT_SOFTBR:
      leaf_ += ' ';
      break;
    case MD_TEXT_ENTITY:
      leaf_ += text == "&#10;"sv ? lineBreak_ : TextOfEntity(text);
      break;
    case MD_TEXT_HTML:
      TakeHtml(text);
      break;
    default:
      leaf_ += text;
  }
}

void Builder::TakeHtml(std::string_view html) {
  if (isHtmlBlock_ || !IsComment(html)) leaf_ += html;
}

void Builder::LeaveHtmlBlock() {
  isHtmlBlock_ = false;
  leaf_ = Trimmed(leaf_);
  if (leaf_ == kWindowsLineBreaks) lineBreak_ = "\r\n";
  if (IsComment(leaf_)) {
    leaf_.clear();
    if (listItems_.empty()) isInLeaf_ = false;
  }
  LeaveLeaf();
}

void Builder::LeaveLeaf() {
  if (std::exchange(isInLeaf_, false)) Place(std::exchange(leaf_, ""));
}

void Builder::Place(std::string text) {
  if (listItems_.empty()) {
    if (heading_ != kNoItem) {
      AddToNote(heading_, text);
    } else if (!text.empty()) {
      AddItem(base_, std::move(text), false);
    }
    return;
  }
  ListItem& open = listItems_.back();
  if (open.item == kNoItem) {
    open.item = AddItem(open.level, std::move(text), open.checked);
  } else {
    AddToNote(open.item, text);
  }
}

size_t Builder::AddItem(size_t level, std::string text, bool checked) {
  if (level > Outline::kMaxLevel + 1) FailForDepth();  // the uppermost may be the title
  Entry entry;
  entry.level = level;
  entry.item.text = std::move(text);
  entry.item.note = "";  // new items have one
  entry.item.checked = checked;
  entry.item.isNew = true;
  entries_.push_back(std::move(entry));
  return entries_.size() - 1;
}

void Builder::FailForDepth() const {
  throw FileFailure(kExitDamaged, name_,
                    "too deep at " + Named(PlaceAt(source_, place_)) + ": a .kxo document holds " +
                        std::to_string(Outline::kMaxLevel + 1) + " levels",
                    "move the deepest items up and import again");
}

void Builder::AddToNote(size_t item, const std::string& text) {
  if (text.empty()) return;
  std::string& note = *entries_[item].item.note;
  if (!note.empty()) note += lineBreak_ + lineBreak_;
  note += text;
}

Outline Builder::Finish() {
  LeaveLeaf();
  Outline outline;
  if (HasTitle()) TakeTitle(outline);
  for (Entry& entry : entries_) {
    if (entry.level > Outline::kMaxLevel) FailForDepth();
    outline.Add(static_cast<unsigned>(entry.level), std::move(entry.item));
  }
  return outline;
}

/// All others stand below it, and move up. What would be its note becomes an item.
void Builder::TakeTitle(Outline& outline) {
  Item& first = entries_.front().item;
  outline.title = std::exchange(first.text, "");
  if (first.note->empty()) {
    entries_.erase(entries_.begin());
  } else {
    first.text = std::exchange(*first.note, "");
    entries_.front().level = 1;
  }
  for (Entry& entry : entries_) --entry.level;
}

/// The parser is written in C: nothing is thrown through it.
class Parser {
 public:
  explicit Parser(Builder& builder) : builder_(builder) {}
  void Parse(std::string_view source);

 private:
  template <class Call>
  static int Guarded(void* self, Call call) {
    auto& parser = *static_cast<Parser*>(self);
    try {
      call(parser.builder_);
      return 0;
    } catch (...) {
      parser.thrown_ = std::current_exception();
      return -1;
    }
  }

  Builder& builder_;
  std::exception_ptr thrown_;
};

void Parser::Parse(std::string_view source) {
  MD_PARSER parser = {};
  parser.flags = MD_FLAG_TASKLISTS | MD_FLAG_TABLES;
  parser.enter_block = [](MD_BLOCKTYPE type, void* detail, void* self) {
    return Guarded(self, [=](Builder& builder) { builder.Enter(type, detail); });
  };
  parser.leave_block = [](MD_BLOCKTYPE type, void* /*detail*/, void* self) {
    return Guarded(self, [=](Builder& builder) { builder.Leave(type); });
  };
  parser.enter_span = [](MD_SPANTYPE type, void* /*detail*/, void* self) {
    return Guarded(self, [=](Builder& builder) { builder.EnterSpan(type); });
  };
  parser.leave_span = [](MD_SPANTYPE type, void* detail, void* self) {
    return Guarded(self, [=](Builder& builder) { builder.LeaveSpan(type, detail); });
  };
  parser.text = [](MD_TEXTTYPE type, const MD_CHAR* text, MD_SIZE size, void* self) {
    return Guarded(self, [=](Builder& builder) { builder.Take(type, ViewOf(text, size)); });
  };
  const int result = md_parse(source.data(), static_cast<MD_SIZE>(source.size()), &parser, this);
  if (thrown_) std::rethrow_exception(thrown_);
  if (result != 0) throw std::bad_alloc();
}

}  // namespace

Outline ReadMarkdown(const ImportSource& source, ImportNotes& notes) {
  const std::string text = PlainToUtf8(source.name, source.bytes, notes);
  if (text.size() > std::numeric_limits<MD_SIZE>::max() / 2) {
    throw FileFailure(kExitDamaged, source.name, "too long for Markdown");
  }
  Builder builder(source.name, text, notes);
  Parser(builder).Parse(text);
  return builder.Finish();
}

}  // namespace kxo
