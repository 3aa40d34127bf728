// Any bytes as an OPML file: imported, saved, and read again; what the saved document holds, drawn
// as a tree and written in every format.

#include "Document.h"
#include "Failure.h"
#include "FuzzSupport.h"
#include "TreeView.h"
#include "formats/Format.h"
#include "formats/Html.h"
#include "formats/Json.h"
#include "formats/Opml.h"

namespace {

/// Written by us, all of it comes back: what XML lacks was not there.
void exportAndCompare(const kxo::Outline& outline) {
  kxo::ImportNotes notes;
  const kxo::Exported exported = kxo::WriteOpml(outline, {});
  const kxo::Outline back = kxo::ReadOpml({"output", exported.bytes, nullptr}, notes);
  kx_fuzz::require(back.GetNodes().size() == outline.GetNodes().size(), "exported items come back");
  if (!exported.told.empty()) return;
  kx_fuzz::require(back == outline, "an exported outline comes back");
  kx_fuzz::require(kxo::WriteOpml(back, {}).bytes == exported.bytes, "and gives the same bytes");
}

/// A page without scripts, the same each time, that ends.
void writePage(const kxo::Outline& outline) {
  const std::string page = kxo::WriteHtml(outline, {}).bytes;
  kx_fuzz::require(page == kxo::WriteHtml(outline, {}).bytes, "the same outline, the same page");
  kx_fuzz::require(page.find("<script") == std::string::npos, "a page has no scripts");
  kx_fuzz::require(page.ends_with("</html>\n"), "a page is whole");
}

/// All that a document of the tool's holds goes into every format, and on a terminal.
void showAndWrite(const kxo::Contents& contents) {
  const kxo::Outline& outline = contents.outline;
  writePage(outline);
  for (const kxo::Format& format : kxo::Formats()) {
    const std::string bytes = kxo::WriteAs(format, contents, {"name"}).bytes;
    kx_fuzz::require(bytes == kxo::WriteAs(format, contents, {"name"}).bytes, "the same bytes");
  }
  kxo::TreeOptions all;
  all.notes = all.ids = all.numbers = all.all = true;
  for (const kxo::Screen& screen : {kxo::Screen{}, kxo::Screen{true, true, 20}}) {
    kx_fuzz::require(!kxo::DrawTree(outline, all, screen).empty(), "there is a tree");
  }
}

void saveAndCompare(const kxo::Outline& outline) {
  const std::wstring path = kx_fuzz::scratchFile("document", nullptr, 0);
  kxo::Document document("document");
  document.TakeTitle(outline.title);
  document.TakeItems(outline);
  // Attributes of ours that were made up may tell of what no document holds: the tool refuses that.
  if (document.GetOutline().GetNodes() != outline.GetNodes()) return;
  document.Save(path, true);

  const kxo::Contents back = kxo::ReadContents("document", path, kxo::salvage::Kind::kOutline);
  kx_fuzz::require(back.outline.GetNodes() == outline.GetNodes(), "imported items come back");
  showAndWrite(back);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  const kx_fuzz::Budget budget(size);
  kxo::ImportNotes notes;
  try {
    const kxo::ImportSource source = {"input", std::string(data, data + size), nullptr};
    const kxo::Outline outline = kxo::ReadOpml(source, notes);
    exportAndCompare(outline);
    saveAndCompare(outline);
    notes.Lines();
  } catch (const kxo::Failure&) {
    // Told to the user; nothing was imported.
  }
  return 0;
}
