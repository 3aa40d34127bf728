/// Taking values out of JSON, with failures that name the place.
#pragma once

#include <fmt/format.h>

#include <array>
#include <concepts>
#include <cstdint>
#include <limits>
#include <nlohmann/json.hpp>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace kxo {

using Json = nlohmann::json;

/// A value in a few words.
std::string Described(const Json& json);

/// A place in a JSON file. It refers to the one around it, which must outlive it.
class JsonPlace {
 public:
  explicit JsonPlace(const std::string& file) : file_(file) {}
  JsonPlace At(std::string_view key) const { return {*this, key, 0}; }
  JsonPlace At(size_t index) const { return {*this, {}, index}; }

  /// "items[3].text".
  std::string Path() const;
  [[noreturn]] void Fail(const std::string& expected, const std::string& found) const;
  /// Not for what merely turns into JSON, as text does.
  template <std::same_as<Json> Found>
  [[noreturn]] void Fail(const std::string& expected, const Found& found) const {
    Fail(expected, Described(found));
  }

 private:
  JsonPlace(const JsonPlace& parent, std::string_view key, size_t index)
      : file_(parent.file_), parent_(&parent), key_(key), index_(index) {}

  const std::string& file_;
  const JsonPlace* parent_ = nullptr;
  std::string_view key_;  // empty: an element of a list
  size_t index_ = 0;
};

/// Refuses what is no JSON, and objects that have a key twice. `name` is the file's.
Json ParseJson(const std::string& name, const std::string& bytes);

void TakeValue(const Json& json, const JsonPlace& place, bool& value);
/// Texts of documents, which cannot hold U+0000.
void TakeValue(const Json& json, const JsonPlace& place, std::string& value);
void TakeValue(const Json& json, const JsonPlace& place, std::optional<std::string>& value);
/// Lists are taken element by element.
const Json& TakeList(const Json& json, const JsonPlace& place);
std::string TakeBase64(const Json& json, const JsonPlace& place);

template <std::integral Number>
void TakeValue(const Json& json, const JsonPlace& place, Number& value) {
  constexpr auto kLeast = std::numeric_limits<Number>::min();
  constexpr auto kMost = std::numeric_limits<Number>::max();
  const bool isUnsigned = json.is_number_unsigned();
  const bool fits =
      isUnsigned ? json.get<uint64_t>() <= static_cast<uint64_t>(kMost)
                 : json.is_number_integer() && json.get<int64_t>() >= static_cast<int64_t>(kLeast);
  if (!fits) place.Fail(fmt::format("a whole number from {} to {}", kLeast, kMost), json);
  value = json.get<Number>();
}

template <std::integral Number>
void TakeValue(const Json& json, const JsonPlace& place, std::vector<Number>& values) {
  values.clear();
  for (const Json& element : TakeList(json, place)) {
    const JsonPlace at = place.At(values.size());
    TakeValue(element, at, values.emplace_back());
  }
}

template <std::integral Number, size_t kCount>
void TakeValue(const Json& json, const JsonPlace& place, std::array<Number, kCount>& values) {
  if (TakeList(json, place).size() != kCount) {
    place.Fail(fmt::format("a list of {} numbers", kCount), json);
  }
  for (size_t i = 0; i < kCount; ++i) TakeValue(json[i], place.At(i), values[i]);
}

/// An object whose keys are all known.
class JsonObject {
 public:
  JsonObject(const Json& json, const JsonPlace& place);

  /// Null when the object lacks it.
  const Json* Find(std::string_view key);
  JsonPlace PlaceOf(std::string_view key) const { return place_.At(key); }
  /// Takes the value if there is one.
  template <class Value>
  void operator()(std::string_view key, Value& value, const Value& /*fallback*/) {
    if (const Json* json = Find(key)) TakeValue(*json, PlaceOf(key), value);
  }
  /// Refuses keys that nobody asked for.
  void Finish() const;

 private:
  const Json& json_;
  const JsonPlace& place_;
  std::vector<std::string_view> known_;
};

}  // namespace kxo
