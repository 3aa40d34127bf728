#include "LogGate.h"

#include <atomic>

namespace {
std::atomic<bool> isOn{true};
}

bool kx_LogIsOn() { return isOn.load(std::memory_order_relaxed); }

void kx_SetLogOn(bool on) { isOn.store(on, std::memory_order_relaxed); }
