// A block of tagged data: walked, read, changed. Its first byte chooses the byte order.

#include <fuzzer/FuzzedDataProvider.h>

#include <cstdlib>
#include <cstring>

#include "FuzzSupport.h"

namespace {

using kx_fuzz::require;
using kx_gen::CTaggedDataManager;

constexpr unsigned long kIds[] = {1, 2, 3, 5, 0x7F, 0x10000, 0xFFFFFFFF};

void look(CTaggedDataManager& tags, unsigned long id) {
  bool truth = false;
  unsigned char version = 0;
  unsigned long length = 0;
  char small[8];
  unsigned long room = sizeof(small);
  tags.hasTag(id, &truth);
  tags.getTagDataSize(id, &length);
  tags.getData(id, small, &room, &version);
  tags.getDataPtr(id, 4);
  tags.getTagVersion(id, &version);
  tags.getTagChanged(id, &truth);
  uint32_t value = 0;
  tags.getValue(id, value);
  kx_gen::_String text;
  tags.getString(static_cast<unsigned char>(id), text);
  tags.hasStringTag(static_cast<unsigned char>(id), &truth);
}

void setAndCompare(CTaggedDataManager& tags, unsigned long id, const std::string& value) {
  bool changed = false;
  if (tags.setData(id, value.data(), value.size(), &changed, 1) != 0) return;
  kx_fuzz::Bytes back(value.size() + 1);
  unsigned long length = back.size();
  require(tags.getData(id, back.data(), &length, nullptr) == 0, "what was set can be had");
  require(length == value.size() && std::memcmp(back.data(), value.data(), length) == 0,
          "what was set comes back");
}

void change(CTaggedDataManager& tags, FuzzedDataProvider& input) {
  const unsigned long id = kIds[input.ConsumeIntegralInRange<size_t>(0, std::size(kIds) - 1)];
  bool changed = false;
  switch (input.ConsumeIntegralInRange<int>(0, 5)) {
    case 0:
      tags.deleteData(id);
      break;
    case 1:
      tags.setTagChanged(id, input.ConsumeBool());
      break;
    case 2:
      tags.deleteStringData(static_cast<unsigned char>(id));
      break;
    case 3: {
      std::wstring text;
      for (const char c : input.ConsumeRandomLengthString(60)) {
        text += static_cast<wchar_t>(static_cast<unsigned char>(c) * 37);
      }
      tags.setString(static_cast<unsigned char>(id), text.c_str(), &changed);
      break;
    }
    default:
      setAndCompare(tags, id, input.ConsumeRandomLengthString(200));
      break;
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  const kx_fuzz::Budget budget(size);
  FuzzedDataProvider input(data, size);
  const bool swap = input.ConsumeBool();
  const std::string start = input.ConsumeRandomLengthString(1 << 12);
  char* block = static_cast<char*>(std::malloc(start.size() + 1));
  if (block == nullptr) return 0;
  std::memcpy(block, start.data(), start.size());
  {
    int steps = 50;
    CTaggedDataManager tags(&block, start.size(), swap, start.size() + 1, 64);
    do {
      tags.Validate();
      for (const unsigned long id : kIds) look(tags, id);
      if (!swap) change(tags, input);
    } while (input.remaining_bytes() > 0 && --steps > 0);
  }
  std::free(block);
  return 0;
}
