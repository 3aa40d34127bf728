#include "Opml.h"

#include <filesystem>

#include "Rows.h"

namespace kx_bench {

namespace {

struct Collector : pugi::xml_tree_walker {
  std::vector<pugi::xml_node> rows;
  bool for_each(pugi::xml_node& node) override {
    if (node.attribute("text")) rows.push_back(node);
    return true;
  }
};

void fillRow(pugi::xml_node node, size_t row) {
  const RowText& text = rowText(row);
  node.append_attribute("text").set_value(text.narrowText.c_str());
  node.append_attribute("id").set_value(rowId(row));
  if (!text.narrowNote.empty()) {
    node.append_attribute("_note").set_value(text.narrowNote.c_str());
  }
}

}  // namespace

void appendRows(pugi::xml_document& document, size_t rows) {
  pugi::xml_node opml = document.append_child("opml");
  opml.append_attribute("version").set_value("2.0");
  opml.append_child("head").append_child("category").text().set("Unfiled");
  std::vector<pugi::xml_node> parents = {opml.append_child("body")};
  for (size_t row = 0; row < rows; ++row) {
    parents.resize(rowIndent(row) + 1u);
    pugi::xml_node node = parents.back().append_child("outline");
    fillRow(node, row);
    parents.push_back(node);
  }
}

void writeOpml(const pugi::xml_document& document, const std::string& file) {
  document.save_file(file.c_str(), "", pugi::format_raw);
}

std::vector<pugi::xml_node> rowsOf(const pugi::xml_document& document) {
  Collector collector;
  document.child("opml").child("body").traverse(collector);
  return collector.rows;
}

std::string opmlFile(size_t rows) {
  const std::string file = fileName("opml", rows);
  if (!std::filesystem::exists(file)) {
    pugi::xml_document document;
    appendRows(document, rows);
    writeOpml(document, file);
  }
  return file;
}

}  // namespace kx_bench
