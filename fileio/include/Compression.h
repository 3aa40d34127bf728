/// The coder of stored drawings.
#pragma once

#include "KxPlatform.h"

namespace kx_gen {

/// Compresses and expands byte blocks with LZRW1 (Ross N. Williams, "An Extremely Fast Ziv-Lempel
/// Data Compression Algorithm", Data Compression Conference 1991): a 4-byte header, then groups of
/// a 16-bit control word and up to 16 items, each a literal byte or a two-byte copy item. The same
/// source always gives the same bytes.
///
/// Results stand in a working buffer that the object owns; they stay valid until its next call.
/// Copies share the buffer, and the last one frees it.
class KX_API CCompression {
 public:
  CCompression();  ///< With a buffer of 64 KiB; asserts when memory ran out.
  CCompression(const CCompression& other);
  CCompression& operator=(const CCompression& other);
  ~CCompression();

  /// Codes `len` bytes. `*outLen` is at most `len` + 4. Null and 0 when memory ran out.
  void Compress(unsigned char* src, unsigned long len, unsigned char*& out, unsigned long* outLen);
  /// Expands a coded block of `len` bytes, whatever it holds: a cut item ends it, and a copy from
  /// before the start of the output gives zeros. Null and 0 when memory ran out.
  void Decompress(unsigned char* src, unsigned long len, unsigned char*& out,
                  unsigned long* outLen);
  void freeMem();  ///< Frees the buffer; a later call makes a new one.

 private:
  struct Buffer;
  bool grow(uint64_t needed);
  bool copyOut(const unsigned char* src, unsigned long len, uint64_t& produced);
  bool expand(const unsigned char* src, unsigned long len, uint64_t& produced);
  void release();
  Buffer* buffer_;
};

}  // namespace kx_gen
