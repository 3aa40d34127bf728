/// The rows of a file: framed ones one behind the other, and what is left of them where that ends.
#pragma once

#include <optional>

#include "salvage/Frame.h"
#include "salvage/Front.h"
#include "salvage/Salvager.h"
#include "salvage/Teller.h"

namespace kxo::salvage {

class Rows {
 public:
  Rows(Bytes file, Kind kind, const RowArea& area, Teller& teller)
      : file_(file),
        kind_(kind),
        fields_(RowFields(kind)),
        area_(area),
        teller_(teller),
        salvager_(file, fields_),
        searchLeft_(kSearchShare * (file.size() + 1)),
        pos_(area.begin) {}

  void Read();

  /// Whether fewer rows than declared stand where they are looked for.
  static bool AreMissing(Bytes file, Kind kind, const RowArea& area);

 private:
  size_t Declared() const { return area_.declaredRows; }
  /// Whether what makes the library fail counts as an error: it never gets behind the last row
  /// that the file declares.
  bool IsError() const { return !isLibraryDone_; }
  bool IsBehindDeclared() const;
  size_t LibraryCount() const { return count_ - astrayCount_; }
  void TellBegin();
  void TakeAstray(size_t offset, bool isWanted);
  void NoticeEnd();
  void TellBehind(size_t offset);
  void TellMissing();
  void ReadNext();
  Owner OwnerOf(size_t offset) const;

  void TakeFrame(const Frame& frame);
  bool IsFalseFrame(const Frame& frame, size_t& row);
  bool MayBeFalse() const;
  void CheckCategoryId();
  Finding WhatIsWrong(const Frame& frame) const;

  Finding WrongLength(const Frame& frame, size_t row) const;
  void TakeStretch(const Finding& finding, size_t end);
  void TakeFragment(const Fragment& fragment);
  void TellFrame(const Fragment& fragment);
  bool BeginsRow(const Fragment& fragment) const;
  bool IsWorthARow(const Fragment& fragment) const;
  void TakePart(const Fragment& fragment);
  static void CountUnread(RowPart& part, size_t begin, size_t end);
  std::string NamesOf(std::span<const Piece> pieces) const;
  void SkipTo(size_t offset);
  void Report(RowPart& part);

  void ReadLeftovers();
  void TakeLeftover(const Frame& frame);
  void ReportLeftover(const Frame& frame, size_t number);

  Bytes file_;
  Kind kind_;
  Fields fields_;
  RowArea area_;
  Teller& teller_;
  Salvager salvager_;
  Block block_;
  // Frames are looked into at most this often on average, whatever a file does to have them looked
  // into again and again.
  static constexpr uint64_t kSearchShare = 8;
  uint64_t searchLeft_;
  size_t pos_;
  size_t count_ = 0;            // rows found
  size_t certainCount_ = 0;     // those of them that begin a row: others may be another one's end
  size_t astrayCount_ = 0;      // those of them that the library does not come by
  bool isLibraryHere_ = false;  // the library reads these rows too
  bool isLibraryDone_ = false;  // it has read all that it wants
  bool isBroken_ = false;       // an unknown number of rows is missing
  bool isBehindTold_ = false;
  // The stretch that is being read.
  std::optional<Finding> frameFinding_;
  size_t toldTo_ = 0;
  bool isCovered_ = false;  // by rows that end where the next one begins
};

}  // namespace kxo::salvage
