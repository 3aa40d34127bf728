/// A memory handle of the library that is freed with its owner.
#pragma once

#include <memory>

#include "MemAPI.h"

namespace kxo {

struct HandleFree {
  void operator()(void* handle) const { MemFree(handle); }
};
using OwnedHandle = std::unique_ptr<void, HandleFree>;

}  // namespace kxo
