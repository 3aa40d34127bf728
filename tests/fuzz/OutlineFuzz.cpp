#include "DatabaseFuzz.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  const kx_fuzz::Budget budget(size);
  kx_fuzz::openAndUse<kx_fuzz::OutlineDb>(data, size);
  return 0;
}
