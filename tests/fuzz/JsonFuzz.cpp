// Any bytes as JSON: the file that they make is read, written as JSON and made again, and it is the
// same.

#include "Failure.h"
#include "FuzzSupport.h"
#include "formats/Json.h"

namespace {

std::string save(const kxo::Contents& contents) {
  const std::wstring path = kx_fuzz::scratchFile("document", nullptr, 0);
  kxo::SaveContents("document", contents, path, true);
  const kx_fuzz::Bytes bytes = kx_fuzz::scratchContents("document");
  return {bytes.begin(), bytes.end()};
}

void saveAndCompare(const kxo::Contents& contents) {
  const std::wstring path = kx_fuzz::scratchFile("document", nullptr, 0);
  const std::string file = save(contents);
  const kxo::Contents again = kxo::ReadContents("document", path, contents.kind);
  kx_fuzz::require(again == contents, "what was imported comes back");
  const std::string text = kxo::WriteJson(again);
  const kxo::Contents back = kxo::ReadJson("text", text);
  kx_fuzz::require(kxo::WriteJson(back) == text, "the same is exported again");
  kx_fuzz::require(save(back) == file, "the same file is made again");
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  const kx_fuzz::Budget budget(size);
  kxo::Contents contents;
  try {
    contents = kxo::ReadJson("input", std::string(data, data + size));
  } catch (const kxo::Failure&) {
    return 0;  // told to the user; nothing was imported
  }
  saveAndCompare(contents);
  return 0;
}
