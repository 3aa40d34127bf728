/// Documents to be damaged, and the damages.
#pragma once

#include <cstdint>
#include <random>
#include <string>
#include <vector>

#include "KxLayout.h"
#include "salvage/Fields.h"

namespace kxo_test {

using kx_test::Bytes;

/// Numbers that are the same everywhere for the same seed.
class Random {
 public:
  explicit Random(uint32_t seed) : engine_(seed) {}
  size_t Below(size_t limit) { return engine_() % limit; }
  size_t Between(size_t least, size_t most) { return least + Below(most - least + 1); }
  unsigned char Byte() { return static_cast<unsigned char>(engine_() & 0xFF); }

 private:
  std::mt19937 engine_;
};

/// A sound document of this kind as the library writes it: texts and notes of many lengths, some
/// drawings, deleted rows, values that only other programs know, deleted ids. No two rows are
/// alike.
Bytes GeneratedDocument(kxo::salvage::Kind kind, size_t rows);

/// A row's place in a file.
struct RowPlace {
  size_t begin = 0;
  size_t end = 0;
  bool isWhole = true;  ///< No damage has touched it.
  Bytes block;          ///< As it was.
};
/// The rows of a sound file.
std::vector<RowPlace> RowsOf(const Bytes& file, kxo::salvage::Kind kind);

enum class Damage { kFlip, kZero, kCutOff, kCutOut, kInsert };
constexpr Damage kDamages[] = {Damage::kFlip, Damage::kZero, Damage::kCutOff, Damage::kCutOut,
                               Damage::kInsert};
std::string NameOf(Damage damage);

/// A file whose damage is known.
class DamagedFile {
 public:
  DamagedFile(Bytes file, kxo::salvage::Kind kind);
  /// Damages it somewhere.
  void Suffer(Damage damage, Random& random);
  const Bytes& GetBytes() const { return bytes_; }
  /// Those that no damage has touched, in order.
  std::vector<Bytes> WholeRows() const;

 private:
  void Flip(Random& random);
  void Zero(Random& random);
  void CutOff(Random& random);
  void CutOut(Random& random);
  void Insert(Random& random);
  void Touch(size_t begin, size_t end);
  void Remove(size_t begin, size_t end);

  Bytes bytes_;
  std::vector<RowPlace> rows_;
  bool isCutOff_ = false;
};

}  // namespace kxo_test
