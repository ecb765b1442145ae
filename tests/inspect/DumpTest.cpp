// dump: the exact text and JSON of a minimal file; the lines that show both record layouts, NURB,
// PATH, undecoded chunks and faults; the game's layouts read back through JSON; the text forms
// of numbers and bytes.
#include <gtest/gtest.h>

#include <nlohmann/json.hpp>

#include <cmath>
#include <sstream>

#include "inspect/Dump.h"
#include "inspect/TextFormat.h"
#include "tests/inspect/NisTestFiles.h"

namespace rw::test {
namespace {

std::string Dump(const std::string& bytes, bool json, bool keys = true) {
  std::ostringstream out;
  (json ? WriteDumpJson : WriteDumpText)(Read(bytes), DumpOptions{keys}, out);
  return out.str();
}

using Json = nlohmann::json;

// The placeholder curve alone, keys included; the records of the other chunks show below.
TEST(Dump, TextAndJsonOfAMinimalFile) {
  TestScene minimal;
  minimal.leaders.clear();
  minimal.followers.clear();
  EXPECT_EQ(Dump(minimal.Build(), false), R"(file: 209 bytes, layout homeworld2
FORM 'NIS ' at 0, length 201
  NAME at 12, length 19: "Homeworld2 NIS File"
  VERS at 39, length 4: 256
  INFO at 51, length 12: fps 24, start 0, end 3
  ANIM at 71, length 94
  LEAD at 173, length 4: current layout
  FOLW at 185, length 4: current layout
  CMRA at 197, length 4
curves (1):
  #1 "ANIM_Empty" at 83: 2 keys, tangents, time 0 .. 3, value 0 .. 0, pre/post infinity 0 0
    key #1: time 0, value 0, in 1 0, out 1 0
    key #2: time 3, value 0, in 1 0, out 1 0
leaders (0):
followers (0):
cameras (0):
)");
  EXPECT_EQ(Dump(minimal.Build(), true), R"({
  "format": "reelwright-nis-dump",
  "formatVersion": 1,
  "fileSize": 209,
  "chunks": [
    {
      "id": "FORM",
      "offset": 0,
      "length": 201,
      "dataSize": 201,
      "type": "NIS ",
      "children": [
        {"id": "NAME", "offset": 12, "length": 19, "dataSize": 19, "decoded": true},
        {"id": "VERS", "offset": 39, "length": 4, "dataSize": 4, "decoded": true},
        {"id": "INFO", "offset": 51, "length": 12, "dataSize": 12, "decoded": true},
        {"id": "ANIM", "offset": 71, "length": 94, "dataSize": 94, "decoded": true},
        {"id": "LEAD", "offset": 173, "length": 4, "dataSize": 4, "decoded": true},
        {"id": "FOLW", "offset": 185, "length": 4, "dataSize": 4, "decoded": true},
        {"id": "CMRA", "offset": 197, "length": 4, "dataSize": 4, "decoded": true}
      ]
    }
  ],
  "title": "Homeworld2 NIS File",
  "version": 256,
  "layout": "homeworld2",
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
      "layout": "tangents",
      "keys": [
        {"time": 0, "value": 0, "inTangent": [1, 0], "outTangent": [1, 0]},
        {"time": 3, "value": 0, "inTangent": [1, 0], "outTangent": [1, 0]}
      ],
      "keyWords": null
    }
  ],
  "nurbCurves": [],
  "paths": [],
  "leaders": [],
  "followers": [],
  "cameras": [],
  "crannnberry": null,
  "scene": {
    "fps": 24,
    "infoUnit": "seconds",
    "infoStart": 0,
    "infoEnd": 3,
    "lastKeyTime": 3,
    "start": 0,
    "end": 3,
    "firstFrame": 0,
    "lastFrame": 72,
    "paths": [],
    "leaders": [],
    "followers": [],
    "importNodes": [],
    "cameras": [],
    "notes": []
  },
  "faults": []
}
)");
}

