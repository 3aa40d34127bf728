/// The rows of outlines.
#pragma once

#include "Rowset.h"

namespace kx_gen {

/// One item of an outline. A fresh record has no fields until `Init`, which recordsets call.
/// Getters throw `CException*` message 16 when the field is absent, 15 or 17 when it is damaged.
class KX_API COutlineRecord : public CDBRecord {
 public:
  COutlineRecord() = default;
  COutlineRecord(const COutlineRecord&) = default;
  COutlineRecord& operator=(const COutlineRecord&) = default;
  ~COutlineRecord() override;
  void Init() override;

  void SetId(unsigned long id);
  unsigned long GetId();
  void SetIndent(unsigned char indent);
  unsigned char GetIndent();
  void SetText(const wchar_t* text);
  void GetText(_String& text);
  void DeleteText();
  void SetNote(const wchar_t* note);
  void GetNote(_String& note);
  void DeleteNote();
  bool HasNote();  ///< True for an empty note too.
  void SetExpanded(bool expanded);
  bool GetExpanded();
  void SetChecked(bool checked);
  bool GetChecked();

  bool HasDrawing();
  void DeleteBitmap();
  /// In pixels; 0 by 0 without a drawing.
  void GetDrawingSize(long& width, long& height);

  /// Recomputes the changed flag from the changed flags of indent, text, note, checked and drawing.
  void updateRecordChanged();
  /// Sets each field's changed flag to whether it differs from `other`, the stored copy.
  void UpdateChangedFields(COutlineRecord* other);

 private:
  void updateNoteChanged(COutlineRecord* other);
};

/// An item of a memory outline: it also knows its own stored id and its parent's.
class KX_API CLinkedOutlRec : public COutlineRecord {
 public:
  CLinkedOutlRec() = default;
  CLinkedOutlRec(const CLinkedOutlRec&) = default;
  CLinkedOutlRec& operator=(const CLinkedOutlRec&) = default;
  ~CLinkedOutlRec() override;
  void Init() override;

  void setInternalId(unsigned long id);
  unsigned long getInternalId();
  void setParentId(unsigned long id);
  unsigned long getParentId();
};

/// Makes `COutlineRecord`s.
class KX_API COutlineRecordset : public CDBRecordset {
 public:
  COutlineRecordset() = default;
  ~COutlineRecordset() override;
  CDBRecord* CreateDBRecord() override;
};

/// Makes `CLinkedOutlRec`s.
class KX_API CLinkedOutlRS : public CDBRecordset {
 public:
  CLinkedOutlRS() = default;
  ~CLinkedOutlRS() override;
  CDBRecord* CreateDBRecord() override;
};

}  // namespace kx_gen
