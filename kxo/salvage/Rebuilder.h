/// Recover's reporter: a document of what the reader finds.
#pragma once

#include <deque>
#include <memory>
#include <vector>

#include "KX_FileIO.h"
#include "salvage/Mend.h"
#include "salvage/Reader.h"

namespace kxo::salvage {

struct RebuildOptions {
  /// Also rows behind the last one that the file declares, but for those that stand among the
  /// declared ones too.
  bool takeLeftovers = true;
};

/// What became of the rows.
struct RebuiltRows {
  size_t whole = 0;
  size_t mended = 0;  ///< Damaged, with nothing lost.
  size_t partial = 0;
  size_t leftovers = 0;   ///< Those among all these.
  size_t leftBehind = 0;  ///< Other leftovers.
  size_t Count() const { return whole + mended + partial; }
};

/// Collects what the library is then to write. The file's bytes must stay until it is written.
/// Nothing that was deleted comes back untold: deleted rows stay marked so, the list of deleted ids
/// stays, and of rows behind the last declared one, which a save that was interrupted may have left
/// there, it is told that they are taken; those whose ids are in the list are marked as deleted.
class Rebuilder : public Reporter {
 public:
  Rebuilder(Bytes file, RebuildOptions options, LossSink sink);
  Rebuilder(const Rebuilder&) = delete;
  Rebuilder& operator=(const Rebuilder&) = delete;
  ~Rebuilder() override;

  void OnStart(const Overview& overview) override;
  void OnFinding(const Finding& finding) override;
  void OnHeader(const HeaderPart& part) override;
  void OnHeaderLost(uint16_t id) override;
  void OnExtra(const ExtraPart& part) override;
  void OnRow(const RowPart& part) override;
  void OnGap(const Gap& gap) override;
  void OnEnd(const Totals& totals) override;

  /// The document, to be written with what the library writes all of one with. Valid as long as
  /// this object.
  kx_gen::CDatabase& GetDatabase() { return *db_; }
  const RebuiltRows& GetRows() const { return counts_; }
  const Overview& GetOverview() const { return overview_; }
  Kind GetKind() const { return overview_.kind; }
  size_t GetDeletedIdCount() const { return deletedIds_.size(); }

 private:
  class Category;
  class NextRow;
  struct Row {
    size_t block = 0;  // of a sound one
    uint32_t length = 0;
    bool isSound = true;
    bool isDeleted = false;  // marked so here
    size_t firstPiece = 0;
    size_t pieceCount = 0;
  };

  void Lose(const char* code, size_t offset, const std::string& what);
  void FillHeader(const HeaderPart& part, kx_gen::CTaggedDataHeader& header);
  void TellMissingRows(const Totals& totals);
  bool IsWanted(const RowPart& part);
  void Keep(const RowPart& part);
  bool IsInDeletedList(const RowPart& part) const;
  std::optional<uint32_t> IdOf(const RowPart& part) const;
  bool TellPartial(const RowPart& part);
  void TellLeftovers();
  bool IsTakenAlready(const RowPart& part);
  void LearnContents();
  std::string InsteadOf(const Field& field) const;
  void RememberCategoryId(const RowPart& part);
  std::vector<unsigned char> BlockOfRow(const Row& row);
  std::vector<unsigned char> MendedBlock(std::span<const Piece> pieces);
  std::vector<unsigned char> DefaultOf(const Field& field);
  void Remember(const std::vector<unsigned char>& block);
  uint32_t FreeCategoryId();

  Bytes file_;
  RebuildOptions options_;
  LossSink sink_;
  Overview overview_;
  Fields fields_;
  std::unique_ptr<kx_gen::CDatabase> db_;
  std::vector<uint16_t> headersFound_;
  std::vector<uint32_t> deletedIds_;  // ascending
  std::deque<Row> rows_;
  std::deque<Piece> pieces_;
  RebuiltRows counts_;
  size_t firstLeftover_ = 0;
  size_t firstLeftBehind_ = 0;
  /// The sound rows ahead of the leftovers, by what is in them; ascending.
  std::vector<std::pair<uint64_t, size_t>> rowsByContents_;
  bool areContentsKnown_ = false;
  std::unique_ptr<NextRow> nextRow_;
  // For fields that are lost.
  unsigned char indentBefore_ = 0;
  std::vector<bool> categoryIds_;
  uint32_t largestCategoryId_ = 0;
};

}  // namespace kxo::salvage
