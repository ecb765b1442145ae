// check: each kind of broken reference, in the file and in the script, at the place it stands;
// the reader's structural faults, also on every cut or corrupted copy of a valid file; the exit
// codes of both commands.
#include <gtest/gtest.h>

#include <algorithm>
#include <sstream>

#include "inspect/Dump.h"
#include "cli/InspectCommands.h"
#include "tests/inspect/NisTestFiles.h"
#include "tests/support/TestSupport.h"

namespace rw::test {
namespace {

std::string Changed(void (*change)(TestScene&)) {
  TestScene scene = TestScene::Default();
  change(scene);
  return scene.Build();
}

// Each kind of reference that can resolve nowhere, with the offset of the text that names it.
TEST(Check, EveryKindOfBrokenReferenceIsReportedWhereItStands) {
  const std::string scene = TestScene::Default().Build();
  struct Case {
    std::string file;
    const char* script;
    std::vector<std::string> lines;
  } cases[] = {
      {Changed([](TestScene& t) { t.leaders[1].curves[0] = "ANIM_Gone_translateX"; }), "",
       {R"(LEAD #2 translateXCurve at 1841: names curve "ANIM_Gone_translateX", which ANIM does not hold)"}},
      {Changed([](TestScene& t) { t.leaders[1].path = "path9"; }), "",
       {R"(LEAD #2 pathName at 1837: names path "path9", which PATH does not hold)"}},
      {Changed([](TestScene& t) { t.followers[1].leader = "LEAD_Root|Shop"; }), "",
       {R"(FOLW #2 leaderName at 2531: names leader "LEAD_Root|Shop", which LEAD does not hold)"}},
      {Changed([](TestScene& t) { t.followers[1].leader = ""; }), "", {"FOLW #2 leaderName at 2531: is empty; it must name a leader"}},
      {Changed([](TestScene& t) { t.followers[2].curves[3] = "ANIM_Q"; }), "",
       {R"(FOLW #3 rotateXCurve at 2805: names curve "ANIM_Q", which ANIM does not hold)"}},
      {Changed([](TestScene& t) { t.cameras[0].follower = "FOLW_Root|CAM_Mian"; }), "",
       {R"(CMRA #1 followerName at 2923: names follower "FOLW_Root|CAM_Mian", which FOLW does not hold)"}},
      // The exporter's centre of interest on a dropped bone, or on no bone at all.
      {Changed([](TestScene& t) { t.cameras[0].centerOfInterest = "FOLW_Root|"; }), "",
       {R"(CMRA #1 centerOfInterest at 2945: names follower "FOLW_Root|", which FOLW does not hold)"}},
      {Changed([](TestScene& t) { t.cameras[0].focalCurve = "ANIM_Zoom"; }), "",
       {R"(CMRA #1 focalLengthCurve at 2967: names curve "ANIM_Zoom", which ANIM does not hold)"}},
      {Changed([](TestScene& t) { t.curves[7] = "ANIM_Empty"; }), "", {R"(ANIM #8 name at 794: "ANIM_Empty" is also the name of ANIM #1)"}},
      {OlderFileWithPath("ANIM_Gone"), "", {R"(PATH #1 uValueCurve at 273: names curve "ANIM_Gone", which ANIM does not hold)"}},
      {OlderFileWithPath("ANIM_Empty", "curve9"), "",  // behind the four curves and two times
       {R"(PATH #1 nurbName at 315: names NURB curve "curve9", which NURB does not hold)"}},
      // The script: our exporter's shapes (global section, blocks, both rewritten calls)...
      {scene, "at 0\n\tcameraCut(\"FOLW_Root|CAM_Main\")\n\tattack(\"FOLW_Root|Ship\")\n\nwith FOLW_Root|Ship\n{\n\tat 24\n"
              "\t\tfire(\"front\")\n}\n\n", {}},
      {scene, "with FOLW_Root|Gone\n{\n}\n", {R"(x.script line 1: with "FOLW_Root|Gone" names a follower that FOLW does not hold)"}},
      {scene, "at 48\n\tattack(\"FOLW_Root|\")\n", {R"(x.script line 2: attack names follower "FOLW_Root|", which FOLW does not hold)"}},
      {scene, "at 0\r\n\tcameraCut(\"FOLW_Root|IG_Cam\")\r\n",
       {R"(x.script line 2: cameraCut names "FOLW_Root|IG_Cam", neither a follower nor a camera of the file)"}},
      // ...and the game's: cuts to a camera record's name, comments, braces on the with line.
      {scene, "at frame 1\n  cameraCut(\"CAM_Main\") -- first shot\nwith FOLW_Root|Ship { -- block\n}\n", {}},
      {scene, "-- attack(\"nobody\")\n\tfire(\"FOLW_Nobody\")\n\tAttack(\"FOLW_Nobody\")\n", {}},
      {scene, "at 1\n\tattack(\"FOLW_Root|Ship\", \"FOLW_Nobody\")\n", {}},
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
      {withCameras(Bytes().U32(1000).s), "CMRA count at 2907: count 1000 needs at least 60000 bytes, but only 0 are left before 2911"},
      {withCameras(Bytes().U32(2).s + oneCamera), "CMRA #2 at 3043: the count says 2 records, but the chunk ends after 1"},
      {withCameras(Bytes().U32(0).U8(1).U8(2).s), "CMRA at 2911: 2 trailing bytes behind the last of 0 records"},
      {setU32(good, 97, 0x7FFFFFFF),  // the first curve's key count
       "ANIM #1 keyCount at 97: count 2147483647 needs 68719476704 bytes, but only 1552 are left before 1653"},
      {setU32(good, 2911, 99), "CMRA #1 name at 2911: text length 99 runs past the end at 3011 (96 bytes left)"},
      {good + "xyz", "FORM 'NIS ' at 3011: 3 trailing bytes behind the FORM"},
      {setU32(good, 2903, 0x00010000), "CMRA at 2903: length 256 overruns the end of FORM 'NIS ' at 3011 by 152 bytes"},
      {NisForm(good.substr(12) + "AB"), "FORM 'NIS ' at 3011: 2 trailing bytes at 3011 are too few for a chunk head"},
      {NisForm(good.substr(12, 2899 - 12)), "FORM 'NIS ' at 0: has no CMRA chunk"},
      {NisForm(good.substr(12) + Chunk("INFO", std::string(12, '\0'))), "INFO at 3011: another INFO chunk; the first stands at 51"},
      {NisForm(Chunk("VERS", "ab") + good.substr(51)), "VERS at 16: holds 2 bytes, expected 4"},
      {setU32(good, 47, 257), "VERS at 47: version 257 is not 256"},
      {NisForm(Chunk("NAME", "Homeworld2 NIS") + good.substr(39)), R"(NAME at 20: title "Homeworld2 NIS" is not "Homeworld2 NIS File")"},
      {NisForm(deep), "FORM 'DEEP' at 384: nested deeper than 32 levels; not read"},  // the 32nd FORM inside
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
  for (const NisProblem& p : CheckNisDocument(doc)) sink << ProblemLine(p);
  return true;
}

// Bytes that the document's lists of numbers stand for in the file.
size_t ListedBytes(const NisDocument& doc) {
  size_t n = 0;
  for (const NisCurve& c : doc.curves) n += c.keys.size() * 32;
  for (const NisNurbCurve& c : doc.nurbCurves) n += c.controlPoints.size() * 32 + c.knots.size() * 8;
  for (const NisPath& p : doc.paths) n += p.spans.size() * 8;
  return n;
}

// Every prefix of a valid file, and the file with any 32-bit word made huge, gives a clear fault
// or refusal: no crash, no read out of bounds, no allocation sized by the file (under the
// sanitizers). A cut file shows every record that is whole before the cut.
TEST(Check, CutOrCorruptedFilesGiveFaultsNotCrashes) {
  for (const std::string& file : {TestScene::Default().Build(), OlderFileWithPath()}) {
    NisDocument full = Read(file);
    ASSERT_TRUE(full.faults.empty());
    size_t curvesBefore = 0;
    for (size_t n = 0; n < file.size(); ++n) {
      NisDocument doc;
      ASSERT_EQ(ReadAndShow(file.substr(0, n), doc), n >= 12) << n;
      if (n < 12) continue;
      ASSERT_FALSE(doc.faults.empty()) << n;
      EXPECT_EQ(doc.faults[0].where, "FORM") << n;  // the FORM's length overruns the file first
      for (const NisFault& f : doc.faults) EXPECT_LE(f.offset, n) << n << " " << f.where << ": " << f.message;
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

// Both commands: 0 clean (or shown), 1 problems found, 2 unreadable input or bad arguments,
// with one line on err when the code is 2 or a dump holds faults.
TEST(Check, CommandExitCodes) {
  ScratchDir dir;
  std::string good = TestScene::Default().Build();
  std::pair<const char*, std::string> files[] = {
      {"good.nis", good}, {"broken.nis", Changed([](TestScene& t) { t.followers[1].leader = "LEAD_Nobody"; })},
      {"bad.script", "with FOLW_Root|Nobody\n{\n}\n"}, {"short.nis", "FORM"}, {"cut.nis", good.substr(0, 100)},
      {"aiff.nis", std::string("FORM\0\0\0\4AIFF", 12)}};
  for (const auto& [name, bytes] : files) WriteFileBytes(dir.Path(name), bytes);
  struct Case {
    decltype(&CheckCommand) command;
    std::vector<std::string> args;
    int code;
    size_t outLines;  // for check
    std::string err;  // a part of the error line
  } cases[] = {
      {CheckCommand, {dir.Path("good.nis")}, 0, 0, ""},
      {CheckCommand, {dir.Path("broken.nis"), dir.Path("bad.script")}, 1, 2, ""},
      {CheckCommand, {dir.Path("short.nis")}, 2, 0, "file has 4 bytes, too few for a FORM head (12)"},
      {CheckCommand, {dir.Path("good.nis"), dir.Path("missing.script")}, 2, 0, "missing.script: cannot open the file (No such file"},
      {CheckCommand, {dir.Path("good.nis"), "--json"}, 2, 0, "reelwright: error: unknown option --json\n"},
      {DumpCommand, {dir.Path("aiff.nis"), "--json"}, 2, 0, "offset 8: form type 'AIFF' is not 'NIS '"},
      {DumpCommand, {dir.dir()}, 2, 0, ": is a folder, not a file\n"},
      {DumpCommand, {dir.Path("good.nis"), "--keys", "--json"}, 0, 0, ""},
      {DumpCommand, {dir.Path("good.nis"), "--yaml"}, 2, 0, "reelwright: error: unknown option --yaml\n"},
      {DumpCommand, {dir.Path("cut.nis")}, 1, 0, "cut.nis: 7 structural faults, listed in the dump"},
  };
  for (const Case& c : cases) {
    std::ostringstream out, err;
    EXPECT_EQ(c.command(c.args, out, err), c.code) << out.str() << err.str();
    std::string text = out.str();
    if (c.command == CheckCommand) {
      EXPECT_EQ(size_t(std::count(text.begin(), text.end(), '\n')), c.outLines) << text;
    }
    EXPECT_EQ(err.str().empty(), c.err.empty()) << err.str();
    EXPECT_NE(err.str().find(c.err), std::string::npos) << err.str();
  }
}

}  // namespace
}  // namespace rw::test
