/// What the tests of the commands that change a document share: a document that was synchronised,
/// and a look at all that an edit did.
#pragma once

#include <string>
#include <vector>

#include "ToolTest.h"

namespace kxo_test {

/// The marks of one row that synchronisation reads.
struct RowMarks {
  bool changed = false;
  bool sortChanged = false;
  std::vector<std::string> fields;  ///< Of id, indent, text, note, expanded, checked, drawing.
};

kx_gen::COutlineRecord& RowOf(kx_gen::COutlineDB& db, size_t row);

class EditTool : public ToolTest {
 protected:
  /// Makes plan.kxo: synchronised, and without a mark.
  void SetUp() override;

  /// Runs an edit, which is to be done.
  ProgramRun Edited(const std::vector<std::string>& arguments) const;
  /// Runs a command that is to leave a file's bytes and time as they are.
  ProgramRun Beside(const std::vector<std::string>& arguments,
                    const std::string& file = "plan.kxo") const;
  /// The same, which is to end with this code and to say this.
  void ExpectRefused(const std::vector<std::string>& arguments, int exitCode,
                     const std::string& said) const;

  /// The items as "level text", in order.
  std::vector<std::string> Tree() const;
  RowMarks MarksOf(size_t row) const;
  bool IsOutlineChanged() const;
  std::vector<unsigned long> DeletedIds() const;
  /// Opens plan.kxo with the library and reads all of it.
  void Look(const std::function<void(kx_gen::COutlineDB&)>& look) const;
  /// Writes it so that others find it so; the marks are as `change` leaves them.
  void Change(const std::function<void(kx_gen::COutlineDB&)>& change) const;
  /// Clears every mark of a row.
  static void ClearMarks(kx_gen::COutlineRecord& row);
};

}  // namespace kxo_test
