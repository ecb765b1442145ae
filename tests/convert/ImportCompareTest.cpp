// reelwright import and compare as a user runs them. The round trips take files of each layout,
// built here, through import, export of the glTF, and compare with the original: every follower
// must come back, under the name the import gave it, with the same motion at every frame.
#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <filesystem>
#include <functional>
#include <map>
#include <nlohmann/json.hpp>
#include <string>
#include <vector>

#include "inspect/ImportNames.h"
#include "tests/inspect/NisTestFiles.h"
#include "tests/support/TestSupport.h"

namespace rw {
namespace {

using test::Outcome;
using json = nlohmann::json;

Outcome Reelwright(const test::ScratchDir& scratch, const std::string& args) {
  return test::Run(scratch.dir(), "exec '" RW_REELWRIGHT "' " + args + " 2>&1");
}

// The first scene with its names changed: the ship's past 31 bytes, the camera's follower and
// record without "CAM_" and with a byte of another code page.
std::string RenamedScene() {
  test::TestScene scene = test::TestScene::Default();
  const std::string ship = "FOLW_Root|" + std::string(40, 's'), camera = "FOLW_Root|M\xE9in";
  scene.followers[1].name = scene.cameras[0].centerOfInterest = ship;
  scene.followers[2].name = scene.cameras[0].follower = camera;
  scene.cameras[0].name = "M\xE9in";
  return scene.Build();
}

test::TestScene WithOrder(const std::string& order) {
  test::TestScene scene = test::TestScene::Default();
  for (auto& leader : scene.leaders) leader.order = order;
  for (auto& follower : scene.followers) follower.order = order;
  return scene;
}

test::TestScene WithInfinity(uint32_t pre, uint32_t post) {
  test::TestScene scene = test::TestScene::Default();
  scene.preInfinity = pre;
  scene.postInfinity = post;
  return scene;
}

struct RoundTripCase {
  const char* name;
  std::function<std::string()> file;
};

TEST(ImportCompare, EveryLayoutComesBackWithTheSameMotion) {
  const RoundTripCase cases[] = {
      {"our layout: a ship, a camera aimed at it", [] { return test::TestScene::Default().Build(); }},
      {"Bezier curve, motion path, look-at rig", [] { return test::GameScene().Build(); }},
      {"the game's INFO: frames at 30 per second", [] {
         test::TestScene scene = test::GameScene();
         scene.info = {30, 0, 90};
         return scene.Build();
       }},
      {"rotation order X Y Z", [] { return WithOrder("ZYX ").Build(); }},
      {"rotation order Y, Z, X", [] { return WithOrder(" XZY").Build(); }},
      {"linear infinity before and after the keys", [] { return WithInfinity(1, 1).Build(); }},
      {"linear before, constant after", [] { return WithInfinity(1, 0).Build(); }},
      {"older record layout on a motion path", [] { return test::OlderFileWithPath(); }},
      {"Crannnberry objects and camera", [] { return test::CrannnberryTestFile().Build(); }},
      {"names past 31 bytes, a camera without CAM_, Windows-1252", RenamedScene},
  };
  for (const RoundTripCase& c : cases) {
    SCOPED_TRACE(c.name);
    const test::ScratchDir scratch;
    test::WriteFileBytes(scratch.Path("a.nis"), c.file());
    const Outcome import = Reelwright(scratch, "import a.nis -o scene.glb");
    ASSERT_EQ(import.code, 0) << import.out;
    const Outcome exported = Reelwright(scratch, "export scene.glb -o b.nis -q");
    ASSERT_EQ(exported.code, 0) << exported.out;
    const Outcome compared = Reelwright(scratch, "compare a.nis b.nis --imported");
    EXPECT_EQ(compared.code, 0) << compared.out;
    EXPECT_NE(compared.out.find("\nsame motion: frames "), std::string::npos) << compared.out;
  }
}

// Our own export of the example, with its script: back out through import and export.
TEST(ImportCompare, OurExportComesBackWithItsScript) {
  const test::ScratchDir scratch;
  test::WriteFileBytes(scratch.Path("fleet.ms3d"), test::ReadFileBytes(std::string(RW_EXAMPLES_DIR) + "/fleet.ms3d"));
  ASSERT_EQ(Reelwright(scratch, "export fleet.ms3d -q").code, 0);
  const Outcome import = Reelwright(scratch, "import fleet.nis");
  // Played on to the script's last events, at 48 s, as the page and dump --frames play it.
  EXPECT_EQ(import.out, "scene written to fleet.glb: 3 nodes, 1 camera, 1153 frames (script fleet.script)\n");
  ASSERT_EQ(Reelwright(scratch, "export fleet.glb -o back.nis -q").code, 0);
  const Outcome compared = Reelwright(scratch, "compare fleet.nis back.nis");
  EXPECT_EQ(compared.code, 0) << compared.out;
  EXPECT_EQ(test::ReadFileBytes(scratch.Path("back.script")), test::ReadFileBytes(scratch.Path("fleet.script")));
}

// The script's events through import and export: names as the import gave them, a block's events
// on its node, and the scene's comment filled to its last byte, the rest reported.
TEST(ImportCompare, TheScriptsEventsComeBackUnderTheNewNames) {
  const std::string ship(40, 's');
  // OPT_FPS=24, Num Events=1 and Event0=0|f|"..." with 986 bytes quoted: 1,023 bytes.
  const auto filling = [](size_t bytes) { return "at 0\n\tf(\"" + std::string(bytes, 'x') + "\")\n"; };
  struct Case {
    const char* name;
    std::string script, warnings, back;
  };
  const Case cases[] = {
      {"renamed targets, a block; a target and a block of no follower, a bar",
       "at frame 24\n\tcameraCut(M\xE9in)\n\tattack(\"FOLW_Root|" + ship + "\") -- the ship\n"
       "\tattack(Nobody)\n\tsay(\"a|b\")\nwith FOLW_Root|" + ship + " {\nat 2\n\thide()\n}\nwith Nobody {\n\tshow()\n}\n",
       "reelwright: a.script: warning: left out of the events: 1 events of Nobody: no such follower\n"
       "reelwright: a.script: warning: left out of the events: 1 cameraCut or attack events name no follower\n"
       "reelwright: a.script: warning: left out of the events: 1 events with \"|\" in their arguments, which an event "
       "cannot hold\n",
       "at 1\n\tcameraCut(\"FOLW_Root|CAM_M_in\")\n\tattack(\"FOLW_Root|" + ship.substr(0, 31) + "\")\n\n"
       "with FOLW_Root|" + ship.substr(0, 31) + "\n{\n\tat 2\n\t\thide()\n}\n\n"},
      {"a comment of exactly 1,023 bytes", filling(986), "", "at 0\n\tf(\"" + std::string(986, 'x') + "\")\n\n"},
      {"a byte more", filling(987),
       "reelwright: a.script: warning: left out of the events: 1 global events do not fit the scene's comment of "
       "1,023 bytes\n", ""},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.name);
    const test::ScratchDir scratch;
    test::WriteFileBytes(scratch.Path("a.nis"), RenamedScene());
    test::WriteFileBytes(scratch.Path("a.script"), c.script);
    const Outcome import = test::Run(scratch.dir(), "exec '" RW_REELWRIGHT "' import a.nis 2>&1 >/dev/null");
    EXPECT_EQ(import.out, c.warnings);
    ASSERT_EQ(Reelwright(scratch, "export a.glb -o b.nis -q").code, 0);
    EXPECT_EQ(c.back.empty() ? "" : test::ReadFileBytes(scratch.Path("b.script")), c.back);
  }
}

// The JSON chunk of a .glb.
json GlbJson(const std::string& glb) {
  uint32_t length = 0;
  if (glb.size() < 20) return {};
  std::memcpy(&length, glb.data() + 12, 4);
  return json::parse(glb.substr(20, length));
}

TEST(ImportCompare, TheGltfCarriesCamerasClassesAndTheScript) {
  const test::ScratchDir scratch;
  test::WriteFileBytes(scratch.Path("a.nis"), test::TestScene::Default().Build());
  test::WriteFileBytes(scratch.Path("a.script"), "at 1\n\tfade(1, 2)\n");
  ASSERT_EQ(Reelwright(scratch, "import a.nis").code, 0);
  const json doc = GlbJson(test::ReadFileBytes(scratch.Path("a.glb")));
  ASSERT_EQ(doc["nodes"].size(), 2u) << doc.dump();
  const json& ship = doc["nodes"][0];
  const json& camera = doc["nodes"][1];
  EXPECT_EQ(ship["name"], "Ship");
  EXPECT_EQ(ship["extras"], json({{"Sob Type", "Fighter"}, {"Sob Name", "Red 1"}, {"nisName", "FOLW_Root|Ship"}}));
  EXPECT_EQ(camera["name"], "CAM_Main");
  EXPECT_EQ(camera["extras"]["Center Of Interest"], "Ship");
  const json& lens = doc["cameras"][camera["camera"].get<size_t>()]["perspective"];
  EXPECT_NEAR(lens["yfov"].get<double>(), 2 * std::atan(12 / 21.8), 1e-12);
  EXPECT_NEAR(lens["aspectRatio"].get<double>(), 31.92 / 24, 1e-12);
  EXPECT_EQ(lens["znear"], 1.0);
  EXPECT_EQ(doc["asset"]["extras"]["comment"], "OPT_FPS=24");
  EXPECT_EQ(doc["extras"]["nisScript"], "at 1\n\tfade(1, 2)\n");
  // Frames 0 to 72 (3 s at 24 per second), every one a key of both nodes' two channels.
  const json& times = doc["accessors"][doc["animations"][0]["samplers"][0]["input"].get<size_t>()];
  EXPECT_EQ(times["count"], 73);
  EXPECT_EQ(times["max"], json::array({3.0}));
  EXPECT_EQ(doc["animations"][0]["channels"].size(), 4u);
}

// A scene of followers by name; a follower with a camera name is that camera record's.
struct NamedFollower {
  NamedFollower(std::string followerName, std::string cameraName = "")
      : name(std::move(followerName)), camera(std::move(cameraName)) {}
  std::string name, camera;
};
SceneReading NamedScene(const std::vector<NamedFollower>& followers) {
  SceneReading scene;
  for (const NamedFollower& f : followers) {
    scene.followers.emplace_back();
    scene.followers.back().name = f.name;
    if (f.camera.empty()) continue;
    scene.followers.back().camera = scene.cameras.size();
    scene.cameras.emplace_back();
    scene.cameras.back().name = f.camera;
  }
  return scene;
}

// The names an import gives, and so the names compare --imported looks for ("" for no node).
TEST(ImportCompare, NamesFitTheExporterAndStayUnique) {
  const std::string name31(31, 'n'), name32(32, 'n');
  struct Case {
    const char* name;
    std::vector<NamedFollower> followers;
    std::vector<std::string> after;
  };
  const Case cases[] = {
      {"kept as it is; the exporter's placeholder has none", {{"FOLW_Root|Fleet|Ship1"}, {"FOLW_Empty"}},
       {"FOLW_Root|Fleet|Ship1", ""}},
      {"a game name without FOLW_ or Root, CAM_ escaped", {{"Rig|CAM_Main_view"}}, {"FOLW_Root|Rig|_CAM_Main_view"}},
      {"31 bytes kept, 32 cut", {{"FOLW_Root|" + name31}, {"FOLW_Root|" + name32 + "x"}},
       {"FOLW_Root|" + name31, "FOLW_Root|" + name31.substr(0, 29) + "~2"}},
      {"a camera is CAM_ and its record's name, then cut", {{"FOLW_Root|Camera1", "CamShape1"}, {"FOLW_Root|B", name31}},
       {"FOLW_Root|CAM_CamShape1", "FOLW_Root|CAM_" + name31.substr(0, 27)}},
      {"CAM_ not doubled; a bar in a record's name", {{"FOLW_Root|A", "CAM_Main"}, {"FOLW_Root|B", "x|y"}},
       {"FOLW_Root|CAM_Main", "FOLW_Root|CAM_x_y"}},
      {"a camera met first as a parent", {{"FOLW_Root|Cam|Aim"}, {"FOLW_Root|Cam", "Cam"}},
       {"FOLW_Root|CAM_Cam|Aim", "FOLW_Root|CAM_Cam"}},
      {"the same name twice, one name each", {{"Kus_Mothership"}, {"Kus_Mothership"}},
       {"FOLW_Root|Kus_Mothership", "FOLW_Root|Kus_Mothership~2"}},
      {"not UTF-8, and a cut between characters", {{"FOLW_Root|Caf\xE9"}, {"FOLW_Root|" + std::string(30, 'n') + "\xC3\xA9"}},
       {"FOLW_Root|Caf_", "FOLW_Root|" + std::string(30, 'n')}},
      {"a part the exporter would skip, an empty part", {{"FOLW_Root|IG_Guide||X"}}, {"FOLW_Root|_IG_Guide|_|X"}},
  };
  for (const Case& c : cases) {
    const SceneReading scene = NamedScene(c.followers);
    const std::vector<ImportedNode> nodes = ImportNodes(scene);
    const std::vector<size_t> nodeOf = FollowerNodes(nodes, c.followers.size());
    std::vector<std::string> after;
    for (size_t node : nodeOf) after.push_back(node == kNoIndex ? "" : ExportedFollowerName(nodes, node));
    EXPECT_EQ(after, c.after) << c.name;
  }
}

// Every refusal and failure where the user sees it: exit code, message, and the files left.
TEST(ImportCompare, RefusalsAndDifferencesSayWhatAndLeaveFilesAsTheyWere) {
  std::string huge = test::TestScene::Default().Build();  // INFO's end: 2^31 - 1 frames
  huge.replace(huge.find("INFO") + 16, 4, std::string("\xff\xff\xff\x7f", 4));
  const test::TestScene moved = WithOrder(" XZY");
  const std::map<std::string, std::string> base = {{"a.nis", test::TestScene::Default().Build()},
                                                   {"moved.nis", moved.Build()},
                                                   {"huge.nis", huge},
                                                   {"old.glb", "keep"},
                                                   {"text.nis", "not a NIS file"}};
  struct Case {
    const char* args;
    int code;
    std::string out;  // "..." and a part of it, or the whole output
    const char* written;
  };
  const Case cases[] = {
      {"import a.nis -o old.glb", 2, "reelwright: old.glb: error: exists; use --force to replace it\n", ""},
      {"import a.nis -o a.nis -f", 2, "...a.nis: error: is the NIS file; the scene cannot replace it\n", ""},
      {"import a.nis none.script", 2, "...none.script: cannot open the file", ""},
      {"import text.nis", 2, "...text.nis: ", ""},
      {"import", 2, "reelwright: error: import needs a NIS file and at most one script\n", ""},
      {"import a.nis -o missing/s.glb", 2, "...the folder missing/ does not exist\n", ""},
      {"import a.nis -o old.glb --force", 0, "scene written to old.glb: 2 nodes, 1 camera, 73 frames (no script)\n",
       "old.glb"},
      {"import huge.nis", 1, "...huge.nis: error: frames 0 to ", ""},
      {"compare huge.nis a.nis", 1, "...followers are more than the 4000000 poses a run samples\n", ""},
      {"compare a.nis", 2, "reelwright: error: compare needs two NIS files\n", ""},
      {"compare a.nis a.nis --map X", 2, "reelwright: error: --map needs OLD=NEW, not \"X\"\n", ""},
      {"compare a.nis a.nis", 0, "...\nsame motion: frames 0 to 72", ""},
      {"compare a.nis moved.nis", 1, "...FOLW_Root|Ship: position 0 at frame 0, rotation ", ""},
      {"compare a.nis moved.nis", 1, "...  OFF\n", ""},
      {"compare a.nis a.nis --map 'FOLW_Root|Ship=FOLW_Root|Hull'", 1,
       "FOLW_Root|Ship: not in a.nis\nFOLW_Root|CAM_Main: position 0 at frame 0", ""},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.args);
    const test::ScratchDir scratch;
    for (const auto& [name, bytes] : base) test::WriteFileBytes(scratch.Path(name), bytes);
    const Outcome outcome = Reelwright(scratch, c.args);
    EXPECT_EQ(outcome.code, c.code);
    const bool part = c.out.rfind("...", 0) == 0;
    EXPECT_TRUE(part ? outcome.out.find(c.out.substr(3)) != std::string::npos : outcome.out.rfind(c.out, 0) == 0)
        << outcome.out;
    for (const auto& [name, bytes] : base) {
      EXPECT_TRUE(name == c.written || test::ReadFileBytes(scratch.Path(name)) == bytes) << name << " changed";
    }
    size_t files = 0;
    for (const auto& entry : std::filesystem::directory_iterator(scratch.dir())) files += entry.is_regular_file();
    EXPECT_EQ(files, base.size()) << "a file was left behind";
  }
}

}  // namespace
}  // namespace rw
