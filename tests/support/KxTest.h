/// What the tests share: a folder and a log of their own for each test, file bytes, and a look at
/// what was thrown.
#pragma once

#include <gtest/gtest.h>

#include <cstdint>
#include <filesystem>
#include <string>
#include <vector>

#include "Bytes.h"
#include "KX_FileIO.h"

namespace kx_test {

/// What a call threw, released already.
struct Thrown {
  enum Kind { kNothing, kException, kFileException, kDbException, kNull };
  Kind kind = kNothing;
  std::wstring description;
  unsigned long number = 0;
  int cause = 0;
  long osError = 0;
  std::wstring fileName;

  /// True for a plain `CException` (or a `CDBException`) with this message text and number.
  bool is(Kind expectedKind, unsigned long messageId, unsigned long expectedNumber) const;
};
std::ostream& operator<<(std::ostream& out, const Thrown& thrown);

/// Runs `call` and takes what it throws; other exceptions pass.
template <class Call>
Thrown thrownBy(Call call) {
  Thrown thrown;
  try {
    call();
  } catch (kx_gen::CFileException* e) {
    thrown.kind = e == nullptr ? Thrown::kNull : Thrown::kFileException;
    if (e != nullptr) {
      thrown.description = e->GetDescription();
      thrown.number = e->GetErrNumber();
      thrown.cause = e->GetCause();
      thrown.osError = e->GetOsError();
      if (e->GetFileName() != nullptr) thrown.fileName = e->GetFileName();
    }
    e->Delete();
  } catch (kx_gen::CDBException* e) {
    thrown.kind = e == nullptr ? Thrown::kNull : Thrown::kDbException;
    if (e != nullptr) {
      thrown.description = e->GetDescription();
      thrown.number = e->GetErrNumber();
    }
    e->Delete();
  } catch (kx_gen::CException* e) {
    thrown.kind = e == nullptr ? Thrown::kNull : Thrown::kException;
    if (e != nullptr) {
      thrown.description = e->GetDescription();
      thrown.number = e->GetErrNumber();
    }
    e->Delete();
  }
  return thrown;
}

/// The text of a message id, as the library's string resources have it.
std::wstring messageText(unsigned long messageId);

Bytes readFile(const std::filesystem::path& path);
void writeFile(const std::filesystem::path& path, const Bytes& bytes);

/// Bytes written as hex text; blanks and line ends separate, '#' starts a comment.
Bytes fromHex(const std::string& text);
std::string toHex(const Bytes& bytes);

/// The lines of "FileIO.txt" in the current folder, without their line ends.
std::vector<std::string> logLines();
/// How many of them contain `part`.
int logCount(const std::string& part);
/// Removes the log, so that the next lines stand alone.
void clearLog();
/// The log's line for an assertion.
std::string assertionLine(const std::string& file, int line);
/// The log's line ahead of a throw.
std::string throwLine(const std::string& file, int line);

/// The slot of a virtual member in its class's table, destructors included: the two destructor
/// entries take slots 0 and 1.
template <class Member>
std::ptrdiff_t virtualSlot(Member member) {
  std::ptrdiff_t words[2] = {0, 0};
  static_assert(sizeof(member) == sizeof(words), "a pointer to member is an offset and a shift");
  std::memcpy(words, &member, sizeof(words));
#if defined(__arm__)
  const bool isVirtual = (words[1] & 1) != 0;
  const std::ptrdiff_t offset = words[0];
#else
  const bool isVirtual = (words[0] & 1) != 0;
  const std::ptrdiff_t offset = words[0] - 1;
#endif
  return isVirtual ? offset / static_cast<std::ptrdiff_t>(sizeof(void*)) : -1;
}

/// Every test runs in an empty folder of its own, which is the current folder.
class KxTest : public ::testing::Test {
 protected:
  void SetUp() override;
  void TearDown() override;
  /// The absolute path of a name in the test's folder, as the library takes it.
  std::wstring path(const std::wstring& name) const;
  const std::filesystem::path& folder() const { return folder_; }

 private:
  std::filesystem::path folder_;
  std::filesystem::path before_;
};

/// The same, with a name for the unfiled category, which is there before the first database is
/// made.
class NamedUnfiledTest : public KxTest {
 protected:
  void SetUp() override;
  void TearDown() override;
};

}  // namespace kx_test
