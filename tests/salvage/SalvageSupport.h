/// What the tests of check and recover share: the reader's findings, and the library's own reading
/// of the same bytes.
#pragma once

#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include "KxLayout.h"
#include "salvage/Reader.h"
#include "salvage/Rebuilder.h"

namespace kxo_test {

using kx_test::Bytes;

/// The kinds of rows and headers, as the reader hands them over.
struct ReadRow {
  size_t number = 0;
  size_t offset = 0;
  kxo::salvage::RowPlace place = kxo::salvage::RowPlace::kDeclared;
  bool isSound = false;
  Bytes block;                             ///< Of a sound one.
  std::map<uint32_t, std::string> values;  ///< Of a damaged one, by tag.
};
struct ReadHeader {
  uint16_t id = 0;
  uint32_t slotSize = 0;
  bool isSound = false;
  std::map<uint32_t, std::string> values;
};

/// Keeps all that the reader tells.
class Recorder : public kxo::salvage::Reporter {
 public:
  explicit Recorder(const Bytes& file) : file_(file) {}
  Recorder(const Recorder&) = delete;
  Recorder& operator=(const Recorder&) = delete;
  ~Recorder() override = default;

  void OnStart(const kxo::salvage::Overview& overview) override { kind = overview.kind; }
  void OnFinding(const kxo::salvage::Finding& finding) override { findings.push_back(finding); }
  void OnHeader(const kxo::salvage::HeaderPart& part) override;
  void OnHeaderLost(uint16_t id) override { headersLost.push_back(id); }
  void OnExtra(const kxo::salvage::ExtraPart& part) override;
  void OnRow(const kxo::salvage::RowPart& part) override;
  void OnGap(const kxo::salvage::Gap& gap) override { gaps.push_back(gap); }
  void OnEnd(const kxo::salvage::Totals& end) override { totals = end; }

  kxo::salvage::Kind kind = kxo::salvage::Kind::kOutline;
  std::vector<kxo::salvage::Finding> findings;
  std::vector<ReadHeader> headers;
  std::vector<uint16_t> headersLost;
  std::vector<uint32_t> deletedIds;
  uint32_t lastId = 0;
  std::vector<ReadRow> rows;
  std::vector<kxo::salvage::Gap> gaps;
  kxo::salvage::Totals totals;

 private:
  std::map<uint32_t, std::string> ValuesOf(std::span<const kxo::salvage::Piece> pieces) const;

  const Bytes& file_;
};

/// One finding in a line: "error 1317 row 1 row-start: expected ... found ... (5)".
std::string Shown(const kxo::salvage::Finding& finding);
std::string Shown(const std::vector<kxo::salvage::Finding>& findings);

/// The golden files of a kind.
std::vector<std::string> GoldenFiles(kxo::salvage::Kind kind);

/// What the library says to the same bytes: for each step the message that it throws, or 0.
struct LibraryReading {
  unsigned open = 0;
  std::map<uint16_t, unsigned> headers;       ///< Reading each one.
  std::map<uint16_t, unsigned> headerFields;  ///< Asking for its fields: the first failure.
  unsigned rows = 0;                          ///< Reading the rows.
  size_t failedRow = 0;                       ///< The one that failed, counted from 1.
  std::vector<unsigned> rowFields;            ///< Of each row, asking for its fields.
  bool Fails() const;
};
LibraryReading ReadWithLibrary(const Bytes& bytes, kxo::salvage::Kind kind);

/// What recovering these bytes gives.
struct Recovered {
  bool isDocument = false;
  Bytes file;               ///< The document.
  std::vector<Bytes> rows;  ///< Its rows, as a strict reader of framed rows has them.
  std::vector<kxo::salvage::Loss> losses;
  kxo::salvage::RebuiltRows counts;
  size_t errors = 0;  ///< That the reader finds in the document.
};
Recovered Recover(const Bytes& bytes, kxo::salvage::RebuildOptions options,
                  std::optional<kxo::salvage::Kind> kind = std::nullopt);

/// The name of what differs between the two readings; empty when they agree.
std::string Disagreement(const LibraryReading& library, const Recorder& reader);

}  // namespace kxo_test
