#include "KxTest.h"

#include <atomic>
#include <cctype>
#include <fstream>
#include <random>
#include <sstream>

namespace kx_test {

namespace fs = std::filesystem;

bool Thrown::is(Kind expectedKind, unsigned long messageId, unsigned long expectedNumber) const {
  return kind == expectedKind && number == expectedNumber && description == messageText(messageId);
}

std::ostream& operator<<(std::ostream& out, const Thrown& thrown) {
  static const char* const kNames[] = {"nothing", "CException", "CFileException", "CDBException",
                                       "null"};
  out << kNames[thrown.kind] << " number " << thrown.number << " cause " << thrown.cause
      << " system error " << thrown.osError << " \"";
  for (wchar_t c : thrown.description) out << (c < 0x80 ? static_cast<char>(c) : '?');
  return out << '"';
}

std::wstring messageText(unsigned long messageId) {
  kx_gen::_String text;
  text.LoadStringW(static_cast<unsigned int>(messageId));
  return text;
}

Bytes readFile(const fs::path& path) {
  std::ifstream in(path, std::ios::binary);
  EXPECT_TRUE(in.is_open() || !fs::exists(path)) << path << " is there and cannot be read";
  return Bytes(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
}

void writeFile(const fs::path& path, const Bytes& bytes) {
  std::ofstream out(path, std::ios::binary | std::ios::trunc);
  EXPECT_TRUE(out.is_open()) << path << " cannot be written";
  out.write(reinterpret_cast<const char*>(bytes.data()),
            static_cast<std::streamsize>(bytes.size()));
}

Bytes fromHex(const std::string& text) {
  Bytes bytes;
  std::istringstream lines(text);
  for (std::string line; std::getline(lines, line);) {
    line = line.substr(0, line.find('#'));
    int high = -1;
    for (char c : line) {
      if (std::isxdigit(static_cast<unsigned char>(c)) == 0) continue;
      const int digit = std::stoi(std::string(1, c), nullptr, 16);
      if (high < 0) {
        high = digit;
      } else {
        bytes.push_back(static_cast<unsigned char>(high * 16 + digit));
        high = -1;
      }
    }
  }
  return bytes;
}

std::string toHex(const Bytes& bytes) {
  static const char kDigits[] = "0123456789ABCDEF";
  std::string text;
  for (size_t i = 0; i < bytes.size(); ++i) {
    if (i > 0) text += i % 16 == 0 ? '\n' : ' ';
    text += kDigits[bytes[i] >> 4];
    text += kDigits[bytes[i] & 15];
  }
  return text;
}

std::vector<std::string> logLines() {
  std::vector<std::string> lines;
  std::ifstream in("FileIO.txt", std::ios::binary);
  for (std::string line; std::getline(in, line);) {
    if (!line.empty() && line.back() == '\r') line.pop_back();
    lines.push_back(line);
  }
  return lines;
}

int logCount(const std::string& part) {
  int count = 0;
  for (const std::string& line : logLines()) {
    if (line.find(part) != std::string::npos) ++count;
  }
  return count;
}

void clearLog() {
  std::error_code ignored;
  fs::remove("FileIO.txt", ignored);
}

std::string assertionLine(const std::string& file, int line) {
  return "Assertion Failed! File " + file + " Line " + std::to_string(line) +
         " quiting application";
}

std::string throwLine(const std::string& file, int line) {
  return "Throw an exception FILE - " + file + ", LINE - " + std::to_string(line);
}

void KxTest::SetUp() {
  static std::atomic<unsigned> counter{0};
  static const unsigned processTag = std::random_device{}();
  folder_ = fs::temp_directory_path() /
            ("kx_test_" + std::to_string(processTag) + "_" + std::to_string(++counter));
  fs::create_directories(folder_);
  folder_ = fs::canonical(folder_);
  before_ = fs::current_path();
  fs::current_path(folder_);
}

void KxTest::TearDown() {
  fs::current_path(before_);
  std::error_code ignored;
  fs::permissions(folder_, fs::perms::owner_all, fs::perm_options::add, ignored);
  fs::remove_all(folder_, ignored);
}

std::wstring KxTest::path(const std::wstring& name) const { return (folder_ / name).wstring(); }

void NamedUnfiledTest::SetUp() {
  KxTest::SetUp();
  kx_gen::CCategoryDB::setUnfiledCategoryName(L"Unfiled");
}

void NamedUnfiledTest::TearDown() {
  kx_gen::CCategoryDB::setUnfiledCategoryName(L"");
  KxTest::TearDown();
}

}  // namespace kx_test
