// Files as JSON, and back: nothing is lost, edits win, and what cannot be meant is refused.

#include "formats/Json.h"

#include <gmock/gmock.h>

#include <nlohmann/json.hpp>
#include <set>

#include "Failure.h"
#include "KxLayout.h"
#include "StoredFields.h"
#include "TestPlaces.h"
#include "salvage/Reader.h"

namespace kx_test {
namespace {

namespace format = kx_gen::format;

using kxo::Contents;
using kxo::salvage::Kind;
using nlohmann::json;
using testing::HasSubstr;
using testing::StartsWith;

class JsonTest : public KxTest {
 protected:
  static Contents Read(const std::string& file) {
    return kxo::ReadContents(file, file, kxo::salvage::GuessKind(readFile(file)));
  }
  static Contents ReadBytes(const Bytes& file) {
    writeFile("in.kxo", file);
    return Read("in.kxo");
  }
  /// The file that a JSON text makes.
  static Bytes Make(const std::string& text) {
    kxo::SaveContents("out.kxo", kxo::ReadJson("in.json", text), "out.kxo", true);
    return readFile("out.kxo");
  }
  static Contents MakeAndRead(const json& value) {
    Make(value.dump());
    return Read("out.kxo");
  }
  /// Out and in gives the same file; out, in and out the same text.
  static std::string RoundTrip(const Bytes& file) {
    std::string text = kxo::WriteJson(ReadBytes(file));
    EXPECT_EQ(Make(text), file) << text;
    EXPECT_EQ(kxo::WriteJson(Read("out.kxo")), text);
    return text;
  }
  /// What is said when this is refused.
  static std::string Refusal(const std::string& text) {
    try {
      kxo::ReadJson("in.json", text);
    } catch (const kxo::Failure& failure) {
      EXPECT_EQ(failure.GetExitCode(), kxo::kExitDamaged);
      std::string said = failure.what();
      EXPECT_EQ(said.find('\n'), std::string::npos) << said;
      return said;
    }
    return "taken";
  }
};

// --- Out and in ---

class JsonGolden : public JsonTest, public testing::WithParamInterface<const char*> {};

TEST_P(JsonGolden, GivesTheSameFileAgain) { RoundTrip(golden(GetParam())); }

INSTANTIATE_TEST_SUITE_P(Kinds, JsonGolden,
                         testing::Values("category-v1", "memory-outline",
                                         "memory-outline-all-fields", "outline-all-fields",
                                         "outline-deleted-ids", "outline-empty",
                                         "outline-unknown-edited", "outline-unknown"));

TEST_F(JsonTest, CategoriesOfAnOlderVersionAreWrittenInTheNewOne) {
  const std::string text = kxo::WriteJson(ReadBytes(golden("category-v0")));
  EXPECT_EQ(json::parse(text)["version"], 1);
  Make(text);
  EXPECT_EQ(kxo::WriteJson(Read("out.kxo")), text);
}

/// An outline of one row with this text and these tags behind it.
Bytes OneRow(const Bytes& text, const Bytes& more = {}, uint32_t flags = 0) {
  const Bytes block =
      join({plainBlock(0x80), tag(format::kTagOutlineId, le32(7), flags),
            tag(format::kTagIndent, u8(0)), tag(format::kTagExpanded, u8(1)),
            tag(format::kTagChecked, u8(0)), more, stringTag(format::kStringText, text)});
  return join({dbInfo(0, 1), headerTable({{1, 255}, {2, 512}, {3, 512}}), slot(255, {}),
               slot(512, {}), slot(512, {}), le32(0), row(block)});
}

TEST_F(JsonTest, TextsThatJsonCannotHoldComeBack) {
  const Bytes lone = narrow("a\xED\xA0\x80z");  // half of a pair, in its three-byte form
  const json text = json::parse(RoundTrip(OneRow(lone)));
  const json& item = text["items"][0];
  EXPECT_EQ(item["text"], "a\xEF\xBF\xBDz");
  EXPECT_TRUE(item.contains("storedBlock"));
  json edited = text;
  edited["items"][0]["text"] = "plain";
  EXPECT_EQ(MakeAndRead(edited).outline.GetNodes()[0].item.text, "plain");
}

TEST_F(JsonTest, ControlCharactersComeBack) {
  RoundTrip(OneRow(narrow("\x01\x07\x1B[31m\x7F\r\n\t\"\\")));
}

TEST_F(JsonTest, StoredBytesThatFieldsDoNotGiveComeBack) {
  const std::string text = RoundTrip(OneRow(narrow("caf\xC3\xA9"), {}, 0x80000000));
  EXPECT_THAT(text, HasSubstr("storedBlock"));
  RoundTrip(OneRow(join({narrow("text"), u8(1), u8(0)})));
}

TEST_F(JsonTest, FieldsThatFollowFromTheirKeysHaveNoStoredBlock) {
  const std::string text = kxo::WriteJson(ReadBytes(golden("outline-deleted-ids")));
  EXPECT_EQ(text.find("storedBlock"), std::string::npos) << text;
}

TEST_F(JsonTest, LoneUnmarkedFieldsAreToldByTheOthers) {
  const json item = json::parse(RoundTrip(OneRow(narrow("t"))))["items"][0];
  EXPECT_EQ(item["changedFields"],
            json({"flags", "sortChanged", "level", "text", "expanded", "checked"}));
}

TEST_F(JsonTest, SlotsKeepTheirSizesAndOrder) {
  const Bytes unknown = slot(20, tag(1, u8(9)));
  const Bytes file =
      join({dbInfo(0, 0), headerTable({{77, 20}, {3, 600}, {1, 255}, {2, 512}}), unknown,
            slot(600, {}), slot(255, tag(8, u8(1))), slot(512, {}), le32(0)});
  const json text = json::parse(RoundTrip(file));
  EXPECT_EQ(text["slotSizes"][0], json({{"id", 77}, {"size", 20}}));
  EXPECT_EQ(text["unknownHeaders"][0]["id"], 77);
  EXPECT_EQ(text["headers"]["conduit"]["unknownTags"][0]["id"], 8);
}

// --- Keys that are left out ---

TEST_F(JsonTest, AFileNeedsNothingButItsKind) {
  const Contents outline = MakeAndRead({{"kind", "outline"}});
  EXPECT_EQ(outline.outline.title, "Untitled");
  EXPECT_EQ(outline.outline.shared, kxo::SharedFields());
  EXPECT_EQ(outline.outline.headers, kxo::NewHeaders());
  EXPECT_EQ(kxo::WriteJson(outline),
            "{\n  \"kind\": \"outline\",\n  \"version\": 0,\n  \"items\": []\n}\n");
  EXPECT_EQ(MakeAndRead({{"kind", "memoryOutline"}}).kind, Kind::kMemory);
  EXPECT_EQ(MakeAndRead({{"kind", "category"}}).categories.lastId, 128u);
}

TEST_F(JsonTest, ItemsNeedNothing) {
  const Contents made = MakeAndRead(
      {{"kind", "outline"}, {"items", {json::object(), {{"text", "b"}, {"level", 3}}}}});
  ASSERT_EQ(made.outline.GetNodes().size(), 2u);
  EXPECT_EQ(made.outline.GetNodes()[0].item, kxo::Item());
  EXPECT_EQ(made.outline.GetNodes()[1].item.text, "b");
  EXPECT_EQ(made.outline.GetNodes()[1].level, 3u);
}

// --- The page ---

std::string TextOf(const std::filesystem::path& path) {
  const Bytes bytes = readFile(path);
  return {bytes.begin(), bytes.end()};
}

TEST_F(JsonTest, TheExamplesOfThePageMakeFilesThatGiveThemAgain) {
  const std::string page = TextOf(sourceFolder() / "docs" / "json.md");
  const std::string fence = "```json\n";
  size_t count = 0;
  for (size_t pos = page.find(fence); pos != std::string::npos; pos = page.find(fence, pos)) {
    pos += fence.size();
    const json example = json::parse(page.substr(pos, page.find("```", pos) - pos));
    Make(example.dump());
    EXPECT_EQ(json::parse(kxo::WriteJson(Read("out.kxo"))), example);
    ++count;
  }
  EXPECT_EQ(count, 2u);
}

void CollectKeys(const json& value, std::set<std::string>& keys) {
  for (const auto& [key, inner] : value.items()) {
    if (value.is_object()) keys.insert(key);
    if (inner.is_structured()) CollectKeys(inner, keys);
  }
}

TEST_F(JsonTest, ThePageNamesEveryKey) {
  const std::string page = TextOf(sourceFolder() / "docs" / "json.md");
  std::set<std::string> keys;
  for (const char* name : {"all-keys.json", "categories.json", "memory.json"}) {
    const std::string text = TextOf(sourceFolder() / "tests" / "fuzz" / "first" / name);
    EXPECT_EQ(Refusal(text), "taken");
    CollectKeys(json::parse(text), keys);
  }
  EXPECT_GT(keys.size(), 60u);
  for (const std::string& key : keys) EXPECT_THAT(page, HasSubstr("`" + key + "`"));
}

// --- Edits ---

/// Documents whose blocks are stored, because the fields do not give them.
class JsonEdit : public JsonTest {
 protected:
  void SetUp() override {
    JsonTest::SetUp();
    text_ = json::parse(
        kxo::WriteJson(ReadBytes(OneRow(narrow("caf\xC3\xA9"), tag(20, u8(5)), 0x80000000))));
    ASSERT_TRUE(text_["items"][0].contains("storedBlock"));
    ASSERT_TRUE(text_["headers"]["private"].contains("storedBlock"));
  }
  json& Item() { return text_["items"][0]; }
  kxo::Item Made() { return MakeAndRead(text_).outline.GetNodes()[0].item; }