TEST(Dump, RecordsOfBothLayoutsUndecodedChunksAndFaults) {
  // The exporter's placeholder records with 3 stray bytes behind the FORM, and the game's layout.
  std::string ours = TestScene().Build() + "xyz", older = OlderFileWithPath(), game = GameScene().Build();
  std::string crannnberry = CrannnberryTestFile().Build();
  struct Case {
    const std::string& file;
    bool json;
    const char* shown;
  } cases[] = {
      {older, false, "  LEAD at 346, length 155: older layout\n  FOLW at 509, length 113: older layout\n"},
      {older, false, "  XTRA at 642, length 20: not decoded, first bytes 00 01 02 03 04 05 06 07 08 09 0A 0B 0C 0D 0E 0F\n"},
      {older, false, "  #1 \"curve1\" at 121\n    degree 3, form 1, 2 control points, 4 knots\n    point 0 1 2 1\n"
                     "    point 3 4 5 1\n    knots 0 0 1 1\n"},
      {older, false, "    flag 255, frontAxis 0, upAxis 1\n    uValueCurve \"ANIM_Empty\"\n    frontTwistCurve \"\"\n"},
      {older, false, "    time 0.5 .. 2.5\n    nurbName \"curve1\"\n    flag2 0\n    spans 0 1\n"},
      {older, false, "    rotateZCurve \"ANIM_Empty\"\n    startPosition 0 1 2\n    startRotation 3 4 5\nfollowers (1):\n"},
      {older, false, "    leaderName \"LEAD_A\"\n    classNumber 7\n    blueprint \"Hgn_Scout\"\n"},
      {older, false, "    numbers 0 0 0 0 0 0\ncameras (0):\n"},
      {older, true, R"({"id": "XTRA", "offset": 642, "length": 20, "dataSize": 20, "decoded": false, )"
                    R"("firstBytes": "00 01 02 03 04 05 06 07 08 09 0A 0B 0C 0D 0E 0F"})"},
      {older, true, "\"controlPoints\": [\n        [0, 1, 2, 1],\n        [3, 4, 5, 1]\n      ],\n      \"knots\": [0, 0, 1, 1]"},
      {older, true, "\"endTime\": 2.5,\n      \"nurbName\": \"curve1\",\n      \"flag2\": 0,\n      \"spans\": [0, 1]"},
      {older, true, "\"class\": null,\n      \"classNumber\": 7,"},
      {older, true, "\"startRotation\": [3, 4, 5],\n      \"rotationOrder\": null"},
      {ours, false, "    rotateZCurve \"ANIM_Empty\"\n    startPosition 0 0 0\n    startRotation 0 0 0\n"
                    "    rotationOrder \" ZYX\"\nfollowers (1):\n  #1 \"FOLW_Empty\" at 351\n    leaderName \"LEAD_Empty\"\n"
                    "    class \"None\"\n    blueprint \"\"\n"},
      {ours, false, "cameras (0):\nfaults (1):\n  error at byte 539: FORM 'NIS ': 3 trailing bytes behind the FORM\n"},
      {ours, true, "\"class\": \"None\",\n      \"classNumber\": null,\n      \"blueprint\": \"\","},
      {ours, true, "\"rotationOrder\": \" ZYX\"\n    }\n  ],\n  \"cameras\": [],"},
      {game, false, "  #3 \"ANIM_Root|Ship_translateY\" at 278: 2 keys, bezier, time 1 .. 2, value 2 .. 3, pre/post infinity 0 0\n"
                    "    key #1: time 1, value 2, in-handle 0 0, out-handle 1.3333334 2, word 0\n"
                    "    key #2: time 2, value 3, in-handle 1.6666666 3, out-handle 0 0, word 1\n"},
      {game, true, "\"turnOrder\": \"XYZ\", \"importName\": \"_CAM_Main_view\"}\n    ],\n    \"importNodes\": [\n"
                   "      {\"name\": \"Ship\", \"parent\": null, \"follower\": 1, \"camera\": false},\n"
                   "      {\"name\": \"CAM_Main\", \"parent\": null, \"follower\": 2, \"camera\": true},\n"
                   "      {\"name\": \"Rig\", \"parent\": null, \"follower\": null, \"camera\": false},\n"
                   "      {\"name\": \"_CAM_Main_view\", \"parent\": 2, \"follower\": 3, \"camera\": false}\n    ],"},
      {crannnberry, false, "  VERS at 31, length 8: 512, 257.0\n  INFO at 47, length 24: start 0.0, end 12.5, word -1.0, objectCount 2, words 1 0\n"},
      {crannnberry, false, "  #2 \"Kus_Mothership\" at 209: instance 1, type 4, parent -1, word 0, 3 keys, timeOffset -1.0\n"
                           "    key #1: time 0.0, tcb 110.25 120.25 130.25, x 140.25, y 150.25, z 160.25, rotateX 170.25, rotateY 180.25, rotateZ 190.25\n"},
      {crannnberry, false, "cameras (1):\n  #1 at 383: word 7, 2 keys, timeOffset -1.0\n"},
      {ours, true, R"({"offset": 539, "where": "FORM 'NIS '", "message": "3 trailing bytes behind the FORM", "severity": "error"})"},
  };
  for (const Case& c : cases) {
    std::string dump = Dump(c.file, c.json);
    EXPECT_NE(dump.find(c.shown), std::string::npos) << c.shown << "\n---\n" << dump;
  }
}

