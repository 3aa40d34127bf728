/// What the tests of the tool share: a user's folder, the program run in it, and a look through the
/// library at the documents that it makes.
#pragma once

#include <cstdint>
#include <filesystem>
#include <functional>
#include <optional>
#include <ostream>
#include <string>
#include <string_view>
#include <vector>

#include "KxTest.h"
#include "RunProgram.h"

namespace kxo_test {

/// A row as the library reads it.
struct StoredRow {
  unsigned indent = 0;
  std::wstring text;
  std::wstring note;
  bool expanded = true;
  bool checked = false;
  unsigned char flags = 0x80;  ///< New, as for every imported row.
  uint32_t id = 0;
  bool hasNote = true;
  bool operator==(const StoredRow&) const = default;
};
std::ostream& operator<<(std::ostream& out, const StoredRow& row);
/// An imported row, unfolded and not checked.
StoredRow Row(unsigned indent, const std::wstring& text, const std::wstring& note = L"");

struct StoredDocument {
  std::wstring title;
  std::wstring category;
  std::vector<StoredRow> rows;
  size_t deletedIds = 0;
};

/// An OPML file with this inside its body and head.
std::string OpmlText(const std::string& body, const std::string& head = "<title>T</title>");

std::string Repeated(size_t count, const std::string& text);
/// The lines of a text.
std::vector<std::string> LinesOf(const std::string& text);

class ToolTest : public kx_test::KxTest {
 public:
  /// Appends a row to a database.
  static kx_gen::COutlineRecord& AddRow(kx_gen::COutlineDB& db, unsigned char indent,
                                        const wchar_t* text);

 protected:
  void SetUp() override;

  /// Runs `kxo` in the user's folder, with a state folder of the test's own.
  ProgramRun Kxo(const std::vector<std::string>& arguments) const;
  ProgramRun KxoOnTerminal(const std::vector<std::string>& arguments) const;
  /// Imports these bytes as in.opml, which makes in.kxo.
  ProgramRun Import(const std::string& bytes, const std::vector<std::string>& more = {}) const;
  /// Every command, with good and bad input, from the user's folder; they leave nothing else there.
  void RunAll() const;

  std::filesystem::path User(const std::filesystem::path& name) const { return user_ / name; }
  /// A folder beside the user's.
  std::filesystem::path MakeFolder(const std::string& name) const;
  std::filesystem::path StateFolder() const { return folder() / "state" / "kxo"; }
  void WriteUserFile(const std::filesystem::path& name, std::string_view bytes) const;
  std::string UserFile(const std::filesystem::path& name) const;
  /// The names in the user's folder, sorted.
  std::vector<std::string> UserFiles() const;

  /// What the library reads in a document of the user's folder.
  StoredDocument ReadDocument(const std::filesystem::path& name = "in.kxo") const;
  /// Makes a document there with the library. `fill` gets the database before it is written.
  void WriteDocument(const std::filesystem::path& name,
                     const std::function<void(kx_gen::COutlineDB&)>& fill) const;
  RunOptions options_;

 private:
  std::filesystem::path user_;
};

}  // namespace kxo_test
