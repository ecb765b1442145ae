// dump of small hand-built files: exact text and JSON of the smallest file our exporter
// writes, the older record layout, NURB and PATH chunks, undecoded chunks, and the escaping
// and number forms that keep the JSON valid and exact.
#include <gtest/gtest.h>

#include <cmath>
#include <cstdlib>
#include <sstream>

#include "inspect/Dump.h"
#include "inspect/TextFormat.h"
#include "tests/inspect/NisTestFiles.h"
#include "tests/support/TestSupport.h"

namespace rw::test {
namespace {

NisDocument Read(const std::string& bytes) {
  NisDocument doc;
  std::string error;
  EXPECT_TRUE(ReadNisDocument(reinterpret_cast<const uint8_t*>(bytes.data()), bytes.size(), doc, error)) << error;
  return doc;
}

std::string DumpText(const std::string& bytes, bool keys) {
  std::ostringstream out;
  WriteDumpText(Read(bytes), DumpOptions{keys}, out);
  return out.str();
}

std::string DumpJson(const std::string& bytes, bool keys) {
  std::ostringstream out;
  WriteDumpJson(Read(bytes), DumpOptions{keys}, out);
  return out.str();
}

TEST(Dump, TextOfTheEmptySceneFile) {
  EXPECT_EQ(DumpText(TestScene::Placeholders().Build(), true), R"(file: 539 bytes
FORM 'NIS ' at 0, length 531
  NAME at 12, length 19: "Homeworld2 NIS File"
  VERS at 39, length 4: 256
  INFO at 51, length 12: fps 24, start 0, end 3
  ANIM at 71, length 94
  LEAD at 173, length 158: current layout
  FOLW at 339, length 180: current layout
  CMRA at 527, length 4
curves (1):
  #1 "ANIM_Empty" at 83: 2 keys, time 0 .. 3, value 0 .. 0, pre/post infinity 0 0
    key #1: time 0, value 0, in 1 0, out 1 0
    key #2: time 3, value 0, in 1 0, out 1 0
leaders (1):
  #1 "LEAD_Empty" at 185
    pathName ""
    translateXCurve "ANIM_Empty"
    translateYCurve "ANIM_Empty"
    translateZCurve "ANIM_Empty"
    rotateXCurve "ANIM_Empty"
    rotateYCurve "ANIM_Empty"
    rotateZCurve "ANIM_Empty"
    startPosition 0 0 0
    startRotation 0 0 0
    rotationOrder " ZYX"
followers (1):
  #1 "FOLW_Empty" at 351
    leaderName "LEAD_Empty"
    class "None"
    blueprint ""
    translateXCurve "ANIM_Empty"
    translateYCurve "ANIM_Empty"
    translateZCurve "ANIM_Empty"
    rotateXCurve "ANIM_Empty"
    rotateYCurve "ANIM_Empty"
    rotateZCurve "ANIM_Empty"
    numbers 0 0 0 0 0 0
    rotationOrder " ZYX"
cameras (0):
)");
}

TEST(Dump, JsonOfTheEmptySceneFile) {
  EXPECT_EQ(DumpJson(TestScene::Placeholders().Build(), true), R"({
  "format": "reelwright-nis-dump",
  "formatVersion": 1,
  "fileSize": 539,
  "chunks": [
    {
      "id": "FORM",
      "offset": 0,
      "length": 531,
      "dataSize": 531,
      "type": "NIS ",
      "children": [
        {"id": "NAME", "offset": 12, "length": 19, "dataSize": 19, "decoded": true},
        {"id": "VERS", "offset": 39, "length": 4, "dataSize": 4, "decoded": true},
        {"id": "INFO", "offset": 51, "length": 12, "dataSize": 12, "decoded": true},
        {"id": "ANIM", "offset": 71, "length": 94, "dataSize": 94, "decoded": true},
        {"id": "LEAD", "offset": 173, "length": 158, "dataSize": 158, "decoded": true},
        {"id": "FOLW", "offset": 339, "length": 180, "dataSize": 180, "decoded": true},
        {"id": "CMRA", "offset": 527, "length": 4, "dataSize": 4, "decoded": true}
      ]
    }
  ],
  "title": "Homeworld2 NIS File",
  "version": 256,
  "info": {"fps": 24, "start": 0, "end": 3},
  "leaderVariant": "current",
  "followerVariant": "current",
  "curves": [
    {
      "offset": 83,
      "name": "ANIM_Empty",
      "keyCount": 2,
      "timeRange": [0, 3],
      "valueRange": [0, 0],
      "preInfinity": 0,
      "postInfinity": 0,
      "keys": [
        {"time": 0, "value": 0, "inTangent": [1, 0], "outTangent": [1, 0]},
        {"time": 3, "value": 0, "inTangent": [1, 0], "outTangent": [1, 0]}
      ]
    }
  ],
  "nurbCurves": [],
  "paths": [],
  "leaders": [
    {
      "offset": 185,
      "name": "LEAD_Empty",
      "pathName": "",
      "translateXCurve": "ANIM_Empty",
      "translateYCurve": "ANIM_Empty",
      "translateZCurve": "ANIM_Empty",
      "rotateXCurve": "ANIM_Empty",
      "rotateYCurve": "ANIM_Empty",
      "rotateZCurve": "ANIM_Empty",
      "startPosition": [0, 0, 0],
      "startRotation": [0, 0, 0],
      "rotationOrder": " ZYX"
    }
  ],
  "followers": [
    {
      "offset": 351,
      "name": "FOLW_Empty",
      "leaderName": "LEAD_Empty",
      "class": "None",
      "classNumber": null,
      "blueprint": "",
      "translateXCurve": "ANIM_Empty",
      "translateYCurve": "ANIM_Empty",
      "translateZCurve": "ANIM_Empty",
      "rotateXCurve": "ANIM_Empty",
      "rotateYCurve": "ANIM_Empty",
      "rotateZCurve": "ANIM_Empty",
      "numbers": [0, 0, 0, 0, 0, 0],
      "rotationOrder": " ZYX"
    }
  ],
  "cameras": [],
  "faults": []
}
)");
}


TEST(Dump, OlderLayoutAndMotionPathsAreDecoded) {
  NisDocument doc = Read(OlderFileWithPath());
  EXPECT_TRUE(doc.faults.empty()) << doc.faults[0].where << ": " << doc.faults[0].message;
  ASSERT_EQ(doc.nurbCurves.size(), 1u);
  const NisNurbCurve& n = doc.nurbCurves[0];
  EXPECT_EQ(n.degree, 3);
  EXPECT_EQ(n.form, 1);
  ASSERT_EQ(n.controlPoints.size(), 2u);
  EXPECT_EQ(n.controlPoints[1][2], 5.0);
  EXPECT_EQ(n.knots, (std::vector<double>{0, 0, 1, 1}));
  ASSERT_EQ(doc.paths.size(), 1u);
  const NisPath& p = doc.paths[0];
  EXPECT_EQ(p.flag, 255);
  EXPECT_EQ(p.upAxis, 1u);
  EXPECT_EQ(p.curves[0], "ANIM_Empty");
  EXPECT_EQ(p.endTime, 2.5);
  EXPECT_EQ(p.nurbName, "curve1");
  EXPECT_EQ(p.spans, (std::vector<double>{0, 1}));
  ASSERT_EQ(doc.leaders.size(), 1u);
  EXPECT_EQ(doc.leaderVariant, NisVariant::kOlder);
  EXPECT_EQ(doc.leaders[0].pathName, "path1");
  EXPECT_EQ(doc.leaders[0].startRotation[2], 5.0);
  EXPECT_FALSE(doc.leaders[0].rotationOrder);
  ASSERT_EQ(doc.followers.size(), 1u);
  EXPECT_EQ(doc.followerVariant, NisVariant::kOlder);
  EXPECT_EQ(doc.followers[0].classNumber, 7u);
  EXPECT_EQ(doc.followers[0].blueprint, "Hgn_Scout");
  std::string text = DumpText(OlderFileWithPath(), false);
  EXPECT_NE(text.find("  LEAD at 346, length 155: older layout\n"), std::string::npos) << text;
  EXPECT_NE(text.find("    classNumber 7\n"), std::string::npos);
  EXPECT_NE(text.find("    degree 3, form 1, 2 control points, 4 knots\n"), std::string::npos);
}

TEST(Dump, UndecodedChunksShowTheirFirstBytes) {
  TestScene scene = TestScene::Default();
  scene.extraChunks = Chunk("XTRA", std::string("\x01\x02\x03", 3)) + Chunk("LONG", std::string(40, 'A'));
  std::string text = DumpText(scene.Build(), false);
  EXPECT_NE(text.find(": not decoded, first bytes 01 02 03\n"), std::string::npos) << text;
  EXPECT_NE(text.find("LONG at 3022, length 40: not decoded, first bytes 41 41 41 41 41 41 41 41 41 41 41 41 41 41 41 41\n"),
            std::string::npos) << text;
  std::string json = DumpJson(scene.Build(), false);
  EXPECT_NE(json.find(R"({"id": "XTRA", "offset": 3011, "length": 3, "dataSize": 3, "decoded": false, "firstBytes": "01 02 03"})"),
            std::string::npos) << json;
}

TEST(Dump, JsonTextsEscapeEveryByteThatIsNotPlainUtf8) {
  struct Case {
    std::string bytes, json;
  } cases[] = {
      {"a\"b\\c", R"("a\"b\\c")"},
      {std::string("\x00\x01\n\x1F\x7F", 5), R"("\u0000\u0001\u000A\u001F\u007F")"},
      {"\xC3\xA9|\xE2\x82\xAC|\xF0\x9F\x8E\xAC", "\"\xC3\xA9|\xE2\x82\xAC|\xF0\x9F\x8E\xAC\""},  // well-formed UTF-8
      {"\xE9t\xE9", R"("\u00E9t\u00E9")"},                       // Latin-1 bytes
      {"\xC3", R"("\u00C3")"},                                   // cut sequence
      {"\xC0\xAF", R"("\u00C0\u00AF")"},                         // overlong
      {"\xED\xA0\x80", R"("\u00ED\u00A0\u0080")"},               // surrogate
      {"\xF4\x90\x80\x80", R"("\u00F4\u0090\u0080\u0080")"},     // beyond U+10FFFF
  };
  for (const Case& c : cases) EXPECT_EQ(JsonString(c.bytes), c.json) << ToHex(c.bytes);
}

TEST(Dump, NumbersReadBackExactly) {
  for (double v : {0.1, 1.0 / 3, 0.0416666679084301, -0.0, 1e300, 5e-324, 21.8, 10000000.0}) {
    EXPECT_EQ(std::strtod(FormatDouble(v).c_str(), nullptr), v) << FormatDouble(v);
  }
  EXPECT_EQ(FormatDouble(-0.0), "-0");
  EXPECT_EQ(FormatFloat(0.70710677f), "0.70710677");
  EXPECT_EQ(FormatDouble(double(0.70710677f)), "0.7071067690849304");
  std::ostringstream out;
  JsonWriter json(out);
  json.BeginArray(true);
  json.Number(std::nan(""));
  json.Number(-HUGE_VAL);
  json.Float(2.5f);
  json.EndArray();
  EXPECT_EQ(out.str(), R"(["NaN", "-Infinity", 2.5])");
}

}  // namespace
}  // namespace rw::test
