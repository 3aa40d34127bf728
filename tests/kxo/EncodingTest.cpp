#include <gmock/gmock.h>

#include "ToolTest.h"

namespace kxo_test {
namespace {

using ::testing::ElementsAre;
using ::testing::HasSubstr;

// NOLINTNEXTLINE(misc-unused-using-decls): the check does not see literals
using std::string_literals::operator""s;

class Encodings : public ToolTest {
 protected:
  /// The text of the only headline of a file with these bytes.
  std::wstring TextIn(const std::string& bytes) {
    const ProgramRun run = Import(bytes, {"--force"});
    EXPECT_EQ(run.exitCode, 0) << run.err;
    err_ = run.err;
    const StoredDocument document = ReadDocument();
    EXPECT_EQ(document.rows.size(), 1u);
    return document.rows.empty() ? L"" : document.rows[0].text;
  }

  std::string err_;
};

std::string Headline(const std::string& text) {
  return "<opml><body><outline text=\"" + text + "\"/></body></opml>";
}

std::string Labelled(const std::string& encoding, const std::string& text) {
  return R"(<?xml version="1.0" encoding=")" + encoding + "\"?>" + Headline(text);
}

std::string Utf16(const std::u16string& text, bool bigEndian) {
  std::string bytes;
  for (const char16_t unit : text) {
    const char low = static_cast<char>(unit & 0xFF);
    const char high = static_cast<char>(unit >> 8);
    bytes += bigEndian ? high : low;
    bytes += bigEndian ? low : high;
  }
  return bytes;
}

std::u16string Wide(const std::string& ascii) { return {ascii.begin(), ascii.end()}; }

TEST_F(Encodings, Utf8IsReadWithAndWithoutMarkAndLabel) {
  const std::string text = "h\u00E9ron \u65E5 \U0001F426";
  const std::wstring expected = L"h\u00E9ron \u65E5 \U0001F426";
  EXPECT_EQ(TextIn(Headline(text)), expected);
  EXPECT_EQ(TextIn("\xEF\xBB\xBF" + Headline(text)), expected);
  EXPECT_EQ(TextIn(Labelled("UTF-8", text)), expected);
  EXPECT_EQ(TextIn("\xEF\xBB\xBF" + Labelled("utf8", text)), expected);
}

TEST_F(Encodings, Utf16IsReadInBothOrders) {
  const std::u16string file = Wide(R"(<?xml version="1.0" encoding="UTF-16"?>)") +
                              Wide("<opml><body><outline text=\"") + u"h\u00E9ron \U0001F426" +
                              Wide("\"/></body></opml>");
  for (const bool bigEndian : {false, true}) {
    EXPECT_EQ(TextIn(Utf16(u"\uFEFF" + file, bigEndian)), L"h\u00E9ron \U0001F426");
    EXPECT_EQ(TextIn(Utf16(file, bigEndian)), L"h\u00E9ron \U0001F426");
  }
}

TEST_F(Encodings, AByteOrderMarkOutweighsTheLabel) {
  EXPECT_EQ(TextIn("\xEF\xBB\xBF" + Labelled("windows-1252", "\u20AC")), L"\u20AC");
}

TEST_F(Encodings, ALabelThatCannotBeTrueIsTakenForUtf8) {
  EXPECT_EQ(TextIn(Labelled("UTF-16", "\u20AC")), L"\u20AC");
}

TEST_F(Encodings, Windows1252IsReadUnderAllItsNamesAndThoseOfItsSubsets) {
  for (const char* label : {"windows-1252", "CP1252", "x-cp1252", "ISO-8859-1", "iso8859-1",
                            "ISO_8859-1", "latin1", "US-ASCII", "ascii"}) {
    EXPECT_EQ(TextIn(Labelled(label, "\x80 \x92 \xE9")), L"\u20AC \u2019 \u00E9") << label;
    EXPECT_EQ(err_, "kxo: in.kxo: written, 1 item\n");
  }
}

TEST_F(Encodings, AllOf1252IsRead) {
  std::string upper;
  for (int byte = 0x80; byte < 0x100; ++byte) upper += static_cast<char>(byte);
  std::wstring expected =
      L"\u20AC\x81\u201A\u0192\u201E\u2026\u2020\u2021\u02C6\u2030\u0160\u2039\u0152\x8D\u017D\x8F"
      L"\x90\u2018\u2019\u201C\u201D\u2022\u2013\u2014\u02DC\u2122\u0161\u203A\u0153\x9D\u017E"
      L"\u0178";
  for (wchar_t c = 0xA0; c < 0x100; ++c) expected += c;
  EXPECT_EQ(TextIn(Labelled("windows-1252", upper)), expected);
}

TEST_F(Encodings, OtherEncodingsAreReadByTheirNames) {
  EXPECT_EQ(TextIn(Labelled("KOI8-R", "\xF7\xCF\xC4\xC1")), L"\u0412\u043E\u0434\u0430");
  EXPECT_EQ(TextIn(Labelled("ISO-8859-15", "\xA4")), L"\u20AC");
  EXPECT_EQ(TextIn(Labelled("Shift_JIS", "\x93\xFA\x96\x7B")), L"\u65E5\u672C");
  EXPECT_EQ(TextIn(Labelled("macintosh", "\x8E")), L"\u00E9");
}

TEST_F(Encodings, LongFilesInOtherEncodingsAreReadWhole) {
  EXPECT_EQ(TextIn(Labelled("KOI8-R", std::string(200000, '\xC1'))),
            std::wstring(200000, L'\u0430'));
}

TEST_F(Encodings, UnlabelledFilesThatAreNotUtf8AreReadAsWindows1252AndThatIsTold) {
  EXPECT_EQ(TextIn(Headline("caf\xE9 \x96 5 \x80")), L"caf\u00E9 \u2013 5 \u20AC");
  EXPECT_THAT(err_,
              HasSubstr("in.opml: names no encoding and is not UTF-8: read as Windows-1252\n"));
}

TEST_F(Encodings, UnlabelledFilesAreReadInTheCodePageThatTheUserNames) {
  EXPECT_EQ(Import(Headline("\xCF\xF0\xE8"), {"--codepage", "1251"}).err,
            "kxo: in.kxo: written, 1 item\n");
  EXPECT_EQ(Kxo({"show", "in.kxo", "--codepage", "1251"}).out, "Untitled\n- \u041F\u0440\u0438\n");
  WriteUserFile("in.txt", "\xCF\xF0\xE8\n");
  EXPECT_EQ(Kxo({"import", "in.txt", "--force", "--codepage", "1251"}).exitCode, 0);
  EXPECT_EQ(Kxo({"show", "in.kxo", "--codepage", "1251"}).out, "Untitled\n- \u041F\u0440\u0438\n");
  const ProgramRun run = Kxo({"import", "in.txt", "--force", "--codepage", "65001"});
  EXPECT_EQ(run.exitCode, 3);
  EXPECT_THAT(run.err, HasSubstr("damaged at offset 0: the bytes there are not UTF-8"));
}

TEST_F(Encodings, TheLabelMayStandInSingleQuotesAndBehindBlanks) {
  EXPECT_EQ(TextIn("\n <?xml version='1.0' encoding = 'latin1' ?>" + Headline("\xE9")), L"\u00E9");
}

TEST_F(Encodings, BytesThatAreNotTheNamedEncodingAreRefusedWithTheirPlace) {
  const auto refusal = [this](const std::string& bytes) {
    const ProgramRun run = Import(bytes, {"--force"});
    EXPECT_EQ(run.exitCode, 3);
    return run.err;
  };
  const std::string advice = "; name the right encoding in its first line, or save it as UTF-8\n";
  EXPECT_EQ(refusal(Labelled("UTF-8", "\xE9")),
            "kxo: in.opml: damaged at offset 65: the bytes there are not UTF-8" + advice);
  EXPECT_EQ(refusal("\xEF\xBB\xBF\xC0\x80"),
            "kxo: in.opml: damaged at offset 3: the bytes there are not UTF-8" + advice);
  EXPECT_EQ(refusal(Labelled("UTF-8", "\xED\xA0\x80")),
            "kxo: in.opml: damaged at offset 65: the bytes there are not UTF-8" + advice);
  EXPECT_EQ(refusal("\xFF\xFE<\0o"s),
            "kxo: in.opml: damaged at offset 4: the bytes there are not UTF-16" + advice);
  EXPECT_EQ(refusal("\xFE\xFF\0<\xDC\0"s),
            "kxo: in.opml: damaged at offset 4: the bytes there are not UTF-16" + advice);
  EXPECT_EQ(refusal("\xFF\xFE<\0\0\xD8>\0"s),
            "kxo: in.opml: damaged at offset 4: the bytes there are not UTF-16" + advice);
  EXPECT_EQ(refusal(Labelled("Shift_JIS", "\x93")),
            "kxo: in.opml: damaged at offset 69: the bytes there are not shift_jis" + advice);
  EXPECT_THAT(UserFiles(), ElementsAre("in.opml"));
}

TEST_F(Encodings, AnUnknownEncodingIsRefusedByName) {
  const ProgramRun run = Import(Labelled("Klingon-1", "x"));
  EXPECT_EQ(run.exitCode, 3);
  EXPECT_EQ(run.err,
            "kxo: in.opml: the encoding klingon-1 is not known here; save the file as UTF-8\n");
  const ProgramRun odd = Import(Labelled("utf-8//IGNORE", "x"));
  EXPECT_EQ(odd.exitCode, 3);
  EXPECT_EQ(odd.err,
            "kxo: in.opml: 'utf-8//ignore' is no name of an encoding; save the file as UTF-8\n");
}

}  // namespace
}  // namespace kxo_test