// `dump --json --keys` of the game's layouts gives back what the builder wrote, every float
// exactly; a chunk cut short says where and why reading stopped.
TEST(Dump, JsonOfTheGameLayoutsReadsBackAsBuilt) {
  TestScene game = GameScene();
  Json scene = Json::parse(Dump(game.Build(), true));
  EXPECT_EQ(scene["layout"], "homeworld2");
  ASSERT_EQ(scene["curves"].size(), game.curves.size());
  for (size_t i = 0; i < game.curves.size(); ++i) {
    const Json& curve = scene["curves"][i];
    bool bezier = game.bezierCurves.count(game.curves[i]) != 0;
    EXPECT_EQ(curve["name"], game.curves[i]);
    EXPECT_EQ(curve["layout"], bezier ? "bezier" : "tangents");
    EXPECT_EQ(curve["keyWords"], (bezier ? Json::array({0, 1}) : Json()));
    for (int k = 0; k < 2; ++k) {
      TestKey key = KeyOf(i, k, game.curves[i] == "ANIM_Empty", bezier);
      const Json& got = curve["keys"][k];
      const Json& in = got[bezier ? "inHandle" : "inTangent"];
      const Json& out = got[bezier ? "outHandle" : "outTangent"];
      EXPECT_EQ((std::array{got["time"].get<double>(), got["value"].get<double>()}), (std::array{key.time, key.value}));
      EXPECT_EQ((std::array{in[0].get<float>(), in[1].get<float>(), out[0].get<float>(), out[1].get<float>()}), key.floats)
          << curve["name"] << " key " << k;
    }
  }
  EXPECT_EQ(scene["leaders"][1]["pathName"], "path1");
  EXPECT_EQ(scene["paths"][0]["nurbName"], scene["nurbCurves"][0]["name"]);
  EXPECT_EQ(scene["crannnberry"], Json());

  CrannnberryTestFile file;
  Json crannnberry = Json::parse(Dump(file.Build(), true));
  const Json& read = crannnberry["crannnberry"];
  EXPECT_EQ(crannnberry["layout"], "crannnberry");
  EXPECT_EQ(read["versionFloat"], 257);
  EXPECT_NE(Dump(file.Build(), true).find(R"("info": {"start": 0.0, "end": 12.5, "word": -1.0, "objectCount": 2, "word1": 1, "word2": 0})"),
            std::string::npos);
  ASSERT_EQ(read["objects"].size() + read["cameras"].size(), 3u);
  for (size_t record = 0; record < 3; ++record) {
    bool camera = record >= file.objects.size();
    const Json& got = camera ? read["cameras"][record - file.objects.size()] : read["objects"][record];
    size_t keyCount = camera ? file.cameraKeyCounts[0] : file.objects[record].keyCount;
    if (!camera) {
      EXPECT_EQ(got["name"], file.objects[record].name);
      EXPECT_EQ((std::array{got["instance"].get<int>(), got["parent"].get<int>()}),
                (std::array{int(file.objects[record].instance), file.objects[record].parent}));
    }
    EXPECT_EQ(got["keyCount"], keyCount);
    EXPECT_EQ(got["timeOffset"], -1);
    for (size_t k = 0; k < keyCount; ++k) {
      EXPECT_EQ(got["times"][k].get<float>(), file.ArrayValue(record, 0, k));
      for (int a = 1; a <= 3; ++a) EXPECT_EQ(got["tcb"][k][a - 1].get<float>(), file.ArrayValue(record, a, k));
      for (int a = 4; a < 10; ++a) EXPECT_EQ(got[kChannelNames[a - 4]][k].get<float>(), file.ArrayValue(record, a, k));
    }
  }
  EXPECT_EQ(Json::parse(Dump(file.Build(), true, false))["crannnberry"]["objects"][0]["rotateZ"], Json());

  Json cut = Json::parse(Dump(NisForm(game.Build().substr(12, 320)), true));
  EXPECT_EQ(cut["chunks"][0]["children"][3],
            Json::parse(R"({"id": "ANIM", "offset": 71, "length": 1578, "dataSize": 253, "decoded": "partial", "stoppedAt": 307,)"
                        R"("stopReason": "ANIM #3 keyCount: count 2 needs 68 bytes, but only 21 are left before 332"})"));
}

// Shortest texts that read back exactly; JSON strings valid for any bytes, each byte visible.
TEST(Dump, TextFormsOfNumbersAndBytes) {
  std::ostringstream nonFinite;
  JsonWriter json(nonFinite);
  json.BeginArray(true);
  json.Number(std::nan(""));
  json.Number(-HUGE_VAL);
  json.Float(2.5f);
  json.EndArray();
  std::pair<std::string, std::string> cases[] = {
      {FormatDouble(0.1), "0.1"},
      {FormatDouble(-0.0), "-0"},
      {FormatFloat(0.70710677f), "0.70710677"},
      {FormatReal(257.0f) + " " + FormatReal(-0.0f) + " " + FormatReal(1e20f) + " " + FormatReal(12.5f), "257.0 -0.0 1e+20 12.5"},
      {FormatDouble(double(0.70710677f)), "0.7071067690849304"},
      {nonFinite.str(), R"(["NaN", "-Infinity", 2.5])"},
      {QuoteText("a\"b\\\x01\xE9"), R"("a\"b\\\x01\xE9")"},
      {JsonString("a\"b\\c"), R"("a\"b\\c")"},
      {JsonString(std::string("\x00\x01\n\x1F\x7F", 5)), R"("\u0000\u0001\u000A\u001F\u007F")"},
      {JsonString("\xC3\xA9|\xE2\x82\xAC|\xF0\x9F\x8E\xAC"), "\"\xC3\xA9|\xE2\x82\xAC|\xF0\x9F\x8E\xAC\""},  // well-formed UTF-8
      {JsonString("\xE9t\xE9"), R"("\u00E9t\u00E9")"},                    // Latin-1 bytes
      {JsonString("\xC3"), R"("\u00C3")"},                                // cut sequence
      {JsonString("\xC0\xAF"), R"("\u00C0\u00AF")"},                      // overlong
      {JsonString("\xED\xA0\x80"), R"("\u00ED\u00A0\u0080")"},            // surrogate
      {JsonString("\xF4\x90\x80\x80"), R"("\u00F4\u0090\u0080\u0080")"},  // beyond U+10FFFF
  };
  for (const auto& [got, want] : cases) EXPECT_EQ(got, want);
}

}  // namespace
}  // namespace rw::test
