// The decoder with any coded bytes, beside the plainly written one.

#include "FuzzSupport.h"
#include "PlainCoder.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  const kx_fuzz::Budget budget(size);
  kx_fuzz::Bytes coded(data, data + size);
  kx_gen::CCompression coder;
  unsigned char* out = nullptr;
  unsigned long length = 0;
  coder.Decompress(coded.data(), coded.size(), out, &length);
  const kx_fuzz::Bytes expanded(out, out + length);
  kx_fuzz::require(expanded == kx_test::plainDecompress(coded), "both decoders agree");
  return 0;
}
