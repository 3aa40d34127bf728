#include "salvage/Report.h"

namespace kxo::salvage {
namespace {

/// The row or header, and the field of it, that something is about; may be empty.
template <class Told>
std::string PlaceOf(const Told& told, const Overview& overview) {
  std::string place;
  if (told.row != 0) {
    place = "row " + std::to_string(told.row);
    if (told.row <= overview.declaredRows) place += " of " + std::to_string(overview.declaredRows);
  } else if (told.header != 0) {
    place = NameOfHeader(told.header);
  }
  if (told.tag) {
    const Fields fields = told.header != 0 ? HeaderFields(told.header) : RowFields(overview.kind);
    place += (place.empty() ? "" : ", ") + NameOfTag(fields, *told.tag);
  }
  return place.empty() ? place : " (" + place + ")";
}

template <class Told>
void AddPlace(const Told& told, const Overview& overview, Json& json) {
  json["offset"] = told.offset;
  if (told.row != 0) json["row"] = told.row;
  if (told.header != 0) json["header"] = told.header;
  if (!told.tag) return;
  const Fields fields = told.header != 0 ? HeaderFields(told.header) : RowFields(overview.kind);
  json["tag"] = *told.tag;
  if (const Field* field = FindField(fields, *told.tag)) json["field"] = field->name;
}

std::string OffsetOf(size_t offset) { return "offset " + std::to_string(offset); }

}  // namespace

std::string LineOf(const Finding& finding, const Overview& overview) {
  return OffsetOf(finding.offset) + PlaceOf(finding, overview) +
         (finding.error ? ": error: expected " : ": warning: expected ") + finding.expected +
         ", found " + finding.found + " [" + NameOf(finding.code) + "]";
}

Json JsonOf(const Finding& finding, const Overview& overview) {
  Json json = Json::object();
  json["code"] = NameOf(finding.code);
  json["severity"] = finding.error ? "error" : "warning";
  AddPlace(finding, overview, json);
  json["expected"] = finding.expected;
  json["found"] = finding.found;
  if (finding.message != 0) json["message"] = finding.message;
  return json;
}

std::string LineOf(const Loss& loss, const Overview& overview) {
  const std::string place = PlaceOf(loss, overview);
  // A header that was not found has no offset.
  const std::string offset = loss.offset != 0 ? OffsetOf(loss.offset) + place + ": " : "";
  return offset + loss.what;
}

Json JsonOf(const Loss& loss, const Overview& overview) {
  Json json = Json::object();
  json["code"] = loss.code;
  AddPlace(loss, overview, json);
  json["what"] = loss.what;
  return json;
}

}  // namespace kxo::salvage
