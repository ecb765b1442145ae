// check: each kind of broken reference, in the file and in the script, at the place it stands,
// as an error or a warning; the reader's structural faults, also on every cut or corrupted copy
// of a valid file of each layout.
#include <gtest/gtest.h>

#include <sstream>

#include "inspect/Dump.h"
#include "inspect/SceneReading.h"
#include "tests/inspect/NisTestFiles.h"
#include "tests/support/TestSupport.h"

namespace rw::test {
namespace {

std::string Changed(void (*change)(TestScene&)) {
  TestScene scene = TestScene::Default();
  change(scene);
  return scene.Build();
}
std::string Changed(void (*change)(CrannnberryTestFile&)) {
  CrannnberryTestFile file;
  change(file);
  return file.Build();
}

// Each kind of reference that can resolve nowhere, with the offset of the text that names it,
// as an error (the file is broken) or a warning (the game plays it).
TEST(Check, EveryKindOfBrokenReferenceIsReportedWhereItStands) {
  const std::string scene = TestScene::Default().Build();
  const std::string noFollower = Changed([](TestScene& t) { t.cameras[0].follower = "FOLW_Root|CAM_Mian"; });
  struct Case {
    std::string file;
    const char* script;
    std::vector<std::string> lines;
  } cases[] = {
      {Changed([](TestScene& t) { t.leaders[1].curves[0] = "ANIM_Gone_translateX"; }), "",
       {R"(error at byte 1841: LEAD #2 translateXCurve: names curve "ANIM_Gone_translateX", which ANIM does not hold)"}},
      {Changed([](TestScene& t) { t.leaders[1].path = "path9"; }), "",
       {R"(error at byte 1837: LEAD #2 pathName: names path "path9", which PATH does not hold)"}},
      {Changed([](TestScene& t) { t.followers[1].leader = "LEAD_Root|Shop"; }), "",
       {R"(error at byte 2531: FOLW #2 leaderName: names leader "LEAD_Root|Shop", which LEAD does not hold)"}},
      {Changed([](TestScene& t) { t.followers[2].curves[3] = "ANIM_Q"; }), "",
       {R"(warning at byte 2805: FOLW #3 rotateXCurve: names curve "ANIM_Q", which ANIM does not hold)"}},
      {noFollower, "", {R"(warning at byte 2923: CMRA #1 followerName: names follower "FOLW_Root|CAM_Mian", which FOLW does not hold)"}},
      // The exporter's centre of interest on a dropped bone, or on no bone at all.
      {Changed([](TestScene& t) { t.cameras[0].centerOfInterest = "FOLW_Root|"; }), "",
       {R"(warning at byte 2945: CMRA #1 centerOfInterest: names follower "FOLW_Root|", which FOLW does not hold)"}},
      {Changed([](TestScene& t) { t.cameras[0].focalCurve = "ANIM_Zoom"; }), "",
       {R"(warning at byte 2967: CMRA #1 focalLengthCurve: names curve "ANIM_Zoom", which ANIM does not hold)"}},
      {Changed([](TestScene& t) { t.curves[7] = "ANIM_Empty"; }), "",
       {R"(error at byte 794: ANIM #8 name: "ANIM_Empty" is also the name of ANIM #1)"}},
      {OlderFileWithPath("ANIM_Gone"), "",
       {R"(warning at byte 273: PATH #1 uValueCurve: names curve "ANIM_Gone", which ANIM does not hold)"}},
      {OlderFileWithPath("ANIM_Empty", "curve9"), "",  // behind the four curves and two times
       {R"(error at byte 315: PATH #1 nurbName: names NURB curve "curve9", which NURB does not hold)"}},
      // The game's conventions are no faults; without its view follower the rig's group is a stray name.
      {GameScene().Build(), "", {}},
      {Changed([](TestScene& t) { t = GameScene(); t.followers.pop_back(); }), "",
       {R"(warning at byte 2981: FOLW #3 rotateXCurve: names curve "CAM_Main_group", which ANIM does not hold)",
        R"(warning at byte 2999: FOLW #3 rotateYCurve: names curve "CAM_Main_group", which ANIM does not hold)"}},
      // With paths in the file, a leader's stray name is only suspicious.
      {Changed([](TestScene& t) { t = GameScene(); t.leaders[2].curves[5] = "ANIM_Gone"; }), "",
       {R"(warning at byte 2419: LEAD #3 rotateZCurve: names curve "ANIM_Gone", which ANIM does not hold)"}},
      // One record the reader cannot read ends its chunk: one fault, no names lost behind it.
      {Changed([](TestScene& t) { t.bezierCurves = {"ANIM_Root|Ship_rotateX"}; }).replace(516, 2, std::string("\x02\0", 2)), "",
       {"error at byte 516: ANIM #5 keyLayout: flag 2 is neither 0 (tangents) nor 1 (Bezier handles)"}},
      {NisForm(GameScene().Build().substr(12, 320)), "",  // cut inside the keys of the flagged curve
       {"error at byte 75: ANIM: length 1578 overruns the end of FORM 'NIS ' at 332 by 1325 bytes",
        "error at byte 307: ANIM #3 keyCount: count 2 needs 68 bytes, but only 21 are left before 332",
        "error at byte 0: FORM 'NIS ': has no LEAD chunk", "error at byte 0: FORM 'NIS ': has no FOLW chunk",
        "error at byte 0: FORM 'NIS ': has no CMRA chunk"}},
      // The script: our exporter's shapes (global section, blocks, both rewritten calls)...
      {scene, "at 0\n\tcameraCut(\"FOLW_Root|CAM_Main\")\n\tattack(\"FOLW_Root|Ship\")\n\nwith FOLW_Root|Ship\n{\n\tat 24\n"
              "\t\tfire(\"front\")\n}\n\n", {}},
      {scene, "with FOLW_Root|Gone\n{\n}\n", {R"(error: x.script line 1: with "FOLW_Root|Gone" names a follower that FOLW does not hold)"}},
      {scene, "at 48\n\tattack(\"FOLW_Root|\")\n", {R"(error: x.script line 2: attack names follower "FOLW_Root|", which FOLW does not hold)"}},
      {scene, "at 0\r\n\tcameraCut(\"FOLW_Root|IG_Cam\")\r\n",
       {R"(error: x.script line 2: cameraCut names "FOLW_Root|IG_Cam", neither a follower nor a camera of the file)"}},
      // ...and the game's: cuts to a camera record's name, comments, braces on the with line.
      {scene, "at frame 1\n  cameraCut(\"CAM_Main\") -- first shot\nwith FOLW_Root|Ship { -- block\n}\n", {}},
      {scene, "-- attack(\"nobody\")\n\tfire(\"FOLW_Nobody\")\n\tAttack(\"FOLW_Nobody\")\n", {}},
      {scene, "at 1\n\tattack(\"FOLW_Root|Ship\", \"FOLW_Nobody\")\n", {}},
      // "--" inside quotes and names is no comment; what the reader had to guess at is a warning.
      {Changed([](TestScene& t) { t.followers.push_back({"FOLW_Root|A--B", "LEAD_Root|Ship", "Ship", "", Slots("")}); }),
       "cameraCut(\"FOLW_Root|A--B\") -- x\nwith FOLW_Root|A--B {\n\tattack(\"FOLW_Root|A--B\")--x\n}\n", {}},
      {scene, "with FOLW_Root|Ship {\n\tat soon\n\tcameraCut(\"CAM--Main\")\n",
       {"warning: x.script line 1: the block opened here is not closed",
        "warning: x.script line 2: at needs a number of seconds; the time stays as it was",
        R"(error: x.script line 3: cameraCut names "CAM--Main", neither a follower nor a camera of the file)"}},
      {noFollower, "at frame 1\n\tcameraCut(\"CAM_Main\")\n",
       {R"(warning at byte 2923: CMRA #1 followerName: names follower "FOLW_Root|CAM_Mian", which FOLW does not hold)",
        R"(error: x.script line 2: cameraCut names camera "CAM_Main", whose follower "FOLW_Root|CAM_Mian" FOLW does not hold)"}},
      // Crannnberry files: a sound one, one whose INFO counts fewer objects than CURV holds, one
      // whose objects of one name do not count up from 0.
      {CrannnberryTestFile().Build(), "", {}},
      {Changed([](CrannnberryTestFile& t) { t.objectCount = 1; }), "",
       {"error at byte 209: CURV: 162 trailing bytes behind the last of 1 records"}},
      {Changed([](CrannnberryTestFile& t) { t.objects[1].instance = 0; }), "",
       {R"(warning at byte 227: CURV #2 instance: is 0, expected 1: objects named "Kus_Mothership" count up from 0)"}},
      // One skip is one line: counting goes on from the number found.
      {Changed([](CrannnberryTestFile& t) {
         t.objects = {{"K", 0, -1, 1}, {"K", 2, -1, 1}, {"K", 3, -1, 1}};
         t.objectCount = 3;
       }), "", {R"(warning at byte 161: CURV #2 instance: is 2, expected 1: objects named "K" count up from 0)"}},
  };
  for (const Case& c : cases) EXPECT_EQ(CheckLines(Read(c.file), c.script), c.lines) << c.script;
}

// The reader's faults come first, one per row, on the scene of 3011 bytes (CMRA at 2899).
TEST(Check, StructuralFaultsAreReportedWithTheirOffset) {
  std::string good = TestScene::Default().Build(), deep = Chunk("NAME", "x");
  for (int i = 0; i < 40; ++i) deep = Chunk("FORM", "DEEP" + deep);
  auto withCameras = [&](const std::string& payload) { return NisForm(good.substr(12, 2899 - 12) + Chunk("CMRA", payload)); };
  auto setU32 = [](std::string s, size_t at, uint32_t v) { return s.replace(at, 4, Bytes().U32(v).s); };
  std::string oneCamera = Bytes().Text(std::string(40, 'c')).s + good.substr(2899 + 12 + 12);  // two records' minimum
  std::pair<std::string, const char*> cases[] = {
      {withCameras(Bytes().U32(1000).s), "error at byte 2907: CMRA count: count 1000 needs at least 60000 bytes, but only 0 are left before 2911"},
      {withCameras(Bytes().U32(2).s + oneCamera), "error at byte 3043: CMRA #2: the count says 2 records, but the chunk ends after 1"},
      {withCameras(Bytes().U32(0).U8(1).U8(2).s), "error at byte 2911: CMRA: 2 trailing bytes behind the last of 0 records"},
      {setU32(good, 97, 0xFFFF),  // the first curve's key count, and its layout flag
       "error at byte 97: ANIM #1 keyCount: count 65535 needs 2097120 bytes, but only 1552 are left before 1653"},
      {setU32(good, 97, 0x00020002), "error at byte 99: ANIM #1 keyLayout: flag 2 is neither 0 (tangents) nor 1 (Bezier handles)"},
      {setU32(good, 2911, 99), "error at byte 2911: CMRA #1 name: text length 99 runs past the end at 3011 (96 bytes left)"},
      {good + "xyz", "error at byte 3011: FORM 'NIS ': 3 trailing bytes behind the FORM"},
      {setU32(good, 2903, 0x00010000), "error at byte 2903: CMRA: length 256 overruns the end of FORM 'NIS ' at 3011 by 152 bytes"},
      {NisForm(good.substr(12) + "AB"), "error at byte 3011: FORM 'NIS ': 2 trailing bytes at 3011 are too few for a chunk head"},
      {NisForm(good.substr(12, 2899 - 12)), "error at byte 0: FORM 'NIS ': has no CMRA chunk"},
      {NisForm(good.substr(12) + Chunk("INFO", std::string(12, '\0'))), "error at byte 3011: INFO: another INFO chunk; the first stands at 51"},
      {NisForm(Chunk("VERS", "ab") + good.substr(51)), "error at byte 16: VERS: holds 2 bytes, expected 4"},
      {setU32(good, 47, 257), "error at byte 47: VERS: version 257 is not 256"},
      {NisForm(Chunk("NAME", "Homeworld2 NIS") + good.substr(39)), R"(error at byte 20: NAME: title "Homeworld2 NIS" is neither "Homeworld2 NIS File" nor "Crannnberry")"},
      {NisForm(Chunk("NAME", "Crannnberry") + good.substr(39)), "error at byte 39: VERS: version 256 is not 512"},
      {NisForm(deep), "error at byte 384: FORM 'DEEP': nested deeper than 32 levels; not read"},  // the 32nd FORM inside
  };
  for (const auto& [file, line] : cases) {
    std::vector<std::string> lines = CheckLines(Read(file));
    EXPECT_EQ(lines.empty() ? "" : lines[0], line);
  }
}

// Reads `bytes` from a buffer of exactly its size, so that ASan sees any read past the end,
// and runs everything that looks at the result.
bool ReadAndShow(const std::string& bytes, NisDocument& doc) {
  std::vector<uint8_t> exact(bytes.begin(), bytes.end());
  std::string error;
  if (!ReadNisDocument(exact.data(), exact.size(), doc, error)) {
    EXPECT_FALSE(error.empty());
    return false;
  }
  std::ostringstream sink;
  WriteDumpText(doc, DumpOptions{true}, sink);
  WriteDumpJson(doc, DumpOptions{true}, sink);
  for (const Diagnostic& diagnostic : CheckNisDocument(doc)) sink << FormatDiagnostic("", diagnostic);
  SceneReading scene = ReadScene(doc);
  SceneEvaluator evaluator(scene);
  for (double time : {scene.start - 1, scene.end, scene.end + 1}) {
    evaluator.SetTime(time);
    for (size_t i = 0; i < scene.followers.size(); ++i) sink << evaluator.World(i).translation[0];
  }
  return true;
}

// Bytes that the document's lists of numbers stand for in the file.
size_t ListedBytes(const NisDocument& doc) {
  size_t n = 0;
  for (const NisCurve& c : doc.curves) n += c.keys.size() * 32;
  for (const NisNurbCurve& c : doc.nurbCurves) n += c.controlPoints.size() * 32 + c.knots.size() * 8;
  for (const NisPath& p : doc.paths) n += p.spans.size() * 8;
  if (doc.crannnberry) {
    for (const CrannnberryObject& o : doc.crannnberry->objects) n += o.keys.times.size() * 40;
    for (const CrannnberryCamera& c : doc.crannnberry->cameras) n += c.keys.times.size() * 40;
  }
  return n;
}

// Every prefix of a valid file, and the file with any 32-bit word made huge, gives a clear fault
// or refusal, and a scene that plays: no crash, no read out of bounds, no allocation sized by the file (under the
// sanitizers). A cut file shows every record that is whole before the cut.
TEST(Check, CutOrCorruptedFilesGiveFaultsNotCrashes) {
  for (const std::string& file :
       {TestScene::Default().Build(), OlderFileWithPath(), GameScene().Build(), CrannnberryTestFile().Build()}) {
    NisDocument full = Read(file);
    ASSERT_TRUE(full.faults.empty());
    size_t curvesBefore = 0;
    for (size_t n = 0; n < file.size(); ++n) {
      NisDocument doc;
      ASSERT_EQ(ReadAndShow(file.substr(0, n), doc), n >= 12) << n;
      if (n < 12) continue;
      ASSERT_FALSE(doc.faults.empty()) << n;
      EXPECT_EQ(doc.faults[0].where, "FORM") << n;  // the FORM's length overruns the file first
      for (const Diagnostic& f : doc.faults) EXPECT_LE(f.offset, static_cast<int64_t>(n)) << n << " " << f.what;
      EXPECT_GE(doc.curves.size(), curvesBefore) << n;
      EXPECT_LE(doc.cameras.size(), full.cameras.size());
      curvesBefore = doc.curves.size();
    }
    EXPECT_EQ(curvesBefore, full.curves.size());
    for (uint32_t huge : {0xFFFFFFFFu, 0x10000000u}) {
      for (size_t at = 0; at + 4 <= file.size(); ++at) {
        std::string bad = std::string(file).replace(at, 4, Bytes().U32(huge).s);
        NisDocument doc;
        if (ReadAndShow(bad, doc)) {
          EXPECT_LE(ListedBytes(doc), bad.size()) << at;
        }
      }
    }
  }
}

// The export checks its own file read from disk without keys: a file with both curve layouts,
// cut anywhere, gives the same records, faults and check lines as the whole reading in memory.
TEST(Check, AFileReadWithoutKeysChecksAsInMemory) {
  const ScratchDir scratch;
  const std::string file = GameScene().Build();
  NisReadOptions withoutKeys;
  withoutKeys.keys = false;
  // Every cut inside the curve with Bezier key words (skipped apart from its keys), every 16th
  // elsewhere.
  const NisDocument whole = Read(file);
  size_t bezier = 0;
  while (whole.curves[bezier].layout != NisCurveLayout::kBezier) ++bezier;
  const size_t bezierStart = whole.curves[bezier].offset, bezierEnd = whole.curves[bezier + 1].offset;
  for (size_t n = 12; n <= file.size(); n += n >= bezierStart && n <= bezierEnd ? 1 : 16) {
    const NisDocument inMemory = Read(file.substr(0, n));
    WriteFileBytes(scratch.Path("x.nis"), file.substr(0, n));
    NisDocument doc;
    std::string error;
    ASSERT_TRUE(ReadNisFile(scratch.Path("x.nis"), doc, error, withoutKeys)) << n << error;
    EXPECT_EQ(CheckLines(doc), CheckLines(inMemory)) << n;
    ASSERT_EQ(doc.curves.size(), inMemory.curves.size()) << n;
    for (size_t i = 0; i < doc.curves.size(); ++i) {
      const NisCurve &curve = doc.curves[i], &expected = inMemory.curves[i];
      EXPECT_EQ(curve.name, expected.name) << n;
      EXPECT_EQ(curve.postInfinity, expected.postInfinity) << n;
      EXPECT_TRUE(curve.keys.empty() && curve.keyWords.empty()) << n;
    }
  }
}

}  // namespace
}  // namespace rw::test
