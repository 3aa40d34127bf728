// Any bytes as the drawing of a record.

#include "FuzzSupport.h"
#include "UseDatabase.h"
#include "UseDib.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  const kx_fuzz::Budget budget(size);
  const kx_fuzz::Handle block(data, size);
  const kx_fuzz::Handle dib(kx_gen::ConvertInternalFormatToDib(block.get()));
  kx_fuzz::usePicture(dib.get());

  kx_gen::COutlineRecord record;
  record.Init();
  bool changed = false;
  record.getTaggedDataManager().setData(kx_gen::format::kTagDrawing, data, size, &changed, 0);
  long width = 0;
  long height = 0;
  kx_test::attempt([&] { record.GetDrawingSize(width, height); });
  return 0;
}
