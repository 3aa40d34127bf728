/// What programs do with files, for tests that let it fail at every point.
#pragma once

#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "KxTest.h"
#include "UseDatabase.h"

namespace kx_failing {

/// What fails: a call that a file makes to the system, or an allocation.
enum class Cause { kFileCall, kAllocation };

/// How an operation ended.
struct Ending {
  bool isDone = false;
  bool isOutOfMemory = false;  ///< The standard exception.
  kx_test::Thrown thrown;      ///< One of the library's.
  std::string answer;          ///< Without an exception: why it was not done.
};
std::ostream& operator<<(std::ostream& out, const Ending& ending);

/// An operation in the current folder, which it may fill as it likes. Only `Make`, `Run` and, once
/// it failed, `Drop` are disturbed. Texts and pictures are made beforehand, so that the points are
/// those of the library and the tool.
class Operation {
 public:
  virtual ~Operation() = default;
  Operation() = default;
  Operation(const Operation&) = delete;
  Operation& operator=(const Operation&) = delete;

  /// The files as they are before it, and the objects of an earlier run closed.
  virtual void Prepare() = 0;
  /// The objects that it works on, where there are none.
  virtual void Make() {}
  /// Does it. Empty when it is done; why it is not, where that is a result and no exception: a word
  /// or two, since text beyond what a string keeps in itself would need memory.
  virtual std::string Run() = 0;
  /// Looks at all that the objects hold.
  virtual void Use() {}
  virtual void Drop() {}

  /// Whether the files are what is promised after this ending. `goesOn`: whether everything failed
  /// from some point on, cleaning up included.
  virtual void CheckFiles(const Ending& ending, Cause cause, bool goesOn) = 0;
  /// Whether all is as promised after an ending of the whole process.
  virtual void CheckEnd(int exitCode, bool goesOn);
  /// Whether this ending is one that is documented; the number is that of the system's refusal.
  virtual bool IsDocumented(const Ending& ending, Cause cause, long errorNumber) const;
};

/// An operation and the points that it has at least, by cause: a sweep that finds fewer is broken.
struct Listed {
  std::string name;
  std::function<std::unique_ptr<Operation>()> make;
  long fileCallsAtLeast;
  long allocationsAtLeast;
  /// It may end its process when memory runs out, and so gets one of its own.
  bool mayEndProcess = false;
  /// A library of others that it uses loses blocks when memory runs out.
  bool mayLeak = false;
};
std::ostream& operator<<(std::ostream& out, const Listed& listed);

/// All of them: each function adds those of its source file, and posix/FailingCallsTest.cpp tries
/// them.
void addOutlineOperations(std::vector<Listed>& list);
void addCategoryOperations(std::vector<Listed>& list);
void addSaveOperations(std::vector<Listed>& list);
void addFlatOperations(std::vector<Listed>& list);
void addToolOperations(std::vector<Listed>& list);

// --- What the operations share ---

/// What an operation answers where opening was refused with a result.
constexpr const char* kNotOpened = "not opened";

std::wstring here(const std::wstring& name);  ///< In the current folder.
kx_test::Bytes bytesAt(const std::string& name);
void putBytes(const std::string& name, const kx_test::Bytes& bytes);
void removeFile(const std::string& name);
/// The names in a folder, sorted.
std::vector<std::string> namesIn(const std::string& folder);

/// Opens and reads the file with a database of its own: that ends well or with an exception,
/// whatever the file holds.
template <class Db>
void readWhatever(const std::string& name) {
  Db db;
  kx_test::attempt([&] {
    const std::wstring path = here(std::filesystem::path(name).wstring());
    if (db.Open(path.c_str(), kx_gen::CFile::modeRead) != 0) kx_test::readAll(db);
  });
}

/// What a database writes: into a file of its own, in place.
kx_test::Bytes writtenBy(kx_gen::CDatabase& db);

}  // namespace kx_failing
