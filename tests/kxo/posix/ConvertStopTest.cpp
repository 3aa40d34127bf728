#include <gmock/gmock.h>
#include <unistd.h>

#include <atomic>
#include <chrono>
#include <csignal>
#include <fstream>
#include <thread>

#include "ToolTest.h"

namespace kxo_test {
namespace {

namespace fs = std::filesystem;

using ::testing::HasSubstr;

class ConvertStop : public ToolTest {
 protected:
  static constexpr int kDocuments = 400;

  void MakeDocuments() const {
    fs::create_directory(User("in"));
    WriteDocument("in/0.kxo", [](kx_gen::COutlineDB& db) {
      for (int i = 0; i < 500; ++i) AddRow(db, 0, L"an item of many");
    });
    for (int i = 1; i < kDocuments; ++i) {
      fs::copy_file(User("in/0.kxo"), User("in/" + std::to_string(i) + ".kxo"));
    }
  }
  size_t CountResults() const {
    std::error_code error;
    size_t count = 0;
    for (fs::directory_iterator entry(User("out"), error), end; !error && entry != end;
         entry.increment(error)) {
      ++count;
    }
    return count;
  }
  /// Once there are results, ends the program as Ctrl-C does.
  void Interrupt(const std::atomic<bool>& isOver) const {
    while (!isOver && CountResults() < 5) {
      std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
    int process = 0;
    std::ifstream(folder() / "process") >> process;
    if (!isOver && process > 0) ::kill(process, SIGINT);
  }
};

TEST_F(ConvertStop, CtrlCStopsBetweenTwoDocumentsAndTellsWhatIsDone) {
  MakeDocuments();
  const fs::path note = folder() / "process";
  options_.prepare = [&note] { std::ofstream(note) << ::getpid() << std::flush; };
  std::atomic<bool> isOver{false};
  std::thread interrupter([&] { Interrupt(isOver); });
  const ProgramRun run = Kxo({"convert", "in", "--to", "html", "--out-dir", "out"});
  isOver = true;
  interrupter.join();
  EXPECT_EQ(run.exitCode, 2);
  EXPECT_THAT(run.err, HasSubstr("kxo: stopped; of 400 documents: "));
  const size_t made = CountResults();
  EXPECT_THAT(run.err, HasSubstr(": " + std::to_string(made) + " converted"));
  EXPECT_LT(made, static_cast<size_t>(kDocuments));
  for (const auto& entry : fs::directory_iterator(User("out"))) {
    EXPECT_EQ(entry.path().extension(), ".html");
    EXPECT_THAT(UserFile(entry.path()), ::testing::EndsWith("</html>\n"));
  }
}

}  // namespace
}  // namespace kxo_test
