/// What OPML has no place for, as attributes of our own namespace: the head's and the headlines'.
///
/// An attribute is written only where its value is not that of something new. Numbers are decimal,
/// lists have blanks between, bytes are hexadecimal; "true" and "false".
#pragma once

#include <pugixml.hpp>
#include <string>
#include <vector>

#include "Outline.h"
#include "formats/CleanText.h"

namespace kxo::opml {

constexpr const char* kNamespace = "urn:kx-fileio:outline";
constexpr const char* kPrefix = "kxo";

// Names without the prefix.
constexpr const char* kTitle = "title";        ///< One that OPML's readers would trim.
constexpr const char* kLevel = "level";        ///< Of an item that skips some.
constexpr const char* kExpanded = "expanded";  ///< Where expansionState cannot tell.
constexpr const char* kDrawing = "drawing";    ///< The name of the PNG file.

/// Adds the attributes of headers and deleted ids, or of an item.
void WriteFields(const Outline& outline, pugi::xml_node head, CleanText& clean);
void WriteFields(const Item& item, pugi::xml_node headline, CleanText& clean);

/// Take them up. An attribute counts as known when its value makes sense; `refused` gets the names
/// of the others. `prefix` is that of our namespace in this file.
void ReadFields(Outline& outline, const pugi::xml_node& head, const std::string& prefix,
                std::vector<std::string>& refused);
void ReadFields(Item& item, const pugi::xml_node& headline, const std::string& prefix,
                std::vector<std::string>& refused);

/// "kxo:level" of "level".
std::string NameWith(const std::string& prefix, const std::string& name);
/// That of our namespace at this element; empty when it has none there.
std::string PrefixAt(const pugi::xml_node& element);

}  // namespace kxo::opml
