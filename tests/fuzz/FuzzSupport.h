/// What the fuzz targets share: a file in memory, invariants that stop the run, and a budget.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include "KX_FileIO.h"

namespace kx_fuzz {

using Bytes = std::vector<unsigned char>;

/// Ends the run with a message, which makes the input a find, unless `holds`.
void require(bool holds, const char* promise);

/// Holds one input to the memory that its size justifies: 64 MiB and 16 times its size.
class Budget {
 public:
  explicit Budget(size_t inputSize);
  Budget(const Budget&) = delete;
  Budget& operator=(const Budget&) = delete;
  ~Budget();

 private:
  size_t mayTake_;
  size_t before_;
};

/// Writes a file of this process in a file system in memory and returns its path.
std::wstring scratchFile(const char* name, const uint8_t* data, size_t size);
Bytes scratchContents(const char* name);

/// A handle with these bytes, freed with the object.
class Handle {
 public:
  Handle(const uint8_t* data, size_t size);
  explicit Handle(void* handle) : handle_(handle) {}
  Handle(const Handle&) = delete;
  Handle& operator=(const Handle&) = delete;
  ~Handle();
  void* get() const { return handle_; }
  void* release();
  Bytes contents() const;

 private:
  void* handle_;
};

/// An outline database whose headers can be looked at.
class OutlineDb : public kx_gen::COutlineDB {
 public:
  using COutlineDB::GetPrivateOutlineHeaderPtr;
  using COutlineDB::GetSharedHeaderPtr;
};

/// The blocks of a database's headers and rows, in order; how many of them are headers'.
std::vector<Bytes> contentsOf(OutlineDb& db);
std::vector<Bytes> contentsOf(kx_gen::CMemOutlDB& db);
std::vector<Bytes> contentsOf(kx_gen::CCategoryDB& db);
inline size_t headersOf(const OutlineDb& /*db*/) { return 3; }
inline size_t headersOf(const kx_gen::CMemOutlDB& /*db*/) { return 0; }
inline size_t headersOf(const kx_gen::CCategoryDB& /*db*/) { return 1; }

}  // namespace kx_fuzz
