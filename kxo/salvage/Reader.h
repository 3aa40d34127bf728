/// The one reader of check and recover. It goes through a file as the library does and tells where
/// the library would fail; then it goes on with whatever else of the file can be told apart.
#pragma once

#include <cstdint>
#include <optional>
#include <span>
#include <vector>

#include "salvage/Block.h"
#include "salvage/Salvager.h"

namespace kxo::salvage {

/// The file as a whole, told first.
struct Overview {
  Kind kind = Kind::kOutline;
  uint16_t version = 0;
  uint32_t declaredRows = 0;
};

/// A header that the file has.
struct HeaderPart {
  uint16_t id = 0;
  uint32_t slotSize = 0;          ///< As far as the file justifies it.
  size_t offset = 0;              ///< Of its slot.
  bool isKnown = false;           ///< To the kind. Of others only the slot is told, as it stands.
  bool isSound = false;           ///< The block can be kept as it stands.
  Bytes slot;                     ///< As far as it lies in the file.
  Bytes block;                    ///< Of a sound one.
  std::span<const Piece> pieces;  ///< Of a damaged one.
};

/// What a file has between headers and rows.
struct ExtraPart {
  bool isFound = false;
  size_t offset = 0;
  Bytes deletedIds;     ///< Of an outline, 4 bytes each.
  uint32_t lastId = 0;  ///< Of a category file, as the next.
  std::optional<unsigned char> newFlag;
};

enum class RowPlace {
  kDeclared,  ///< One of those that the file says it has.
  kBeyond,    ///< More than it says, where its word cannot be trusted.
  kLeftover,  ///< Behind the last one that it says it has.
};

struct RowPart {
  size_t number = 0;  ///< Counted from 1 among the rows found.
  size_t offset = 0;
  RowPlace place = RowPlace::kDeclared;
  bool isSound = false;           ///< The block can be kept as it stands.
  Bytes block;                    ///< Of a sound one.
  std::span<const Piece> pieces;  ///< Of a damaged one.
  // Of a damaged one.
  size_t unread = 0;        ///< Bytes that are part of no piece.
  size_t unreadOffset = 0;  ///< Of the first of them.
  bool isEndLost = false;   ///< No end tag stands behind it, nor anything in its place.
};

/// Bytes among the rows that are part of none.
struct Gap {
  size_t offset = 0;
  size_t size = 0;
};

/// Told last.
struct Totals {
  size_t errors = 0;
  size_t warnings = 0;
  size_t rows = 0;  ///< Found, leftovers aside.
  size_t leftovers = 0;
  bool isDocument = false;  ///< Anything of a document was found.
};

/// What the reader tells, in the order of the file. What is handed over is good during the call.
class Reporter {
 public:
  Reporter() = default;
  Reporter(const Reporter&) = delete;
  Reporter& operator=(const Reporter&) = delete;
  virtual ~Reporter() = default;

  virtual void OnStart(const Overview& /*overview*/) {}
  virtual void OnFinding(const Finding& /*finding*/) {}
  virtual void OnHeader(const HeaderPart& /*header*/) {}
  virtual void OnHeaderLost(uint16_t /*id*/) {}  ///< The table has it, and its slot is not found.
  virtual void OnExtra(const ExtraPart& /*extra*/) {}
  virtual void OnRow(const RowPart& /*row*/) {}
  virtual void OnGap(const Gap& /*gap*/) {}
  virtual void OnEnd(const Totals& /*totals*/) {}
};

/// The kind that the bytes look most like.
Kind GuessKind(Bytes file);
/// The same by the first bytes of a file; nothing where its rows might speak for another kind.
std::optional<Kind> KindByFront(Bytes front);

/// Reads a whole file. Takes time in proportion to its size and, beside it, memory for the tags of
/// one row.
Totals ReadFile(Bytes file, std::optional<Kind> kind, Reporter& reporter);

}  // namespace kxo::salvage
