#include "Columns.h"

#include <utf8proc.h>

#include <algorithm>

#include "Text.h"

namespace kxo {
namespace {

constexpr utf8proc_int32_t kShownAsEmoji = 0xFE0F;  // behind a character that has two looks

utf8proc_int32_t NextCharacter(std::string_view utf8, size_t& pos) {
  const char32_t c = NextCodePoint(utf8, pos);
  return static_cast<utf8proc_int32_t>(c == kNotUtf8 ? kReplacementCharacter : c);
}

/// What a reader takes for one character, with all that combines with it.
struct Cluster {
  size_t end = 0;  ///< The offset behind it.
  size_t width = 0;
  bool isBlank = false;
};

Cluster ClusterAt(std::string_view utf8, size_t pos) {
  utf8proc_int32_t last = NextCharacter(utf8, pos);
  Cluster cluster = {pos, static_cast<size_t>(utf8proc_charwidth(last)), last == ' '};
  utf8proc_int32_t state = 0;
  while (pos < utf8.size()) {
    const utf8proc_int32_t next = NextCharacter(utf8, pos);
    if (utf8proc_grapheme_break_stateful(last, next, &state)) break;
    const size_t width = next == kShownAsEmoji ? 2 : static_cast<size_t>(utf8proc_charwidth(next));
    cluster.width = std::max(cluster.width, width);
    cluster.end = pos;
    last = next;
  }
  return cluster;
}

std::string Blanks(size_t width, std::string_view utf8) {
  const size_t taken = WidthOf(utf8);
  return std::string(taken < width ? width - taken : 0, ' ');
}

/// Where the line that starts at `start` ends, and the next begins.
struct LineBreak {
  size_t end;
  size_t next;
};

LineBreak FindBreak(size_t width, std::string_view utf8, size_t start) {
  LineBreak atBlank = {start, start};
  size_t taken = 0;
  for (size_t pos = start; pos < utf8.size();) {
    const Cluster cluster = ClusterAt(utf8, pos);
    if (cluster.isBlank) atBlank = {pos, cluster.end};
    taken += cluster.width;
    if (taken > width) {
      if (atBlank.end > start) return atBlank;
      const size_t end = pos > start ? pos : cluster.end;
      return {end, end};
    }
    pos = cluster.end;
  }
  return {utf8.size(), utf8.size()};
}

}  // namespace

size_t WidthOf(std::string_view utf8) {
  size_t width = 0;
  for (size_t pos = 0; pos < utf8.size();) {
    const Cluster cluster = ClusterAt(utf8, pos);
    width += cluster.width;
    pos = cluster.end;
  }
  return width;
}

std::string PaddedTo(size_t width, const std::string& utf8) { return utf8 + Blanks(width, utf8); }

std::string PaddedBefore(size_t width, const std::string& utf8) {
  return Blanks(width, utf8) + utf8;
}

std::vector<std::string> BrokenAt(size_t width, std::string_view utf8) {
  std::vector<std::string> lines;
  size_t start = 0;
  do {
    const LineBreak line = FindBreak(width, utf8, start);
    lines.emplace_back(utf8.substr(start, line.end - start));
    start = line.next;
  } while (start < utf8.size());
  return lines;
}

}  // namespace kxo
