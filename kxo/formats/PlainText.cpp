#include "formats/PlainText.h"

#include <algorithm>
#include <array>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "Failure.h"
#include "Text.h"
#include "formats/CleanText.h"
#include "formats/XmlText.h"

namespace kxo {
namespace {

// NOLINTNEXTLINE(misc-unused-using-decls): the check does not see literals
using std::string_view_literals::operator""sv;

constexpr char kEscape = '\\';
constexpr char kNoteMark = ':';
constexpr char kMoreMark = '|';
constexpr std::string_view kCheckedMark = "[x] ";
constexpr std::array kCheckMarks = {kCheckedMark, "[X] "sv, "[ ] "sv};
constexpr std::string_view kByteOrderMark = "\xEF\xBB\xBF";

struct Line {
  std::string_view text;
  std::string_view lineBreak;  ///< Empty behind the last.
};

/// At least one line.
std::vector<Line> LinesOf(std::string_view text) {
  std::vector<Line> lines;
  while (true) {
    const size_t end = text.find_first_of("\r\n");
    if (end == std::string_view::npos) break;
    const size_t length = text.substr(end, 2) == "\r\n" ? 2 : 1;
    lines.push_back({text.substr(0, end), text.substr(end, length)});
    text.remove_prefix(end + length);
  }
  lines.push_back({text, {}});
  return lines;
}

bool StartsWith(std::string_view text, std::string_view start) {
  return text.substr(0, start.size()) == start;
}

bool HasMark(std::string_view text, char mark) {
  return !text.empty() && text[0] == mark && (text.size() == 1 || text[1] == ' ');
}

std::optional<std::string_view> CheckMarkOf(std::string_view text) {
  for (const std::string_view mark : kCheckMarks) {
    if (StartsWith(text, mark)) return mark;
  }
  return std::nullopt;
}

/// Whether a reader would take this for something else than text, but for backslashes before it.
bool NeedsEscape(std::string_view text) {
  text.remove_prefix(std::min(text.find_first_not_of(kEscape), text.size()));
  return text.empty() || text[0] == ' ' || text[0] == '\t' || HasMark(text, kNoteMark) ||
         HasMark(text, kMoreMark) || CheckMarkOf(text) || StartsWith(text, kByteOrderMark);
}

class TextWriter {
 public:
  Exported Write(const Outline& outline);

 private:
  void WriteText(unsigned level, std::string_view marks, const std::string& text);
  void WriteMore(unsigned level, char mark, const Line& line);
  void WriteNote(unsigned level, const std::string& note);

  CleanText clean_;
  std::string out_;
};

Exported TextWriter::Write(const Outline& outline) {
  if (outline.title.empty()) {
    out_ += "\n";
  } else {
    WriteText(0, "", outline.title);
    out_ += "\n";
  }
  for (const Outline::Node& node : outline.GetNodes()) {
    WriteText(node.level, node.item.checked ? kCheckedMark : "", node.item.text);
    if (node.item.note && !node.item.note->empty()) WriteNote(node.level, *node.item.note);
  }
  Exported exported{std::move(out_), {}, {}};
  clean_.TellInto(exported.told);
  return exported;
}

void TextWriter::WriteText(unsigned level, std::string_view marks, const std::string& text) {
  const std::string clean = clean_.Of(text);
  const std::vector<Line> lines = LinesOf(clean);
  out_.append(level, '\t').append(marks);
  if (NeedsEscape(lines[0].text)) out_ += kEscape;
  out_ += lines[0].text;
  out_ += lines.size() == 1 ? "\n"sv : lines[0].lineBreak;
  for (size_t i = 1; i < lines.size(); ++i) WriteMore(level, kMoreMark, lines[i]);
}

void TextWriter::WriteMore(unsigned level, char mark, const Line& line) {
  out_.append(level + 1, '\t') += mark;
  if (!line.text.empty()) out_ += ' ';
  out_ += line.text;
  out_ += line.lineBreak.empty() ? "\n"sv : line.lineBreak;
}

void TextWriter::WriteNote(unsigned level, const std::string& note) {
  const std::string clean = clean_.Of(note);
  for (const Line& line : LinesOf(clean)) WriteMore(level, kNoteMark, line);
}

/// How lines tell their level.
class Indentation {
 public:
  explicit Indentation(const std::vector<Line>& lines);
  /// Takes what indents off the line.
  size_t TakeLevel(std::string_view& line) const;

