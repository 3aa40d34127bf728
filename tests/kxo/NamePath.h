/// Names as tests write them, in UTF-8, and as the system has them.
#pragma once

#include <filesystem>
#include <string>

namespace kxo_test {

inline std::filesystem::path PathOf(const std::string& utf8) {
  return std::u8string(utf8.begin(), utf8.end());
}

inline std::string NameOf(const std::filesystem::path& path) {
  const std::u8string utf8 = path.u8string();
  return {utf8.begin(), utf8.end()};
}

}  // namespace kxo_test
