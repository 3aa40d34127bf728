/// File bytes, as the tests have them.
#pragma once

#include <vector>

namespace kx_test {

using Bytes = std::vector<unsigned char>;

}  // namespace kx_test
