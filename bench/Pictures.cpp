#include "Pictures.h"

#include <algorithm>
#include <random>

namespace kx_bench {

namespace {

using Random = std::mt19937;  // gives the same numbers everywhere; distributions do not

int between(Random& random, int low, int high) {
  return low + static_cast<int>(random() % static_cast<unsigned>(high - low + 1));
}

/// Which pixels of a surface are ink.
struct Surface {
  Surface(int w, int h)
      : width(w), height(h), ink(static_cast<size_t>(w) * static_cast<size_t>(h)) {}
  bool isInk(int x, int y) const { return ink[indexOf(x, y)]; }
  void dot(int x, int y) {
    if (x >= 0 && x < width && y >= 0 && y < height) ink[indexOf(x, y)] = true;
  }
  size_t indexOf(int x, int y) const {
    return static_cast<size_t>(y) * static_cast<size_t>(width) + static_cast<size_t>(x);
  }
  int width;
  int height;
  std::vector<bool> ink;
};

// A stroke wanders: its direction changes a little with every step. The pen is two pixels wide.
void drawStroke(Surface& surface, Random& random, int steps) {
  int x = between(random, 0, surface.width - 1) * 16;
  int y = between(random, 0, surface.height - 1) * 16;
  int dx = between(random, -16, 16);
  int dy = between(random, -16, 16);
  for (int i = 0; i < steps; ++i) {
    for (int pen = 0; pen < 4; ++pen) surface.dot(x / 16 + pen % 2, y / 16 + pen / 2);
    x += dx;
    y += dy;
    dx = std::clamp(dx + between(random, -2, 2), -16, 16);
    dy = std::clamp(dy + between(random, -2, 2), -16, 16);
  }
}

Surface sketch(int width, int height) {
  Random random(1);
  Surface surface(width, height);
  for (int i = 0; i < 60; ++i) drawStroke(surface, random, 300);
  return surface;
}

Bytes inOneBit(const Surface& surface) {
  const size_t rowSize = (static_cast<size_t>(surface.width) + 31) / 32 * 4;
  Bytes pixels(rowSize * static_cast<size_t>(surface.height), 0xFF);
  for (int y = 0; y < surface.height; ++y) {
    unsigned char* row = &pixels[rowSize * static_cast<size_t>(y)];
    for (int x = 0; x < surface.width; ++x) {
      if (surface.isInk(x, y)) row[x / 8] &= static_cast<unsigned char>(~(0x80 >> x % 8));
    }
  }
  return pixels;
}

Bytes inColour(const Surface& surface) {
  Bytes pixels(surface.ink.size() * 3, 0xFF);
  for (size_t i = 0; i < surface.ink.size(); ++i) {
    if (!surface.ink[i]) continue;
    pixels[3 * i] = 0x80;
    pixels[3 * i + 1] = 0x20;
    pixels[3 * i + 2] = 0x10;
  }
  return pixels;
}

// Lines of dark marks on paper whose grey is never quite the same.
Bytes scannedPage(int width, int height) {
  Random random(3);
  Bytes pixels;
  for (int y = 0; y < height; ++y) {
    const bool isLine = y % 24 < 14 && y > 60 && y < height - 60;
    int left = 0;  // of the mark or gap
    bool mark = false;
    for (int x = 0; x < width; ++x) {
      if (left-- == 0) {
        mark = isLine && !mark && x > 80 && x < width - 80;
        left = between(random, 2, 7);
      }
      pixels.push_back(
          static_cast<unsigned char>(mark ? between(random, 24, 47) : between(random, 240, 247)));
    }
  }
  return pixels;
}

// Slow changes over the picture with a sensor's noise on top.
Bytes photo(int width, int height) {
  Random random(4);
  Bytes pixels;
  for (int y = 0; y < height; ++y) {
    for (int x = 0; x < width; ++x) {
      for (int colour = 1; colour <= 3; ++colour) {
        const int light = 40 + (x * colour + y) * 160 / (3 * width + height);
        pixels.push_back(static_cast<unsigned char>(light + between(random, 0, 31)));
      }
    }
  }
  return pixels;
}

}  // namespace

const std::vector<Picture>& pictures() {
  static const std::vector<Picture> all = {
      {"sketch1", inOneBit(sketch(1024, 768))},
      {"sketch24", inColour(sketch(640, 480))},
      {"page8", scannedPage(1240, 1754)},
      {"photo", photo(640, 480)},
  };
  return all;
}

}  // namespace kx_bench
