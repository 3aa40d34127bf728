// The tool as Windows starts it: words, names and a console that are Unicode whatever the code
// page.
#include <gmock/gmock.h>
#include <windows.h>

#include "ToolTest.h"

namespace kxo_test {
namespace {

namespace fs = std::filesystem;

using ::testing::ElementsAre;
using ::testing::StartsWith;

using WindowsTool = ToolTest;

/// Of several scripts, so that no code page has them all.
constexpr const char* kAllScripts =
    "caf\u00E9 \u0416\u03A9\u05D0\u0E01 \u65E5\u672C \uD55C \U0001F426";

TEST_F(WindowsTool, NamesOnTheCommandLineAreUnicode) {
  ASSERT_NE(::GetACP(), UINT{CP_UTF8});
  const std::string name = std::string(kAllScripts) + ".kxo";
  WriteUserFile("in.opml", OpmlText("<outline text=\"1\"/>"));
  const ProgramRun run = Kxo({"import", "in.opml", "-o", name});
  EXPECT_EQ(run.exitCode, 0);
  EXPECT_EQ(run.err, "kxo: " + name + ": written, 1 item\n");
  EXPECT_THAT(UserFiles(), ElementsAre(name, "in.opml"));
  EXPECT_EQ(Kxo({"show", name}).out, "T\n- 1\n");
  EXPECT_EQ(Kxo({"show", std::string("none ") + kAllScripts}).err,
            std::string("kxo: none ") + kAllScripts + ": there is no such file; check the name\n");
}

TEST_F(WindowsTool, OutputIntoAFileIsUtf8WithPlainLineEnds) {
  WriteUserFile("in.opml", OpmlText(std::string("<outline text=\"") + kAllScripts + "\"/>"));
  EXPECT_EQ(Kxo({"import", "in.opml"}).exitCode, 0);
  EXPECT_EQ(Kxo({"show", "in.kxo"}).out, std::string("T\n- ") + kAllScripts + "\n");
}

TEST_F(WindowsTool, TheConsoleShowsUnicode) {
  WriteUserFile("in.opml", OpmlText(std::string("<outline text=\"") + kAllScripts + "\"/>"));
  EXPECT_EQ(Kxo({"import", "in.opml"}).exitCode, 0);
  EXPECT_EQ(KxoOnTerminal({"show", "in.kxo"}).out,
            std::string("T\n\u2514\u2500 ") + kAllScripts + "\n");
  EXPECT_EQ(KxoOnTerminal({"show", kAllScripts}).out,
            std::string("kxo: ") + kAllScripts + ": there is no such file; check the name\n");
}

TEST_F(WindowsTool, WordsArriveAsTheyWereGiven) {
  for (const char* word : {"a b", "a\"b", "a\\\"b", "a\\", "a b\\", "a\\\\b", "\"", "\\\\\"\\\\",
                           "%TMP%", "a'b", "a&b|c"}) {
    EXPECT_EQ(Kxo({word}).err,
              std::string("kxo: there is no command ") + word + "; try kxo --help\n");
  }
}

TEST_F(WindowsTool, BothSeparatorsServeInNames) {
  fs::create_directories(User("a/b"));
  WriteUserFile("a/b/in.opml", OpmlText("<outline text=\"1\"/>"));
  EXPECT_EQ(Kxo({"import", "a\\b/in.opml", "-o", ".\\a\\out.kxo"}).exitCode, 0);
  EXPECT_EQ(Kxo({"show", User("a\\out.kxo").string()}).out, "T\n- 1\n");
}

TEST_F(WindowsTool, NamesThatTheSystemRefusesAreToldInOneLine) {
  for (const char* name : {"what?.kxo", "a*.kxo", "a|b.kxo", "a<b.kxo", "new\nline.kxo"}) {
    const ProgramRun run = Kxo({"show", name});
    EXPECT_EQ(run.exitCode, 2) << name;
    EXPECT_THAT(LinesOf(run.err), ElementsAre(StartsWith("kxo: "))) << name;
    const ProgramRun import = Import(OpmlText(""), {"-o", name});
    EXPECT_EQ(import.exitCode, 2) << name;
    EXPECT_THAT(UserFiles(), ElementsAre("in.opml")) << name;
  }
}

TEST_F(WindowsTool, DevicesAreNoDocuments) {
  for (const char* device : {"NUL", "CON"}) {
    EXPECT_EQ(Kxo({"show", device}).exitCode, 2) << device;
    EXPECT_EQ(Import(OpmlText(""), {"--force", "-o", device}).exitCode, 2) << device;
    EXPECT_THAT(UserFiles(), ElementsAre("in.opml")) << device;
  }
}

TEST_F(WindowsTool, WithoutAStateFolderATemporaryFolderServesAndGoes) {
  const fs::path temporary = MakeFolder("temporary");
  options_.environment[kTemporaryVariable] = temporary.string();
  for (const char* state : {"", "here", "\\here", "C:here"}) {
    options_.environment[kStateVariable] = state;
    RunAll();
    EXPECT_TRUE(fs::is_empty(temporary)) << state;
    fs::remove(User("in.kxo"));
  }
}

TEST_F(WindowsTool, AReadOnlyTargetIsNotReplaced) {
  WriteUserFile("in.kxo", "precious");
  fs::permissions(User("in.kxo"), fs::perms::owner_read);
  EXPECT_EQ(Import(OpmlText(""), {"--force"}).exitCode, 2);
  EXPECT_EQ(UserFile("in.kxo"), "precious");
  EXPECT_THAT(UserFiles(), ElementsAre("in.kxo", "in.opml"));
}

}  // namespace
}  // namespace kxo_test
