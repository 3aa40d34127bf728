/// Making a block that every reader can read of what is left of one.
#pragma once

#include <functional>
#include <span>
#include <string>
#include <vector>

#include "salvage/Fields.h"
#include "salvage/Salvager.h"

namespace kxo::salvage {

/// Something that a rebuilt document lacks, or has otherwise than the damaged one once had.
struct Loss {
  const char* code = "";  ///< "field", "text", "rows".
  size_t offset = 0;      ///< In the damaged file.
  size_t row = 0;         ///< As the check of the same file counts it; 0: not about a row.
  uint16_t header = 0;    ///< Its id; 0: not about a header.
  std::optional<uint32_t> tag;
  std::string what;  ///< "lost; a new row's value now".
};
using LossSink = std::function<void(const Loss&)>;

/// A value to be stored.
struct Value {
  uint32_t tag = 0;
  unsigned char version = 0;
  uint32_t flags = 0;
  std::vector<unsigned char> data;
};

/// What a field that was lost is given; nothing when it is left out.
using Default = std::function<std::vector<unsigned char>(const Field& field)>;

/// The values of damaged blocks of one kind.
class Mender {
 public:
  Mender(Bytes file, Fields fields) : file_(file), fields_(fields) {}

  /// The values that the pieces are good for, ascending by tag. What they are not good for is told.
  /// `where` has offset, row and header of the block.
  std::vector<Value> ValuesOf(std::span<const Piece> pieces, const Loss& where,
                              const LossSink& sink) const;
  /// The fields that readers need and `values` lack.
  std::vector<const Field*> Missing(const std::vector<Value>& values) const;

 private:
  void LeaveOutRepeated(std::vector<Value>& values, Loss loss, const LossSink& sink) const;
  bool Repair(const Field& field, const Piece& piece, Value& value, Loss& loss) const;
  bool RepairText(const Piece& piece, Value& value, Loss& loss) const;

  Bytes file_;
  Fields fields_;
};

/// The block of these values, which ascend.
std::vector<unsigned char> BlockOf(const std::vector<Value>& values);

}  // namespace kxo::salvage
