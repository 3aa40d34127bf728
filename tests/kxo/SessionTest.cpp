#include <gmock/gmock.h>

#include "NamePath.h"
#include "ToolTest.h"

namespace kxo_test {
namespace {

namespace fs = std::filesystem;

using ::testing::ElementsAre;

using Session = ToolTest;

bool IsEmptyFolder(const fs::path& folder) { return fs::is_empty(folder); }

TEST_F(Session, TheLogStandsInTheStateFolderAndNowhereElse) {
  RunAll();
  EXPECT_TRUE(fs::exists(StateFolder() / "FileIO.txt"));
}

TEST_F(Session, WhereTheStateFolderCannotBeATemporaryFolderServesAndGoes) {
  const fs::path temporary = MakeFolder("temporary");
  WriteUserFile("../no-folder", "");
  options_.environment[kStateVariable] = (folder() / "no-folder").string();
  options_.environment[kTemporaryVariable] = temporary.string();
  RunAll();
  EXPECT_TRUE(IsEmptyFolder(temporary));
}

TEST_F(Session, ABrokenTemporaryFolderIsPassedOver) {
  WriteUserFile("../no-folder", "");
  options_.environment[kStateVariable] = (folder() / "no-folder").string();
  options_.environment[kTemporaryVariable] = (folder() / "no" / "such").string();
  RunAll();
}

TEST_F(Session, RelativeNamesAreThoseOfTheFolderWhereTheToolWasStarted) {
  fs::create_directories(User("a/b"));
  WriteUserFile("in.opml", OpmlText("<outline text=\"1\"/>"));
  options_.folder = User("a/b");
  EXPECT_EQ(Kxo({"import", "../../in.opml", "-o", "./out.kxo"}).exitCode, 0);
  EXPECT_EQ(Kxo({"show", "../b/out.kxo"}).exitCode, 0);
  EXPECT_TRUE(fs::exists(User("a/b/out.kxo")));
}

TEST_F(Session, NamesInAllScriptsAndWithOddCharactersAreTaken) {
  for (const char* name :
       {"caf\u00E9 \u65E5.kxo", "\u0416\u05D0\u0E01.kxo", "\U0001F426.kxo", "100% & more;.kxo",
        "quote's.kxo", "-o.kxo", " two  blanks.kxo", "no extension", "(a)[b]{c}^$!,=+~`@#.kxo"}) {
    WriteUserFile("in.opml", OpmlText("<outline text=\"1\"/>"));
    EXPECT_EQ(Kxo({"import", "in.opml", "-o", std::string("./") + name}).exitCode, 0) << name;
    EXPECT_TRUE(fs::exists(User(PathOf(name)))) << name;
    EXPECT_EQ(Kxo({"show", "--", name}).out, "T\n- 1\n") << name;
    EXPECT_EQ(Kxo({"info", std::string("./") + name}).exitCode, 0) << name;
    fs::remove(User(PathOf(name)));
    EXPECT_THAT(UserFiles(), ElementsAre("in.opml")) << name;
  }
}

TEST_F(Session, FoldersInAllScriptsAreTaken) {
  for (const char* name : {"caf\u00E9 \u65E5", "\U0001F426", "a b", "it's"}) {
    fs::create_directory(User(PathOf(name)));
    WriteUserFile(PathOf(name) / "in.opml", OpmlText("<outline text=\"1\"/>"));
    options_.folder = User(PathOf(name));
    EXPECT_EQ(Kxo({"import", "in.opml"}).exitCode, 0) << name;
    EXPECT_EQ(Kxo({"import", "in.opml", "--force"}).exitCode, 0) << name;
    EXPECT_EQ(Kxo({"show", "in.kxo"}).out, "T\n- 1\n") << name;
  }
}

TEST_F(Session, ALongPathIsTaken) {
  const std::string part(200, 'p');
  fs::create_directories(User(part) / part);
  WriteUserFile(fs::path(part) / part / "in.opml", OpmlText("<outline text=\"1\"/>"));
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
  const std::string rightToLeft = {'\xE2', '\x80', '\xAE'};  // U+202E
  EXPECT_EQ(Kxo({"show", "a\u009B31m" + rightToLeft + ".kxo"}).err,
            "kxo: a\\u009b31m\\u202e.kxo: there is no such file; check the name\n");
}

}  // namespace
}  // namespace kxo_test
