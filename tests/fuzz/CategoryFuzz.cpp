#include "DatabaseFuzz.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  const kx_fuzz::Budget budget(size);
  kx_fuzz::openAndUse<kx_gen::CCategoryDB>(data, size);
  return 0;
}
