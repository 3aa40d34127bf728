#include "formats/Format.h"

#include <algorithm>
#include <utility>

#include "FileKind.h"
#include "LinkedTree.h"
#include "Session.h"
#include "Text.h"
#include "formats/Html.h"
#include "formats/Json.h"
#include "formats/Markdown.h"
#include "formats/Opml.h"
#include "formats/PlainText.h"

namespace kxo {

const std::vector<Format>& Formats() {
  static const std::vector<Format> formats = {
      {"html", {".html", ".htm"}, WriteHtml, nullptr},
      {"json", {".json"}, nullptr, nullptr, WriteJson, ReadJson},
      {"markdown", {".md", ".markdown"}, WriteMarkdown, ReadMarkdown},
      {"opml", {".opml", ".xml"}, WriteOpml, ReadOpml},
      {"text", {".txt", ".text"}, WritePlainText, ReadPlainText},
  };
  return formats;
}

Contents ReadFor(const Format& format, const std::string& name, const std::filesystem::path& file) {
  const salvage::Kind kind = KindOfFile(name, file);
  if (format.writeAll == nullptr && kind == salvage::Kind::kCategory) {
    FailForKind(name, kind, salvage::Kind::kOutline);
  }
  Contents contents = ReadContents(name, file, kind);
  const bool isLinked = format.writeAll == nullptr && kind == salvage::Kind::kMemory;
  if (isLinked) contents.outline = WithoutLinks(LinkedTree(std::move(contents.outline)));
  return contents;
}

Exported WriteAs(const Format& format, const Contents& contents, const ExportPlace& place) {
  if (format.writeAll != nullptr) return {format.writeAll(contents), {}, {}};
  return format.write(contents.outline, place);
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
    if (format.canWrite()) names.emplace_back(format.name);
  }
  return names;
}

std::vector<std::string> NamesOfReaders() {
  std::vector<std::string> names;
  for (const Format& format : Formats()) {
    if (format.canRead()) names.emplace_back(format.name);
  }
  return names;
}

}  // namespace kxo
