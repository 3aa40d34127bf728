// Any bytes coded and expanded again, beside the plainly written coder.

#include "FuzzSupport.h"
#include "PlainCoder.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  const kx_fuzz::Budget budget(size);
  kx_fuzz::Bytes source(data, data + size);
  kx_gen::CCompression coder;
  unsigned char* out = nullptr;
  unsigned long length = 0;
  coder.Compress(source.data(), source.size(), out, &length);
  kx_fuzz::Bytes coded(out, out + length);
  kx_fuzz::require(length <= source.size() + 4, "coding adds at most four bytes");
  kx_fuzz::require(coded == kx_test::plainCompress(source), "both coders agree");
  coder.Decompress(coded.data(), coded.size(), out, &length);
  kx_fuzz::require(kx_fuzz::Bytes(out, out + length) == source, "what was coded comes back");
  return 0;
}
