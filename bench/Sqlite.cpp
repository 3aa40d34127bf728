#include "Sqlite.h"

#include <cstdio>
#include <cstdlib>
#include <filesystem>

#include "Rows.h"

namespace kx_bench {

namespace {

constexpr char kTables[] =
    "CREATE TABLE header (category TEXT, outline_changed INTEGER);"
    "INSERT INTO header VALUES ('Unfiled', 0);"
    "CREATE TABLE outline (row INTEGER PRIMARY KEY, flags INTEGER, sort_changed INTEGER,"
    " id INTEGER, indent INTEGER, text TEXT, note TEXT, expanded INTEGER, checked INTEGER)";
constexpr char kInsert[] = "INSERT INTO outline VALUES (?, 0, 0, ?, ?, ?, ?, 1, 0)";

void mustBe(int expected, int result, sqlite3* db) {
  if (result == expected) return;
  std::fprintf(stderr, "sqlite: %s\n", sqlite3_errmsg(db));
  std::abort();
}

}  // namespace

Sqlite::Sqlite(const std::string& file) {
  mustBe(SQLITE_OK, sqlite3_open(file.c_str(), &db_), db_);
  run("PRAGMA synchronous = OFF");
}

Sqlite::~Sqlite() { sqlite3_close(db_); }

void Sqlite::run(const char* sql) {
  mustBe(SQLITE_OK, sqlite3_exec(db_, sql, nullptr, nullptr, nullptr), db_);
}

Statement::Statement(const Sqlite& db, const char* sql) {
  mustBe(SQLITE_OK, sqlite3_prepare_v2(db.get(), sql, -1, &statement_, nullptr), db.get());
}

Statement::~Statement() { sqlite3_finalize(statement_); }

void Statement::bind(int position, size_t value) {
  sqlite3_bind_int64(statement_, position, static_cast<sqlite3_int64>(value));
}

void Statement::bind(int position, const std::string& text) {
  sqlite3_bind_text(statement_, position, text.data(), static_cast<int>(text.size()),
                    SQLITE_STATIC);
}

bool Statement::step() {
  const int result = sqlite3_step(statement_);
  if (result == SQLITE_ROW) return true;
  mustBe(SQLITE_DONE, result, sqlite3_db_handle(statement_));
  return false;
}

void Statement::reset() { sqlite3_reset(statement_); }

size_t Statement::number(int column) const {
  return static_cast<size_t>(sqlite3_column_int64(statement_, column));
}

void Statement::text(int column, std::string& out) const {
  const auto* bytes = reinterpret_cast<const char*>(sqlite3_column_text(statement_, column));
  out.assign(bytes, static_cast<size_t>(sqlite3_column_bytes(statement_, column)));
}

void insertRows(Sqlite& db, size_t rows) {
  db.run("BEGIN");
  db.run(kTables);
  {
    Statement insert(db, kInsert);
    for (size_t row = 0; row < rows; ++row) {
      const RowText& text = rowText(row);
      insert.bind(1, row);
      insert.bind(2, rowId(row));
      insert.bind(3, rowIndent(row));
      insert.bind(4, text.narrowText);
      insert.bind(5, text.narrowNote);
      insert.step();
      insert.reset();
    }
  }
  db.run("COMMIT");
}

std::string sqliteFile(size_t rows) {
  const std::string file = fileName("sqlite", rows);
  if (!std::filesystem::exists(file)) {
    Sqlite db(file);
    insertRows(db, rows);
  }
  return file;
}

}  // namespace kx_bench
