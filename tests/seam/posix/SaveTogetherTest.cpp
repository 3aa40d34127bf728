// Many processes at once that open the same document for writing and save it: none is torn, none is
// lost, and whoever is refused is refused because another has the document open.
#include <sys/mman.h>

#include <atomic>
#include <chrono>
#include <iostream>
#include <iterator>
#include <new>
#include <thread>

#include "InChild.h"
#include "OutlineDB.h"
#include "SafeSave.h"
#include "SeamSupport.h"
#include "SystemCalls.h"

namespace kx_seam {
namespace {

namespace fs = std::filesystem;

using kx_gen::CDatabase;
using kx_gen::CFile;
using kx_gen::COutlineDB;
using kx_gen::COutlineRecord;
using kx_test::Thrown;
using kx_test::thrownBy;

constexpr int kProcesses = 8;
constexpr auto kDuration = std::chrono::seconds(10);
constexpr unsigned long kRows = 100;
constexpr long kSharingViolation = 32;
constexpr const char* kDocument = "docs/document.kxo";

/// What the processes tell each other.
struct Tally {
  std::atomic<unsigned long> saved{0};  ///< Each made the document's number one higher.
  std::atomic<unsigned long> read{0};
  std::atomic<unsigned long> refused{0};  ///< With the sharing violation.
  std::atomic<unsigned long> otherErrors{0};
  std::atomic<unsigned long> torn{0};
  std::atomic<unsigned long> refusedToOwner{0};
  std::atomic<bool> isOver{false};
};

/// One in memory that the processes share.
class SharedTally {
 public:
  SharedTally()
      : memory_(::mmap(nullptr, sizeof(Tally), PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS,
                       -1, 0)),
        tally_(new (memory_) Tally) {}
  ~SharedTally() { ::munmap(memory_, sizeof(Tally)); }
  SharedTally(const SharedTally&) = delete;
  SharedTally& operator=(const SharedTally&) = delete;
  Tally& operator*() const { return *tally_; }
  Tally* operator->() const { return tally_; }

 private:
  void* memory_;
  Tally* tally_;
};

/// An outline whose opening tells why it was refused.
class Document : public COutlineDB {
 public:
  ~Document() override = default;
  void OpenIt(unsigned int mode) {
    // The outline's own opening catches the exception.
    // NOLINTNEXTLINE(bugprone-parent-virtual-call)
    CDatabase::Open((fs::current_path() / kDocument).wstring().c_str(), mode);
  }
  void SaveIt() {
    kx_gen::SaveDatabaseFile(*this, (fs::current_path() / kDocument).wstring().c_str());
  }

  /// The document's number stands in every row, and in the title.
  void SetNumber(unsigned long number) {
    SetOutlineTitle(std::to_wstring(number).c_str());
    while (static_cast<unsigned long>(GetRecordset()->getSize()) < kRows) GetRecordset()->Append();
    for (kx_gen::CDBRecord* row : *GetRecordset()) {
      static_cast<COutlineRecord*>(row)->SetId(number);
      // Documents of different numbers have different lengths, too.
      static_cast<COutlineRecord*>(row)->SetText(std::wstring(number % 97, L'x').c_str());
    }
  }
  /// False when the parts of the document do not belong together.
  bool ReadNumber(unsigned long* number) {
    if (!ReadSharedHeader() || !ReadPrivateHeader()) return false;
    ReadRows();
    kx_gen::_String title;
    GetOutlineTitle(title);
    *number = std::stoul(title);
    bool isWhole = static_cast<unsigned long>(GetRecordset()->getSize()) == kRows;
    for (kx_gen::CDBRecord* row : *GetRecordset()) {
      isWhole = isWhole && static_cast<COutlineRecord*>(row)->GetId() == *number;
    }
    return isWhole;
  }
};

/// Counts what a call throws; whether it threw nothing.
template <class Call>
bool succeeds(Tally& tally, Call call) {
  const Thrown thrown = thrownBy(call);
  if (thrown.kind == Thrown::kNothing) return true;
  if (thrown.osError == kSharingViolation) {
    ++tally.refused;
  } else {
    ++tally.otherErrors;
  }
  return false;
}

void readOnce(Tally& tally) {
  Document db;
  if (!succeeds(tally, [&] { db.OpenIt(CFile::modeRead | CFile::shareDenyWrite); })) return;
  unsigned long number = 0;
  bool isWhole = false;
  if (!succeeds(tally, [&] { isWhole = db.ReadNumber(&number); })) return;
  ++(isWhole ? tally.read : tally.torn);
}

/// Opens the document for itself, counts on, and saves it `saves` times.
void saveOnce(Tally& tally, int saves) {
  Document db;
  if (!succeeds(tally, [&] { db.OpenIt(CFile::modeReadWrite | CFile::shareExclusive); })) return;
  unsigned long number = 0;
  bool isWhole = false;
  if (!succeeds(tally, [&] { isWhole = db.ReadNumber(&number); })) return;
  if (!isWhole) ++tally.torn;
  for (int i = 0; i < saves; ++i) {
    db.SetNumber(++number);
    // Nobody can have got in between: the document is this process's from opening to closing.
    if (!succeeds(tally, [&] { db.SaveIt(); })) ++tally.refusedToOwner;
    ++tally.saved;
  }
}

/// One that lets others read meanwhile may be refused its save.
void saveSharing(Tally& tally) {
  Document db;
  if (!succeeds(tally, [&] { db.OpenIt(CFile::modeReadWrite | CFile::shareDenyWrite); })) return;
  unsigned long number = 0;
  bool isWhole = false;
  if (!succeeds(tally, [&] { isWhole = db.ReadNumber(&number); })) return;
  if (!isWhole) ++tally.torn;
  db.SetNumber(number + 1);
  if (succeeds(tally, [&] { db.SaveIt(); })) ++tally.saved;
}

void work(Tally& tally, int process) {
  for (int round = process; !tally.isOver; ++round) {
    switch (round % 4) {
      case 0:
        readOnce(tally);
        break;
      case 1:
        saveSharing(tally);
        break;
      default:
        saveOnce(tally, 1 + round % 3);
    }
  }
}

class SaveTogetherTest : public kx_test::KxTest {
 protected:
  void SetUp() override {
    KxTest::SetUp();
    fs::create_directory("docs");
    Document db;
    db.InitNewDatabase();
    db.SetNumber(0);
    db.SaveIt();
  }

