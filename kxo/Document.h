/// One .kxo file, on the library's outline database. What goes wrong is thrown as a Failure that
/// names the file and the place.
#pragma once

#include <filesystem>
#include <memory>
#include <string>

#include "DatabaseFile.h"
#include "KX_FileIO.h"
#include "LibraryErrors.h"
#include "Outline.h"
#include "StoredFields.h"

namespace kxo {

class Document : public kx_gen::COutlineDB {
 public:
  /// `name` is the file as messages call it.
  explicit Document(std::string name);
  Document(const Document&) = delete;
  Document& operator=(const Document&) = delete;
  ~Document() override;

  /// Opens for reading, while others may read too; never writes. Reads the header table.
  void OpenToRead(const std::filesystem::path& file);
  /// The same for an edit: until it is closed nobody else opens the file, so that no two edits lose
  /// one another's work.
  void OpenToEdit(const std::filesystem::path& file);

  /// Reads the headers that the file has; the others keep their defaults.
  void ReadHeaders();
  /// Reads title and rows.
  Outline ReadOutline();
  std::string GetTitle();  ///< Of the header as it is in memory.
  /// Title and rows as they are in memory.
  Outline GetOutline();
  /// Reads everything, as it stands in the file. Fields that are lacking have their defaults.
  Outline ReadWhole();
  /// Everything as it is in memory. What is read and then taken by another document gives the same
  /// rows and headers there, byte for byte.
  Outline GetWhole();
  /// Takes the items as new rows.
  void TakeItems(const Outline& outline);
  /// Makes this, which must be as constructed, a new document with all of the outline. The title is
  /// taken as it is: saving throws a Failure when it does not fit its header.
  void TakeWhole(const Outline& outline);
  bool TitleFits();  ///< The header of the title fits its slot.
  /// Takes as much of the title as its header holds.
  void TakeTitle(const std::string& title);
  /// Saves everything as this file, so that it is the old or the new document whatever happens
  /// meanwhile. Without `mayReplace` there must not be an old one.
  void Save(const std::filesystem::path& file, bool mayReplace);

  /// Runs `call`, which reads a header's fields; damage is laid to that header.
  template <class Call>
  auto InHeader(unsigned short id, Call call) -> decltype(call());

  kx_gen::CSharedHeader& Shared() { return *GetSharedHeaderPtr(); }
  kx_gen::CPrivateOutlineHeader& Private() { return *GetPrivateOutlineHeaderPtr(); }
  bool HasHeader(unsigned short id);  ///< In the file.
  unsigned long FirstRowsOffset() { return getFirstRowStartPosReading(); }
  /// The offset behind the last row, once the rows are read.
  unsigned long RowsEnd();
  const std::string& GetName() const { return name_; }

 private:
  void ReadOneHeader(unsigned short id);
  void ReadAllRows();
  void AddItems(Outline& outline, Lacking lacking);
  bool TakesTitle(const std::wstring& title);

  std::string name_;
};

template <class Call>
auto Document::InHeader(unsigned short id, Call call) -> decltype(call()) {
  return InHeaderOf(*this, name_, id, call);
}

/// Fails for what is no regular file, and for files of another kind.
void CheckIsDocument(const std::string& name, const std::filesystem::path& file);
/// Opens the document that the user named, for reading.
std::unique_ptr<Document> OpenDocument(const std::string& name, const std::filesystem::path& file);

}  // namespace kxo
