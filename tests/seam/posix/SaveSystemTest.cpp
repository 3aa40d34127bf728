// What a save asks of the system, in which order, and what becomes of links, permissions, owners
// and other names of the old file.
#include <gmock/gmock.h>
#include <sys/stat.h>
#include <sys/xattr.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <iterator>

#include "InChild.h"
#include "KxKinds.h"
#include "KxLayout.h"
#include "SafeSave.h"
#include "SeamSupport.h"
#include "SystemCalls.h"

namespace kx_seam {
namespace {

namespace fs = std::filesystem;

using kx_gen::CFile;
using kx_gen::SaveDatabaseFile;
using kx_gen::SaveNewDatabaseFile;
using kx_posix::SystemCall;
using kx_test::PlainDb;
using kx_test::Thrown;
using kx_test::thrownBy;
using testing::ElementsAre;

std::vector<SystemCall> calls;
/// The call of this kind, counted from 1, that is refused, and with which error.
struct NthRefusal {
  SystemCall call = SystemCall::kOpen;
  int nth = 0;
  int error = 0;
};
std::vector<NthRefusal> refusals;

int recordAndRefuse(SystemCall call, size_t* /*count*/) {
  calls.push_back(call);
  for (NthRefusal& refusal : refusals) {
    if (refusal.call == call && --refusal.nth == 0) return refusal.error;
  }
  return 0;
}

class SaveSystemTest : public kx_test::KxTest {
 protected:
  void SetUp() override {
    KxTest::SetUp();
    fs::create_directory("docs");
    calls.clear();
    refusals.clear();
  }
  void TearDown() override {
    kx_posix::SetCallHook(nullptr);
    KxTest::TearDown();
  }

  void SaveAs(const std::wstring& name) {
    PlainDb db;
    SaveDatabaseFile(db, path(name).c_str());
  }
  /// What a save throws while the system refuses these calls.
  Thrown ThrownBySaving(const std::vector<NthRefusal>& refused) {
    refusals = refused;
    kx_posix::SetCallHook(recordAndRefuse);
    Thrown thrown = thrownBy([&] { SaveAs(L"docs/doc"); });
    kx_posix::SetCallHook(nullptr);
    return thrown;
  }
  static bool IsSaved(const fs::path& file) { return kx_test::readFile(file).size() == kSavedSize; }
  static std::vector<std::string> Names() {
    std::vector<std::string> names;
    for (const fs::directory_entry& entry : fs::directory_iterator("docs")) {
      names.push_back(entry.path().filename().string());
    }
    std::sort(names.begin(), names.end());
    return names;
  }
  static mode_t ModeOf(const char* file) {
    struct stat data = {};
    EXPECT_EQ(::stat(file, &data), 0);
    return data.st_mode & 07777;
  }

