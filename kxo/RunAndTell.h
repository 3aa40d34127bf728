/// The frame around everything that the tool does.
#pragma once

#include <functional>

namespace kxo {

/// Runs this and, should it fail, tells the user in one line. The exit code.
int RunAndTell(const std::function<void()>& run);

}  // namespace kxo
