#include "Wine.h"

namespace kx_test {

bool onWine() { return false; }

}  // namespace kx_test
