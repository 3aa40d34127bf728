#include "Report.h"

#include <algorithm>
#include <array>
#include <cstdio>
#include <sstream>

#include "KX_FileIO.h"

namespace kx_operations {

namespace {

constexpr size_t kShownMax = 64;  // UTF-16 units
constexpr size_t kStartShown = 24;
constexpr size_t kLineShownMax = 200;  // characters of a line of the log
constexpr wchar_t kLogName[] = L"FileIO.txt";
constexpr char kHere[] = "<here>/";

// --- SHA-256 (FIPS 180-4) ---

constexpr size_t kBlock = 64;

/// The first 32 bits of the fractional part of a root: of the square roots of primes the start, of
/// the cube roots the constants of the rounds.
constexpr std::array<uint32_t, 8> kStart = {0x6a09e667, 0xbb67ae85, 0x3c6ef372, 0xa54ff53a,
                                            0x510e527f, 0x9b05688c, 0x1f83d9ab, 0x5be0cd19};
constexpr std::array<uint32_t, kBlock> kRounds = {
    0x428a2f98, 0x71374491, 0xb5c0fbcf, 0xe9b5dba5, 0x3956c25b, 0x59f111f1, 0x923f82a4, 0xab1c5ed5,
    0xd807aa98, 0x12835b01, 0x243185be, 0x550c7dc3, 0x72be5d74, 0x80deb1fe, 0x9bdc06a7, 0xc19bf174,
    0xe49b69c1, 0xefbe4786, 0x0fc19dc6, 0x240ca1cc, 0x2de92c6f, 0x4a7484aa, 0x5cb0a9dc, 0x76f988da,
    0x983e5152, 0xa831c66d, 0xb00327c8, 0xbf597fc7, 0xc6e00bf3, 0xd5a79147, 0x06ca6351, 0x14292967,
    0x27b70a85, 0x2e1b2138, 0x4d2c6dfc, 0x53380d13, 0x650a7354, 0x766a0abb, 0x81c2c92e, 0x92722c85,
    0xa2bfe8a1, 0xa81a664b, 0xc24b8b70, 0xc76c51a3, 0xd192e819, 0xd6990624, 0xf40e3585, 0x106aa070,
    0x19a4c116, 0x1e376c08, 0x2748774c, 0x34b0bcb5, 0x391c0cb3, 0x4ed8aa4a, 0x5b9cca4f, 0x682e6ff3,
    0x748f82ee, 0x78a5636f, 0x84c87814, 0x8cc70208, 0x90befffa, 0xa4506ceb, 0xbef9a3f7, 0xc67178f2};

uint32_t turned(uint32_t value, int bits) { return value >> bits | value << (32 - bits); }

/// The bytes with what ends them: a one bit, zeros, the length in bits.
Bytes padded(const Bytes& bytes) {
  Bytes all = bytes;
  all.push_back(0x80);
  while (all.size() % kBlock != kBlock - 8) all.push_back(0);
  const uint64_t bits = static_cast<uint64_t>(bytes.size()) * 8;
  for (int shift = 56; shift >= 0; shift -= 8) {
    all.push_back(static_cast<unsigned char>(bits >> shift));
  }
  return all;
}

std::array<uint32_t, kBlock> schedule(const unsigned char* block) {
  std::array<uint32_t, kBlock> words = {};
  for (size_t i = 0; i < 16; ++i) {
    for (size_t byte = 0; byte < 4; ++byte) words[i] = words[i] << 8 | block[4 * i + byte];
  }
  for (size_t i = 16; i < kBlock; ++i) {
    const uint32_t first = words[i - 15];
    const uint32_t second = words[i - 2];
    words[i] = words[i - 16] + (turned(first, 7) ^ turned(first, 18) ^ first >> 3) + words[i - 7] +
               (turned(second, 17) ^ turned(second, 19) ^ second >> 10);
  }
  return words;
}

void addBlock(std::array<uint32_t, 8>& state, const unsigned char* block) {
  const std::array<uint32_t, kBlock> words = schedule(block);
  std::array<uint32_t, 8> s = state;
  for (size_t i = 0; i < kBlock; ++i) {
    const uint32_t choice = (s[4] & s[5]) ^ (~s[4] & s[6]);
    const uint32_t majority = (s[0] & s[1]) ^ (s[0] & s[2]) ^ (s[1] & s[2]);
    const uint32_t first = s[7] + (turned(s[4], 6) ^ turned(s[4], 11) ^ turned(s[4], 25)) + choice +
                           kRounds[i] + words[i];
    const uint32_t second = (turned(s[0], 2) ^ turned(s[0], 13) ^ turned(s[0], 22)) + majority;
    s = {first + second, s[0], s[1], s[2], s[3] + first, s[4], s[5], s[6]};
  }
  for (size_t i = 0; i < state.size(); ++i) state[i] += s[i];
}

// --- Files and the log ---

struct Found {
  std::wstring name;
  bool isFolder;
};

constexpr unsigned long kFolderAttribute = 0x10;

/// What stands in a folder, told by its path with a separator behind it.
std::vector<Found> entriesOf(const std::wstring& folder) {
  std::vector<Found> entries;
  kx_gen::CFileFind find;
  for (bool more = find.FindFile((folder + L"*").c_str()); more;) {
    more = find.FindNextFileW();
    if (!find.IsDots()) entries.push_back({find.GetFileName(), find.MatchesMask(kFolderAttribute)});
  }
  return entries;
}

void printFolder(const std::wstring& folder) {
  for (const Found& entry : entriesOf(folder)) {
    const std::wstring path = folder + entry.name;
    if (entry.isFolder) {
      printFolder(path + L"/");
    } else if (path != kLogName) {
      const Bytes content = contentOf(path);
      std::printf("%s %zu %s\n", shown(path).c_str(), content.size(), sha256(content).c_str());
    }
  }
}

/// The current folder as the library writes it into the log, without the separator behind it, which
/// is the system's.
std::string currentFolder() {
  kx_gen::CFileFind find;
  if (!find.FindFile(L"*")) return {};
  const std::wstring folder = find.GetRoot();
  return std::string(folder.begin(), folder.end());  // a test's own folder, in plain ASCII
}

std::string logText() {
  const Bytes content = contentOf(kLogName);
  const std::string here = currentFolder();
  std::string text;
  std::copy_if(content.begin(), content.end(), std::back_inserter(text),
               [](unsigned char byte) { return byte != '\r'; });
  for (size_t at = text.find(here); at != std::string::npos; at = text.find(here, at)) {
    text.replace(at, here.size() + 1, kHere);
  }
  return text;
}

/// A line of the log, which is in a code page, in plain ASCII; of a very long one the start.
std::string shownLine(const std::string& line) {
  if (line.size() > kLineShownMax) {
    return shownLine(line.substr(0, kLineShownMax)) + "... " + std::to_string(line.size());
  }
  std::string all;
  for (const char c : line) {
    const auto byte = static_cast<unsigned char>(c);
    all += byte < 0x80 ? std::string(1, c) : "\\x" + hex({byte});
  }
  return all;
}

}  // namespace

std::string hex(const Bytes& bytes) {
  static const char kDigits[] = "0123456789abcdef";
  std::string text;
  for (const unsigned char byte : bytes) {
    text += kDigits[byte >> 4];
    text += kDigits[byte & 15];
  }
  return text;
}

std::string sha256(const Bytes& bytes) {
  std::array<uint32_t, 8> state = kStart;
  const Bytes all = padded(bytes);
  for (size_t at = 0; at < all.size(); at += kBlock) addBlock(state, all.data() + at);
  Bytes digest;
  for (const uint32_t word : state) {
    for (int shift = 24; shift >= 0; shift -= 8) {
      digest.push_back(static_cast<unsigned char>(word >> shift));
    }
  }
  return hex(digest);
}

std::string summary(const Bytes& bytes) {
  return std::to_string(bytes.size()) + " bytes " + sha256(bytes).substr(0, 16);
}

std::string shown(const std::wstring& text) {
  const std::u16string units = toUnits(text);
  Bytes image;
  std::string quoted = "\"";
  for (size_t i = 0; i < units.size(); ++i) {
    const char16_t unit = units[i];
    image.push_back(static_cast<unsigned char>(unit & 0xFF));
    image.push_back(static_cast<unsigned char>(unit >> 8));
    if (units.size() > kShownMax && i >= kStartShown) continue;
    const bool isPlain = unit >= 0x20 && unit < 0x7F && unit != u'"' && unit != u'\\';
    quoted += isPlain ? std::string(1, static_cast<char>(unit))
                      : "\\u" + hex({static_cast<unsigned char>(unit >> 8),
                                     static_cast<unsigned char>(unit & 0xFF)});
  }
  quoted += '"';
  if (units.size() <= kShownMax) return quoted;
  return quoted + "... " + std::to_string(units.size()) + " units " + sha256(image).substr(0, 16);
}

Bytes contentOf(const std::wstring& path) {
  try {
    kx_gen::CFile file;
    file.Open(path.c_str(), kx_gen::CFile::modeRead | kx_gen::CFile::shareDenyNone);
    Bytes content(file.GetLength());
    if (!content.empty()) file.Read(content.data(), static_cast<unsigned int>(content.size()));
    return content;
  } catch (kx_gen::CException* e) {
    e->Delete();
    return {};
  }
}

void printFiles() {
  std::printf("\nFILES\n");
  printFolder(L"");
}

void printLog() {
  const std::string text = logText();  // before anything that looks at it changes it
  const Bytes image(text.begin(), text.end());
  const auto lines = std::count(text.begin(), text.end(), '\n');
  std::printf("\nLOG\n%ld lines, %zu bytes, %s\n", static_cast<long>(lines), image.size(),
              sha256(image).c_str());
  std::istringstream in(text);
  for (std::string line; std::getline(in, line);) std::printf("%s\n", shownLine(line).c_str());
}

}  // namespace kx_operations