 private:
  char character_ = '\t';
  size_t unit_ = 1;
};

Indentation::Indentation(const std::vector<Line>& lines) {
  size_t least = std::string_view::npos;
  for (const Line& line : lines) {
    if (StartsWith(line.text, "\t")) return;
    const size_t blanks = line.text.find_first_not_of(' ');
    if (blanks > 0) least = std::min(least, blanks);
  }
  if (least == std::string_view::npos) return;
  character_ = ' ';
  unit_ = least;
}

size_t Indentation::TakeLevel(std::string_view& line) const {
  const size_t count = std::min(line.find_first_not_of(character_), line.size());
  line.remove_prefix(count);
  return count / unit_;
}

class TextReader {
 public:
  TextReader(const std::string& name, std::string_view text)
      : name_(name), lines_(LinesOf(text)), indentation_(lines_) {}
  Outline Read();

 private:
  /// An item with the lines that belong to it.
  struct Entry {
    size_t level = 0;
    Item item;
    bool hasMark = false;
  };

  bool AtEnd() const { return next_ == lines_.size(); }
  bool AtEmptyLine() const { return !AtEnd() && IsEmpty(lines_[next_].text); }
  static bool IsEmpty(std::string_view line) {
    return line.find_first_not_of(" \t") == std::string_view::npos;
  }
  bool TakeTitle(Entry& first);
  Entry TakeEntry();
  std::string TakeMore(size_t level, char mark, std::vector<Line> lines);
  void Add(Entry entry);

  const std::string& name_;
  std::vector<Line> lines_;
  Indentation indentation_;
  size_t next_ = 0;
  Outline outline_;
};

Outline TextReader::Read() {
  if (AtEmptyLine()) {
    ++next_;
  } else if (!AtEnd()) {
    Entry first = TakeEntry();
    if (!TakeTitle(first)) Add(std::move(first));
  }
  while (!AtEnd()) {
    if (AtEmptyLine()) {
      ++next_;
    } else {
      Add(TakeEntry());
    }
  }
  return std::move(outline_);
}

/// The last line, behind the last line break, is no line.
bool TextReader::TakeTitle(Entry& first) {
  const bool isTitle = first.level == 0 && !first.hasMark && first.item.note->empty() &&
                       AtEmptyLine() && next_ + 1 < lines_.size();
  if (isTitle) outline_.title = std::move(first.item.text);
  return isTitle;
}

TextReader::Entry TextReader::TakeEntry() {
  Entry entry;
  Line first = lines_[next_++];
  entry.level = indentation_.TakeLevel(first.text);
  if (const auto mark = CheckMarkOf(first.text)) {
    entry.hasMark = true;
    entry.item.checked = *mark != "[ ] "sv;
    first.text.remove_prefix(mark->size());
  }
  if (StartsWith(first.text, "\\") && NeedsEscape(first.text)) first.text.remove_prefix(1);
  entry.item.text = TakeMore(entry.level, kMoreMark, {first});
  entry.item.note = TakeMore(entry.level, kNoteMark, {});  // new items have one, if an empty one
  entry.item.isNew = true;
  return entry;
}

/// The text of these lines and of those that follow with the mark.
std::string TextReader::TakeMore(size_t level, char mark, std::vector<Line> lines) {
  for (; !AtEnd(); ++next_) {
    Line line = lines_[next_];
    if (indentation_.TakeLevel(line.text) != level + 1 || !HasMark(line.text, mark)) break;
    line.text.remove_prefix(std::min<size_t>(line.text.size(), 2));
    lines.push_back(line);
  }
  std::string text;
  for (size_t i = 0; i < lines.size(); ++i) {
    if (i > 0) text += lines[i - 1].lineBreak;
    text += lines[i].text;
  }
  return text;
}

void TextReader::Add(Entry entry) {
  if (entry.level > Outline::kMaxLevel) {
    throw FileFailure(kExitDamaged, name_,
                      "too deep at line " + std::to_string(next_) + ": an item of level " +
                          std::to_string(entry.level + 1) + ", and a .kxo document holds " +
                          std::to_string(Outline::kMaxLevel + 1) + " levels",
                      "move the deepest items up and import again");
  }
  outline_.Add(static_cast<unsigned>(entry.level), std::move(entry.item));
}

}  // namespace

Exported WritePlainText(const Outline& outline, const ExportPlace& /*place*/) {
  return TextWriter().Write(outline);
}

Outline ReadPlainText(const ImportSource& source, ImportNotes& notes) {
  const std::string text = PlainToUtf8(source.name, source.bytes, notes);
  return TextReader(source.name, text).Read();
}

}  // namespace kxo
