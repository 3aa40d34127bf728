// Any bytes as Markdown and as plain text: what is imported is written in every format, and comes
// back from those that carry texts as they are.

#include "Failure.h"
#include "FuzzSupport.h"
#include "formats/Format.h"
#include "formats/Html.h"
#include "formats/Markdown.h"
#include "formats/Opml.h"
#include "formats/PlainText.h"

namespace {

using Reader = kxo::Outline (*)(const kxo::ImportSource& source, kxo::ImportNotes& notes);
using Writer = kxo::Exported (*)(const kxo::Outline& outline, const kxo::ExportPlace& place);

kxo::Outline readBack(Reader read, const kxo::Exported& exported) {
  kxo::ImportNotes notes;
  return read({"output", exported.bytes, nullptr}, notes);
}

void requireSame(const kxo::Outline& outline, Writer write, Reader read) {
  const kxo::Exported exported = write(outline, {});
  const kxo::Outline back = readBack(read, exported);
  kx_fuzz::require(back.title == outline.title, "the title comes back");
  kx_fuzz::require(back.GetNodes() == outline.GetNodes(), "items come back as they were");
  kx_fuzz::require(write(back, {}).bytes == exported.bytes, "the same outline, the same bytes");
}

void writeAll(const kxo::Outline& outline) {
  requireSame(outline, kxo::WriteMarkdown, kxo::ReadMarkdown);
  requireSame(outline, kxo::WritePlainText, kxo::ReadPlainText);
  // XML lacks some characters.
  const kxo::Outline back = readBack(kxo::ReadOpml, kxo::WriteOpml(outline, {}));
  kx_fuzz::require(back.GetNodes().size() == outline.GetNodes().size(), "OPML has all items");
  kx_fuzz::require(!kxo::WriteHtml(outline, {}).bytes.empty(), "there is a page");
}

void importAs(Reader read, const uint8_t* data, size_t size) {
  kxo::ImportNotes notes;
  try {
    writeAll(read({"input", std::string(data, data + size), nullptr}, notes));
    notes.Lines();
  } catch (const kxo::Failure&) {
    // Told to the user; nothing was imported.
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  const kx_fuzz::Budget budget(size);
  importAs(kxo::ReadMarkdown, data, size);
  importAs(kxo::ReadPlainText, data, size);
  return 0;
}
