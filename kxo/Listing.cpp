#include "Listing.h"

#include <algorithm>
#include <array>
#include <cstdio>

#include "Output.h"
#include "Text.h"

namespace kxo {

std::string Digits(unsigned long number) { return std::to_string(number); }
std::string ByteCount(uint64_t count) { return Counted(static_cast<size_t>(count), "byte"); }
Value Number(unsigned long number) { return {Digits(number), number}; }
Value Bytes(uint64_t count) { return {ByteCount(count), count}; }
Value YesNo(bool value) { return {value ? "yes" : "no", value}; }
Value Quoted(const std::string& text) { return {"\"" + Escaped(text) + "\"", text}; }

std::string Hex(unsigned long number, int digits) {
  std::array<char, 16> text{};
  std::snprintf(text.data(), text.size(), "%0*lX", digits, number);
  return text.data();
}

std::string ListingKey(const std::string& name) {
  std::string key;
  bool startsWord = false;
  for (const char c : LowerCase(name)) {
    if (c != ' ' && c != '-') {
      key += startsWord && c >= 'a' && c <= 'z' ? static_cast<char>(c - 'a' + 'A') : c;
    }
    startsWord = c == ' ' || c == '-';
  }
  return key;
}

void Listing::Title(const std::string& title) {
  lines_ += Shown(title) + "\n";
  json_["file"] = title;
}

void Listing::Section(const std::string& title, const std::string& remark) {
  lines_ += "\n" + title + remark + "\n";
  section_ = ListingKey(title);
  json_[section_] = Json::object();
}

void Listing::Add(const std::string& name, const Value& value) {
  ForPrograms()[ListingKey(name)] = value.json;
  AddLine(name, value.text);
}

void Listing::AddLine(const std::string& name, const std::string& text) {
  constexpr size_t kNameWidth = 22;
  const size_t gap = std::max(kNameWidth, name.size() + 2) - name.size();
  lines_ += "  " + name + std::string(gap, ' ');
  for (const char c : text) {
    lines_ += c;
    if (c == '\n') lines_ += std::string(2 + kNameWidth, ' ');
  }
  lines_ += "\n";
}

}  // namespace kxo
