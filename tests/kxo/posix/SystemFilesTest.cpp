// The tool on files, folders and names that only this kind of system has.
#include <gmock/gmock.h>
#include <sys/resource.h>
#include <sys/stat.h>

#include <csignal>

#include "ToolTest.h"

namespace kxo_test {
namespace {

namespace fs = std::filesystem;

using ::testing::ElementsAre;
using ::testing::StartsWith;

using SystemFiles = ToolTest;

// --- Where the tool keeps its state ---

TEST_F(SystemFiles, TheStateFolderIsForTheUserAlone) {
  RunAll();
  EXPECT_EQ(fs::status(StateFolder()).permissions(), fs::perms::owner_all);
}

TEST_F(SystemFiles, WithoutItsVariableTheStateFolderIsInTheHomeFolder) {
  const fs::path home = MakeFolder("home");
  options_.environment["HOME"] = home;
  options_.environment[kStateVariable] = "";
  RunAll();
  EXPECT_TRUE(fs::exists(home / ".local" / "state" / "kxo" / "FileIO.txt"));
}

TEST_F(SystemFiles, ARelativeStateFolderIsNotMeant) {
  const fs::path home = MakeFolder("home");
  options_.environment["HOME"] = home;
  options_.environment[kStateVariable] = "here";
  RunAll();
  EXPECT_TRUE(fs::exists(home / ".local" / "state" / "kxo" / "FileIO.txt"));
}

// --- Names ---

TEST_F(SystemFiles, EveryNameThatTheSystemTakesIsTaken) {
  for (const char* name : {"what?.kxo", "a\\b.kxo", "a*|<>\".kxo", "dot.", "blank ",
                           "new\nline.kxo", "\xFF\xFE.kxo", "12:30.kxo"}) {
    WriteUserFile("in.opml", OpmlText("<outline text=\"1\"/>"));
    EXPECT_EQ(Kxo({"import", "in.opml", "-o", std::string("./") + name}).exitCode, 0) << name;
    EXPECT_TRUE(fs::exists(User(name))) << name;
    EXPECT_EQ(Kxo({"show", "--", name}).out, "T\n- 1\n") << name;
    EXPECT_EQ(Kxo({"info", std::string("./") + name}).exitCode, 0) << name;
    fs::remove(User(name));
    EXPECT_THAT(UserFiles(), ElementsAre("in.opml")) << name;
  }
}

TEST_F(SystemFiles, EveryFolderThatTheSystemTakesIsTaken) {
  for (const char* name : {"what?", "a\\b", "dot.", "blank ", "\xFF", "*"}) {
    fs::create_directory(User(name));
    WriteUserFile(fs::path(name) / "in.opml", OpmlText("<outline text=\"1\"/>"));
    options_.folder = User(name);
    EXPECT_EQ(Kxo({"import", "in.opml"}).exitCode, 0) << name;
    EXPECT_EQ(Kxo({"import", "in.opml", "--force"}).exitCode, 0) << name;
    EXPECT_EQ(Kxo({"show", "in.kxo"}).out, "T\n- 1\n") << name;
    EXPECT_EQ(Kxo({"export", "in.kxo", "-o", "in.txt"}).exitCode, 0) << name;
    EXPECT_EQ(UserFile(fs::path(name) / "in.txt"), "T\n\n1\n") << name;
  }
  EXPECT_THAT(fs::directory_iterator(StateFolder())->path().filename(), "FileIO.txt");
}

TEST_F(SystemFiles, ControlCharactersOfNamesAreEscapedInMessages) {
  EXPECT_EQ(Kxo({"show", "\x1B[31m.kxo"}).err,
            "kxo: \\x1b[31m.kxo: there is no such file; check the name\n");
}

TEST_F(SystemFiles, AbsoluteNamesServeWhereTheCurrentFolderIsGone) {
  ASSERT_EQ(Import(OpmlText("")).exitCode, 0);
  options_.folder = MakeFolder("gone");
  options_.prepare = [] { fs::remove(fs::current_path()); };
  EXPECT_EQ(Kxo({"show", User("in.kxo").string()}).exitCode, 0);
  options_.folder = MakeFolder("gone");
  const ProgramRun run = Kxo({"show", "in.kxo"});
  EXPECT_EQ(run.exitCode, 2);
  EXPECT_EQ(run.err, "kxo: in.kxo: the current folder is gone; give an absolute path\n");
}

// --- Links ---

TEST_F(SystemFiles, ThroughALinkedFolderTheParentIsThatOfTheRealOne) {
  fs::create_directories(User("real/deep"));
  fs::create_directory_symlink("real/deep", User("link"));
  WriteUserFile("real/in.opml", OpmlText("<outline text=\"1\"/>"));
  EXPECT_EQ(Kxo({"import", "link/../in.opml", "-o", "link/../out.kxo"}).exitCode, 0);
  EXPECT_EQ(Kxo({"show", "link/../out.kxo"}).exitCode, 0);
  EXPECT_TRUE(fs::exists(User("real/out.kxo")));
}

TEST_F(SystemFiles, ALinkThatLeadsNowhereIsAnExistingTarget) {
  fs::create_symlink("nowhere", User("in.kxo"));
  EXPECT_EQ(Import(OpmlText("")).exitCode, 2);
  EXPECT_TRUE(fs::is_symlink(User("in.kxo")));
}

TEST_F(SystemFiles, ThroughALinkTheFileThatItLeadsToIsReplaced) {
  WriteUserFile("real.kxo", "old");
  fs::create_symlink("real.kxo", User("in.kxo"));
  EXPECT_EQ(Import(OpmlText(""), {"--force"}).exitCode, 0);
  EXPECT_TRUE(fs::is_symlink(User("in.kxo")));
  EXPECT_THAT(UserFile("real.kxo"), StartsWith("\x78\x56\x34\x12"));
}

TEST_F(SystemFiles, WithForceALinkThatLeadsNowhereGetsItsFile) {
  fs::create_symlink("elsewhere", User("in.kxo"));
  EXPECT_EQ(Import(OpmlText("<outline text=\"1\"/>"), {"--force"}).exitCode, 0);
  EXPECT_TRUE(fs::is_symlink(User("in.kxo")));
  EXPECT_EQ(ReadDocument("elsewhere").rows.size(), 1u);
  EXPECT_THAT(UserFiles(), ElementsAre("elsewhere", "in.kxo", "in.opml"));
}

// --- What a target may be, and what it keeps ---

TEST_F(SystemFiles, AReplacedTargetKeepsItsPermissions) {
  WriteUserFile("in.kxo", "old");
  fs::permissions(User("in.kxo"), fs::perms::owner_read | fs::perms::owner_write);
  EXPECT_EQ(Import(OpmlText("<outline text=\"new\"/>"), {"--force"}).exitCode, 0);
  EXPECT_EQ(ReadDocument().rows.size(), 1u);
  EXPECT_EQ(fs::status(User("in.kxo")).permissions(),
            fs::perms::owner_read | fs::perms::owner_write);
}

TEST_F(SystemFiles, ForceNeverReplacesADevice) {
  const ProgramRun run = Import(OpmlText(""), {"--force", "-o", "/dev/null"});
  EXPECT_EQ(run.exitCode, 2);
  EXPECT_EQ(run.err, "kxo: /dev/null: this is not a regular file; choose another with -o\n");
  EXPECT_TRUE(fs::is_character_file("/dev/null"));
}

TEST_F(SystemFiles, AFailedWriteLeavesNothingBehind) {
  WriteUserFile("in.kxo", "precious");
  options_.prepare = [] {
    const rlimit limit = {2000, 2000};
    ::setrlimit(RLIMIT_FSIZE, &limit);
    std::signal(SIGXFSZ, SIG_IGN);  // the write itself shall fail
  };
  const ProgramRun run =
      Import(OpmlText(Repeated(100, "<outline text=\"more than fits\"/>")), {"--force"});
  EXPECT_EQ(run.exitCode, 2);
  EXPECT_THAT(LinesOf(run.err), ElementsAre(StartsWith("kxo: in.kxo: ")));
  EXPECT_EQ(UserFile("in.kxo"), "precious");
  EXPECT_THAT(UserFiles(), ElementsAre("in.kxo", "in.opml"));
}

TEST_F(SystemFiles, PipesAndDevicesAreRefusedAtOnce) {
  ASSERT_EQ(::mkfifo(User("pipe.kxo").c_str(), 0600), 0);
  for (const char* file : {"pipe.kxo", "/dev/zero"}) {
    const ProgramRun run = Kxo({"show", file});
    EXPECT_EQ(run.exitCode, 2);
    EXPECT_EQ(run.err,
              std::string("kxo: ") + file + ": this is not a regular file; name a .kxo document\n");
  }
}

}  // namespace
}  // namespace kxo_test
