/// The engine `opml`: the same outline as nested XML elements, by pugixml.
#pragma once

#include <pugixml.hpp>
#include <string>
#include <vector>

namespace kx_bench {

/// Appends the first `rows` rows below the body of an empty document.
void appendRows(pugi::xml_document& document, size_t rows);
void writeOpml(const pugi::xml_document& document, const std::string& file);
/// The elements of the rows, in their order.
std::vector<pugi::xml_node> rowsOf(const pugi::xml_document& document);

/// A file with that many rows, made on first use.
std::string opmlFile(size_t rows);

}  // namespace kx_bench
