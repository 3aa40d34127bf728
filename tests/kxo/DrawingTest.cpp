// Drawings of items, out and in as picture files.
#include <gmock/gmock.h>

#include <fstream>

#include "EditTool.h"
#include "KxFormat.h"
#include "Pictures.h"

namespace kxo_test {
namespace {

using ::testing::ElementsAre;
using ::testing::HasSubstr;

using kx_gen::COutlineDB;
using kx_test::Bytes;

class Drawing : public EditTool {
 protected:
  void WritePicture(const std::string& name, const Bytes& bytes) const {
    WriteUserFile(name, {reinterpret_cast<const char*>(bytes.data()), bytes.size()});
  }
  Bytes Picture(const std::string& name) const { return kx_test::bytesOf(UserFile(name)); }

  /// The block of an item's drawing; empty without one.
  Bytes BlockOf(unsigned long row) const {
    Bytes block;
    Look([&](COutlineDB& db) {
      if (!RowOf(db, row).HasDrawing()) return;
      block = kx_test::valueOf(RowOf(db, row).getTaggedDataManager(), kx_gen::format::kTagDrawing);
    });
    return block;
  }
  /// The bitmap that the library gives for it.
  Bytes DibOf(unsigned long row) const {
    const Bytes block = BlockOf(row);
    return block.empty() ? Bytes() : kx_test::dataOf(kx_test::dibOf(block));
  }
};

TEST_F(Drawing, APictureFileOfEveryDepthBecomesADrawingAndComesBack) {
  for (const uint16_t bits : {1, 4, 8, 24}) {
    const Bytes dib = kx_test::picture(19, 7, bits);
    WritePicture("in.bmp", kx_test::bmpFile(dib));
    EXPECT_EQ(Edited({"drawing", "set", "plan.kxo", "4", "in.bmp"}).err,
              "kxo: plan.kxo: set the drawing of item 4, 19 by 7 pixels\n");
    EXPECT_EQ(BlockOf(3), kx_test::drawingOf(dib)) << bits;

    const ProgramRun out = Beside({"drawing", "get", "plan.kxo", "4", "-o", "out.bmp", "--force"});
    EXPECT_EQ(out.exitCode, 0);
    EXPECT_EQ(out.err, "kxo: out.bmp: written, 19 by 7 pixels\n");
    EXPECT_EQ(Picture("out.bmp"), kx_test::bmpFile(dib)) << bits;

    EXPECT_EQ(Beside({"drawing", "get", "plan.kxo", "4", "-o", "out.png", "--force"}).exitCode, 0);
    Edited({"drawing", "set", "plan.kxo", "5", "out.png"});
    EXPECT_EQ(BlockOf(4), BlockOf(3)) << bits;
  }
}

TEST_F(Drawing, StandardStreamsCarryPictures) {
  WritePicture("in.bmp", kx_test::bmpFile(kx_test::picture(5, 4, 8)));
  options_.input = User("in.bmp");
  Edited({"drawing", "set", "plan.kxo", "1", "-"});
  options_.input.clear();
  const ProgramRun run = Kxo({"drawing", "get", "plan.kxo", "1", "-o", "-"});
  EXPECT_EQ(run.exitCode, 0);
  EXPECT_EQ(run.err, "");
  EXPECT_EQ(Kxo({"drawing", "get", "plan.kxo", "1", "-o", "out.png"}).exitCode, 0);
  EXPECT_EQ(run.out, UserFile("out.png"));
}

TEST_F(Drawing, ADrawingIsMarkedForSynchronisation) {
  WritePicture("in.bmp", kx_test::bmpFile(kx_test::picture(5, 4, 8)));
  Edited({"drawing", "set", "plan.kxo", "2", "in.bmp"});
  EXPECT_TRUE(MarksOf(1).changed);
  EXPECT_THAT(MarksOf(1).fields, ElementsAre("drawing"));
  EXPECT_TRUE(IsOutlineChanged());
  EXPECT_EQ(Beside({"drawing", "set", "plan.kxo", "2", "in.bmp"}).err,
            "kxo: plan.kxo: nothing to change\n");
  Edited({"set", "plan.kxo", "2", "--check"});
  EXPECT_THAT(MarksOf(1).fields, ElementsAre("checked", "drawing"));
  Change([](COutlineDB& db) {
    ClearMarks(RowOf(db, 1));
    db.SetOutlineChanged(false);
  });

  EXPECT_EQ(Edited({"drawing", "remove", "plan.kxo", "2"}).err,
            "kxo: plan.kxo: removed the drawing of item 2\n");
  EXPECT_EQ(BlockOf(1), Bytes());
  EXPECT_TRUE(MarksOf(1).changed) << "though no field is left to be marked";
  EXPECT_TRUE(IsOutlineChanged());
  EXPECT_EQ(Beside({"drawing", "remove", "plan.kxo", "2"}).err,
            "kxo: plan.kxo: nothing to change\n");
}

TEST_F(Drawing, APictureIsScaledDownKeepingItsProportions) {
  WritePicture("in.bmp", kx_test::bmpFile(kx_test::picture(100, 40, 8)));
  const std::vector<std::pair<std::string, std::string>> sizes = {
      {"50x50", "50 by 20"},      {"200x20", "50 by 20"}, {"100x40", "100 by 40"},
      {"1000x1000", "100 by 40"}, {"1X1", "1 by 1"},      {"30x1000", "30 by 12"}};
  for (const auto& [most, size] : sizes) {
    EXPECT_EQ(Beside({"drawing", "set", "plan.kxo", "1", "in.bmp", "--max", most, "--dry-run"}).err,
              "kxo: plan.kxo: would have set the drawing of item 1, " + size +
                  " pixels; nothing is written\n")
        << most;
  }
  Edited({"drawing", "set", "plan.kxo", "1", "in.bmp", "--max", "50x50"});
  EXPECT_EQ(kx_test::pixelsOf(DibOf(0)).size(), 50u * 20u);
  Edited({"drawing", "set", "plan.kxo", "1", "in.bmp", "--max", "100x40"});
  EXPECT_EQ(BlockOf(0), kx_test::drawingOf(kx_test::picture(100, 40, 8))) << "as it is";
}

TEST_F(Drawing, AScaledPictureHasTheMeanColours) {
  Bytes rows;
  for (int i = 0; i < 8; ++i) rows.insert(rows.end(), {10, 20, 30, 10, 20, 30, 0, 0});
  WritePicture("in.bmp", kx_test::bmpFile(kx_test::pictureOf(2, 8, 24, rows)));
  Edited({"drawing", "set", "plan.kxo", "1", "in.bmp", "--max", "1x4"});
  EXPECT_THAT(kx_test::pixelsOf(DibOf(0)), ElementsAre(0x1E140A, 0x1E140A, 0x1E140A, 0x1E140A));
  WritePicture("in.bmp",
               kx_test::bmpFile(kx_test::pictureOf(2, 2, 4, {0x11, 0, 0, 0, 0x11, 0, 0, 0})));
  Edited({"drawing", "set", "plan.kxo", "1", "in.bmp", "--max", "1x1"});
  const uint32_t color = kx_test::pixelsOf(kx_test::pictureOf(1, 1, 4, {0x10, 0, 0, 0}))[0];
  EXPECT_THAT(kx_test::pixelsOf(DibOf(0)), ElementsAre(color));
}

TEST_F(Drawing, WrongSizesAreTold) {
  WritePicture("in.bmp", kx_test::bmpFile(kx_test::picture(5, 4, 8)));
  for (const char* size : {"50", "0x5", "5x0", "x", "5x5x5", "-1x5", "5x", "99999999999x1"}) {
    ExpectRefused({"drawing", "set", "plan.kxo", "1", "in.bmp", std::string("--max=") + size}, 2,
                  std::string("--max ") + size + ": this is no size; write it as 640x480");
  }
}

TEST_F(Drawing, WhatIsNoPictureIsTold) {
  WriteUserFile("in.png", "no picture");
  ExpectRefused({"drawing", "set", "plan.kxo", "1", "in.png"}, 3,
                "in.png: this is no whole PNG or BMP picture; save it anew with another program");
  WriteUserFile("in.png", "\x89PNG\r\n\x1A\n and no more");
  ExpectRefused({"drawing", "set", "plan.kxo", "1", "in.png"}, 3,
                "in.png: this PNG picture is damaged; save it anew with another program");
  WritePicture("in.bmp", kx_test::bmpFile(kx_test::picture(5, 4, 8)));
  EXPECT_EQ(Beside({"drawing", "set", "plan.kxo", "9", "in.bmp"}).exitCode, 2);
  EXPECT_EQ(Beside({"drawing", "set", "plan.kxo", "1", "none.bmp"}).exitCode, 2);
}

TEST_F(Drawing, AnItemWithoutADrawingIsTold) {
  ExpectRefused({"drawing", "get", "plan.kxo", "1", "-o", "out.png"}, 1,
                "plan.kxo: item 1 has no drawing");
  EXPECT_EQ(UserFile("out.png"), "");
}

TEST_F(Drawing, ADamagedDrawingIsTold) {
  Change([](COutlineDB& db) {
    const Bytes block(20, 0xEE);
    RowOf(db, 0).getTaggedDataManager().setData(kx_gen::format::kTagDrawing, block.data(), 20,
                                                nullptr, 0);
  });
  ExpectRefused({"drawing", "get", "plan.kxo", "1", "-o", "out.png"}, 3,
                "plan.kxo: the drawing of item 1 is damaged; kxo check tells more");
  EXPECT_EQ(UserFile("out.png"), "");
  Edited({"drawing", "remove", "plan.kxo", "1"});
}

TEST_F(Drawing, APictureFileThatExistsStaysUnlessForced) {
  WritePicture("in.bmp", kx_test::bmpFile(kx_test::picture(5, 4, 8)));
  Edited({"drawing", "set", "plan.kxo", "1", "in.bmp"});
  WriteUserFile("out.png", "precious");
  const ProgramRun run = Beside({"drawing", "get", "plan.kxo", "1", "-o", "out.png"}, "out.png");
  EXPECT_EQ(run.exitCode, 2);
  EXPECT_EQ(run.err,
            "kxo: out.png: this file exists; choose another with -o, or replace it with --force\n");
  EXPECT_EQ(Kxo({"drawing", "get", "plan.kxo", "1", "-o", "out.jpg"}).err,
            "kxo: out.jpg: its name tells no format; end it in .png or .bmp, or add --format\n");
}

TEST_F(Drawing, ALockedDocumentIsTold) {
  WritePicture("in.bmp", kx_test::bmpFile(kx_test::picture(5, 4, 8)));
  kx_gen::CFile other;
  other.Open(User("plan.kxo").wstring().c_str(), kx_gen::CFile::modeReadWrite);
  EXPECT_EQ(Kxo({"drawing", "set", "plan.kxo", "1", "in.bmp"}).exitCode, 4);
  EXPECT_EQ(Kxo({"drawing", "remove", "plan.kxo", "1"}).exitCode, 4);
  EXPECT_EQ(Kxo({"drawing", "get", "plan.kxo", "1", "-o", "out.png"}).exitCode, 4);
}

TEST_F(Drawing, HelpTellsOfEachCommand) {
  const ProgramRun run = Kxo({"drawing", "--help"});
  EXPECT_EQ(run.exitCode, 0);
  for (const char* line : {"get ", "set ", "remove "}) EXPECT_THAT(run.out, HasSubstr(line));
  EXPECT_THAT(Kxo({"drawing", "set", "--help"}).out, HasSubstr("--max WxH"));
  EXPECT_EQ(Kxo({"drawing"}).exitCode, 2);
}

}  // namespace
}  // namespace kxo_test
