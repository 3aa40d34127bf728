/// The rows of outlines.
#pragma once

#include "Rowset.h"

namespace kx_gen {

/// One item of an outline. A fresh record has only what every record has until `Init`, which
/// recordsets call. Getters throw `CException*` message 16 when the field is absent, 15 or 17 when
/// it is damaged. Setters mark the field changed, unless it already has this value unmarked.
class KX_API COutlineRecord : public CDBRecord {
 public:
  COutlineRecord() = default;
  COutlineRecord(const COutlineRecord&) = default;
  COutlineRecord& operator=(const COutlineRecord&) = default;
  ~COutlineRecord() override;
  void Init() override;  ///< Id and indent 0, text and note empty, expanded, not checked.

  void SetId(unsigned long id);  ///< 32 bits; 0 for an item that was never synchronised.
  unsigned long GetId();
  void SetIndent(unsigned char indent);  ///< The level in the tree, 0 at the top.
  unsigned char GetIndent();
  void SetText(const wchar_t* text);  ///< Of any length; null means "".
  void GetText(_String& text);
  void DeleteText();  ///< Takes the field out; an absent one is no error.
  void SetNote(const wchar_t* note);
  void GetNote(_String& note);
  void DeleteNote();
  bool HasNote();  ///< True for an empty note too.
  void SetExpanded(bool expanded);
  bool GetExpanded();
  void SetChecked(bool checked);
  bool GetChecked();

  /// Stores the picture of a bitmap handle in place of the present drawing and frees the handle. A
  /// bitmap that cannot be converted, or stored for want of memory, stays the caller's, and the
  /// drawing stays. KXBitmap.h tells what a bitmap needs; above all, its header's image size must
  /// not be 0.
  void SetDrawing(void* dib);
  /// A new bitmap handle with the drawing, for the caller to free with MemFree; its header's image
  /// size is 0. Null when the drawing is damaged or memory ran out; throws message 16 when there is
  /// none.
  void* GetDrawing();
  bool HasDrawing();
  void DeleteBitmap();
  /// In pixels; 0 by 0 without a drawing. Throws message 16 for one too short to be a drawing.
  void GetDrawingSize(long& width, long& height);

  /// Recomputes the row's changed flag from the marks of indent, text, note, checked and, where
  /// there is one, drawing. Throws message 16 when one of the others is absent, unless one before
  /// it is marked.
  void updateRecordChanged();
  /// Marks indent, text, note, expanded and checked as changed or not, by whether they differ from
  /// `other`, the stored copy. A record without a note gets an empty one when `other` has none too.
  void UpdateChangedFields(COutlineRecord* other);

 private:
  void updateNoteChanged(COutlineRecord* other);
};

/// An item of a memory outline: it also knows its own stored id and its parent's (32 bits each).
class KX_API CLinkedOutlRec : public COutlineRecord {
 public:
  CLinkedOutlRec() = default;
  CLinkedOutlRec(const CLinkedOutlRec&) = default;
  CLinkedOutlRec& operator=(const CLinkedOutlRec&) = default;
  ~CLinkedOutlRec() override;
  void Init() override;  ///< As its base; both ids 0.

  void setInternalId(unsigned long id);
  unsigned long getInternalId();
  void setParentId(unsigned long id);
  unsigned long getParentId();
};

/// Makes `COutlineRecord`s.
class KX_API COutlineRecordset : public CDBRecordset {
 public:
  COutlineRecordset() = default;
  COutlineRecordset(const COutlineRecordset&) = delete;
  COutlineRecordset& operator=(const COutlineRecordset&) = delete;
  ~COutlineRecordset() override;
  CDBRecord* CreateDBRecord() override;  ///< Throws message 11.
};

/// Makes `CLinkedOutlRec`s.
class KX_API CLinkedOutlRS : public CDBRecordset {
 public:
  CLinkedOutlRS() = default;
  CLinkedOutlRS(const CLinkedOutlRS&) = delete;
  CLinkedOutlRS& operator=(const CLinkedOutlRS&) = delete;
  ~CLinkedOutlRS() override;
  CDBRecord* CreateDBRecord() override;  ///< Throws message 11.
};

}  // namespace kx_gen
