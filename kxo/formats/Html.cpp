#include "formats/Html.h"

#include <pugixml.hpp>
#include <string>
#include <utility>
#include <vector>

#include "Base64.h"
#include "Text.h"
#include "formats/CleanText.h"
#include "formats/DrawingPng.h"
#include "formats/XmlBuild.h"

namespace kxo {
namespace {

constexpr const char* kBeforeTitle =
    "<!DOCTYPE html>\n<html>\n<head>\n<meta charset=\"utf-8\" />\n"
    "<meta name=\"viewport\" content=\"width=device-width, initial-scale=1\" />\n";

/// Notes and texts keep their line breaks and blanks; long words break where a narrow screen ends.
constexpr const char* kStyle = R"(
:root { color-scheme: light dark; --paper: #fdfcf8; --ink: #23211c; --soft: #6b675c;
  --rule: #dcd8cc; --mark: #2e6f4f; }
@media (prefers-color-scheme: dark) {
  :root { --paper: #17181a; --ink: #e7e5df; --soft: #a19d92; --rule: #3a3b3e; --mark: #86c9a4; }
}
* { box-sizing: border-box; }
body { margin: 0 auto; max-width: 46rem; padding: 1rem; background: var(--paper);
  color: var(--ink); font: 1rem/1.5 system-ui, sans-serif; overflow-wrap: anywhere; }
h1 { font-size: 1.5rem; line-height: 1.25; margin: 0 0 1rem; white-space: pre-wrap; }
.item { padding-left: 1.25rem; }
.item .item { margin-left: -.85rem; border-left: 1px solid var(--rule); padding-left: 1.75rem; }
.line { margin-left: -1.25rem; padding: .15rem 0; list-style: none; display: flex; gap: .4rem; }
.line::before { content: "\2022"; flex: 0 0 .85rem; text-align: center; color: var(--soft); }
details > .line { cursor: pointer; }
details > .line::before { content: "\25B8"; }
details[open] > .line::before { content: "\25BE"; }
summary::-webkit-details-marker { display: none; }
.text, .note { white-space: pre-wrap; min-width: 0; }
.text:empty::before { content: "\200B"; }
.check { color: var(--mark); flex: none; }
.done > .text { color: var(--soft); text-decoration: line-through; }
.deleted > .text { opacity: .6; text-decoration: line-through; }
.note { color: var(--soft); margin: 0 0 .35rem; }
img { display: block; max-width: 100%; height: auto; margin: 0 0 .35rem; background: #fff; }
)";

class HtmlWriter {
 public:
  explicit HtmlWriter(const Outline& outline) : outline_(outline) {}
  Exported Write();

 private:
  void WriteBody(pugi::xml_node body);
  pugi::xml_node AddItem(pugi::xml_node parent, size_t index);
  void WriteLine(pugi::xml_node parent, size_t index);
  void WriteDrawing(pugi::xml_node parent, const Drawing& drawing);

  const Outline& outline_;
  CleanText clean_;
  size_t damagedDrawings_ = 0;
};

/// To a browser <div/> is only a beginning, so all elements but pictures hold a text, if only an
/// empty one.
Exported HtmlWriter::Write() {
  pugi::xml_document document;
  pugi::xml_node title = AddElement(document.root(), "title");
  AddText(title, clean_.OfXml(outline_.title));
  pugi::xml_node body = AddElement(document.root(), "body");
  WriteBody(body);
  Exported exported;
  exported.bytes = kBeforeTitle + Printed(title, "", pugi::format_raw) + "\n<style>" + kStyle +
                   "</style>\n</head>\n" + Printed(body, "", pugi::format_raw) + "\n</html>\n";
  clean_.TellInto(exported.told);
  if (damagedDrawings_ > 0) {
    exported.told.push_back("not carried: " + Counted(damagedDrawings_, "drawing") +
                            " that cannot be read; kxo check tells more");
  }
  return exported;
}

void HtmlWriter::WriteBody(pugi::xml_node body) {
  AddText(AddElement(body, "h1"), clean_.OfXml(outline_.title));
  std::vector<pugi::xml_node> open = {AddElement(body, "main")};  // by depth
  for (size_t i = 0; i < outline_.GetNodes().size(); ++i) {
    open.resize(outline_.GetNodes()[i].depth + 1);
    open.push_back(AddItem(open.back(), i));
  }
  AddText(open.front(), "\n");
}

/// What the item's children go into.
pugi::xml_node HtmlWriter::AddItem(pugi::xml_node parent, size_t index) {
  AddText(parent, "\n");
  const bool folds = outline_.HasChildren(index);
  const Item& item = outline_.GetNodes()[index].item;
  pugi::xml_node element = AddElement(parent, folds ? "details" : "div");
  AddAttribute(element, "class", "item");
  if (folds && item.expanded) AddAttribute(element, "open", "");
  WriteLine(element, index);
  if (item.note && !item.note->empty()) {
    pugi::xml_node note = AddElement(element, "div");
    AddAttribute(note, "class", "note");
    AddAttribute(note, "dir", "auto");
    AddText(note, clean_.OfXml(*item.note));
  }
  if (item.drawing) WriteDrawing(element, *item.drawing);
  return element;
}

void HtmlWriter::WriteLine(pugi::xml_node parent, size_t index) {
  const Item& item = outline_.GetNodes()[index].item;
  pugi::xml_node line = AddElement(parent, outline_.HasChildren(index) ? "summary" : "div");
  AddAttribute(
      line, "class",
      std::string("line") + (item.checked ? " done" : "") + (item.deleted ? " deleted" : ""));
  if (item.checked) {
    pugi::xml_node check = AddElement(line, "span");
    AddAttribute(check, "class", "check");
    AddText(check, "\u2713");
  }
  pugi::xml_node text = AddElement(line, "span");
  AddAttribute(text, "class", "text");
  AddAttribute(text, "dir", "auto");
  AddText(text, clean_.OfXml(item.text));
}

void HtmlWriter::WriteDrawing(pugi::xml_node parent, const Drawing& drawing) {
  const std::string png = PngOf(drawing);
  if (png.empty()) {
    ++damagedDrawings_;
    return;
  }
  pugi::xml_node image = AddElement(parent, "img");
  AddAttribute(image, "alt", "drawing");
  AddAttribute(image, "width", std::to_string(drawing.width));
  AddAttribute(image, "height", std::to_string(drawing.height));
  AddAttribute(image, "src", "data:image/png;base64," + ToBase64(png));
}

}  // namespace

Exported WriteHtml(const Outline& outline, const ExportPlace& /*place*/) {
  return HtmlWriter(outline).Write();
}

}  // namespace kxo
