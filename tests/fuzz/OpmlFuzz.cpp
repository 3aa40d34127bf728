// Any bytes as an OPML file: imported, saved, and read again.

#include "Document.h"
#include "Failure.h"
#include "FuzzSupport.h"
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

void saveAndCompare(const kxo::Outline& outline) {
  const std::wstring path = kx_fuzz::scratchFile("document", nullptr, 0);
  kxo::Document document("document");
  document.TakeTitle(outline.title);
  document.TakeItems(outline);
  // Attributes of ours that were made up may tell of what no document holds: the tool refuses that.
  if (document.GetOutline().GetNodes() != outline.GetNodes()) return;
  document.Save(path, true);

  kxo::Document again("document");
  again.OpenToRead(path);
  const kxo::Outline back = again.ReadOutline();
  kx_fuzz::require(back.GetNodes() == outline.GetNodes(), "imported items come back");
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
