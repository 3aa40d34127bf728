/// The engine `sqlite`: a table with the same fields, prepared statements, one transaction, nothing
/// flushed to the disk itself.
#pragma once

#include <sqlite3.h>

#include <string>

namespace kx_bench {

/// An open database; a refused call ends the program.
class Sqlite {
 public:
  explicit Sqlite(const std::string& file);
  ~Sqlite();
  Sqlite(const Sqlite&) = delete;
  Sqlite& operator=(const Sqlite&) = delete;

  void run(const char* sql);
  sqlite3* get() const { return db_; }

 private:
  sqlite3* db_ = nullptr;
};

/// A prepared statement; positions of what is bound count from 1, columns from 0.
class Statement {
 public:
  Statement(const Sqlite& db, const char* sql);
  ~Statement();
  Statement(const Statement&) = delete;
  Statement& operator=(const Statement&) = delete;

  void bind(int position, size_t value);
  void bind(int position, const std::string& text);  ///< The text must outlive the next step.
  bool step();                                       ///< Whether it gave a row.
  void reset();
  size_t number(int column) const;
  void text(int column, std::string& out) const;

 private:
  sqlite3_stmt* statement_ = nullptr;
};

/// A file name that stands for a database in memory.
constexpr char kInMemory[] = ":memory:";

/// Makes the tables and inserts the first `rows` rows, in one transaction.
void insertRows(Sqlite& db, size_t rows);

/// A file with that many rows, made on first use.
std::string sqliteFile(size_t rows);

}  // namespace kx_bench
