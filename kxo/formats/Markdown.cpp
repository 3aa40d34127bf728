#include "formats/Markdown.h"

#include <algorithm>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "formats/CleanText.h"

namespace kxo {
namespace {

// NOLINTNEXTLINE(misc-unused-using-decls): the check does not see literals
using std::string_view_literals::operator""sv;

constexpr std::string_view kEmptyText = "<!-- -->";
constexpr std::string_view kBullet = "- ";
constexpr size_t kBulletWidth = kBullet.size();

bool IsDigit(char c) { return c >= '0' && c <= '9'; }
bool IsLetter(char c) { return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z'); }
bool IsWordCharacter(char c) { return IsDigit(c) || IsLetter(c); }
bool IsOneOf(char c, std::string_view characters) {
  return c != '\0' && characters.find(c) != std::string_view::npos;
}

/// A paragraph, or as much of one as a heading may hold, so that Markdown reads it as plain text.
class Escaper {
 public:
  /// Lines behind the first are indented; without `mayBreak` there is only one.
  Escaper(std::string_view text, size_t indent, bool mayBreak)
      : text_(text), indent_(indent), mayBreak_(mayBreak) {}
  std::string Escape();

 private:
  /// The characters around; null beyond the ends.
  char At(size_t pos) const { return pos < text_.size() ? text_[pos] : '\0'; }
  char Before() const { return pos_ == 0 ? '\0' : text_[pos_ - 1]; }
  char After() const { return At(pos_ + 1); }
  bool IsLineStart() const { return pos_ == 0 || Before() == '\n'; }
  bool IsLineEnd() const { return After() == '\0' || After() == '\n'; }

  void Append(char c);
  void AppendReference(char c);
  void AppendBreak();
  bool NeedsReference(char c) const;
  bool NeedsBackslash(char c) const;
  bool NeedsBackslashAtStart(char c) const;
  bool EndsListNumber() const;
  bool MayBeginAddress() const;

  std::string_view text_;
  size_t indent_;
  bool mayBreak_;
  size_t pos_ = 0;
  std::string out_;
};

std::string Escaper::Escape() {
  for (pos_ = 0; pos_ < text_.size(); ++pos_) Append(text_[pos_]);
  return std::move(out_);
}

void Escaper::Append(char c) {
  if (c == '\n') {
    AppendBreak();
  } else if (NeedsReference(c)) {
    AppendReference(c);
  } else {
    if (NeedsBackslash(c)) out_ += '\\';
    out_ += c;
  }
}

void Escaper::AppendReference(char c) { out_ += "&#" + std::to_string(c) + ";"; }

/// Markdown has no empty lines inside a paragraph, nor breaks at its ends.
void Escaper::AppendBreak() {
  const bool isInside = !IsLineStart() && !IsLineEnd();
  if (!mayBreak_ || !isInside) return AppendReference('\n');
  out_ += "\\\n";
  out_.append(indent_, ' ');
}

bool Escaper::NeedsReference(char c) const {
  if (c == ' ') return IsLineStart() || IsLineEnd();
  const auto byte = static_cast<unsigned char>(c);
  return byte < 0x20 || byte == 0x7F;
}

bool Escaper::NeedsBackslash(char c) const {
  switch (c) {
    case '\\':  // in front of what may be escaped, or become a reference
      return !IsWordCharacter(After()) && (After() & 0x80) == 0;
    case '_':
      return !IsWordCharacter(Before()) || !IsWordCharacter(After());
    case '*':
      return Before() != ' ' || After() != ' ';
    case '&':
      return After() == '#' || IsLetter(After());
    case '<':
      return IsLetter(After()) || IsOneOf(After(), "/!?") || MayBeginAddress();
    case '#':
      return IsLineStart() || !mayBreak_;
    default:
      return IsOneOf(c, "`[]|~"sv) || NeedsBackslashAtStart(c);
  }
}

/// What begins something at the beginning of a line only.
bool Escaper::NeedsBackslashAtStart(char c) const {
  if (IsLineStart()) return IsOneOf(c, "+-=>"sv);
  return (c == '.' || c == ')') && EndsListNumber();
}

bool Escaper::EndsListNumber() const {
  size_t start = pos_;
  while (start > 0 && IsDigit(text_[start - 1])) --start;
  return start < pos_ && (start == 0 || text_[start - 1] == '\n');
}

/// Whether an address of electronic mail may follow, which in angle brackets is a link.
bool Escaper::MayBeginAddress() const {
  size_t end = pos_ + 1;
  while (IsWordCharacter(At(end)) || IsOneOf(At(end), ".!#$%&'*+/=?^_`{|}~-"sv)) ++end;
  return end > pos_ + 1 && At(end) == '@';
}

/// The paragraphs of a note: two line breaks lie between them, not more and not at the ends.
std::vector<std::string_view> ParagraphsOf(std::string_view note) {
  std::vector<std::string_view> paragraphs;
  size_t start = 0;
  size_t pos = note.find('\n', std::min(note.find_first_not_of('\n'), note.size()));
  while (pos != std::string_view::npos) {
    const size_t end = note.find_first_not_of('\n', pos);
    if (end == std::string_view::npos) break;
    if (end - pos >= 2) {
      paragraphs.push_back(note.substr(start, end - 2 - start));
      start = end;
    }
    pos = note.find('\n', end);
  }
  paragraphs.push_back(note.substr(start));
  return paragraphs;
}

/// The line breaks of an outline's texts.
class LineBreaks {
 public:
  explicit LineBreaks(const Outline& outline);
  bool AreWindows() const { return windows_ > 0 && others_ == 0; }

 private:
  void Count(std::string_view text);

  size_t windows_ = 0;
  size_t others_ = 0;
};

LineBreaks::LineBreaks(const Outline& outline) {
  Count(outline.title);
  for (const Outline::Node& node : outline.GetNodes()) {
    Count(node.item.text);
    if (node.item.note) Count(*node.item.note);
  }
}

void LineBreaks::Count(std::string_view text) {
  for (size_t pos = text.find_first_of("\r\n"); pos != std::string_view::npos;) {
    const bool isWindows = text.substr(pos, 2) == "\r\n";
    ++(isWindows ? windows_ : others_);
    pos = text.find_first_of("\r\n", pos + (isWindows ? 2 : 1));
  }
}

class Writer {
 public:
  explicit Writer(const Outline& outline)
      : outline_(outline), windowsBreaks_(LineBreaks(outline).AreWindows()) {}
  Exported Write();

 private:
  std::string Clean(const std::string& text);
  void WriteTitle();
  void WriteItem(const Outline::Node& node);
  void WriteNote(const std::string& note, size_t indent);

  const Outline& outline_;
  bool windowsBreaks_;
  size_t openLevels_ = 0;  // of the lists around the last item
  CleanText clean_;
  std::string out_;
};

Exported Writer::Write() {
  if (windowsBreaks_) out_ += std::string(kWindowsLineBreaks) + "\n\n";
  if (!outline_.title.empty()) WriteTitle();
  for (const Outline::Node& node : outline_.GetNodes()) WriteItem(node);
  Exported exported{std::move(out_), {}, {}};
  clean_.TellInto(exported.told);
  return exported;
}

void Writer::WriteTitle() {
  out_ += "# " + Escaper(Clean(outline_.title), 0, false).Escape() + "\n";
  if (!outline_.GetNodes().empty()) out_ += "\n";
}

std::string Writer::Clean(const std::string& text) {
  std::string clean = clean_.Of(text);
  if (!windowsBreaks_) return clean;
  clean.erase(std::remove(clean.begin(), clean.end(), '\r'), clean.end());
  return clean;
}

/// A level that is skipped is a list item that holds nothing but a list.
void Writer::WriteItem(const Outline::Node& node) {
  const size_t around = std::min<size_t>(openLevels_, node.level);
  out_.append(around * kBulletWidth, ' ');
  for (size_t level = around; level <= node.level; ++level) out_ += kBullet;
  openLevels_ = node.level + 1;
  const size_t indent = openLevels_ * kBulletWidth;
  if (node.item.checked) out_ += "[x] ";
  const std::string text = Clean(node.item.text);
  out_ += text.empty() ? std::string(kEmptyText) : Escaper(text, indent, true).Escape();
  out_ += "\n";
  if (node.item.note && !node.item.note->empty()) WriteNote(Clean(*node.item.note), indent);
}

void Writer::WriteNote(const std::string& note, size_t indent) {
  out_ += "\n";
  for (const std::string_view paragraph : ParagraphsOf(note)) {
    out_.append(indent, ' ') += Escaper(paragraph, indent, true).Escape() + "\n\n";
  }
}

}  // namespace

Exported WriteMarkdown(const Outline& outline, const ExportPlace& /*place*/) {
  return Writer(outline).Write();
}

}  // namespace kxo
