// dump: the exact text and JSON of a minimal file; the lines that show both record layouts, NURB,
// PATH, undecoded chunks and faults; the text forms of numbers and bytes.
#include <gtest/gtest.h>

#include <cmath>
#include <sstream>

#include "inspect/Dump.h"
#include "inspect/TextFormat.h"
#include "tests/inspect/NisTestFiles.h"

namespace rw::test {
namespace {

std::string Dump(const std::string& bytes, bool json) {
  std::ostringstream out;
  (json ? WriteDumpJson : WriteDumpText)(Read(bytes), DumpOptions{true}, out);
  return out.str();
}

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
  "faults": []
}
)");
}

TEST(Dump, RecordsOfBothLayoutsUndecodedChunksAndFaults) {
  // The exporter's placeholder records with 3 stray bytes behind the FORM, and the game's layout.
  std::string ours = TestScene().Build() + "xyz", older = OlderFileWithPath();
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
      {ours, true, R"({"offset": 539, "where": "FORM 'NIS '", "message": "3 trailing bytes behind the FORM", "severity": "error"})"},
  };
  for (const Case& c : cases) {
    std::string dump = Dump(c.file, c.json);
    EXPECT_NE(dump.find(c.shown), std::string::npos) << c.shown << "\n---\n" << dump;
  }
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
