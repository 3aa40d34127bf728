// How the library throws: the trace line first, then a heap pointer.
#pragma once

#include <new>

#include "Exception.h"

namespace kx_gen {

/// Writes the trace line that stands ahead of every throw.
void traceThrow(const char* file, int line);

/// Traces and throws a new E*. The pointer is null when memory ran out.
template <class E = CException>
[[noreturn]] void throwTraced(const char* file, int line, MessageId message, unsigned long number) {
  traceThrow(file, line);
  throw new (std::nothrow) E(static_cast<unsigned long>(message), number);
}

// Error numbers that go with the messages of the file layer: the message id less one.
constexpr unsigned long numberOf(MessageId message) {
  return static_cast<unsigned long>(message) - 1;
}

}  // namespace kx_gen
