/// What is left of rows and blocks in a damaged stretch of a file.
#pragma once

#include <functional>
#include <optional>
#include <span>
#include <vector>

#include "salvage/Block.h"

namespace kxo::salvage {

/// A value that was found.
struct Piece {
  uint32_t tag = 0;
  size_t header = 0;  ///< Where its tag stands, of which version and flags can be used.
  size_t value = 0;
  uint32_t length = 0;
  bool isCut = false;  ///< A text of which only the beginning can be trusted.
};

/// One row's remains.
struct Fragment {
  size_t begin = 0;
  size_t end = 0;
  bool isStarted = false;  ///< The row begins here, with a start tag or where one belongs.
  bool isClosed = false;   ///< The row ends here, with an end tag or where one belongs.
  /// Its pieces stand one behind the other, as a writer put them, from `blockBegin` on.
  bool isVerbatim = false;
  size_t blockBegin = 0;
  size_t blockEnd = 0;
  std::span<const Piece> pieces;  ///< In the order of the file.

  /// Nothing of the row is missing but its frame.
  bool IsWhole() const;
};

/// Finds entries by their code, and believes one when its neighbour stands where it should or its
/// value is as long as its field is. Entries of which one number is damaged are mended. Takes time
/// and memory in proportion to the bytes it looks at.
class Salvager {
 public:
  using Emit = std::function<void(const Fragment&)>;

  Salvager(Bytes file, Fields fields) : file_(file), fields_(fields) {}

  /// The pieces of one block; good until the next call.
  std::span<const Piece> FromBlock(size_t begin, size_t end);
  /// The rows in a stretch in which no row can be read as a whole. A row is expected at its
  /// beginning.
  void FromStretch(size_t begin, size_t end, const Emit& emit);

 private:
  /// Pieces that stand one behind the other.
  struct Run {
    size_t firstPiece = 0;
    size_t begin = 0;
    size_t end = 0;
    bool isVerbatim = true;
  };

  void Start(bool isStretch, size_t end);
  void Walk(size_t pos);
  bool TakeFrame(size_t& pos);
  bool TakeEntry(size_t& pos);
  std::optional<uint32_t> BelievedLength(const Entry& entry);
  bool MayFollow(size_t pos) const;
  std::optional<uint32_t> NaturalLength(const Entry& entry, size_t end);
  size_t FindNull(size_t pos, size_t end);
  void RememberCut(const Entry& entry);
  void Add(const Piece& piece);
  bool Mend(size_t begin, size_t end, uint32_t tagAbove);
  void FlushCut(size_t limit);
  void Open(size_t begin, bool isStarted);
  void Close(size_t pos, bool isClosed);
  void EmitRuns(size_t pos, bool isClosed);
  void EmitRun(size_t index, size_t pos, bool isClosed);
  bool BelongTogether(size_t pos, bool isClosed) const;
  bool HasShiftedTail(size_t pos) const;
  bool IsDeclaredEnd(size_t pos) const;
  uint32_t LastTag() const { return pieces_.empty() ? 0 : pieces_.back().tag; }

  Bytes file_;
  Fields fields_;
  const Emit* emit_ = nullptr;
  bool isStretch_ = false;
  size_t end_ = 0;
  // The row that is open, or the block.
  bool isOpen_ = false;
  bool isStarted_ = false;
  size_t begin_ = 0;
  uint64_t declaredEnd_ = 0;  // where its length puts the end of its block
  std::vector<Piece> pieces_;
  std::vector<Run> runs_;
  std::optional<Piece> cut_;
  // The first null at or behind `nullFrom_`.
  size_t nullFrom_ = 1;
  size_t nullAt_ = 0;
};

}  // namespace kxo::salvage
