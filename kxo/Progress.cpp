#include "Progress.h"

#include <fmt/format.h>

#include <algorithm>
#include <cstdio>
#include <string>
#include <string_view>

#include "System.h"
#include "Text.h"

namespace kxo {
namespace {

constexpr std::chrono::milliseconds kInterval{40};
/// Of a name, in columns; longer ones lose their beginning, so that the line stays one line.
constexpr size_t kNameWidth = 40;

/// At most: wide characters, all of which lie behind, take two columns.
size_t ColumnsOf(char32_t c) { return c < 0x1100 ? 1 : 2; }

size_t ColumnsIn(std::string_view utf8) {
  size_t columns = 0;
  for (size_t pos = 0; pos < utf8.size();) columns += ColumnsOf(NextCodePoint(utf8, pos));
  return columns;
}

std::string Shortened(const std::string& name) {
  std::string shown = Escaped(name);
  size_t columns = ColumnsIn(shown);
  if (columns <= kNameWidth) return shown;
  size_t pos = 0;
  while (columns >= kNameWidth) columns -= ColumnsOf(NextCodePoint(shown, pos));
  return "…" + shown.substr(pos);
}

}  // namespace

Progress::Progress() : isShown_(sys::IsTerminal(stderr)) {}

void Progress::Show(size_t number, size_t count, const std::string& name, size_t failed) {
  const auto now = std::chrono::steady_clock::now();
  const bool isDue = width_ == 0 || number == count || now - last_ >= kInterval;
  if (!isShown_ || !isDue) return;
  last_ = now;
  std::string line = fmt::format("{} of {}  {}", number, count, Shortened(name));
  if (failed > 0) line += fmt::format("  ({} failed)", failed);
  Write(line);
}

void Progress::Clear() {
  if (width_ > 0) Write("");
}

/// Blanks cover what is left of the line before.
void Progress::Write(const std::string& line) {
  const size_t width = ColumnsIn(line);
  const std::string blanks(std::max(width, width_) - width, ' ');
  sys::Write(stderr, "\r" + line + blanks + "\r" + line);
  width_ = width;
}

}  // namespace kxo
