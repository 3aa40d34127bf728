/// Wine, which runs the Windows programs of the tests where there is no Windows, answers a few
/// calls otherwise than Windows does. A test of such a call names both answers.
#pragma once

namespace kx_test {

/// True when this program runs under Wine.
bool onWine();

/// What the call must answer here, when Wine's answer is not that of Windows and the library.
template <class Value>
Value unlessOnWine(Value value, Value onWineValue) {
  return onWine() ? onWineValue : value;
}

}  // namespace kx_test