  json text_;
};

TEST_F(JsonEdit, OfAnItemWins) {
  Item()["note"] = "added";
  Item()["checked"] = true;
  Item()["unknownTags"][0]["data"] = "AQI=";
  Item()["changedFields"] = {"text"};
  Item()["tagVersions"] = {{"text", 3}};
  const kxo::Item made = Made();
  EXPECT_EQ(made.note, "added");
  EXPECT_TRUE(made.checked);
  EXPECT_EQ(made.text, "caf\xC3\xA9");
  ASSERT_EQ(made.extras.unknownTags.size(), 1u);
  EXPECT_EQ(made.extras.unknownTags[0].data, "\1\2");
  EXPECT_EQ(made.extras.unmarked.size(), 8u - 1u);
  ASSERT_EQ(made.extras.versions.size(), 1u);
  EXPECT_EQ(made.extras.versions[0].second, 3);
}

TEST_F(JsonEdit, MayTakeOutWhatWasKept) {
  Item().erase("unknownTags");
  EXPECT_TRUE(Made().extras.unknownTags.empty());
  Item().erase("storedBlock");
  EXPECT_FALSE(Made().extras.stored.has_value());
}

TEST_F(JsonEdit, OfHeadersWins) {
  text_["title"] = "Mine";
  text_["category"] = "Work";
  text_["numbering"] = "0102030405060708090A";
  text_["view"] = {{"topIndex", 5},
                   {"font", {{"name", "Sans"}, {"height", -12}}},
                   {"window", {{"normal", {1, 2, 3, -4}}}}};
  const kxo::Outline made = MakeAndRead(text_).outline;
  EXPECT_EQ(made.title, "Mine");
  EXPECT_EQ(made.shared.category, "Work");
  EXPECT_EQ(made.shared.numbering[9], 10);
  EXPECT_EQ(made.view.topIndex, 5u);
  EXPECT_EQ(made.view.font.name, "Sans");
  EXPECT_EQ(made.view.font.height, -12);
  EXPECT_EQ(made.view.window.normal[3], -4);
}

// --- Drawings ---

class JsonDrawing : public JsonTest {
 protected:
  static json DrawingOf(const Bytes& block) {
    return json::parse(
        RoundTrip(OneRow(narrow("t"), tag(format::kTagDrawing, block))))["items"][0]["drawing"];
  }
};

TEST_F(JsonDrawing, IsAPngAndTheBlockWhereThatDoesNotGiveIt) {
  for (const char* name : {"drawing-1", "drawing-4", "drawing-8", "drawing-24"}) {
    const json drawing = DrawingOf(golden(name));
    EXPECT_TRUE(drawing.contains("png")) << name;
    EXPECT_GT(drawing["width"], 0) << name;
  }
  const Bytes damaged = join({u8(format::kDrawingVersion), zeros(20)});
  const json drawing = DrawingOf(damaged);
  EXPECT_FALSE(drawing.contains("png"));
  EXPECT_TRUE(drawing.contains("data"));
}

TEST_F(JsonDrawing, MayBeReplacedByAnotherPicture) {
  const Bytes file = OneRow(narrow("t"), tag(format::kTagDrawing, golden("drawing-24")));
  json text = json::parse(kxo::WriteJson(ReadBytes(file)));
  const json other = DrawingOf(golden("drawing-8"));
  json& drawing = text["items"][0]["drawing"];
  drawing["png"] = other["png"];
  EXPECT_THAT(Refusal(text.dump()), HasSubstr("items[0].drawing.width: expected "));
  for (const char* key : {"width", "height", "bitsPerPixel"}) drawing.erase(key);
  const Contents made = MakeAndRead(text);
  ASSERT_TRUE(made.outline.GetNodes()[0].item.drawing.has_value());
  EXPECT_EQ(made.outline.GetNodes()[0].item.drawing->width, other["width"]);
  text["items"][0]["drawing"] = nullptr;
  EXPECT_FALSE(MakeAndRead(text).outline.GetNodes()[0].item.drawing.has_value());
}

// --- Refusals ---

struct Refused {
  const char* text;
  const char* said;
};
std::ostream& operator<<(std::ostream& out, const Refused& refused) { return out << refused.text; }

class JsonRefused : public JsonTest, public testing::WithParamInterface<Refused> {};

TEST_P(JsonRefused, NamesThePlaceAndWhatWasExpected) {
  EXPECT_THAT(Refusal(GetParam().text), StartsWith(std::string("in.json: ") + GetParam().said));
}

constexpr Refused kRefused[] = {
    {"", "malformed JSON at line 1, column 1: "},
    {"{\n \"kind\": outline}", "malformed JSON at line 2, column 10: "},
    {R"({"kind":"outline"} x)", "malformed JSON at line 1, column 20: "},
    {"{\"kind\":\"outline\",\"title\":\"\xED\xA0\x80\"}", "malformed JSON at line 1, column 29: "},
    {"{\"lastId\":1e999}", "JSON that cannot be used: number overflow"},
    {"[]", "at the top level: expected an object, found a list of 0"},
    {"{}", "at the top level: expected the key kind, found an object"},
    {R"({"kind":"list"})",
     R"(at kind: expected one of outline, memoryOutline, category, found "list")"},
    {R"({"kind":3})", "at kind: expected text, found 3"},
    {R"({"kind":"outline","version":1})", "at version: expected 0, found 1"},
    {R"({"kind":"memoryOutline","version":1})", "at version: expected 10, found 1"},
    {R"({"kind":"outline","colour":"red"})", "at colour: expected no such key, found text"},
    {R"({"kind":"memoryOutline","title":"x"})", "at title: expected no such key, found text"},
    {R"({"kind":"category","deletedIds":[]})",
     "at deletedIds: expected no such key, found a list of 0"},
    {R"({"kind":"outline","items":[{"id":1,"id":1}]})",
     "at items[0].id: expected each key once, found it twice"},
    {R"({"kind":"outline","items":[{},{"txt":"a"}]})",
     "at items[1].txt: expected no such key, found text"},
    {R"({"kind":"outline","items":[{"name":"a"}]})",
     "at items[0].name: expected no such key, found text"},
    {R"({"kind":"outline","items":[{"parentId":1}]})",
     "at items[0].parentId: expected no such key, found 1"},
    {R"({"kind":"category","items":[{"text":"a"}]})",
     "at items[0].text: expected no such key, found text"},
    {R"({"kind":"outline","items":{}})", "at items: expected a list, found an object"},
    {R"({"kind":"outline","items":[null]})", "at items[0]: expected an object, found null"},
    {R"({"kind":"outline","items":[{"level":256}]})",
     "at items[0].level: expected a whole number from 0 to 255, found 256"},
    {R"({"kind":"outline","items":[{"level":-1}]})",
     "at items[0].level: expected a whole number from 0 to 255, found -1"},
    {R"({"kind":"outline","items":[{"level":1.5}]})",
     "at items[0].level: expected a whole number from 0 to 255, found 1.5"},
    {R"({"kind":"outline","items":[{"id":4294967296}]})",
     "at items[0].id: expected a whole number from 0 to 4294967295, found 4294967296"},
    {R"({"kind":"outline","items":[{"id":"1"}]})",
     "at items[0].id: expected a whole number from 0 to 4294967295, found text"},
    {R"({"kind":"outline","items":[{"text":null}]})",
     "at items[0].text: expected text, found null"},
    {R"({"kind":"outline","items":[{"text":"a\u0000b"}]})",
     "at items[0].text: expected text without U+0000, found one"},
    {R"({"kind":"outline","items":[{"checked":1}]})",
     "at items[0].checked: expected true or false, found 1"},
    {R"({"kind":"outline","items":[{"changedFields":["colour"]}]})",
     "at items[0].changedFields[0]: expected one of flags, "},
    {R"({"kind":"outline","items":[{"changedFields":["parentId"]}]})",
     "at items[0].changedFields[0]: expected one of flags, "},
    {R"({"kind":"outline","items":[{"tagVersions":{"text":256}}]})",
     "at items[0].tagVersions.text: expected a whole number from 0 to 255, found 256"},
    {R"({"kind":"outline","items":[{"tagVersions":[]}]})",
     "at items[0].tagVersions: expected an object, found a list of 0"},
    {R"({"kind":"outline","items":[{"unknownTags":[{"data":""}]}]})",
     "at items[0].unknownTags[0]: expected the key id, found an object"},
    {R"({"kind":"outline","items":[{"unknownTags":[{"id":6}]}]})",
     "at items[0].unknownTags[0].id: expected no field of this file, found that of level"},
    {R"({"kind":"outline","items":[{"unknownTags":[{"id":77},{"id":77}]}]})",
     "at items[0].unknownTags: expected each id once, found 77 twice"},
    {R"({"kind":"outline","items":[{"unknownTags":[{"id":77,"data":"A"}]}]})",
     "at items[0].unknownTags[0].data: expected bytes in base64, found text"},
    {R"({"kind":"outline","items":[{"storedBlock":"dGE"}]})",
     "at items[0].storedBlock: expected bytes in base64, found text"},
    {R"({"kind":"outline","items":[{"storedBlock":"dGEAAQAAAAUAAAAEAAAAAQ=="}]})",
     "at items[0].storedBlock: expected a block with fields that can be read, found a damaged one"},
    {R"({"kind":"outline","items":[{"drawing":{}}]})",
     "at items[0].drawing: expected the key png or data, found an object"},
    {R"({"kind":"outline","items":[{"drawing":{"png":"AAAA"}}]})",
     "at items[0].drawing.png: expected a PNG picture in base64, found something else"},
    {R"({"kind":"outline","items":[{"drawing":{"data":"AAAA"}}]})",
     "at items[0].drawing.data: expected the block of a drawing, found 3 bytes"},
    {R"({"kind":"outline","numbering":"00"})",
     "at numbering: expected 10 bytes as hexadecimal digits, found text"},
    {R"({"kind":"outline","numberingDivider":65536})",
     "at numberingDivider: expected a whole number from 0 to 65535, found 65536"},
    {R"({"kind":"outline","deletedIds":[1,-1]})",
     "at deletedIds[1]: expected a whole number from 0 to 4294967295, found -1"},
    {R"({"kind":"outline","view":{"zoom":2}})", "at view.zoom: expected no such key, found 2"},
    {R"({"kind":"outline","view":{"window":{"normal":[1]}}})",
     "at view.window.normal: expected a list of 4 numbers, found a list of 1"},
    {R"({"kind":"outline","view":{"font":{"height":2147483648}}})",
     "at view.font.height: expected a whole number from -2147483648 to 2147483647, found "
     "2147483648"},
    {R"({"kind":"outline","headers":{"other":{}}})",
     "at headers.other: expected no such key, found an object"},
    {R"({"kind":"category","headers":{"shared":{}}})",
     "at headers.shared: expected no such key, found an object"},
    {R"({"kind":"outline","headers":{"conduit":{"changedFields":["title"]}}})",
     R"(at headers.conduit.changedFields[0]: expected no field, found "title")"},
    {R"({"kind":"outline","slotSizes":[{"id":1,"size":254}]})",
     "at slotSizes[0].size: expected at least 255, found 254"},
    {R"({"kind":"outline","slotSizes":[{"id":1}]})",
     "at slotSizes[0]: expected the keys id and size, found an object"},
    {R"({"kind":"outline","slotSizes":[{"id":1,"size":255},{"id":1,"size":255}]})",
     "at slotSizes[1].id: expected each id once, found 1"},
    {R"({"kind":"outline","slotSizes":[{"id":9,"size":255}]})",
     "at slotSizes[0].id: expected a header of this kind or of unknownHeaders, found 9"},
    {R"({"kind":"outline","slotSizes":[{"id":1,"size":2000000}]})",
     "at slotSizes: expected slots of at most 1048576 bytes together, found "},
    {R"({"kind":"outline","unknownHeaders":[{"id":2,"slot":""}]})",
     "at unknownHeaders[0].id: expected no header of this kind, found 2"},
    {R"({"kind":"outline","unknownHeaders":[{"id":9}]})",
     "at unknownHeaders[0]: expected the keys id and slot, found an object"},
    {R"({"kind":"outline","unknownHeaders":[{"id":9,"slot":"AAAA"}],)"
     R"("slotSizes":[{"id":9,"size":4}]})",
     "at slotSizes[0].size: expected 3, as long as its slot, found 4"},
};
INSTANTIATE_TEST_SUITE_P(Texts, JsonRefused, testing::ValuesIn(kRefused));

TEST_F(JsonTest, HeadersThatOutgrowTheirSlotsAreRefusedUntilTheSlotGrows) {
  json text = {{"kind", "outline"}, {"title", std::string(600, 't')}};
  EXPECT_THAT(Refusal(text.dump()),
              StartsWith("in.json: at headers.private: expected fields that fit a slot of 512 "
                         "bytes, found "));
  text["slotSizes"] = {{{"id", 3}, {"size", 1024}}};
  EXPECT_EQ(MakeAndRead(text).outline.title, std::string(600, 't'));
}

}  // namespace
}  // namespace kx_test