  static constexpr size_t kSavedSize = 273;  // a document that has nothing but one empty header
};

// --- The order of things ---

TEST_F(SaveSystemTest, TheFileIsOnTheDiskBeforeItIsPutInPlaceAndTheFolderAfterwards) {
  for (const bool exists : {false, true}) {
    fs::remove("docs/doc");
    if (exists) makeFile("docs/doc", "old");
    calls.clear();
    ThrownBySaving({});
    const auto first = [](SystemCall call, std::vector<SystemCall>::iterator from) {
      return std::find(from, calls.end(), call);
    };
    const auto write = std::find(calls.rbegin(), calls.rend(), SystemCall::kWrite).base();
    const auto length = std::find(calls.rbegin(), calls.rend(), SystemCall::kSetLength).base();
    const auto permissions =
        std::find(calls.rbegin(), calls.rend(), SystemCall::kPermissions).base();
    const auto fileFlush = first(SystemCall::kFlush, calls.begin());
    const auto rename = first(SystemCall::kRename, calls.begin());
    const auto folderFlush = first(SystemCall::kFlush, rename);
    EXPECT_LE(write, fileFlush);
    EXPECT_LE(length, fileFlush);
    EXPECT_TRUE(!exists || permissions <= fileFlush);
    EXPECT_LT(fileFlush, rename);
    EXPECT_LT(folderFlush, calls.end());
    EXPECT_LT(folderFlush, first(SystemCall::kRemove, calls.begin()));
    EXPECT_EQ(std::count(calls.begin(), calls.end(), SystemCall::kFlush), 2);
    EXPECT_EQ(std::count(calls.begin(), calls.end(), SystemCall::kRename), 1);
  }
}

TEST_F(SaveSystemTest, AFolderThatCannotBeFlushedBringsTheOldFileBack) {
  makeFile("docs/doc", "old");
  EXPECT_EQ(ThrownBySaving({{SystemCall::kFlush, 2, EIO}}).osError, 23);
  EXPECT_EQ(textOf("docs/doc"), "old");
  EXPECT_THAT(Names(), ElementsAre("doc"));
}

TEST_F(SaveSystemTest, AFolderThatCannotBeFlushedTakesANewFileBack) {
  EXPECT_EQ(ThrownBySaving({{SystemCall::kFlush, 2, EIO}}).osError, 23);
  EXPECT_TRUE(fs::is_empty("docs"));
}

TEST_F(SaveSystemTest, AFolderThatNeedsNoFlushingIsFine) {
  makeFile("docs/doc", "old");
  EXPECT_EQ(ThrownBySaving({{SystemCall::kFlush, 2, EINVAL}}).kind, Thrown::kNothing);
  EXPECT_TRUE(IsSaved("docs/doc"));
}

TEST_F(SaveSystemTest, WhereNamesCannotBeExchangedTheNewOneReplacesTheOld) {
  for (const int error : {EINVAL, ENOSYS, EOPNOTSUPP}) {
    makeFile("docs/doc", "old");
    EXPECT_EQ(ThrownBySaving({{SystemCall::kRename, 1, error}}).kind, Thrown::kNothing);
    EXPECT_TRUE(IsSaved("docs/doc"));
    EXPECT_THAT(Names(), ElementsAre("doc"));
  }
}

TEST_F(SaveSystemTest, WithoutAWayBackTheNewDocumentStays) {
  makeFile("docs/doc", "old");
  const std::vector<NthRefusal> refused = {{SystemCall::kRename, 1, EINVAL},
                                           {SystemCall::kFlush, 2, EIO}};
  EXPECT_EQ(ThrownBySaving(refused).kind, Thrown::kNothing);
  EXPECT_TRUE(IsSaved("docs/doc"));
}

TEST_F(SaveSystemTest, AFolderThatMayBeChangedButNotReadCanBeSavedIn) {
  makeFile("docs/doc", "old");
  fs::permissions("docs/doc", fs::perms::all);
  fs::permissions("docs", fs::perms::owner_write | fs::perms::owner_exec | fs::perms::group_write |
                              fs::perms::group_exec | fs::perms::others_write |
                              fs::perms::others_exec);
  fs::permissions(".", fs::perms::all);
  const int ended = inChild([&] {
    if (::geteuid() == 0 && ::setuid(kOrdinaryUser) != 0) return 127;
    SaveAs(L"docs/doc");
    return 0;
  });
  fs::permissions("docs", fs::perms::all);
  EXPECT_EQ(ended, 0);
  EXPECT_TRUE(IsSaved("docs/doc"));
  EXPECT_THAT(Names(), ElementsAre("doc"));
}

/// Somebody saves a file in the moment in which the target is found missing.
TEST_F(SaveSystemTest, AFileThatAppearsAtTheLastMomentIsReplacedOrRefusedAsAnyOther) {
  const auto appear = [](SystemCall call, size_t*) {
    if (call == SystemCall::kRename && !fs::exists("docs/doc")) makeFile("docs/doc", "theirs");
    return 0;
  };
  kx_posix::SetCallHook(appear);
  PlainDb db;
  EXPECT_EQ(thrownBy([&] { SaveNewDatabaseFile(db, path(L"docs/doc").c_str()); }).osError, 80);
  EXPECT_EQ(textOf("docs/doc"), "theirs");
  fs::remove("docs/doc");
  SaveAs(L"docs/doc");
  EXPECT_TRUE(IsSaved("docs/doc"));
  EXPECT_THAT(Names(), ElementsAre("doc"));
}

/// Another program that knows nothing of share modes puts its own file in place meanwhile.
TEST_F(SaveSystemTest, AFileThatIsReplacedMeanwhileIsReplacedAgain) {
  makeFile("docs/doc", "old");
  static int gates = 0;
  gates = 0;
  const auto swap = [](SystemCall call, size_t*) {
    // The first gate is that of the new file, the second that of the old one.
    if (call != SystemCall::kGate || ++gates != 2) return 0;
    makeFile("theirs", "theirs");
    fs::rename("theirs", "docs/doc");
    return 0;
  };
  kx_posix::SetCallHook(swap);
  SaveAs(L"docs/doc");
  EXPECT_EQ(gates, 3);
  EXPECT_TRUE(IsSaved("docs/doc"));
  EXPECT_THAT(Names(), ElementsAre("doc"));
}

// --- Links ---

TEST_F(SaveSystemTest, LinksStayAndWhatTheyLeadToIsReplaced) {
  fs::create_directories("docs/deep");
  fs::create_directory_symlink("docs/deep", "folder");
  makeFile("docs/deep/doc", "old");
  fs::create_symlink("docs/deep/doc", "relative");
  fs::create_symlink(folder() / "docs/deep/doc", "absolute");
  fs::create_symlink("folder/../deep/doc", "through-the-folders-parent");
  fs::create_symlink("relative", "chain");
  for (const char* link : {"relative", "absolute", "through-the-folders-parent", "chain"}) {
    makeFile("docs/deep/doc", "old");
    SaveAs(fs::path(link).wstring());
    EXPECT_TRUE(fs::is_symlink(link)) << link;
    EXPECT_TRUE(fs::is_regular_file(fs::symlink_status("docs/deep/doc"))) << link;
    EXPECT_TRUE(IsSaved("docs/deep/doc")) << link;
  }
  EXPECT_EQ(std::distance(fs::directory_iterator("docs/deep"), fs::directory_iterator()), 1);
}

TEST_F(SaveSystemTest, ALinkThatLeadsNowhereGetsItsFile) {
  fs::create_symlink("docs/doc", "link");
  SaveAs(L"link");
  EXPECT_TRUE(fs::is_symlink("link"));
  EXPECT_TRUE(IsSaved("docs/doc"));
  fs::create_symlink("none/doc", "farther");
  EXPECT_EQ(thrownBy([&] { SaveAs(L"farther"); }).osError, 3);
}

TEST_F(SaveSystemTest, ALinkToANameThatTheLibraryDoesNotTakeIsFollowed) {
  fs::create_symlink("docs/what? \\ *.", "link");
  SaveAs(L"link");
  SaveAs(L"link");
  EXPECT_THAT(Names(), ElementsAre("what? \\ *."));
}

TEST_F(SaveSystemTest, ALinkToItselfIsRefused) {
  fs::create_symlink("link", "link");
  EXPECT_EQ(thrownBy([&] { SaveAs(L"link"); }).osError, 3);
  EXPECT_TRUE(fs::is_symlink("link"));
}

TEST_F(SaveSystemTest, ThroughALinkItIsTheSameDocumentThatIsOpen) {
  makeFile("docs/doc");
  fs::create_symlink("docs/doc", "link");
  PlainDb db;
  SaveDatabaseFile(db, path(L"docs/doc").c_str());
  db.Open(path(L"link").c_str(), CFile::modeReadWrite);
  db.GetRecordset()->Append();
  SaveDatabaseFile(db, path(L"docs/doc").c_str());
  db.ReadRows();
  EXPECT_EQ(db.GetRecordset()->getSize(), 1);
  EXPECT_EQ(Opened(path(L"docs/doc"), GENERIC_READ, OPEN_EXISTING, kShareAll).refusal(), 32u);
}

TEST_F(SaveSystemTest, WhatIsNoRegularFileIsRefused) {
  ASSERT_EQ(::mkfifo("docs/pipe", 0600), 0);
  fs::create_symlink("/dev/null", "docs/null");
  fs::create_directory_symlink(".", "docs/here");
  for (const wchar_t* name : {L"docs/pipe", L"docs/null", L"docs/here"}) {
    EXPECT_EQ(thrownBy([&] { SaveAs(name); }).osError, 5);
  }
  EXPECT_TRUE(fs::is_fifo("docs/pipe"));
  EXPECT_TRUE(fs::is_character_file("docs/null"));
  EXPECT_THAT(Names(), ElementsAre("here", "null", "pipe"));
}

TEST_F(SaveSystemTest, OtherNamesOfTheOldFileKeepIt) {
  makeFile("docs/doc", "old");
  fs::create_hard_link("docs/doc", "other");
  SaveAs(L"docs/doc");
  EXPECT_TRUE(IsSaved("docs/doc"));
  EXPECT_EQ(textOf("other"), "old");
}

TEST_F(SaveSystemTest, ALongNameIsNoHindrance) {
  const std::string name(255, 'n');
  SaveAs(L"docs/" + std::wstring(255, L'n'));
  SaveAs(L"docs/" + std::wstring(255, L'n'));
  EXPECT_THAT(Names(), ElementsAre(name));
}

// --- Permissions ---

TEST_F(SaveSystemTest, PermissionsAreKept) {
  for (const mode_t mode : {0600, 0644, 0664, 0660, 0606, 0777, 0751, 04755, 02664, 01666, 0220}) {
    makeFile("docs/doc", "old");
    ASSERT_EQ(::chmod("docs/doc", mode), 0);
    SaveAs(L"docs/doc");
    EXPECT_EQ(ModeOf("docs/doc"), mode);
    EXPECT_TRUE(IsSaved("docs/doc"));
    fs::remove("docs/doc");
  }
}

TEST_F(SaveSystemTest, ANewFileHasThoseOfAnyNewFile) {
  makeFile("any");
  SaveAs(L"docs/doc");
  EXPECT_EQ(ModeOf("docs/doc"), ModeOf("any"));
}

TEST_F(SaveSystemTest, TheNewFileIsNobodyElsesWhileItIsWritten) {
  makeFile("docs/doc", "old");
  ::chmod("docs/doc", 0666);
  static mode_t seen = 07777;
  const auto look = [](SystemCall call, size_t*) {
    if (call != SystemCall::kWrite) return 0;
    for (const std::string& name : Names()) {
      if (name != "doc") seen = ModeOf(("docs/" + name).c_str());
    }
    return 0;
  };
  kx_posix::SetCallHook(look);
  SaveAs(L"docs/doc");
  kx_posix::SetCallHook(nullptr);
  EXPECT_EQ(seen, mode_t{0600});
  EXPECT_EQ(ModeOf("docs/doc"), mode_t{0666});
}

TEST_F(SaveSystemTest, TheOwnerStaysWhereOneMayGiveFilesAway) {
  makeFile("docs/doc", "old");
  const bool mayGive = ::geteuid() == 0;
  const uid_t owner = mayGive ? 12345 : ::geteuid();
  const gid_t group = mayGive ? 23456 : ::getegid();
  ASSERT_EQ(::chown("docs/doc", owner, group), 0);
  ASSERT_EQ(::chmod("docs/doc", 02640), 0);
  SaveAs(L"docs/doc");
  struct stat data = {};
  ASSERT_EQ(::stat("docs/doc", &data), 0);
  EXPECT_EQ(data.st_uid, owner);
  EXPECT_EQ(data.st_gid, group);
  EXPECT_EQ(data.st_mode & 07777, mode_t{02640});
}

TEST_F(SaveSystemTest, AnotherGroupComesToNoNewRights) {
  makeFile("docs/doc", "old");
  ASSERT_EQ(::chmod("docs/doc", 0666), 0);
  fs::permissions("docs", fs::perms::all);
  fs::permissions(".", fs::perms::all);
  // The owner is another in the child, and neither he nor his group can be kept there.
  const bool changesUser = ::geteuid() == 0;
  ASSERT_EQ(::chmod("docs/doc", 0662), 0);
  const int ended = inChild([&] {
    if (changesUser && (::setgid(kOrdinaryUser) != 0 || ::setuid(kOrdinaryUser) != 0)) return 127;
    return static_cast<int>(thrownBy([&] { SaveAs(L"docs/doc"); }).osError);
  });
  // Who may not read the old file cannot replace it either.
  EXPECT_EQ(ended, changesUser ? 5 : 0);
  ASSERT_EQ(::chmod("docs/doc", 0676), 0);
  const int endedAgain = inChild([&] {
    if (changesUser && (::setgid(kOrdinaryUser) != 0 || ::setuid(kOrdinaryUser) != 0)) return 127;
    return static_cast<int>(thrownBy([&] { SaveAs(L"docs/doc"); }).osError);
  });
  EXPECT_EQ(endedAgain, 0);
  EXPECT_EQ(ModeOf("docs/doc"), changesUser ? mode_t{0666} : mode_t{0676});
}

TEST_F(SaveSystemTest, WhoMayNotWriteAFileCannotReplaceIt) {
  makeFile("docs/doc", "old");
  ASSERT_EQ(::chmod("docs/doc", ::geteuid() == 0 ? 0644 : 0444), 0);
  fs::permissions("docs", fs::perms::all);
  fs::permissions(".", fs::perms::all);
  const int ended = inChild([&] {
    if (::geteuid() == 0 && ::setuid(kOrdinaryUser) != 0) return 127;
    return static_cast<int>(thrownBy([&] { SaveAs(L"docs/doc"); }).osError);
  });
  EXPECT_EQ(ended, 5);
  EXPECT_EQ(textOf("docs/doc"), "old");
  EXPECT_THAT(Names(), ElementsAre("doc"));
}

TEST_F(SaveSystemTest, TheAccessListIsKept) {
  constexpr const char* kList = "system.posix_acl_access";
  // Version 2; owner rw, user 12345 rw, group r, mask rw, others none.
  const kx_test::Bytes list = kx_test::fromHex(
      "02 00 00 00  01 00 06 00 FF FF FF FF  02 00 06 00 39 30 00 00  04 00 04 00 FF FF FF FF"
      "10 00 06 00 FF FF FF FF  20 00 00 00 FF FF FF FF");
  makeFile("docs/doc", "old");
  const bool hasLists = ::setxattr("docs/doc", kList, list.data(), list.size(), 0) == 0;
  SaveAs(L"docs/doc");
  EXPECT_TRUE(IsSaved("docs/doc"));
  kx_test::Bytes kept(100);
  const ssize_t size = ::getxattr("docs/doc", kList, kept.data(), kept.size());
  kept.resize(size < 0 ? 0 : static_cast<size_t>(size));
  EXPECT_EQ(kept, hasLists ? list : kx_test::Bytes());
}

// --- What is inherited ---

TEST_F(SaveSystemTest, AProgramThatIsStartedGetsTheNewFileAsItGotTheOld) {
  for (const unsigned int flags : {0u, static_cast<unsigned int>(CFile::modeNoInherit)}) {
    PlainDb db;
    db.Open(path(L"docs/doc").c_str(), CFile::modeCreate | CFile::modeReadWrite | flags);
    SaveDatabaseFile(db, path(L"docs/doc").c_str());
    const int fd = static_cast<int>(db.GetFileHandle());
    const std::string info = textOf("/proc/self/fdinfo/" + std::to_string(fd));
    const bool closesOnExec =
        (std::stoul(info.substr(info.find("flags:") + 6), nullptr, 8) & 02000000) != 0;
    EXPECT_EQ(closesOnExec, flags != 0);
  }
}

TEST_F(SaveSystemTest, NoDescriptorIsLeftOpen) {
  const int before = ::dup(0);
  ::close(before);
  makeFile("docs/doc", "old");
  SaveAs(L"docs/doc");
  ThrownBySaving({{SystemCall::kFlush, 1, EIO}});
  ThrownBySaving({{SystemCall::kRename, 1, EIO}});
  const int after = ::dup(0);
  ::close(after);
  EXPECT_EQ(before, after);
}

}  // namespace
}  // namespace kx_seam
