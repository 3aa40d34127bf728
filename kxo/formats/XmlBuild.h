/// Building XML: the parser's own functions pass over exhausted memory in silence, these throw
/// std::bad_alloc.
#pragma once

#include <new>
#include <pugixml.hpp>
#include <string>
#include <utility>

namespace kxo {

inline pugi::xml_node AddElement(pugi::xml_node parent, const char* name) {
  pugi::xml_node element = parent.append_child(name);
  if (!element || *element.name() == '\0') throw std::bad_alloc();
  return element;
}

inline void AddAttribute(pugi::xml_node element, const std::string& name,
                         const std::string& value) {
  pugi::xml_attribute attribute = element.append_attribute(name.c_str());
  if (!attribute || *attribute.name() == '\0' || !attribute.set_value(value.c_str())) {
    throw std::bad_alloc();
  }
}

inline void AddText(pugi::xml_node element, const std::string& text) {
  pugi::xml_node node = element.append_child(pugi::node_pcdata);
  if (!node || !node.set_value(text.c_str())) throw std::bad_alloc();
}

/// The document as text.
inline std::string Printed(const pugi::xml_node& node, const char* indent, unsigned flags) {
  class Writer : public pugi::xml_writer {
   public:
    void write(const void* data, size_t size) override {
      text.append(static_cast<const char*>(data), size);
    }
    std::string text;
  };
  Writer writer;
  node.print(writer, indent, flags, pugi::encoding_utf8);
  return std::move(writer.text);
}

}  // namespace kxo
