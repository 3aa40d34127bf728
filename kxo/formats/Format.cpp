#include "formats/Format.h"

#include <algorithm>

#include "Session.h"
#include "Text.h"
#include "formats/Html.h"
#include "formats/Markdown.h"
#include "formats/Opml.h"
#include "formats/PlainText.h"

namespace kxo {

const std::vector<Format>& Formats() {
  static const std::vector<Format> formats = {
      {"html", {".html", ".htm"}, WriteHtml, nullptr},
      {"markdown", {".md", ".markdown"}, WriteMarkdown, ReadMarkdown},
      {"opml", {".opml", ".xml"}, WriteOpml, ReadOpml},
      {"text", {".txt", ".text"}, WritePlainText, ReadPlainText},
  };
  return formats;
}

const Format* FormatNamed(std::string_view name) {
  const auto found = std::find_if(Formats().begin(), Formats().end(),
                                  [name](const Format& format) { return format.name == name; });
  return found == Formats().end() ? nullptr : &*found;
}

const Format* FormatOfFile(const std::filesystem::path& file) {
  const std::string extension = LowerCase(NameOf(file.extension()));
  for (const Format& format : Formats()) {
    const auto& known = format.extensions;
    if (std::find(known.begin(), known.end(), extension) != known.end()) return &format;
  }
  return nullptr;
}

std::vector<std::string> NamesOfWriters() {
  std::vector<std::string> names;
  for (const Format& format : Formats()) {
    if (format.write != nullptr) names.emplace_back(format.name);
  }
  return names;
}

std::vector<std::string> NamesOfReaders() {
  std::vector<std::string> names;
  for (const Format& format : Formats()) {
    if (format.read != nullptr) names.emplace_back(format.name);
  }
  return names;
}

}  // namespace kxo
