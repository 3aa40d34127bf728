#include <gmock/gmock.h>

#include "Kept.h"
#include "TestPlaces.h"
#include "ToolTest.h"

namespace kxo_test {
namespace {

using ::testing::HasSubstr;
using ::testing::Not;

using kx_gen::COutlineDB;

class Html : public ToolTest {
 protected:
  std::string PageOf(const std::string& document) {
    const ProgramRun run = Kxo({"export", document, "--to", "html"});
    EXPECT_EQ(run.exitCode, 0) << run.err;
    err_ = run.err;
    return run.out;
  }
  std::string err_;
};

TEST_F(Html, DocumentsAreWrittenAsTheyAreKept) {
  const auto example = kx_test::sourceFolder() / "examples" / "field-guide.opml";
  EXPECT_EQ(Kxo({"import", example.string(), "-o", "guide.kxo"}).exitCode, 0);
  EXPECT_EQ(PageOf("guide.kxo"), Kept("field-guide-export.html"));
  for (const char* name : {"outline-all-fields", "outline-deleted-ids", "outline-empty",
                           "outline-unknown", "outline-unknown-edited"}) {
    WriteGolden(name, User("a.kxo").string());
    EXPECT_EQ(PageOf("a.kxo"), Kept(std::string(name) + ".html")) << name;
    EXPECT_EQ(err_, "") << name;
  }
}

TEST_F(Html, AllTextIsEscaped) {
  WriteDocument("a.kxo", [](COutlineDB& db) {
    db.SetOutlineTitle(L"</title><script>alert(1)</script>");
    AddRow(db, 0, L"<img src=x onerror=alert(2)> & \"quoted\"").SetNote(L"</div></details><b>");
  });
  const std::string page = PageOf("a.kxo");
  EXPECT_THAT(page,
              HasSubstr("<title>&lt;/title&gt;&lt;script&gt;alert(1)&lt;/script&gt;</title>"));
  EXPECT_THAT(page, HasSubstr("<h1>&lt;/title&gt;&lt;script&gt;"));
  EXPECT_THAT(page, HasSubstr("&lt;img src=x onerror=alert(2)&gt; &amp; \"quoted\""));
  EXPECT_THAT(page, HasSubstr("&lt;/div&gt;&lt;/details&gt;&lt;b&gt;"));
  EXPECT_THAT(page, Not(HasSubstr("<script")));
}

TEST_F(Html, ItemsAreFoldedAsTheDocumentHasThem) {
  WriteDocument("a.kxo", [](COutlineDB& db) {
    AddRow(db, 0, L"open");
    AddRow(db, 1, L"below");
    AddRow(db, 0, L"folded").SetExpanded(false);
    AddRow(db, 1, L"hidden");
    AddRow(db, 0, L"").SetChecked(true);
  });
  const std::string page = PageOf("a.kxo");
  EXPECT_THAT(page, HasSubstr("<details class=\"item\" open=\"\"><summary class=\"line\">"
                              "<span class=\"text\" dir=\"auto\">open</span></summary>"));
  EXPECT_THAT(page, HasSubstr("<details class=\"item\"><summary class=\"line\">"
                              "<span class=\"text\" dir=\"auto\">folded</span></summary>"));
  EXPECT_THAT(page, HasSubstr("<div class=\"line done\"><span class=\"check\">\u2713</span>"
                              "<span class=\"text\" dir=\"auto\"></span></div>"));
}

TEST_F(Html, ThePageNeedsNothingElse) {
  WriteGolden("outline-all-fields", User("a.kxo").string());
  const std::string page = PageOf("a.kxo");
  EXPECT_THAT(page, HasSubstr("src=\"data:image/png;base64,"));
  for (const char* outside : {"http:", "https:", "url(", "<link", "<script", "@import"}) {
    EXPECT_THAT(page, Not(HasSubstr(outside))) << outside;
  }
}

TEST_F(Html, WhatIsNoCharacterIsReplacedAndCounted) {
  WriteDocument("a.kxo", [](COutlineDB& db) { AddRow(db, 0, L"bell \x07"); });
  EXPECT_THAT(PageOf("a.kxo"), HasSubstr("bell \uFFFD"));
  EXPECT_THAT(err_, HasSubstr("not carried: 1 character that such a file cannot hold"));
}

TEST_F(Html, ThereIsNoWayBack) {
  WriteUserFile("a.html", "<html></html>");
  EXPECT_EQ(Kxo({"import", "a.html", "--from", "html"}).exitCode, 2);
}

}  // namespace
}  // namespace kxo_test