  unsigned long FinalNumber() {
    Document db;
    db.OpenIt(CFile::modeRead);
    unsigned long number = 0;
    EXPECT_TRUE(db.ReadNumber(&number));
    return number;
  }

  static long CountFiles() {
    return std::distance(fs::directory_iterator("docs"), fs::directory_iterator());
  }
};

TEST_F(SaveTogetherTest, EightProcessesForTenSecondsTearAndLoseNothing) {
  const SharedTally tally;
  pid_t processes[kProcesses];
  for (int i = 0; i < kProcesses; ++i) {
    processes[i] = ::fork();
    if (processes[i] != 0) continue;
    work(*tally, i);
    ::_exit(0);
  }
  std::this_thread::sleep_for(kDuration);
  tally->isOver = true;
  for (const pid_t process : processes) {
    int status = -1;
    ::waitpid(process, &status, 0);
    EXPECT_EQ(status, 0);
  }
  std::cout << tally->saved << " saves, " << tally->read << " readings, " << tally->refused
            << " refusals\n";
  EXPECT_EQ(tally->torn, 0u);
  EXPECT_EQ(tally->otherErrors, 0u);
  EXPECT_EQ(tally->refusedToOwner, 0u);
  EXPECT_GT(tally->saved, 0u);
  EXPECT_GT(tally->read, 0u);
  EXPECT_GT(tally->refused, 0u);
  EXPECT_EQ(FinalNumber(), tally->saved);
  EXPECT_EQ(CountFiles(), 1);
}

/// Processes that save the document without having it open: one after the other, each whole.
TEST_F(SaveTogetherTest, SavesOverOneAnotherAreEachWhole) {
  constexpr unsigned long kRounds = 40;
  const SharedTally tally;
  pid_t processes[kProcesses];
  for (int i = 0; i < kProcesses; ++i) {
    processes[i] = ::fork();
    if (processes[i] != 0) continue;
    for (unsigned long round = 0; round < kRounds; ++round) {
      Document db;
      db.InitNewDatabase();
      db.SetNumber(static_cast<unsigned long>(i) * 1000 + round);
      if (succeeds(*tally, [&] { db.SaveIt(); })) ++tally->saved;
      readOnce(*tally);
    }
    ::_exit(0);
  }
  for (const pid_t process : processes) ::waitpid(process, nullptr, 0);
  EXPECT_EQ(tally->torn, 0u);
  EXPECT_EQ(tally->otherErrors, 0u);
  EXPECT_GT(tally->saved, 0u);
  FinalNumber();
  EXPECT_EQ(CountFiles(), 1);
}

/// A process that dies while it saves keeps nobody else from saving.
TEST_F(SaveTogetherTest, ASaveThatDiesLeavesTheDocumentToTheOthers) {
  const auto dieBeforeFlushing = [](kx_posix::SystemCall call, size_t*) {
    if (call == kx_posix::SystemCall::kFlush) ::_exit(1);
    return 0;
  };
  const int ended = inChild([&] {
    Document db;
    db.OpenIt(CFile::modeReadWrite);
    db.SetNumber(7);
    kx_posix::SetCallHook(dieBeforeFlushing);
    db.SaveIt();
    return 0;
  });
  EXPECT_EQ(ended, 1);
  EXPECT_EQ(CountFiles(), 2);
  Document db;
  db.OpenIt(CFile::modeReadWrite);
  db.SetNumber(8);
  db.SaveIt();
  db.Close();
  EXPECT_EQ(FinalNumber(), 8u);
  EXPECT_EQ(CountFiles(), 1);
}

}  // namespace
}  // namespace kx_seam
