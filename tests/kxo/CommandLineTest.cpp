#include <gmock/gmock.h>

#include <algorithm>

#include "ToolTest.h"

namespace kxo_test {
namespace {

using ::testing::HasSubstr;
using ::testing::StartsWith;

class CommandLine : public ToolTest {
 protected:
  /// The words of all commands below this one, as the help lists them.
  std::vector<std::vector<std::string>> AllCommands(std::vector<std::string> words) const {
    std::vector<std::string> line = words;
    line.emplace_back("--help");
    std::vector<std::vector<std::string>> commands;
    bool isInList = false;
    for (const std::string& text : LinesOf(Kxo(line).out)) {
      const bool isEntry = text.substr(0, 2) == "  ";
      if (!isEntry) isInList = text == "Commands:";
      if (!isEntry || !isInList || text[2] == ' ') continue;
      words.push_back(text.substr(2, text.find(' ', 2) - 2));
      commands.push_back(words);
      const auto below = AllCommands(words);
      commands.insert(commands.end(), below.begin(), below.end());
      words.pop_back();
    }
    return commands;
  }
};

TEST_F(CommandLine, HelpTellsCommandsExamplesAndExitCodes) {
  const ProgramRun run = Kxo({"--help"});
  EXPECT_EQ(run.exitCode, 0);
  EXPECT_EQ(run.err, "");
  for (const char* part :
       {"Examples:", "Usage: kxo [OPTIONS] COMMAND", "\n  import ", "\n  show ", "\n  info ",
        "\n  check ", "\n  recover ",
        "Exit codes:\n  0  done\n  1  looked, and found something wrong", "\n  2  ", "\n  3  ",
        "\n  4  another program has the file open", "\n  5  some of several files failed"}) {
    EXPECT_THAT(run.out, HasSubstr(part));
  }
}

TEST_F(CommandLine, EveryCommandHasHelpThatLeadsWithExamples) {
  const std::vector<std::vector<std::string>> commands = AllCommands({});
  EXPECT_GT(commands.size(), 12u);
  for (std::vector<std::string> words : commands) {
    std::string command = "kxo";
    for (const std::string& word : words) command += " " + word;
    SCOPED_TRACE(command);
    words.emplace_back("--help");
    const ProgramRun run = Kxo(words);
    EXPECT_EQ(run.exitCode, 0);
    EXPECT_EQ(run.err, "");
    EXPECT_THAT(run.out, HasSubstr("\n  " + command + " "));
    EXPECT_LT(run.out.find("Example"), run.out.find("Usage:"));
    EXPECT_THAT(run.out, HasSubstr("Exit codes:"));
  }
}

TEST_F(CommandLine, EveryCommandTakesACodePageAndEveryOneThatReportsTellsPrograms) {
  // These make a file, and say no more than that.
  const std::vector<std::vector<std::string>> making = {
      {"drawing", "get"}, {"export"}, {"import"}, {"new"}};
  for (std::vector<std::string> words : AllCommands({})) {
    const bool isGroup = words.size() == 1 && (words[0] == "category" || words[0] == "drawing");
    if (isGroup) continue;
    const bool reports = std::find(making.begin(), making.end(), words) == making.end();
    words.emplace_back("--help");
    const std::string help = Kxo(words).out;
    EXPECT_THAT(help, HasSubstr("--codepage N ")) << words[0];
    EXPECT_EQ(help.find("\n  --json ") != std::string::npos, reports)
        << words[0] << " " << words[1];
  }
}

TEST_F(CommandLine, VersionNamesToolAndDocuments) {
  const ProgramRun run = Kxo({"--version"});
  EXPECT_EQ(run.exitCode, 0);
  EXPECT_THAT(run.out, StartsWith("kxo "));
  EXPECT_THAT(run.out, HasSubstr(".kxo documents of version 0, memory outlines of version 10\n"
                                 "and category files of version 1 (reads version 0 of them, too)"));
}

TEST_F(CommandLine, WrongLinesAreToldInOneLineThatNamesTheHelp) {
  const auto told = [this](const std::vector<std::string>& arguments) {
    const ProgramRun run = Kxo(arguments);
    EXPECT_EQ(run.exitCode, 2);
    EXPECT_EQ(run.out, "");
    return run.err;
  };
  EXPECT_EQ(told({}), "kxo: a command is missing; try kxo --help\n");
  EXPECT_EQ(told({"frobnicate"}), "kxo: there is no command frobnicate; try kxo --help\n");
  EXPECT_EQ(told({"--nonsense"}), "kxo: there is no option --nonsense; try kxo --help\n");
  EXPECT_EQ(told({"show"}), "kxo: FILE is required; try kxo show --help\n");
  EXPECT_EQ(told({"import"}), "kxo: IN is required; try kxo import --help\n");
  EXPECT_EQ(told({"show", "a.kxo", "--frobnicate"}),
            "kxo: there is no option --frobnicate; try kxo show --help\n");
  EXPECT_EQ(told({"search", "-x", "a.kxo"}),
            "kxo: there is no option -x (a text goes behind --); try kxo search --help\n");
  EXPECT_EQ(told({"show", "a.kxo", "b.kxo"}),
            "kxo: there is no place for b.kxo; try kxo show --help\n");
  EXPECT_EQ(told({"import", "a.opml", "-o"}),
            "kxo: --output: 1 required OUT missing; try kxo import --help\n");
}

TEST_F(CommandLine, MistypedCommandsAndOptionsAreToldWhatTheyResemble) {
  const auto told = [this](const std::vector<std::string>& arguments) {
    const ProgramRun run = Kxo(arguments);
    EXPECT_EQ(run.exitCode, 2);
    return run.err;
  };
  EXPECT_EQ(told({"shwo"}), "kxo: there is no command shwo (did you mean show?); try kxo --help\n");
  EXPECT_EQ(told({"Recovr", "a.kxo"}),
            "kxo: there is no command Recovr (did you mean recover?); try kxo --help\n");
  EXPECT_EQ(told({"--verson"}),
            "kxo: there is no option --verson (did you mean --version?); try kxo --help\n");
  EXPECT_EQ(told({"show", "a.kxo", "--ntoes"}),
            "kxo: there is no option --ntoes (did you mean --notes?); try kxo show --help\n");
  EXPECT_EQ(told({"show", "a.kxo", "--dept=3"}),
            "kxo: there is no option --dept (did you mean --depth?); try kxo show --help\n");
}

TEST_F(CommandLine, ReadingCommandsTakeTheCodePageOfADevice) {
  kx_gen::setNarrowCodePage(1251);
  WriteDocument("a.kxo", [](kx_gen::COutlineDB& db) { AddRow(db, 0, L"\u041F\u0440\u0438"); });
  kx_gen::setNarrowCodePage(0);
  EXPECT_EQ(Kxo({"show", "a.kxo"}).out, "Untitled\n- Ïðè\n");
  EXPECT_EQ(Kxo({"show", "a.kxo", "--codepage", "1251"}).out, "Untitled\n- При\n");
  for (const char* page : {"54321", "0", "x", "1251x", "-1251", "99999999999999999999"}) {
    for (const char* command : {"show", "info", "list", "check", "recover"}) {
      const ProgramRun run = Kxo({command, "a.kxo", std::string("--codepage=") + page});
      EXPECT_EQ(run.exitCode, 2);
      EXPECT_THAT(run.err,
                  StartsWith(std::string("kxo: --codepage: this system knows no code page ") +
                             page + "; try kxo "));
    }
  }
}

TEST_F(CommandLine, HelpThatCannotBeWrittenIsAFailure) {
  options_.refusesOutput = true;
  EXPECT_EQ(Kxo({"--help"}).exitCode, 2);
}

}  // namespace
}  // namespace kxo_test
