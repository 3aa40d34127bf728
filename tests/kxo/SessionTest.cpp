#include <gmock/gmock.h>
#include <unistd.h>

#include "ToolTest.h"

namespace kxo_test {
namespace {

namespace fs = std::filesystem;

using ::testing::ElementsAre;

class Session : public ToolTest {
 protected:
  /// Every command, with good and bad input, from the user's folder.
  void RunAll() const {
    WriteUserFile("bad.kxo", "no document");
    EXPECT_EQ(Import(Opml("<outline text=\"1\"/>")).exitCode, 0);
    EXPECT_EQ(Kxo({"show", "in.kxo"}).exitCode, 0);
    EXPECT_EQ(Kxo({"info", "in.kxo"}).exitCode, 0);
    EXPECT_EQ(Kxo({"show", "bad.kxo"}).exitCode, 3);
    EXPECT_EQ(Kxo({"show", "none.kxo"}).exitCode, 2);
    EXPECT_THAT(UserFiles(), ElementsAre("bad.kxo", "in.kxo", "in.opml"));
  }

  fs::path MakeFolder(const std::string& name) const {
    fs::create_directory(folder() / name);
    return folder() / name;
  }
};

bool IsEmptyFolder(const fs::path& folder) { return fs::is_empty(folder); }

TEST_F(Session, TheLogStandsInTheStateFolderAndNowhereElse) {
  RunAll();
  EXPECT_TRUE(fs::exists(StateFolder() / "FileIO.txt"));
  EXPECT_EQ(fs::status(StateFolder()).permissions(), fs::perms::owner_all);
}

TEST_F(Session, WithoutItsVariableTheStateFolderIsInTheHomeFolder) {
  const fs::path home = MakeFolder("home");
  options_.environment["HOME"] = home;
  options_.environment["XDG_STATE_HOME"] = "";
  RunAll();
  EXPECT_TRUE(fs::exists(home / ".local" / "state" / "kxo" / "FileIO.txt"));
}

TEST_F(Session, ARelativeStateFolderIsNotMeant) {
  const fs::path home = MakeFolder("home");
  options_.environment["HOME"] = home;
  options_.environment["XDG_STATE_HOME"] = "here";
  RunAll();
  EXPECT_TRUE(fs::exists(home / ".local" / "state" / "kxo" / "FileIO.txt"));
}

TEST_F(Session, WhereTheStateFolderCannotBeATemporaryFolderServesAndGoes) {
  const fs::path temporary = MakeFolder("temporary");
  options_.environment["XDG_STATE_HOME"] = "/dev/null";
  options_.environment["TMPDIR"] = temporary;
  RunAll();
  EXPECT_TRUE(IsEmptyFolder(temporary));
}

TEST_F(Session, ABrokenTemporaryFolderIsPassedOver) {
  options_.environment["XDG_STATE_HOME"] = "/dev/null";
  options_.environment["TMPDIR"] = "/no/such/folder";
  RunAll();
}

TEST_F(Session, RelativeNamesAreThoseOfTheFolderWhereTheToolWasStarted) {
  fs::create_directories(User("a/b"));
  WriteUserFile("in.opml", Opml("<outline text=\"1\"/>"));
  options_.folder = User("a/b");
  EXPECT_EQ(Kxo({"import", "../../in.opml", "-o", "./out.kxo"}).exitCode, 0);
  EXPECT_EQ(Kxo({"show", "../b/out.kxo"}).exitCode, 0);
  EXPECT_TRUE(fs::exists(User("a/b/out.kxo")));
}

TEST_F(Session, ThroughALinkedFolderTheParentIsThatOfTheRealOne) {
  fs::create_directories(User("real/deep"));
  fs::create_directory_symlink("real/deep", User("link"));
  WriteUserFile("real/in.opml", Opml("<outline text=\"1\"/>"));
  EXPECT_EQ(Kxo({"import", "link/../in.opml", "-o", "link/../out.kxo"}).exitCode, 0);
  EXPECT_EQ(Kxo({"show", "link/../out.kxo"}).exitCode, 0);
  EXPECT_TRUE(fs::exists(User("real/out.kxo")));
}

TEST_F(Session, AbsoluteNamesServeWhereTheCurrentFolderIsGone) {
  ASSERT_EQ(Import(Opml("")).exitCode, 0);
  const fs::path gone = MakeFolder("gone");
  const std::string script = "rmdir '" + gone.string() + "' && exec '" +
                             (fs::read_symlink("/proc/self/exe").parent_path() / "kxo").string() +
                             "' show \"$0\"";
  options_.folder = gone;
  const auto runIn = [&](const std::string& name) {
    fs::create_directories(gone);
    return RunProgram("/bin/sh", {"-c", script, name}, options_);
  };
  EXPECT_EQ(runIn(User("in.kxo").string()).exitCode, 0);
  const ProgramRun run = runIn("in.kxo");
  EXPECT_EQ(run.exitCode, 2);
  EXPECT_EQ(run.err, "kxo: in.kxo: the current folder is gone; give an absolute path\n");
}

TEST_F(Session, EveryNameThatTheSystemTakesIsTaken) {
  for (const char* name :
       {"what?.kxo", "a\\b.kxo", "a*|<>\".kxo", "dot.", "blank ", "new\nline.kxo", "\xFF\xFE.kxo",
        "caf\u00E9 \u65E5.kxo", "12:30.kxo", "quote's.kxo", "-o.kxo"}) {
    WriteUserFile("in.opml", Opml("<outline text=\"1\"/>"));
    EXPECT_EQ(Kxo({"import", "in.opml", "-o", std::string("./") + name}).exitCode, 0) << name;
    EXPECT_TRUE(fs::exists(User(name))) << name;
    EXPECT_EQ(Kxo({"show", "--", name}).out, "T\n- 1\n") << name;
    EXPECT_EQ(Kxo({"info", std::string("./") + name}).exitCode, 0) << name;
    fs::remove(User(name));
    EXPECT_THAT(UserFiles(), ElementsAre("in.opml")) << name;
  }
}

TEST_F(Session, EveryFolderThatTheSystemTakesIsTaken) {
  for (const char* name : {"what?", "a\\b", "dot.", "blank ", "\xFF", "*"}) {
    fs::create_directory(User(name));
    WriteUserFile(fs::path(name) / "in.opml", Opml("<outline text=\"1\"/>"));
    options_.folder = User(name);
    EXPECT_EQ(Kxo({"import", "in.opml"}).exitCode, 0) << name;
    EXPECT_EQ(Kxo({"import", "in.opml", "--force"}).exitCode, 0) << name;
    EXPECT_EQ(Kxo({"show", "in.kxo"}).out, "T\n- 1\n") << name;
  }
  EXPECT_THAT(fs::directory_iterator(StateFolder())->path().filename(), "FileIO.txt");
}

TEST_F(Session, ALongPathIsTaken) {
  const std::string part(200, 'p');
  fs::create_directories(User(part) / part);
  WriteUserFile(fs::path(part) / part / "in.opml", Opml("<outline text=\"1\"/>"));
  EXPECT_EQ(Kxo({"import", part + "/" + part + "/in.opml"}).exitCode, 0);
  EXPECT_EQ(Kxo({"show", part + "/" + part + "/in.kxo"}).out, "T\n- 1\n");
}

TEST_F(Session, AnEmptyNameIsRefused) {
  for (const char* command : {"show", "info", "import"}) {
    const ProgramRun run = Kxo({command, ""});
    EXPECT_EQ(run.exitCode, 2);
    EXPECT_EQ(run.err, "kxo: a file name is empty; name a file\n");
  }
}

TEST_F(Session, NamesInMessagesAreEscaped) {
  EXPECT_EQ(Kxo({"show", "\x1B[31m.kxo"}).err,
            "kxo: \\x1b[31m.kxo: there is no such file; check the name\n");
}

}  // namespace
}  // namespace kxo_test
