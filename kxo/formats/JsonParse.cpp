#include "formats/JsonParse.h"

#include <algorithm>
#include <set>

#include "Base64.h"
#include "Failure.h"
#include "Text.h"

namespace kxo {

namespace {

/// Watches the parser and refuses a key that stands twice in one object.
class KeyWatch {
 public:
  explicit KeyWatch(const std::string& name) : name_(name) {}
  bool operator()(int /*depth*/, Json::parse_event_t event, Json& value);

 private:
  struct Level {
    bool isList = false;
    size_t index = 0;
    std::string key;
    std::set<std::string> keys;
  };
  void TakeKey(const std::string& key);
  void EndValue() {
    if (!levels_.empty()) ++levels_.back().index;
  }
  std::string Path() const;

  const std::string& name_;
  std::vector<Level> levels_;
};

bool KeyWatch::operator()(int /*depth*/, Json::parse_event_t event, Json& value) {
  switch (event) {
    case Json::parse_event_t::object_start:
    case Json::parse_event_t::array_start:
      levels_.push_back({event == Json::parse_event_t::array_start, 0, "", {}});
      break;
    case Json::parse_event_t::key:
      TakeKey(value.get_ref<const std::string&>());
      break;
    case Json::parse_event_t::object_end:
    case Json::parse_event_t::array_end:
      levels_.pop_back();
      EndValue();
      break;
    default:
      EndValue();
  }
  return true;
}

void KeyWatch::TakeKey(const std::string& key) {
  Level& level = levels_.back();
  level.key = key;
  if (level.keys.insert(key).second) return;
  throw FileFailure(kExitDamaged, name_,
                    "at " + Path() + ": expected each key once, found it twice");
}

std::string KeyWatch::Path() const {
  std::string path;
  for (const Level& level : levels_) {
    if (level.isList) {
      path += "[" + std::to_string(level.index) + "]";
    } else {
      path += (path.empty() ? "" : ".") + level.key;
    }
  }
  return path;
}

/// What is wrong, of "[...] parse error at line 1, column 2: syntax error while ...".
std::string ReasonOf(const Json::exception& e) {
  const std::string_view text = e.what();
  const size_t place = text.find("column ");
  const size_t end = text.find(": ", place == std::string_view::npos ? 0 : place);
  const size_t number = text.find("] ");
  if (place != std::string_view::npos && end != std::string_view::npos) {
    return std::string(text.substr(end + 2));
  }
  return std::string(text.substr(number == std::string_view::npos ? 0 : number + 2));
}

}  // namespace

std::string Described(const Json& json) {
  switch (json.type()) {
    case Json::value_t::null:
    case Json::value_t::boolean:
    case Json::value_t::number_integer:
    case Json::value_t::number_unsigned:
    case Json::value_t::number_float:
      return json.dump();
    case Json::value_t::string:
      return "text";
    case Json::value_t::array:
      return "a list of " + std::to_string(json.size());
    default:
      return "an object";
  }
}

std::string JsonPlace::Path() const {
  if (parent_ == nullptr) return "";
  const std::string parent = parent_->Path();
  if (key_.empty()) return parent + "[" + std::to_string(index_) + "]";
  return parent + (parent.empty() ? "" : ".") + std::string(key_);
}

void JsonPlace::Fail(const std::string& expected, const std::string& found) const {
  const std::string path = Path();
  throw FileFailure(kExitDamaged, file_,
                    "at " + (path.empty() ? "the top level" : path) + ": expected " + expected +
                        ", found " + found);
}

Json ParseJson(const std::string& name, const std::string& bytes) {
  try {
    return Json::parse(bytes, KeyWatch(name));
  } catch (const Json::parse_error& e) {
    const TextPlace place = PlaceAt(bytes, e.byte > 0 ? e.byte - 1 : 0);
    throw FileFailure(kExitDamaged, name, "malformed JSON at " + Named(place) + ": " + ReasonOf(e));
  } catch (const Json::exception& e) {
    throw FileFailure(kExitDamaged, name, "JSON that cannot be used: " + ReasonOf(e));
  }
}

void TakeValue(const Json& json, const JsonPlace& place, bool& value) {
  if (!json.is_boolean()) place.Fail("true or false", json);
  value = json.get<bool>();
}

void TakeValue(const Json& json, const JsonPlace& place, std::string& value) {
  if (!json.is_string()) place.Fail("text", json);
  value = json.get_ref<const std::string&>();
  if (value.find('\0') != std::string::npos) place.Fail("text without U+0000", "one");
}

void TakeValue(const Json& json, const JsonPlace& place, std::optional<std::string>& value) {
  value.reset();
  if (!json.is_null()) TakeValue(json, place, value.emplace());
}

const Json& TakeList(const Json& json, const JsonPlace& place) {
  if (!json.is_array()) place.Fail("a list", json);
  return json;
}

std::string TakeBase64(const Json& json, const JsonPlace& place) {
  const auto bytes =
      json.is_string() ? FromBase64(json.get_ref<const std::string&>()) : std::nullopt;
  if (!bytes) place.Fail("bytes in base64", json);
  return *bytes;
}

JsonObject::JsonObject(const Json& json, const JsonPlace& place) : json_(json), place_(place) {
  if (!json.is_object()) place.Fail("an object", json);
}

const Json* JsonObject::Find(std::string_view key) {
  known_.push_back(key);
  const auto found = json_.find(key);
  return found != json_.end() ? &*found : nullptr;
}

void JsonObject::Finish() const {
  for (const auto& [key, value] : json_.items()) {
    if (std::find(known_.begin(), known_.end(), key) != known_.end()) continue;
    PlaceOf(key).Fail("no such key", value);
  }
}

}  // namespace kxo
