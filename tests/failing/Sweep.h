/// Runs an operation again and again, each time failing it one point later.
#pragma once

#include <array>
#include <iterator>
#include <ostream>

#include "Operation.h"

namespace kx_failing {

/// The ways to end, for the figures.
constexpr const char* kWays[] = {"done",           "another result",    "CException",
                                 "CFileException", "CDBException",      "null exception",
                                 "std::bad_alloc", "end of the program"};

struct Sweep {
  long points = 0;  ///< Failed once, and from then on: each n counts twice.
  long last = 0;    ///< The n that the operation did not reach any more.
  std::array<long, std::size(kWays)> endings = {};
};
std::ostream& operator<<(std::ostream& out, const Sweep& sweep);

/// Fails the n-th point for n = 1, 2, 3 ... until the operation passes untouched.
Sweep failEverywhere(const Listed& listed, Cause cause);

}  // namespace kx_failing
