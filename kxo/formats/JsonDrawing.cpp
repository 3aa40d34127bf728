#include "formats/JsonDrawing.h"

#include "pictures/OwnedHandle.h"
#include "pictures/Png.h"
#include "pictures/StoredDrawing.h"

namespace kxo::json {

namespace {

const unsigned char* BytesOf(const std::string& text) {
  return reinterpret_cast<const unsigned char*>(text.data());
}

}  // namespace

std::string PngOfBlock(const std::string& block) {
  const OwnedHandle dib = DibOfBlock(BytesOf(block), block.size());
  return dib ? EncodePng(dib.get()) : "";
}

std::string BlockOfPng(const std::string& png) {
  const OwnedHandle dib(DecodePng(BytesOf(png), png.size()));
  if (!dib) return "";
  const auto block = BlockOfDib(dib.get());
  return {block.begin(), block.end()};
}

}  // namespace kxo::json
