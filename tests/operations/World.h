/// What the operations of a script work on: objects by the names that the script gives them.
#pragma once

#include <map>
#include <memory>
#include <string>

#include "KX_FileIO.h"
#include "Report.h"
#include "Script.h"

namespace kx_operations {

/// An outline that lets its headers be seen.
class Outline : public kx_gen::COutlineDB {
 public:
  Outline() = default;
  Outline(const Outline&) = delete;
  Outline& operator=(const Outline&) = delete;
  ~Outline() override = default;
  using kx_gen::COutlineDB::GetPrivateOutlineHeaderPtr;
  using kx_gen::COutlineDB::GetSharedHeaderPtr;
};

struct HandleFree {
  void operator()(void* handle) const { MemFree(handle); }
};
/// A memory handle: a bitmap, a drawing, coded bytes.
using Handle = std::unique_ptr<void, HandleFree>;

Handle handleOf(const Bytes& data);
Bytes dataOf(const Handle& handle);

/// How a file is opened: words of the open flags with `+` between them, as in `edit+deny-write`.
unsigned int openMode(Words& words);

class World {
 public:
  // Databases. Each of the three takes the next word for a name.
  void keepDatabase(const std::string& name, kx_gen::CDatabase* db) { databases_[name].reset(db); }
  void dropDatabase(const std::string& name) { databases_.erase(name); }
  kx_gen::CDatabase& database(Words& words);
  template <class Kind>
  Kind& databaseOf(Words& words) {
    auto* db = dynamic_cast<Kind*>(&database(words));
    if (db == nullptr) throw ScriptError("a database of another kind is wanted");
    return *db;
  }

  // Rows, by name of the database and index; `none` is a null row.
  kx_gen::CDBRecord* rowOrNull(Words& words);
  kx_gen::CDBRecord& row(Words& words);
  template <class Kind>
  Kind& rowOf(Words& words) {
    auto* record = dynamic_cast<Kind*>(&row(words));
    if (record == nullptr) throw ScriptError("a row of another kind is wanted");
    return *record;
  }

  // Memory handles and open files, by name.
  Handle& handle(Words& words) { return handles_[words.word()]; }
  std::unique_ptr<kx_gen::CFile>& file(Words& words) { return files_[words.word()]; }
  kx_gen::CFile& openFile(Words& words);

  // What the present operation has to tell.
  void tell(const std::string& what);
  void tell(bool truth) { tell(std::string(truth ? "yes" : "no")); }
  void tell(const char* what) { tell(std::string(what)); }
  template <class Number, class = std::enable_if_t<std::is_integral<Number>::value>>
  void tell(Number number) {
    tell(std::to_string(number));
  }
  /// On a line of its own.
  void tellLine(const std::string& line) { told_ += "\n  " + line; }
  std::string takeTold();

 private:
  kx_gen::CDatabase& databaseNamed(const std::string& name);

  std::map<std::string, std::unique_ptr<kx_gen::CDatabase>> databases_;
  std::map<std::string, Handle> handles_;
  std::map<std::string, std::unique_ptr<kx_gen::CFile>> files_;
  std::string told_;
};

/// One verb of the script and what it does.
struct Operation {
  const char* verb;
  void (*run)(World& world, Words& words);
};

using Operations = std::vector<Operation>;
Operations databaseOperations();
Operations outlineOperations();
Operations headerOperations();
Operations categoryOperations();
Operations flatOperations();
Operations pictureOperations();
Operations fileOperations();
Operations textOperations();

}  // namespace kx_operations
