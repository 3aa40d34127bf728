#include <gmock/gmock.h>

#include "ToolTest.h"

namespace kxo_test {
namespace {

using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::StartsWith;

// NOLINTNEXTLINE(misc-unused-using-decls): the check does not see literals
using std::string_literals::operator""s;

struct BadFile {
  std::string bytes;
  std::string place;  ///< What follows "in.opml: ".
};

std::ostream& operator<<(std::ostream& out, const BadFile& file) { return out << file.bytes; }

class Malformed : public ToolTest, public ::testing::WithParamInterface<BadFile> {};

TEST_P(Malformed, XmlIsRefusedInOneLineWithItsPlace) {
  const ProgramRun run = Import(GetParam().bytes);
  EXPECT_EQ(run.exitCode, 3);
  EXPECT_EQ(run.out, "");
  EXPECT_THAT(LinesOf(run.err), ElementsAre(StartsWith("kxo: in.opml: " + GetParam().place)));
  EXPECT_THAT(UserFiles(), ElementsAre("in.opml"));
}

const BadFile kBadFiles[] = {
    {"", "malformed XML at line 1, column 1: no element at all"},
    {"just text", "malformed XML at line 1, column 1: text outside the document's element"},
    {"<opml>\n<body>\n", "malformed XML at line 2, column 7: Start-end tags mismatch"},
    {"<opml>\n<body>\n</opml>", "malformed XML at line 3, column 3: Start-end tags mismatch"},
    {"<opml><body><outline text=\"a/></body></opml>", "malformed XML at line 1, column "},
    {"<opml><body><outline text=a/></body></opml>", "malformed XML at line 1, column 27: "},
    {"<opml><body>\r\n  <outline text=\"1\"\r\n    <outline/></body></opml>",
     "malformed XML at line 3, column 5: "},
    {"<opml>\xE6\x97\xA5\xE6\x9C\xAC<</opml>", "malformed XML at line 1, column 10: "},
    {"<opml><body/></opml>\n<opml/>",
     "malformed XML at line 2, column 1: a second element <opml> at the top"},
    {"<opml><body/></opml>\ntail",
     "malformed XML at line 2, column 1: text outside the document's element"},
    {"<opml><body>\n<outline text=\"1\" text=\"2\"/></body></opml>",
     "malformed XML at line 2, column 1: an element has the attribute text twice"},
    {"<opml><body><outline text=\"a\0b\"/></body></opml>"s,
     "malformed XML at line 1, column 29: a null character; remove it"},
    {"<opml><body>\n<outline text=\"R&D\"/></body></opml>",
     "malformed XML at line 2, column 17: this & begins no reference that XML knows; "
     "write &amp; for a plain &"},
    {"<opml><body><outline text=\"&nbsp;\"/></body></opml>",
     "malformed XML at line 1, column 28: this & begins no reference"},
    {"<opml><body><outline text=\"&#0;\"/></body></opml>", "malformed XML at line 1, column 28: "},
    {"<opml><body><outline text=\"&#xD800;\"/></body></opml>",
     "malformed XML at line 1, column 28: "},
    {"<opml><body><outline text=\"&#x110000;\"/></body></opml>",
     "malformed XML at line 1, column 28: "},
    {"<opml><body><outline text=\"&#12a;\"/></body></opml>",
     "malformed XML at line 1, column 28: "},
    {"<opml><body><outline text=\"&#99999999999999999999;\"/></body></opml>",
     "malformed XML at line 1, column 28: "},
    {"<opml><body><outline text=\"&;\"/></body></opml>", "malformed XML at line 1, column 28: "},
    {"<?xml version=\"1.0\"?>\n<rss version=\"2.0\"/>",
     "not OPML at line 2, column 1: its element is <rss>, not <opml>"},
    {"<opml><head/></opml>", "not OPML at line 1, column 1: it has no <body>"},
};

INSTANTIATE_TEST_SUITE_P(Files, Malformed, ::testing::ValuesIn(kBadFiles));

using WellFormed = ToolTest;

TEST_F(WellFormed, AmpersandsWhereXmlHasNoReferencesAreNoTrouble) {
  const ProgramRun run = Import(
      "<?xml version=\"1.0\"?><?note a & b?>\n<!DOCTYPE opml [<!ENTITY x \"&y;\">]>\n"
      "<!-- R&D --><opml><head><title><![CDATA[R&D]]></title></head><body/></opml>");
  EXPECT_EQ(run.exitCode, 0) << run.err;
  EXPECT_EQ(ReadDocument().title, L"R&D");
}

TEST_F(WellFormed, ADoctypeWithoutASubsetIsNoTrouble) {
  EXPECT_EQ(Import("<!DOCTYPE opml SYSTEM \"a&b\"><opml><body/></opml>").exitCode, 0);
}

TEST_F(WellFormed, EveryCutOfAFileIsRefusedOrRead) {
  const std::string whole = OpmlText(R"(<outline text="a &amp; b" _note="n"><!-- c --></outline>)");
  const size_t lastNeeded = whole.rfind('>');
  for (size_t length = 0; length <= lastNeeded; length += 3) {
    const ProgramRun run = Import(whole.substr(0, length), {"--force"});
    EXPECT_EQ(run.exitCode, 3) << length;
    EXPECT_THAT(LinesOf(run.err), ElementsAre(HasSubstr(" at line "))) << length;
  }
}

}  // namespace
}  // namespace kxo_test
