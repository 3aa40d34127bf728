// What becomes of refusals of the system that cannot be brought about from outside, and of the
// names, descriptors and memory that only this kind of system has.
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>

#include "SeamSupport.h"
#include "SystemCalls.h"

namespace kx_seam {
namespace {

namespace fs = std::filesystem;
using kx_posix::SystemCall;

/// What the hook does: lets calls of one kind pass, then makes one of them fail.
struct Plan {
  SystemCall call = SystemCall::kOpen;
  int passes = 0;
  int error = 0;
  int failures = 1;
  size_t most = SIZE_MAX;
};
Plan plan;

int followPlan(SystemCall call, size_t* count) {
  if (call != plan.call) return 0;
  if (*count > plan.most) *count = plan.most;
  if (plan.passes-- > 0 || plan.failures-- <= 0) return 0;
  return plan.error;
}

class SystemRefusalTest : public kx_test::KxTest {
 protected:
  void SetUp() override {
    KxTest::SetUp();
    makeFile("a.txt", "0123456789");
  }
  void TearDown() override {
    kx_posix::SetCallHook(nullptr);
    KxTest::TearDown();
  }
  static void follow(const Plan& newPlan) {
    plan = newPlan;
    kx_posix::SetCallHook(followPlan);
  }
};

TEST_F(SystemRefusalTest, AnInterruptedCallIsMadeAgain) {
  for (const SystemCall call : {SystemCall::kOpen, SystemCall::kRead, SystemCall::kWrite,
                                SystemCall::kSetLength, SystemCall::kFlush}) {
    const Plan threeTimes = {call, 0, EINTR, 3, SIZE_MAX};
    follow(threeTimes);
    const Opened file(L"a.txt");
    ASSERT_TRUE(file.isOpen());
    char buffer[4];
    DWORD moved = 0;
    EXPECT_TRUE(ReadFile(file.handle(), buffer, 4, &moved, nullptr));
    EXPECT_TRUE(WriteFile(file.handle(), buffer, 4, &moved, nullptr));
    EXPECT_EQ(4u, moved);
    EXPECT_TRUE(SetEndOfFile(file.handle()));
    EXPECT_TRUE(FlushFileBuffers(file.handle()));
    EXPECT_LE(plan.failures, 0);
  }
}

TEST_F(SystemRefusalTest, ShortTransfersGoOnUntilAllIsMoved) {
  const Opened file(L"a.txt");
  follow({SystemCall::kRead, 0, 0, 0, 3});
  char buffer[10];
  DWORD moved = 0;
  EXPECT_TRUE(ReadFile(file.handle(), buffer, 10, &moved, nullptr));
  EXPECT_EQ(10u, moved);
  EXPECT_EQ(0, std::memcmp("0123456789", buffer, 10));
  follow({SystemCall::kWrite, 0, 0, 0, 4});
  SetFilePointer(file.handle(), 0, nullptr, FILE_BEGIN);
  EXPECT_TRUE(WriteFile(file.handle(), "abcdefghij", 10, &moved, nullptr));
  EXPECT_EQ(10u, moved);
  EXPECT_EQ("abcdefghij", textOf("a.txt"));
}

TEST_F(SystemRefusalTest, AFullDiskIsError112WithWhatWasWrittenBefore) {
  const Opened file(L"a.txt");
  follow({SystemCall::kWrite, 1, ENOSPC, 1, 4});
  DWORD moved = 0;
  EXPECT_EQ(112u, errorOf(WriteFile(file.handle(), "abcdefghij", 10, &moved, nullptr)));
  EXPECT_EQ(4u, moved);
}

TEST_F(SystemRefusalTest, ADeviceThatIsFullIsError112) {
  const Opened file(L"/dev/full", GENERIC_WRITE, OPEN_EXISTING, kShareAll);
  ASSERT_TRUE(file.isOpen());
  DWORD moved = 0;
  EXPECT_EQ(112u, errorOf(WriteFile(file.handle(), "x", 1, &moved, nullptr)));
}

TEST_F(SystemRefusalTest, RefusalsOfOpeningTellTheirReason) {
  const struct {
    int systemError;
    DWORD error;
  } rows[] = {{EMFILE, 4}, {ENFILE, 4},   {EACCES, 5},   {EPERM, 5},
              {EROFS, 19}, {ENOSPC, 112}, {ELOOP, 3},    {ENAMETOOLONG, 206},
              {EIO, 23},   {ENOMEM, 8},   {ETXTBSY, 32}, {12345, 31}};
  for (const auto& row : rows) {
    follow({SystemCall::kOpen, 0, row.systemError, 3, SIZE_MAX});
    EXPECT_EQ(row.error, Opened(L"a.txt").refusal()) << row.systemError;
  }
}

TEST_F(SystemRefusalTest, ACopyThatFailsLeavesNothingBehind) {
  for (const SystemCall call : {SystemCall::kRead, SystemCall::kWrite, SystemCall::kSetTimes}) {
    follow({call, 0, EIO, 1, SIZE_MAX});
    EXPECT_EQ(23u, errorOf(CopyFileW(L"a.txt", L"b.txt", TRUE)));
    EXPECT_FALSE(fs::exists("b.txt"));
  }
  // The target is closed before the source.
  follow({SystemCall::kClose, 0, ENOSPC, 1, SIZE_MAX});
  EXPECT_EQ(112u, errorOf(CopyFileW(L"a.txt", L"b.txt", TRUE)));
  EXPECT_FALSE(fs::exists("b.txt"));
  EXPECT_EQ("0123456789", textOf("a.txt"));
}

TEST_F(SystemRefusalTest, AFileMovesToAnotherFileSystemByCopying) {
  follow({SystemCall::kRename, 0, EXDEV, 1, SIZE_MAX});
  EXPECT_EQ(0u, errorOf(MoveFileW(L"a.txt", L"b.txt")));
  EXPECT_FALSE(fs::exists("a.txt"));
  EXPECT_EQ("0123456789", textOf("b.txt"));
  fs::create_directory("dir");
  follow({SystemCall::kRename, 0, EXDEV, 1, SIZE_MAX});
  EXPECT_EQ(17u, errorOf(MoveFileW(L"dir", L"other")));
}

TEST_F(SystemRefusalTest, AReportedCloseFailureReleasesTheDescriptor) {
  const Opened file(L"a.txt");
  const HANDLE handle = file.handle();
  follow({SystemCall::kClose, 0, EIO, 1, SIZE_MAX});
  EXPECT_EQ(23u, errorOf(CloseHandle(handle)));
  EXPECT_EQ(6u, errorOf(CloseHandle(handle)));
  kx_posix::SetCallHook(nullptr);
  EXPECT_EQ(0u, Opened(L"a.txt").refusal());
}

// --- Names ---

TEST_F(SystemRefusalTest, NamesThatAreNoUtf8AreListedAndOpened) {
  const char* const name = "caf\xE9.txt";
  makeFile(name, "x");
  const Search found = search(L"caf*");
  ASSERT_EQ(1u, found.names.size());
  EXPECT_EQ(0u, Opened(found.names[0], GENERIC_READ).refusal());
  EXPECT_EQ(0u, errorOf(DeleteFileW(found.names[0].c_str())));
  EXPECT_FALSE(fs::exists(name));
}

TEST_F(SystemRefusalTest, NamesAreExactAndPatternsIgnoreCase) {
  EXPECT_EQ(2u, Opened(L"A.TXT").refusal());
  EXPECT_EQ(2u, search(L"A.TXT").error);
  EXPECT_EQ((std::vector<std::wstring>{L"a.txt"}), search(L"A.T*").names);
}

TEST_F(SystemRefusalTest, CharactersBeyond16BitsReachTheDisk) {
  const std::wstring name = {L'x', static_cast<wchar_t>(0x1F600)};
  EXPECT_TRUE(Opened(name, kReadWrite, CREATE_ALWAYS).isOpen());
  EXPECT_TRUE(fs::exists("x\xF0\x9F\x98\x80"));
  const std::wstring asPair = {L'x', static_cast<wchar_t>(0xD83D), static_cast<wchar_t>(0xDE00)};
  EXPECT_EQ(0u, Opened(asPair).refusal());
  EXPECT_EQ((std::vector<std::wstring>{name}), search(L"x?").names);
}

TEST_F(SystemRefusalTest, ANameLongerThanTheFileSystemTakesIsError206) {
  EXPECT_EQ(206u, Opened(std::wstring(300, L'n'), kReadWrite, CREATE_ALWAYS).refusal());
}

TEST_F(SystemRefusalTest, LinksStandForWhatTheyLeadTo) {
  fs::create_symlink("a.txt", "link");
  fs::create_symlink("none", "broken");
  EXPECT_EQ(0u, Opened(L"link").refusal());
  EXPECT_EQ(2u, Opened(L"broken").refusal());
  const Opened holder(L"link", kReadWrite);
  EXPECT_EQ(32u, Opened(L"a.txt", GENERIC_READ, OPEN_EXISTING, kShareAll).refusal());
  EXPECT_EQ((std::vector<std::wstring>{L"broken", L"link"}), search(L"*k*").names);
  EXPECT_EQ(0u, errorOf(DeleteFileW(L"broken")));
  EXPECT_EQ(2u, search(L"broken").error);
}

TEST_F(SystemRefusalTest, FullNamesFollowTheCurrentFolderUnlessRooted) {
  wchar_t buffer[MAX_PATH];
  const auto fullName = [&](const wchar_t* name) {
    const DWORD length = GetFullPathNameW(name, MAX_PATH, buffer, nullptr);
    return std::wstring(buffer, length);
  };
  EXPECT_EQ(path(L"x.txt"), fullName(L"x.txt"));
  EXPECT_EQ(path(L"d/x.txt"), fullName(L"d\\.\\e\\..\\x.txt"));
  EXPECT_EQ(L"/d\\x.txt", fullName(L"/d\\x.txt"));
  EXPECT_EQ(L"\\d\\*.txt", fullName(L"\\d\\*.txt"));
  EXPECT_EQ(9u, GetFullPathNameW(L"/abc/def", 4, buffer, nullptr));
  EXPECT_EQ(0u, GetFullPathNameW(L"", MAX_PATH, buffer, nullptr));
  EXPECT_EQ(123u, GetLastError());
  wchar_t* name = nullptr;
  GetFullPathNameW(L"/abc/def", MAX_PATH, buffer, &name);
  EXPECT_EQ(std::wstring(L"def"), name);
}

TEST_F(SystemRefusalTest, AFolderThatWasRemovedHasNoFullNames) {
  fs::create_directory("gone");
  fs::current_path("gone");
  fs::remove(folder() / "gone");
  wchar_t buffer[MAX_PATH];
  EXPECT_EQ(0u, GetFullPathNameW(L"x", MAX_PATH, buffer, nullptr));
  EXPECT_EQ(3u, GetLastError());
  fs::current_path(folder());
}

// --- Descriptors ---

TEST_F(SystemRefusalTest, HandlesAreDescriptors) {
  const int fd = ::open("a.txt", O_RDONLY | O_CLOEXEC);
  auto* const handle = reinterpret_cast<HANDLE>(static_cast<intptr_t>(fd));
  char buffer[4];
  DWORD moved = 0;
  EXPECT_TRUE(ReadFile(handle, buffer, 4, &moved, nullptr));
  EXPECT_EQ(4u, moved);
  EXPECT_EQ(5u, errorOf(WriteFile(handle, buffer, 4, &moved, nullptr)));
  EXPECT_TRUE(CloseHandle(handle));
  EXPECT_EQ(-1, ::fcntl(fd, F_GETFD));
}

TEST_F(SystemRefusalTest, APipeByNameIsOpenedWithoutWaiting) {
  ASSERT_EQ(0, ::mkfifo("pipe", 0600));
  EXPECT_EQ(0u, Opened(L"pipe", GENERIC_READ).refusal());
}

TEST_F(SystemRefusalTest, PositionsOfAPipeAreError132) {
  int ends[2];
  ASSERT_EQ(0, ::pipe2(ends, O_CLOEXEC));
  auto* const handle = reinterpret_cast<HANDLE>(static_cast<intptr_t>(ends[0]));
  EXPECT_EQ(INVALID_SET_FILE_POINTER, SetFilePointer(handle, 0, nullptr, FILE_CURRENT));
  EXPECT_EQ(132u, GetLastError());
  ::close(ends[0]);
  ::close(ends[1]);
}

// --- Memory ---

TEST(PointerProbeTest, CheckingLeavesNoDescriptorOpen) {
  const int before = ::dup(0);
  const int value = 0;
  for (int i = 0; i < 50; ++i) EXPECT_FALSE(IsBadReadPtr(&value, sizeof(value)));
  const int after = ::dup(0);
  EXPECT_EQ(before + 1, after);
  ::close(before);
  ::close(after);
}

// --- Debugger ---

TEST(DebugOutputTest, DebuggerTextGoesToTheErrorOutput) {
  testing::internal::CaptureStderr();
  OutputDebugStringW(L"caf\x00E9\r\n");
  OutputDebugStringW(nullptr);
  EXPECT_EQ("caf\xC3\xA9\r\n", testing::internal::GetCapturedStderr());
}

}  // namespace
}  // namespace kx_seam
