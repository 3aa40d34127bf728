/// How much memory was asked for at once.
#pragma once

#include <cstddef>

namespace kx_test {

/// The largest allocation, in bytes, since `forgetAllocations`. Only the address sanitizer's build
/// can tell; elsewhere it is 0.
size_t largestAllocation();
void forgetAllocations();

}  // namespace kx_test
