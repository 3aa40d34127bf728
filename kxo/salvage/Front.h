/// What a file has ahead of its rows: information block, header table, slots, and the kind's extra
/// values.
#pragma once

#include <optional>
#include <vector>

#include "salvage/Teller.h"

namespace kxo::salvage {

/// Where the rows are, as far as the front tells.
struct RowArea {
  bool isReadable = false;  ///< False: there is nothing to look for.
  size_t begin = 0;         ///< Where the rows begin, or may.
  /// Where the library looks for the first row; nothing when it fails before.
  std::optional<size_t> libraryBegin;
  uint32_t declaredRows = 0;
  bool isCountTrusted = false;
  /// Rows ahead of where they begin: what ought to be the empty rest of a slot has them, as when a
  /// piece of the slot is missing.
  std::vector<size_t> astray;
};

class Front {
 public:
  Front(Bytes file, Kind kind, Teller& teller) : file_(file), kind_(kind), teller_(teller) {}

  RowArea Read();

 private:
  struct TableEntry {
    size_t offset = 0;
    uint16_t id = 0;
    uint32_t size = 0;
    uint64_t slot = 0;  // its offset
  };
  /// What stands between slots and rows, and where both end up.
  struct Place {
    bool hasExtra = false;
    size_t extra = 0;
    uint32_t idCount = 0;
    size_t rows = 0;
  };

  bool ReadInfo();
  bool IsDocument();
  void ReadTable();
  void TellTableCut();
  void TellRepeated(const std::vector<TableEntry>& repeated);
  void CheckSlotSizes();

  Place Locate();
  std::optional<Place> PlaceAt(uint64_t slotsEnd) const;
  std::optional<Place> PlaceBefore(uint64_t slotsEnd, size_t row) const;
  std::optional<Place> PlaceByDefault(size_t row) const;
  bool IsWholeWithoutRows() const;
  Place PlaceWithoutRows();
  bool IsRowPlace(size_t pos) const;
  bool IsTableLikely() const;
  bool AreSlotsSane() const;
  bool AreDefaultSlotsSane() const;
  bool IsSlotSane(const TableEntry& entry) const;
  size_t ExtraSize() const;
  uint64_t DefaultSlotsEnd() const;

  void CheckSlots(size_t headersEnd);
  bool CheckSlot(const TableEntry& entry);
  void CheckFill(const TableEntry& entry, size_t used);
  void FindAstray(size_t rowsBegin, RowArea& area) const;
  void Report(const TableEntry& entry, bool isSound, size_t headersEnd);
  size_t BlockEndOf(const TableEntry& entry, size_t slotEnd) const;
  void SearchHeaders(size_t end);
  bool FindConduitBlock(Block& block) const;
  bool ReportFound(uint16_t id, size_t end, size_t count);
  bool FindBlockOf(uint16_t id, size_t end, size_t count, Block& best) const;
  bool IsOfOtherHeader(const Block& block, uint16_t id, size_t score) const;
  size_t ScoreOf(const Block& block, uint16_t id) const;

  void CheckExtra(const Place& place);
  void ReportExtra(const Place& place);
  void TellAstray(const Place& place);
  void Tell(Code code, int message, size_t offset, const std::string& expected,
            const std::string& found);

  Bytes file_;
  Kind kind_;
  Teller& teller_;
  uint16_t version_ = 0;
  uint32_t declaredRows_ = 0;
  bool isInfoSound_ = true;
  bool isTableReadable_ = false;
  bool isTableTrusted_ = false;
  std::vector<TableEntry> table_;
  uint64_t slotsEnd_ = 0;  // as the table has it
  std::optional<Place> libraryPlace_;
  std::vector<size_t> fills_;  // where something stands in the rest of a slot
};

}  // namespace kxo::salvage
