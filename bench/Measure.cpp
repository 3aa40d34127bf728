// Figures that are no times of operations: resident memory, the cost of opening a small document
// beside that of the same work by stdio, and single operations for somebody who counts their
// instructions.
//
// Usage: kx_measure make FILE ROWS     writes an outline
//        kx_measure read FILE          reads it
//        kx_measure save FILE NEW      reads it and writes it into another file
//        kx_measure append ROWS        makes rows in memory
//        kx_measure memory FILE NEW    bytes: the file's, resident after reading, more while saving
//        kx_measure open FILE          nanoseconds: the library's, stdio's

#include <algorithm>
#include <array>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <functional>
#include <string>
#include <vector>

#include "Kx.h"
#include "Rows.h"

namespace kx_bench {
namespace {

using Arguments = std::vector<std::string>;

// --- Single operations ---

int make(const Arguments& arguments) {
  kx_gen::COutlineDB db;
  appendRows(db, std::stoul(arguments[1]));
  saveNew(db, arguments[0]);
  return 0;
}

int read(const Arguments& arguments) {
  kx_gen::COutlineDB db;
  openWhole(db, arguments[0], kx_gen::CFile::modeRead);
  return 0;
}

int save(const Arguments& arguments) {
  kx_gen::COutlineDB db;
  openWhole(db, arguments[0], kx_gen::CFile::modeRead);
  saveNew(db, arguments[1]);
  return 0;
}

int append(const Arguments& arguments) {
  rowText(0);  // makes up all texts, however many rows there are
  kx_gen::COutlineDB db;
  appendRows(db, std::stoul(arguments[0]));
  return 0;
}

// --- Memory ---

// A figure of the process, in bytes; the system tells kilobytes.
long ownStatus(const std::string& field) {
  std::ifstream status("/proc/self/status");
  for (std::string line; std::getline(status, line);) {
    if (line.rfind(field + ":", 0) == 0) return std::stol(line.substr(field.size() + 1)) * 1024;
  }
  return 0;
}

long resident() { return ownStatus("VmRSS"); }

// The most that was resident since the last call of resetPeak.
long residentPeak() { return ownStatus("VmHWM"); }
void resetPeak() { std::ofstream("/proc/self/clear_refs") << 5; }

int memory(const Arguments& arguments) {
  const std::string& file = arguments[0];
  const std::string& copy = arguments[1];
  {
    // What every first use costs, whatever the size of the document.
    kx_gen::COutlineDB empty;
    saveNew(empty, copy);
    openWhole(empty, copy, kx_gen::CFile::modeRead);
  }
  const long before = resident();
  kx_gen::COutlineDB db;
  openWhole(db, file, kx_gen::CFile::modeRead);
  const long after = resident();
  resetPeak();
  saveNew(db, copy);
  std::printf("%ld %ld %ld\n", static_cast<long>(std::filesystem::file_size(file)), after - before,
              residentPeak() - after);
  return 0;
}

// --- Opening a small document ---

constexpr int kRounds = 25;
constexpr int kOpeningsARound = 200;

void openByLibrary(const std::string& file) {
  kx_gen::COutlineDB db;
  openWhole(db, file, kx_gen::CFile::modeRead);
  db.Close();
}

void addLogLine(const char* format, const char* text) {
  std::FILE* log = std::fopen("stdio.txt", "a+");
  std::fprintf(log, format, text);
  std::fputc('\n', log);
  std::fclose(log);
}

void openByStdio(const std::string& file) {
  addLogLine("%s", "COutlineDB::COutlineDB");
  addLogLine("COutlineDB::Open %s 0", file.c_str());
  std::FILE* opened = std::fopen(file.c_str(), "rb");
  std::array<char, 1 << 16> bytes{};
  while (std::fread(bytes.data(), 1, bytes.size(), opened) == bytes.size()) {
  }
  std::fclose(opened);
}

double nanoseconds(const std::function<void()>& work) {
  using Clock = std::chrono::steady_clock;
  const Clock::time_point start = Clock::now();
  for (int i = 0; i < kOpeningsARound; ++i) work();
  const std::chrono::duration<double, std::nano> taken = Clock::now() - start;
  return taken.count() / kOpeningsARound;
}

double medianOf(std::vector<double> values) {
  std::sort(values.begin(), values.end());
  return values[values.size() / 2];
}

int open(const Arguments& arguments) {
  std::vector<double> library;
  std::vector<double> stdio;
  for (int round = 0; round < kRounds; ++round) {
    library.push_back(nanoseconds([&] { openByLibrary(arguments[0]); }));
    stdio.push_back(nanoseconds([&] { openByStdio(arguments[0]); }));
  }
  std::printf("%.0f %.0f\n", medianOf(library), medianOf(stdio));
  return 0;
}

struct Command {
  const char* name;
  size_t arguments;
  int (*run)(const Arguments&);
};
constexpr Command kCommands[] = {{"make", 2, make},     {"read", 1, read},     {"save", 2, save},
                                 {"append", 1, append}, {"memory", 2, memory}, {"open", 1, open}};

int run(const Arguments& arguments) {
  for (const Command& command : kCommands) {
    const bool isMeant = !arguments.empty() && arguments[0] == command.name;
    if (!isMeant || arguments.size() != command.arguments + 1) continue;
    return command.run(Arguments(arguments.begin() + 1, arguments.end()));
  }
  std::fputs("usage: kx_measure make|read|save|append|memory|open ARGUMENTS\n", stderr);
  return 2;
}

}  // namespace
}  // namespace kx_bench

int main(int argc, char** argv) { return kx_bench::run({argv + 1, argv + argc}); }
