#include <pugixml.hpp>
#include <string>
#include <utility>
#include <vector>

#include "Text.h"
#include "formats/DrawingPng.h"
#include "formats/Opml.h"
#include "formats/OpmlFields.h"
#include "formats/XmlBuild.h"

namespace kxo {
namespace {

constexpr const char* kDeclaration = "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n";

void AddOwn(pugi::xml_node element, const char* name, const std::string& value) {
  AddAttribute(element, opml::NameWith(opml::kPrefix, name), value);
}

class OpmlWriter {
 public:
  OpmlWriter(const Outline& outline, const ExportPlace& place) : outline_(outline), place_(place) {}
  Exported Write();

 private:
  /// What expansionState can tell: the lines of unfolded items that are visible, and what a reader
  /// of it takes each item for.
  void FindVisible();
  void WriteHead(pugi::xml_node root);
  void WriteBody(pugi::xml_node root);
  void WriteHeadline(size_t index, pugi::xml_node headline);
  void WriteDrawing(size_t index, pugi::xml_node headline);
  void TellOfDrawings();

  const Outline& outline_;
  const ExportPlace& place_;
  CleanText clean_;
  Exported exported_;
  std::string expansionState_;
  std::vector<bool> isVisible_;
  std::vector<bool> seemsExpanded_;
  size_t unplacedDrawings_ = 0;
  size_t damagedDrawings_ = 0;
};

Exported OpmlWriter::Write() {
  FindVisible();
  pugi::xml_document document;
  pugi::xml_node root = AddElement(document.root(), "opml");
  AddAttribute(root, "version", "2.0");
  AddAttribute(root, "xmlns:" + std::string(opml::kPrefix), opml::kNamespace);
  WriteHead(root);
  WriteBody(root);
  exported_.bytes = kDeclaration + Printed(root, "  ", pugi::format_indent);
  clean_.TellInto(exported_.told);
  TellOfDrawings();
  return std::move(exported_);
}

void OpmlWriter::FindVisible() {
  const auto& nodes = outline_.GetNodes();
  isVisible_.resize(nodes.size());
  seemsExpanded_.resize(nodes.size());
  size_t line = 0;
  for (size_t i = 0; i < nodes.size(); ++i) {
    const size_t parent = nodes[i].parent;
    isVisible_[i] = parent == Outline::kNone || (isVisible_[parent] && seemsExpanded_[parent]);
    if (isVisible_[i]) ++line;
    const bool hasChildren = outline_.HasChildren(i);
    seemsExpanded_[i] = !hasChildren || (isVisible_[i] && nodes[i].item.expanded);
    if (!hasChildren || !seemsExpanded_[i]) continue;
    if (!expansionState_.empty()) expansionState_ += ',';
    expansionState_ += std::to_string(line);
  }
}

void OpmlWriter::WriteHead(pugi::xml_node root) {
  pugi::xml_node head = AddElement(root, "head");
  const std::string title = clean_.OfXml(outline_.title);
  AddText(AddElement(head, "title"), title);
  AddText(AddElement(head, "expansionState"), expansionState_);
  const bool isTrimmed = Trimmed(title) == title && title.find('\r') == std::string::npos;
  if (!isTrimmed || title.empty()) AddOwn(head, opml::kTitle, title);
  opml::WriteFields(outline_, head, clean_);
}

void OpmlWriter::WriteBody(pugi::xml_node root) {
  std::vector<pugi::xml_node> open = {AddElement(root, "body")};  // by depth
  const auto& nodes = outline_.GetNodes();
  for (size_t i = 0; i < nodes.size(); ++i) {
    open.resize(nodes[i].depth + 1);
    open.push_back(AddElement(open.back(), "outline"));
    WriteHeadline(i, open.back());
  }
}

void OpmlWriter::WriteHeadline(size_t index, pugi::xml_node headline) {
  const Outline::Node& node = outline_.GetNodes()[index];
  AddAttribute(headline, "text", clean_.OfXml(node.item.text));
  if (node.item.note && !node.item.note->empty()) {
    AddAttribute(headline, "_note", clean_.OfXml(*node.item.note));
  }
  if (node.item.checked) AddAttribute(headline, "_status", "checked");
  if (node.level != node.depth) AddOwn(headline, opml::kLevel, std::to_string(node.level));
  if (node.item.expanded != seemsExpanded_[index]) {
    AddOwn(headline, opml::kExpanded, node.item.expanded ? "true" : "false");
  }
  opml::WriteFields(node.item, headline, clean_);
  if (node.item.drawing) WriteDrawing(index, headline);
}

void OpmlWriter::WriteDrawing(size_t index, pugi::xml_node headline) {
  if (place_.stem.empty()) {
    ++unplacedDrawings_;
    return;
  }
  PictureFile picture;
  picture.name = place_.stem + "-" + std::to_string(index + 1) + ".png";
  picture.png = PngOf(*outline_.GetNodes()[index].item.drawing);
  if (picture.png.empty()) {
    ++damagedDrawings_;
    return;
  }
  AddOwn(headline, opml::kDrawing, clean_.OfXml(picture.name));
  exported_.pictures.push_back(std::move(picture));
}

void OpmlWriter::TellOfDrawings() {
  if (unplacedDrawings_ > 0) {
    exported_.told.push_back("not carried: " + Counted(unplacedDrawings_, "drawing") +
                             "; name a file with -o, and they are written beside it");
  }
  if (damagedDrawings_ > 0) {
    exported_.told.push_back("not carried: " + Counted(damagedDrawings_, "drawing") +
                             " that cannot be read; kxo check tells more");
  }
}

}  // namespace

Exported WriteOpml(const Outline& outline, const ExportPlace& place) {
  return OpmlWriter(outline, place).Write();
}

}  // namespace kxo
