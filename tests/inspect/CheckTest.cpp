// check: each kind of broken reference, in the file and in the script, with the place it
// stands; structural faults; and the exit codes of the command.
#include <gtest/gtest.h>

#include <algorithm>
#include <functional>
#include <sstream>

#include "inspect/Check.h"
#include "inspect/Inspect.h"
#include "tests/inspect/NisTestFiles.h"
#include "tests/support/TestSupport.h"

namespace rw::test {
namespace {

std::vector<std::string> CheckFile(const std::string& bytes, const std::string& script = "") {
  NisDocument doc;
  std::string error;
  EXPECT_TRUE(ReadNisDocument(reinterpret_cast<const uint8_t*>(bytes.data()), bytes.size(), doc, error)) << error;
  return CheckLines(doc, script);
}

// Offset of the n-th (from 0) counted text `name` in the file: where its length word starts.
size_t TextOffset(const std::string& file, const std::string& name, int n) {
  std::string needle = Bytes().Text(name).s;
  size_t at = file.find(needle);
  while (n-- > 0 && at != std::string::npos) at = file.find(needle, at + 1);
  EXPECT_NE(at, std::string::npos) << name;
  return at;
}

TEST(Check, TheDefaultSceneIsClean) {
  EXPECT_EQ(CheckFile(TestScene::Default().Build()), std::vector<std::string>{});
}

TEST(Check, EveryKindOfBrokenReferenceIsReportedWhereItStands) {
  struct Case {
    const char* what;
    std::function<void(TestScene&)> change;
    const char* where;    // the problem line up to " at "
    const char* name;     // the text whose offset the line gives...
    int occurrence;       // ...counted from 0 among equal texts in the file
    const char* message;  // the line behind the offset
  } cases[] = {
      {"leader names a curve ANIM lacks", [](TestScene& t) { t.leaders[1].curves[0] = "ANIM_Gone_translateX"; },
       "LEAD #2 translateXCurve", "ANIM_Gone_translateX", 0,
       R"(names curve "ANIM_Gone_translateX", which ANIM does not hold)"},
      {"leader's last slot", [](TestScene& t) { t.leaders[2].curves[5] = "ANIM_X"; }, "LEAD #3 rotateZCurve",
       "ANIM_X", 0, R"(names curve "ANIM_X", which ANIM does not hold)"},
      {"leader names a path PATH lacks", [](TestScene& t) { t.leaders[1].path = "path9"; }, "LEAD #2 pathName",
       "path9", 0, R"(names path "path9", which PATH does not hold)"},
      {"follower names a missing leader", [](TestScene& t) { t.followers[1].leader = "LEAD_Root|Shop"; },
       "FOLW #2 leaderName", "LEAD_Root|Shop", 0, R"(names leader "LEAD_Root|Shop", which LEAD does not hold)"},
      {"follower's curve slot", [](TestScene& t) { t.followers[2].curves[3] = "ANIM_Q"; }, "FOLW #3 rotateXCurve",
       "ANIM_Q", 0, R"(names curve "ANIM_Q", which ANIM does not hold)"},
      {"camera names a missing follower", [](TestScene& t) { t.cameras[0].follower = "FOLW_Root|CAM_Mian"; },
       "CMRA #1 followerName", "FOLW_Root|CAM_Mian", 0,
       R"(names follower "FOLW_Root|CAM_Mian", which FOLW does not hold)"},
      {"centre of interest of a dropped bone", [](TestScene& t) { t.cameras[0].centerOfInterest = "FOLW_Root|IG_Aim"; },
       "CMRA #1 centerOfInterest", "FOLW_Root|IG_Aim", 0, R"(names follower "FOLW_Root|IG_Aim", which FOLW does not hold)"},
      {"centre of interest naming no bone", [](TestScene& t) { t.cameras[0].centerOfInterest = "FOLW_Root|"; },
       "CMRA #1 centerOfInterest", "FOLW_Root|", 0, R"(names follower "FOLW_Root|", which FOLW does not hold)"},
      {"camera's focal-length curve", [](TestScene& t) { t.cameras[0].focalCurve = "ANIM_Zoom"; },
       "CMRA #1 focalLengthCurve", "ANIM_Zoom", 0, R"(names curve "ANIM_Zoom", which ANIM does not hold)"},
      {"two curves of one name", [](TestScene& t) { t.curves[7] = "ANIM_Empty"; }, "ANIM #8 name",
       "ANIM_Empty", 1, R"("ANIM_Empty" is also the name of ANIM #1)"},
  };
  for (const Case& c : cases) {
    TestScene scene = TestScene::Default();
    c.change(scene);
    std::string file = scene.Build();
    std::string line = std::string(c.where) + " at " + std::to_string(TextOffset(file, c.name, c.occurrence)) + ": " + c.message;
    EXPECT_EQ(CheckFile(file), std::vector<std::string>{line}) << c.what;
  }
}

TEST(Check, ScriptNamesAreCheckedAgainstFollowersAndCameras) {
  struct Case {
    const char* script;
    std::vector<std::string> lines;
  } cases[] = {
      // Our exporter's shapes: global section, blocks, both rewritten calls.
      {"at 0\n\tcameraCut(\"FOLW_Root|CAM_Main\")\n\tattack(\"FOLW_Root|Ship\")\n\nwith FOLW_Root|Ship\n{\n"
       "\tat 24\n\t\tfire(\"front\")\n}\n\n",
       {}},
      {"with FOLW_Root|Gone\n{\n}\n", {R"(x.script line 1: with "FOLW_Root|Gone" names a follower that FOLW does not hold)"}},
      {"at 48\n\tattack(\"FOLW_Root|\")\n",
       {R"(x.script line 2: attack names follower "FOLW_Root|", which FOLW does not hold)"}},
      {"at 0\r\n\tcameraCut(\"FOLW_Root|IG_Cam\")\r\n",
       {R"(x.script line 2: cameraCut names "FOLW_Root|IG_Cam", neither a follower nor a camera of the file)"}},
      // The game's scripts: cuts to a camera record's name, comments, braces on the with line.
      {"at frame 1\n  cameraCut(\"CAM_Main\") -- first shot\nwith FOLW_Root|Ship { -- block\n}\n", {}},
      {"-- attack(\"nobody\")\n\tfire(\"FOLW_Nobody\")\n\tAttack(\"FOLW_Nobody\")\n", {}},
      {"at 1\n\tattack(\"FOLW_Root|Ship\", \"FOLW_Nobody\")\n", {}},
  };
  for (const Case& c : cases) {
    EXPECT_EQ(CheckFile(TestScene::Default().Build(), c.script), c.lines) << c.script;
  }
}

TEST(Check, StructuralFaultsAreReportedWithTheirOffset) {
  std::string good = TestScene::Default().Build();
  size_t cmra = good.find("CMRA");
  auto withCameraPayload = [&](const std::string& payload) { return NisForm(good.substr(12, cmra - 12) + Chunk("CMRA", payload)); };
  auto setU32 = [](std::string s, size_t at, uint32_t v) {
    for (int i = 0; i < 4; ++i) s[at + i] = char(v >> (8 * i));
    return s;
  };
  std::string oneCamera = good.substr(cmra + 12);
  oneCamera.replace(0, 12, Bytes().Text(std::string(40, 'c')).s);  // a long name: two records' minimum
  size_t anim = good.find("ANIM");
  size_t firstKeyCount = anim + 8 + 4 + 4 + 10;
  struct Case {
    const char* what;
    std::string file;
    std::string line;
  } cases[] = {
      {"count past the chunk", withCameraPayload(Bytes().U32(1000).s),
       "CMRA count at " + std::to_string(cmra + 8) + ": count 1000 needs at least 60000 bytes, but only 0 are left before " +
           std::to_string(cmra + 12)},
      {"count above the records", withCameraPayload(Bytes().U32(2).Raw(oneCamera).s),
       "CMRA #2 at " + std::to_string(cmra + 12 + oneCamera.size()) +
           ": the count says 2 records, but the chunk ends after 1"},
      {"trailing bytes", withCameraPayload(Bytes().U32(0).U8(1).U8(2).s),
       "CMRA at " + std::to_string(cmra + 12) + ": 2 trailing bytes behind the last of 0 records"},
      {"huge key count", setU32(good, firstKeyCount, 0x7FFFFFFF),
       "ANIM #1 keyCount at " + std::to_string(firstKeyCount) + ": count 2147483647 needs 68719476704 bytes, but only " +
           std::to_string(good.find("LEAD") - firstKeyCount - 4) + " are left before " + std::to_string(good.find("LEAD"))},
      {"text past the chunk", setU32(good, cmra + 12, 99),
       "CMRA #1 name at " + std::to_string(cmra + 12) + ": text length 99 runs past the end at " +
           std::to_string(good.size()) + " (" + std::to_string(good.size() - cmra - 16) + " bytes left)"},
      {"bytes behind the FORM", good + "xyz",
       "FORM 'NIS ' at " + std::to_string(good.size()) + ": 3 trailing bytes behind the FORM"},
      {"chunk overruns the FORM", good.substr(0, 4) + good.substr(4, 4) + good.substr(8, cmra - 8) + "CMRA" +
           std::string("\0\0\1\0", 4) + good.substr(cmra + 8),
       "CMRA at " + std::to_string(cmra + 4) + ": length 256 overruns the end of FORM 'NIS ' at " +
           std::to_string(good.size()) + " by " + std::to_string(256 - (good.size() - cmra - 8)) + " bytes"},
      {"half a chunk head", NisForm(good.substr(12) + "AB"),
       "FORM 'NIS ' at " + std::to_string(good.size()) + ": 2 trailing bytes at " + std::to_string(good.size()) +
           " are too few for a chunk head"},
      {"missing chunk", NisForm(good.substr(12, cmra - 12)), "FORM 'NIS ' at 0: has no CMRA chunk"},
      {"two INFO chunks", NisForm(good.substr(12) + Chunk("INFO", std::string(12, '\0'))),
       "INFO at " + std::to_string(good.size()) + ": another INFO chunk; the first stands at 51"},
      {"short VERS", NisForm(Chunk("VERS", "ab") + good.substr(51)), "VERS at 16: holds 2 bytes, expected 4"},
      {"another version", setU32(good, 47, 257), "VERS at 47: version 257 is not 256"},
      {"another title", NisForm(Chunk("NAME", "Homeworld2 NIS") + good.substr(39)),
       R"(NAME at 20: title "Homeworld2 NIS" is not "Homeworld2 NIS File")"},
  };
  for (const Case& c : cases) {
    std::vector<std::string> lines = CheckFile(c.file);
    ASSERT_FALSE(lines.empty()) << c.what;
    EXPECT_EQ(lines[0], c.line) << c.what;
  }
}

// Both commands: 0 clean (or shown), 1 problems found, 2 unreadable input or bad arguments,
// with one line on err when the code is 2 or a dump holds faults.
TEST(Check, CommandExitCodes) {
  ScratchDir dir;
  TestScene broken = TestScene::Default();
  broken.followers[1].leader = "LEAD_Nobody";
  WriteFileBytes(dir.Path("good.nis"), TestScene::Default().Build());
  WriteFileBytes(dir.Path("broken.nis"), broken.Build());
  WriteFileBytes(dir.Path("good.script"), "with FOLW_Root|Ship\n{\n}\n");
  WriteFileBytes(dir.Path("bad.script"), "with FOLW_Root|Nobody\n{\n}\n");
  WriteFileBytes(dir.Path("short.nis"), "FORM");
  WriteFileBytes(dir.Path("cut.nis"), TestScene::Default().Build().substr(0, 100));
  WriteFileBytes(dir.Path("aiff.nis"), std::string("FORM\0\0\0\4AIFF", 12));
  auto* check = &CheckCommand;
  auto* dump = &DumpCommand;
  struct Case {
    int (*command)(const std::vector<std::string>&, std::ostream&, std::ostream&);
    std::vector<std::string> args;
    int code;
    size_t outLines;   // for check
    std::string err;   // a part of the error line
  } cases[] = {
      {check, {dir.Path("good.nis")}, 0, 0, ""},
      {check, {dir.Path("good.nis"), dir.Path("good.script")}, 0, 0, ""},
      {check, {dir.Path("broken.nis")}, 1, 1, ""},
      {check, {dir.Path("broken.nis"), dir.Path("bad.script")}, 1, 2, ""},
      {check, {dir.Path("short.nis")}, 2, 0, "file has 4 bytes, too few for a FORM head (12)"},
      {check, {dir.Path("missing.nis")}, 2, 0, "missing.nis: cannot open: No such file"},
      {check, {dir.Path("good.nis"), dir.Path("missing.script")}, 2, 0, "missing.script: cannot open"},
      {check, {dir.Path("good.nis"), dir.dir()}, 2, 0, ": cannot read: Is a directory"},
      {check, {}, 2, 0, "usage: reelwright check FILE.nis [FILE.script]"},
      {check, {dir.Path("good.nis"), "--json"}, 2, 0, "unknown option '--json'"},
      {dump, {dir.Path("aiff.nis"), "--json"}, 2, 0, "offset 8: form type 'AIFF' is not 'NIS '"},
      {dump, {dir.dir()}, 2, 0, ": cannot read: Is a directory"},
      {dump, {dir.Path("good.nis"), "--keys", "--json"}, 0, 0, ""},
      {dump, {dir.Path("good.nis"), "--yaml"}, 2, 0, "unknown option '--yaml'"},
      {dump, {dir.Path("cut.nis")}, 0, 0, "cut.nis: 7 structural faults, listed in the dump"},
  };
  for (const Case& c : cases) {
    std::ostringstream out, err;
    EXPECT_EQ(c.command(c.args, out, err), c.code) << out.str() << err.str();
    std::string text = out.str();
    if (c.command == check) {
      EXPECT_EQ(size_t(std::count(text.begin(), text.end(), '\n')), c.outLines) << text;
    }
    EXPECT_EQ(err.str().empty(), c.err.empty()) << err.str();
    EXPECT_NE(err.str().find(c.err), std::string::npos) << err.str();
  }
}

}  // namespace
}  // namespace rw::test
