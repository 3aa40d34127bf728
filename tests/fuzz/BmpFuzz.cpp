// Any bytes as a BMP file and as a bitmap in memory. What can be brought to the form of drawings
// goes through it without a change.

#include "FuzzSupport.h"
#include "UseDatabase.h"
#include "UseDib.h"
#include "pictures/NormalizeDib.h"

namespace {

using kx_fuzz::Bytes;
using kx_fuzz::Handle;

constexpr size_t kImageSizeOffset = 20;

/// The bytes of a bitmap but for its image size, which drawings do not keep.
Bytes withoutImageSize(const Handle& dib) {
  Bytes bytes = dib.contents();
  for (size_t i = kImageSizeOffset; i < kImageSizeOffset + 4; ++i) bytes.at(i) = 0;
  return bytes;
}

void keepAsDrawing(const uint8_t* data, size_t size) {
  const Handle dib(kxo::NormalizeBmp(data, size));
  if (dib.get() == nullptr) return;
  const Handle block(kx_gen::ConvertDibToInternalFormat(kx_gen::CopyHandle(dib.get())));
  kx_fuzz::require(block.get() != nullptr, "a normalised picture can be stored");
  const Handle back(kx_gen::ConvertInternalFormatToDib(block.get()));
  kx_fuzz::require(back.get() != nullptr, "a stored picture can be had");
  kx_fuzz::require(withoutImageSize(back) == withoutImageSize(dib), "a stored picture comes back");
}

void readAsFile(const uint8_t* data, size_t size) {
  const std::wstring path = kx_fuzz::scratchFile("picture.bmp", data, size);
  kx_test::attempt([&] {
    kx_gen::CDib picture;
    if (picture.LoadDIBFile(path.c_str())) kx_fuzz::useHandle(picture.GetHDIB());
  });
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  const kx_fuzz::Budget budget(size);
  keepAsDrawing(data, size);
  readAsFile(data, size);
  const Handle raw(data, size);
  kx_fuzz::useHandle(raw.get());
  const Handle normalized(kxo::NormalizeDib(raw.get()));
  kx_fuzz::usePicture(normalized.get());
  return 0;
}
