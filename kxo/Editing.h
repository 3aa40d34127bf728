/// What the commands that change a document share.
#pragma once

#include <CLI/App.hpp>
#include <functional>
#include <initializer_list>
#include <memory>
#include <optional>
#include <string>

#include "Document.h"
#include "ItemName.h"
#include "JsonText.h"
#include "Session.h"

namespace kxo {

struct EditOptions {
  std::string file;
  bool dryRun = false;
  bool json = false;
};
/// The place of the file that the user names to be changed, which standard input cannot be.
std::filesystem::path FileToChange(const Session& session, const std::string& name);
/// FILE, --dry-run, --json and --codepage.
void AddEditOptions(CLI::App& command, EditOptions& options);

/// Where an item goes; at most one of the three is given.
struct PlaceOptions {
  std::string under;
  std::string before;
  std::string after;
  bool IsGiven() const { return !under.empty() || !before.empty() || !after.empty(); }
};
void AddPlaceOptions(CLI::App& command, PlaceOptions& options);

/// A number that programs are told. Values of JSON take memory even when they go, so none is made
/// unless it is printed.
struct Fact {
  const char* name;
  size_t value;
};

/// One change of one document, which nobody else can open meanwhile.
class Edit {
 public:
  /// A place between rows, and the level of an item there.
  struct Place {
    size_t row = 0;
    unsigned level = 0;
  };
  using Rows = std::pair<size_t, size_t>;  ///< The first, and the one behind the last.

  /// Opens and reads the document; for a dry run so that others may read it, too.
  Edit(const Session& session, const EditOptions& options);

  Document& GetDocument() { return *document_; }
  const std::string& GetName() const { return options_.file; }
  size_t RowCount() const { return static_cast<size_t>(document_->GetRecordset()->getSize()); }
  kx_gen::COutlineRecord& Row(size_t row) const;

  /// The row that the user names.
  size_t Find(const std::string& item) const;
  /// An item with all below it.
  Rows SubtreeOf(size_t row) const;
  /// Without an item at the end of the document, at the top level. Under an item: behind what is
  /// there already.
  Place PlaceFor(const PlaceOptions& options) const;
  /// The level, unless a document has none so deep.
  unsigned char StoredLevel(unsigned level) const;

  /// Lets `change` edit a row, and takes note of what it made different.
  void ChangeRow(size_t row, const std::function<void(kx_gen::COutlineRecord&)>& change);
  /// The document is another one than the one that was synchronised.
  void MarkChanged();

  /// Saves the document if anything changed, and tells what was done: a participle first, as in
  /// "added item 3". A dry run only tells. Programs are told these facts besides.
  void Finish(const std::string& done, std::initializer_list<Fact> facts = {});

 private:
  EditOptions options_;
  std::filesystem::path path_;
  std::unique_ptr<Document> document_;
  bool isChanged_ = false;
};

/// Fails when the headers have outgrown their places in the file, as a long title makes them.
void CheckHeadersFit(Document& document);

/// Tells of work that was done, or that a dry run would have done.
void SayDone(const std::string& name, const std::string& done, bool dryRun);
void SayNothingToChange(const std::string& name);
/// What became of an edit, for programs: what was done, or would have been; nothing where there was
/// nothing to change.
Json JsonOfEdit(const EditOptions& options, const std::optional<std::string>& done);

}  // namespace kxo
