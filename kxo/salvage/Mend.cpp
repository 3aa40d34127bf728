#include "salvage/Mend.h"

#include <algorithm>
#include <string_view>

#include "Text.h"

namespace kxo::salvage {

namespace format = kx_gen::format;

namespace {

bool IsControl(unsigned char c) { return c < 0x20 && c != '\t' && c != '\n' && c != '\r'; }

/// Where the last character of a text in UTF-8 is cut, without what is left of it. Text in a code
/// page has no characters that can be cut.
size_t WithoutCutCharacter(std::string_view text) {
  constexpr size_t kCutMax = 3;
  size_t pos = 0;
  while (pos < text.size()) {
    const size_t begin = pos;
    if (NextCodePoint(text, pos) == kNotUtf8) {
      return text.size() - begin <= kCutMax ? begin : text.size();
    }
  }
  return pos;
}

/// How much of a text whose end is missing is text, as far as bytes tell.
size_t LengthOfCutText(Bytes text) {
  const auto end = std::find_if(text.begin(), text.end(), IsControl);
  const auto length = static_cast<size_t>(end - text.begin());
  return WithoutCutCharacter({reinterpret_cast<const char*>(text.data()), length});
}

std::vector<unsigned char> Copy(Bytes bytes) { return {bytes.begin(), bytes.end()}; }

}  // namespace

std::vector<Value> Mender::ValuesOf(std::span<const Piece> pieces, const Loss& where,
                                    const LossSink& sink) const {
  std::vector<Value> values;
  for (const Piece& piece : pieces) {
    const Field* field = FindField(fields_, piece.tag);
    Value value = {piece.tag, file_[piece.header + format::kTagVersionOffset],
                   Number(file_, piece.header + format::kTagFlagsOffset),
                   Copy(file_.subspan(piece.value, piece.length))};
    Loss loss = where;
    loss.offset = piece.header;
    loss.tag = piece.tag;
    const bool isGood = field == nullptr || Repair(*field, piece, value, loss);
    if (!loss.what.empty()) sink(loss);
    if (isGood) values.push_back(std::move(value));
  }
  std::stable_sort(values.begin(), values.end(),
                   [](const Value& a, const Value& b) { return a.tag < b.tag; });
  LeaveOutRepeated(values, where, sink);
  return values;
}

/// Readers see the first value of a tag.
void Mender::LeaveOutRepeated(std::vector<Value>& values, Loss loss, const LossSink& sink) const {
  uint32_t toldTag = 0;
  const auto isRepeated = [&](const Value& a, const Value& b) {
    if (a.tag != b.tag) return false;
    if (b.tag == toldTag) return true;
    toldTag = b.tag;
    loss.code = "field";
    loss.tag = b.tag;
    loss.what = "a second value left out";
    sink(loss);
    return true;
  };
  values.erase(std::unique(values.begin(), values.end(), isRepeated), values.end());
}

/// Makes a value fit its field. False when it is good for nothing.
bool Mender::Repair(const Field& field, const Piece& piece, Value& value, Loss& loss) const {
  if (field.type == FieldType::kText) return RepairText(piece, value, loss);
  if (field.type == FieldType::kDrawing) {
    if (StateOfDrawing(value.data) != DrawingState::kUnreadable) return true;
    loss.code = "drawing";
    loss.what = "lost: it cannot be shown";
    return false;
  }
  if (value.data.size() <= field.size) return true;
  value.data.resize(field.size);
  loss.code = "field";
  loss.what = "cut to " + Counted(field.size, "byte");
  return true;
}

bool Mender::RepairText(const Piece& piece, Value& value, Loss& loss) const {
  if (piece.isCut) {
    value.data.resize(LengthOfCutText(value.data));
    if (value.data.empty()) return false;
    loss.code = "text";
    loss.what = "its end lost, behind " + Counted(value.data.size(), "byte");
    value.data.push_back(0);
  } else if (!value.data.empty() && value.data.back() != 0) {
    value.data.back() = 0;
    loss.code = "text";
    loss.what = "its last byte made the end that it lacked";
  }
  return true;
}

std::vector<const Field*> Mender::Missing(const std::vector<Value>& values) const {
  std::vector<const Field*> missing;
  for (const Field& field : fields_) {
    const bool isThere = std::any_of(values.begin(), values.end(),
                                     [&](const Value& value) { return value.tag == field.tag; });
    if (!isThere && field.presence != Presence::kOptional) missing.push_back(&field);
  }
  return missing;
}

std::vector<unsigned char> BlockOf(const std::vector<Value>& values) {
  std::vector<unsigned char> block;
  for (const Value& value : values) {
    const size_t tag = block.size();
    block.resize(tag + format::kTagSize);
    kx_gen::putLe16(&block[tag + format::kTagCodeOffset], format::kTagCode);
    block[tag + format::kTagVersionOffset] = value.version;
    kx_gen::putLe32(&block[tag + format::kTagFlagsOffset], value.flags);
    kx_gen::putLe32(&block[tag + format::kTagIdOffset], value.tag);
    kx_gen::putLe32(&block[tag + format::kTagLengthOffset],
                    static_cast<uint32_t>(value.data.size()));
    block.insert(block.end(), value.data.begin(), value.data.end());
  }
  return block;
}

}  // namespace kxo::salvage
