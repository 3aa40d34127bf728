/// The pixels of four pictures, made by code and alike on every machine.
#pragma once

#include <string>
#include <vector>

namespace kx_bench {

using Bytes = std::vector<unsigned char>;

struct Picture {
  std::string name;
  Bytes pixels;
};

/// `sketch1`: pen strokes in 1 bit; `sketch24`: the same on white in 24 bits; `page8`: a scanned
/// page in 8 bits; `photo`: noise as a photo has it, 24 bits.
const std::vector<Picture>& pictures();

}  // namespace kx_bench
