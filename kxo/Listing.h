/// What is told of a file, a value a line: for people and for programs.
#pragma once

#include <cstdint>
#include <string>

#include "JsonText.h"

namespace kxo {

/// For people and for programs.
struct Value {
  std::string text;
  Json json;
};

std::string Digits(unsigned long number);
std::string ByteCount(uint64_t count);
std::string Hex(unsigned long number, int digits);
Value Number(unsigned long number);
Value Bytes(uint64_t count);
Value YesNo(bool value);
Value Quoted(const std::string& text);

/// "window position" as "windowPosition".
std::string ListingKey(const std::string& name);

/// Lines of "name  value" under headings. A value may have several lines. As JSON every heading is
/// an object.
class Listing {
 public:
  Listing() : json_(Json::object()) {}
  Listing(const Listing&) = delete;
  Listing& operator=(const Listing&) = delete;
  ~Listing() = default;
  void Section(const std::string& title, const std::string& remark = "");
  void Add(const std::string& name, const Value& value);
  void AddLine(const std::string& name, const std::string& text);  ///< For people only.
  void Title(const std::string& title);
  /// What only programs want to know of the section.
  Json& ForPrograms() { return section_.empty() ? json_ : json_[section_]; }
  const std::string& GetLines() const { return lines_; }
  const Json& GetJson() const { return json_; }

 private:
  std::string lines_;
  Json json_;
  std::string section_;
};

}  // namespace kxo
