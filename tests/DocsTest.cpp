// The pages under docs/ say what is: their hex stands in the files, what they name exists.
#include <algorithm>
#include <cctype>
#include <regex>
#include <set>
#include <sstream>

#include "KxLayout.h"
#include "TestPlaces.h"

namespace kx_test {
namespace {

namespace fs = std::filesystem;

fs::path docsFolder() { return sourceFolder() / "docs"; }

std::string textOf(const fs::path& path) {
  const Bytes bytes = readFile(path);
  return std::string(bytes.begin(), bytes.end());
}

std::vector<fs::path> pages() {
  std::vector<fs::path> found;
  for (const fs::directory_entry& entry : fs::directory_iterator(docsFolder())) {
    if (entry.path().extension() == ".md") found.push_back(entry.path());
  }
  return found;
}

/// "0022: 00 x 251 ; note" of a block that names its golden file.
struct HexLine {
  std::string file;
  size_t offset = 0;
  Bytes bytes;
  std::string text;
};

Bytes bytesOfLine(const std::string& hex) {
  const size_t times = hex.find(" x ");
  if (times == std::string::npos) return fromHex(hex);
  const Bytes one = fromHex(hex.substr(0, times));
  return Bytes(std::stoul(hex.substr(times + 3)), one.at(0));
}

HexLine parseHexLine(const std::string& file, const std::string& text) {
  static const std::regex kForm("([0-9A-F]{4}): ((?:[0-9A-F]{2} +)+|[0-9A-F]{2} x [0-9]+ +); .+");
  std::smatch parts;
  EXPECT_TRUE(std::regex_match(text, parts, kForm)) << text;
  if (parts.empty()) return {file, 0, {}, text};
  return {file, std::stoul(parts[1], nullptr, 16), bytesOfLine(parts[2]), text};
}

std::vector<HexLine> hexLinesOf(const std::string& page) {
  static const std::string kFence = "```";
  std::vector<HexLine> found;
  std::istringstream lines(textOf(docsFolder() / page));
  std::string file;
  for (std::string line; std::getline(lines, line);) {
    if (line.rfind(kFence, 0) == 0) {
      const bool opensHex = line.rfind(kFence + "hex ", 0) == 0;
      file = opensHex ? line.substr(line.find(' ') + 1) : "";
    } else if (!file.empty()) {
      found.push_back(parseHexLine(file, line));
    }
  }
  return found;
}

/// What the library makes of the text that the page about drawings codes.
Bytes codedExample() {
  std::string text;
  while (text.size() < 39) text += "abc";
  text += "d";
  kx_gen::CCompression coder;
  unsigned char* coded = nullptr;
  unsigned long size = 0;
  coder.Compress(reinterpret_cast<unsigned char*>(text.data()),
                 static_cast<unsigned long>(text.size()), coded, &size);
  return bytesOf(coded, size);
}

/// The file that a block of hex is from.
Bytes fileOf(const std::string& name) {
  return name == "coded-example" ? codedExample() : golden(name);
}

/// The bytes of a page's lines about one file, which must follow one another without a gap.
Bytes walkedBytes(const std::string& page, const std::string& file) {
  Bytes walked;
  for (const HexLine& line : hexLinesOf(page)) {
    if (line.file != file) continue;
    EXPECT_EQ(line.offset, walked.size()) << line.text;
    walked.insert(walked.end(), line.bytes.begin(), line.bytes.end());
  }
  return walked;
}

/// Every match of the first group of `form` in a text.
std::set<std::string> matchesIn(const std::string& text, const std::string& form) {
  const std::regex wanted(form);
  std::set<std::string> found;
  for (std::sregex_iterator at(text.begin(), text.end(), wanted), end; at != end; ++at) {
    found.insert((*at)[1]);
  }
  return found;
}

/// The anchor that a heading gets: lower case, dashes for blanks, punctuation dropped.
std::string anchorOf(const std::string& heading) {
  std::string anchor;
  for (const char c : heading) {
    const auto byte = static_cast<unsigned char>(c);
    if (std::isalnum(byte) != 0 || c == '-' || c == '_') {
      anchor += static_cast<char>(std::tolower(byte));
    } else if (c == ' ') {
      anchor += '-';
    }
  }
  return anchor;
}

bool hasAnchor(const fs::path& page, const std::string& anchor) {
  std::istringstream lines(textOf(page));
  for (std::string line; std::getline(lines, line);) {
    const size_t title = line.find_first_not_of('#');
    if (title == 0 || title == std::string::npos) continue;
    if (anchorOf(line.substr(title + 1)) == anchor) return true;
  }
  return false;
}

/// The blocks of one language on a page.
std::vector<std::string> blocksOf(const std::string& page, const std::string& language) {
  std::vector<std::string> found;
  std::istringstream lines(textOf(docsFolder() / page));
  bool isWanted = false;
  for (std::string line; std::getline(lines, line);) {
    if (line.rfind("```", 0) == 0) {
      isWanted = line == "```" + language;
      if (isWanted) found.emplace_back();
    } else if (isWanted) {
      found.back() += line + '\n';
    }
  }
  return found;
}

/// All sources of the tests, without blanks and line ends.
std::string testSources() {
  std::string sources;
  for (const auto& entry : fs::recursive_directory_iterator(sourceFolder() / "tests")) {
    if (entry.path().extension() == ".cpp") sources += textOf(entry.path());
  }
  const auto isSpace = [](unsigned char c) { return std::isspace(c) != 0; };
  sources.erase(std::remove_if(sources.begin(), sources.end(), isSpace), sources.end());
  return sources;
}

class FormatPageTest : public ::testing::TestWithParam<const char*> {};

TEST_P(FormatPageTest, EveryHexLineStandsInItsFile) {
  const std::vector<HexLine> lines = hexLinesOf(GetParam());
  ASSERT_FALSE(lines.empty());
  for (const HexLine& line : lines) {
    const Bytes file = fileOf(line.file);
    ASSERT_LE(line.offset + line.bytes.size(), file.size()) << line.text;
    EXPECT_EQ(slice(file, line.offset, line.bytes.size()), line.bytes) << line.text;
  }
}

TEST_P(FormatPageTest, EveryConstantThatItNamesIsInTheFormatHeader) {
  const std::string header = textOf(sourceFolder() / "fileio" / "include" / "KxFormat.h");
  const std::set<std::string> names =
      matchesIn(textOf(docsFolder() / GetParam()), "`(k[A-Z]\\w*)`");
  ASSERT_FALSE(names.empty());
  const std::set<std::string> defined = matchesIn(header, R"(\b(k[A-Z]\w*)\b)");
  for (const std::string& name : names) EXPECT_EQ(defined.count(name), 1u) << name;
}

TEST_P(FormatPageTest, ThePageAndTheFormatHeaderPointAtEachOther) {
  const std::string page = GetParam();
  EXPECT_NE(textOf(docsFolder() / page).find("(../fileio/include/KxFormat.h)"), std::string::npos);
  EXPECT_NE(textOf(sourceFolder() / "fileio/include/KxFormat.h").find("docs/" + page),
            std::string::npos);
}

INSTANTIATE_TEST_SUITE_P(Docs, FormatPageTest,
                         ::testing::Values("format-outline.md", "format-memory-outline.md",
                                           "format-category.md", "format-drawing.md"));

TEST(DocsTest, TheOutlinePageWalksThroughAWholeFile) {
  EXPECT_EQ(walkedBytes("format-outline.md", "outline-deleted-ids"), golden("outline-deleted-ids"));
}

TEST(DocsTest, TheDrawingPageWalksThroughAWholeDrawing) {
  EXPECT_EQ(walkedBytes("format-drawing.md", "drawing-1"), golden("drawing-1"));
}

TEST(DocsTest, TheMemoryOutlinePageWalksThroughAWholeFile) {
  EXPECT_EQ(walkedBytes("format-memory-outline.md", "memory-outline"), golden("memory-outline"));
}

TEST(DocsTest, TheCategoryPageWalksThroughAWholeFile) {
  EXPECT_EQ(walkedBytes("format-category.md", "category-v1"), golden("category-v1"));
}

TEST(DocsTest, TheDrawingPageWalksThroughAWholeCodedBlock) {
  EXPECT_EQ(walkedBytes("format-drawing.md", "coded-example"), codedExample());
}

TEST(DocsTest, EveryLinkLeadsToAFileAndAHeading) {
  for (const fs::path& page : pages()) {
    for (const std::string& link : matchesIn(textOf(page), R"re(\]\(([^)]+)\))re")) {
      if (link.rfind("http", 0) == 0) continue;
      const size_t hash = std::min(link.find('#'), link.size());
      const fs::path target = hash == 0 ? page : page.parent_path() / link.substr(0, hash);
      EXPECT_TRUE(fs::exists(target)) << page << " links to " << link;
      if (hash == link.size() || !fs::exists(target)) continue;
      EXPECT_TRUE(hasAnchor(target, link.substr(hash + 1))) << page << " links to " << link;
    }
  }
}

TEST(DocsTest, TheIndexNamesEveryPage) {
  const std::string index = textOf(docsFolder() / "README.md");
  for (const fs::path& page : pages()) {
    const std::string name = page.filename().string();
    if (name == "README.md") continue;
    EXPECT_NE(index.find("](" + name + ")"), std::string::npos) << name;
  }
}

TEST(DocsTest, EveryTestThatHoldsAPeculiarityExists) {
  const std::string sources = testSources();
  const std::set<std::string> names =
      matchesIn(textOf(docsFolder() / "behaviour.md"), R"(`(\w+Test\.\w+)`)");
  ASSERT_FALSE(names.empty());
  for (const std::string& name : names) {
    const size_t dot = name.find('.');
    const std::string declared = '(' + name.substr(0, dot) + ',' + name.substr(dot + 1) + ')';
    EXPECT_NE(sources.find(declared), std::string::npos) << name;
  }
}

TEST(DocsTest, EveryPeculiarityIsHeldByATest) {
  std::istringstream lines(textOf(docsFolder() / "behaviour.md"));
  int count = 0;
  for (std::string line; std::getline(lines, line);) {
    if (line.rfind("| ", 0) != 0 || line == "| what holds | held by |") continue;
    ++count;
    const std::string heldBy = line.substr(line.rfind(" | ") + 3);
    EXPECT_FALSE(matchesIn(heldBy, R"(`(\w+Test\.\w+)`)").empty()) << line;
  }
  EXPECT_GT(count, 0);
}

TEST(DocsTest, ThePythonOfTheFlatPageStandsInTheExample) {
  const fs::path folder = sourceFolder() / "examples" / "python";
  const std::string example = textOf(folder / "kx_fileio.py") + textOf(folder / "outline.py");
  const std::vector<std::string> blocks = blocksOf("flat-interface.md", "python");
  ASSERT_FALSE(blocks.empty());
  for (const std::string& block : blocks) {
    EXPECT_NE(example.find(block), std::string::npos) << block;
  }
}

TEST(DocsTest, EveryFunctionThatTheFlatPageNamesIsDeclared) {
  const fs::path folder = sourceFolder() / "fileio" / "include";
  const std::set<std::string> declared = matchesIn(
      textOf(folder / "RV_FileIO.h") + textOf(folder / "MemAPI.h"), R"(\b((?:RV_|KX_|Mem)\w+))");
  const std::set<std::string> named =
      matchesIn(textOf(docsFolder() / "flat-interface.md"), R"(`((?:RV_|KX_|Mem)[A-Za-z]\w*))");
  ASSERT_FALSE(named.empty());
  for (const std::string& name : named) EXPECT_EQ(declared.count(name), 1u) << name;
}

/// The functions in the table of calls of the page about porting.
std::set<std::string> callsOfPortingPage() {
  const std::string page = textOf(docsFolder() / "porting.md");
  const size_t start = page.find("| subject | functions |");
  const size_t end = page.find("\n\n", start);
  return matchesIn(page.substr(start, end - start), R"(`(\w+)`)");
}

TEST(DocsTest, ThePortingPageNamesEveryCallOfThePlatformFolder) {
  const fs::path platform = sourceFolder() / "fileio" / "platform";
  const std::string headers = textOf(platform / "posix" / "WinApi.h") +
                              textOf(platform / "posix" / "WinGdi.h") +
                              textOf(platform / "FileSearch.h") + textOf(platform / "LocalTime.h");
  const std::set<std::string> declared = matchesIn(headers, R"((?:^|\n)[A-Za-z_]+ (\w+)\((?!\*))");
  const std::set<std::string> named = callsOfPortingPage();
  ASSERT_GT(declared.size(), 50u);
  for (const std::string& name : declared) EXPECT_EQ(named.count(name), 1u) << name;
  for (const std::string& name : named) EXPECT_EQ(declared.count(name), 1u) << name;
}

}  // namespace
}  // namespace kx_test
