// Any bytes as an OPML file: imported, saved, and read again.

#include "Document.h"
#include "Failure.h"
#include "FuzzSupport.h"
#include "formats/Opml.h"

namespace {

void saveAndCompare(const kxo::Outline& outline) {
  const std::wstring path = kx_fuzz::scratchFile("document", nullptr, 0);
  kxo::Document document("document");
  document.TakeTitle(outline.title);
  document.TakeItems(outline);
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
    saveAndCompare(kxo::ReadOpml(source, notes));
    notes.Lines();
  } catch (const kxo::Failure&) {
    // Told to the user; nothing was imported.
  }
  return 0;
}
