// The scene reading: a record's stored start values equal what the reading gives at the export
// time (the check that holds on the game's own files), hand-worked placements, curve values,
// the playback range, the scene section and `dump --frames` as the user runs them.
#include <gtest/gtest.h>

#include <cmath>
#include <nlohmann/json.hpp>
#include <sstream>

#include "inspect/Dump.h"
#include "inspect/SceneDump.h"
#include "inspect/SceneReading.h"
#include "tests/inspect/NisTestFiles.h"

namespace rw::test {
namespace {

constexpr double kPi = 3.14159265358979323846, kHalfTurn = kPi / 2;
using Vec = std::array<double, 3>;
const CurveSlots kNoSlots{};

Vec Turned(const ScenePose& pose, const Vec& v) {
  const auto& m = pose.rotation;
  return {m[0] * v[0] + m[1] * v[1] + m[2] * v[2], m[3] * v[0] + m[4] * v[1] + m[5] * v[2],
          m[6] * v[0] + m[7] * v[1] + m[8] * v[2]};
}

void ExpectNear(const Vec& actual, const Vec& expected, const std::string& what) {
  for (int i = 0; i < 3; ++i) EXPECT_NEAR(actual[i], expected[i], 1e-6) << what << " [" << i << "]";
}

ScenePose Stored(const std::array<double, 6>& six) {
  ScenePose pose;
  pose.translation = {six[0], six[1], six[2]};
  pose.rotation = EulerRotation({0, 1, 2}, {six[3], six[4], six[5]});  // every record here is " ZYX"
  return pose;
}

ScenePose Compose(const ScenePose& outer, const ScenePose& inner) {
  ScenePose r;
  for (int col = 0; col < 3; ++col) {
    Vec turned = Turned(outer, {inner.rotation[col], inner.rotation[3 + col], inner.rotation[6 + col]});
    for (int row = 0; row < 3; ++row) r.rotation[row * 3 + col] = turned[row];
  }
  Vec moved = Turned(outer, inner.translation);
  for (int k = 0; k < 3; ++k) r.translation[k] = moved[k] + outer.translation[k];
  return r;
}

void ExpectSamePose(const ScenePose& actual, const ScenePose& expected, const std::string& what) {
  ExpectNear(actual.translation, expected.translation, what + " translation");
  for (int i = 0; i < 9; ++i) EXPECT_NEAR(actual.rotation[i], expected.rotation[i], 1e-6) << what << " rotation " << i;
}

// A leader on path "path1", whose NURB curve "line" runs straight along +X through (1, 0, 0) to
// (10, 0, 0) with the knot at (1, 0, 0): half the arc length is at (5, 0, 0), half the parameter
// at (1, 0, 0). Curve "u" is 0.5 at 1 s, "twist" a quarter turn; a follower rides the leader.
TestScene PathScene(uint8_t follow, const std::string& twist, const std::array<double, 6>& start) {
  TestScene t;
  t.keyedCurves = {{"u", {{0, 0}, {2, 1}}}, {"twist", {{0, 0}, {2, kPi}}}};
  TestScene::Path path{"path1", "line", follow, 2, 1, "u", twist};
  path.degree = 1;
  path.points = {{0, 0, 0, 1}, {1, 0, 0, 1}, {10, 0, 0, 1}};
  path.knots = {0, 1, 2};
  t.paths = {path};
  CurveSlots slots = {"motionPath1_addDoubleLinear1", "motionPath1_addDoubleLinear2", "motionPath1_addDoubleLinear3",
                      "path1", "path1", "path1"};
  t.leaders.push_back({"LEAD_Ship", "path1", slots, start});
  t.followers.push_back({"FOLW_Ship", "LEAD_Ship", "Ship", "Hgn_Scout", kNoSlots});
  return t;
}

// A camera on a look-at rig at the origin; its view stands where curves "vx", "vz" put it:
// (10, 0, 0) at 0 s, (0, 0, -10) at 2 s. Its stored rotation aims at the view at 0 s.
TestScene RigScene(const std::string& cameraPath, const std::string& viewPath) {
  TestScene t;
  t.keyedCurves = {{"vx", {{0, 10}, {2, 0}}}, {"vz", {{0, 0}, {2, -10}}}};
  t.leaders.push_back({"LEAD_Cam", "", kNoSlots});
  t.leaders.push_back({"LEAD_View", "", {"vx", "", "vz", "", "", ""}, {10, 0, 0, 0, 0, 0}});
  CurveSlots rig = {"", "", "", "CAM_group", "CAM_group", "CAM_group"};
  t.followers.push_back({"FOLW_" + cameraPath, "LEAD_Cam", "camera", "", rig, {0, 0, 0, 0, -kHalfTurn, 0}});
  t.followers.push_back({"FOLW_" + viewPath, "LEAD_View", "camera_target", "", kNoSlots});
  return t;
}

// Every leader's start values, and every follower's numbers under its parent and leader, equal
// the reading at the export time: the check that holds record by record on the game's files.
TEST(Scene, StoredStartValuesEqualTheReadingAtTheExportTime) {
  struct Case {
    const char* name;
    TestScene scene;
    double exportTime;
  } cases[] = {
      {"u-value is a fraction of arc length; follow 0 keeps the stored rotation",
       PathScene(0, "", {5, 0, 0, 0.25, 0.5, 0}), 1},
      {"follow 1 turns the front axis (Z) along the path, up toward +Y", PathScene(1, "", {5, 0, 0, 0, kHalfTurn, 0}), 1},
      {"follow 255 turns it too", PathScene(255, "", {5, 0, 0, 0, kHalfTurn, 0}), 1},
      {"front twist rolls about the front axis", PathScene(1, "twist", {5, 0, 0, kHalfTurn, 0, kHalfTurn}), 1},
      {"past the u-value curve's last key the path's end holds", PathScene(0, "", {10, 0, 0, 0, 0, 0}), 3},
      {"a look-at rig's stored rotation aims its -Z at its view", RigScene("Rig|CAM_group|CAM", "Rig|CAM_view"), 0},
  };
  for (Case& c : cases) {
    NisDocument doc = Read(c.scene.Build());
    SceneReading scene = ReadScene(doc);
    SceneEvaluator evaluator(scene);
    evaluator.SetTime(c.exportTime);
    for (size_t i = 0; i < scene.leaders.size(); ++i) {
      const NisLeader& r = doc.leaders[i];
      ScenePose stored = Stored({r.startPosition[0], r.startPosition[1], r.startPosition[2], r.startRotation[0],
                                 r.startRotation[1], r.startRotation[2]});
      ExpectSamePose(LeaderPose(scene, i, c.exportTime), stored, std::string(c.name) + ": " + r.name);
    }
    for (size_t i = 0; i < scene.followers.size(); ++i) {
      const SceneFollower& f = scene.followers[i];
      ScenePose expected = Stored(doc.followers[i].numbers);
      if (f.leader != kNoIndex) expected = Compose(LeaderPose(scene, f.leader, c.exportTime), expected);
      if (f.parent != kNoIndex) expected = Compose(evaluator.World(f.parent), expected);
      ExpectSamePose(evaluator.World(i), expected, std::string(c.name) + ": " + f.name);
    }
  }
}

// World placements worked out by hand: a point or axis of one follower at one time.
TEST(Scene, FollowersStandWhereTheGameShowsThem) {
  auto withLeader = [](TestScene t, const std::string& follower, const std::array<double, 6>& start,
                       std::array<double, 6> numbers = {}) {
    t.leaders.push_back({"LEAD_" + follower, "", kNoSlots, start});
    t.followers.push_back({"FOLW_" + follower, "LEAD_" + follower, "Ship", "", kNoSlots, numbers});
    return t;
  };
  TestScene rooted = withLeader(TestScene(), "Root", {5, 0, 0, 0, 0, 0});
  TestScene xyzOrder = withLeader(TestScene(), "Ship", {0, 0, 0, kHalfTurn, kHalfTurn, 0});
  xyzOrder.leaders.back().order = " XYZ";
  TestScene cubic = PathScene(1, "", {});  // one cubic span along +X, its parameter uneven in length
  cubic.paths[0].degree = 3;
  cubic.paths[0].points = {{0, 0, 0, 1}, {1, 0, 0, 1}, {2, 0, 0, 1}, {10, 0, 0, 1}};
  cubic.paths[0].knots = {0, 0, 0, 1, 1, 1};
  TestScene rigUnderRoot = RigScene("Root|CAM_group|CAM", "Root|CAM_view");
  rigUnderRoot = withLeader(rigUnderRoot, "Root", {5, 0, 0, 0, 0, 0});
  rigUnderRoot.leaders[1].start = {0, 1, 0, 0, 0, 0};
  rigUnderRoot.leaders[2] = {"LEAD_View", "", kNoSlots};
  struct Case {
    const char* name;
    TestScene scene;
    std::string follower;
    double time;
    Vec point;     // where the follower's origin stands
    Vec axis, to;  // its local `axis` points along world `to`
  } cases[] = {
      {"order \" ZYX\" turns X first, then Y, about the parent's axes",
       withLeader(TestScene(), "Ship", {0, 0, 0, kHalfTurn, kHalfTurn, 0}), "FOLW_Ship", 0, {0, 0, 0}, {0, 1, 0}, {1, 0, 0}},
      {"order \" XYZ\" turns Z first, then Y, then X", xyzOrder, "FOLW_Ship", 0, {0, 0, 0}, {0, 1, 0}, {0, 0, 1}},
      {"the leader's transform, then the follower's own slots",
       withLeader(TestScene(), "Ship", {10, 0, 0, 0, kHalfTurn, 0}, {0, 0, 1, 0, 0, 0}), "FOLW_Ship", 0, {11, 0, 0},
       {0, 0, 1}, {1, 0, 0}},
      {"the name path's parent", withLeader(rooted, "Root|A", {0, 1, 0, 0, 0, 0}), "FOLW_Root|A", 0, {5, 1, 0},
       {1, 0, 0}, {1, 0, 0}},
      {"a parent FOLW lacks leaves the follower under its leader alone",
       withLeader(rooted, "Root|Gone|B", {0, 1, 0, 0, 0, 0}), "FOLW_Root|Gone|B", 0, {0, 1, 0}, {1, 0, 0}, {1, 0, 0}},
      {"a rig passes over its missing _group and aims down at its view", rigUnderRoot, "FOLW_Root|CAM_group|CAM", 0,
       {5, 1, 0}, {0, 0, -1}, {0, -1, 0}},
      {"a look-at rig aims at every time, not only at its snapshot", RigScene("CAM", "CAM_view"), "FOLW_CAM", 2,
       {0, 0, 0}, {0, 0, -1}, {0, 0, -1}},
      {"a path leader at a fraction of the arc length", PathScene(1, "", {}), "FOLW_Ship", 1, {5, 0, 0}, {0, 0, 1},
       {1, 0, 0}},
      {"a cubic path at a fraction of the arc length", cubic, "FOLW_Ship", 1, {5, 0, 0}, {0, 0, 1}, {1, 0, 0}},
  };
  for (const Case& c : cases) {
    NisDocument doc = Read(c.scene.Build());
    SceneReading scene = ReadScene(doc);
    size_t index = kNoIndex;
    for (size_t i = 0; i < scene.followers.size(); ++i)
      if (scene.followers[i].name == c.follower) index = i;
    ASSERT_NE(index, kNoIndex) << c.name;
    SceneEvaluator evaluator(scene);
    evaluator.SetTime(c.time);
    ExpectNear(evaluator.World(index).translation, c.point, c.name);
    ExpectNear(Turned(evaluator.World(index), c.axis), c.to, c.name);
  }
}

TEST(Scene, CurveValuesInBothLayoutsAndBeyondTheKeys) {
  auto curve = [](NisCurveLayout layout, std::vector<NisKey> keys, uint32_t pre = 0, uint32_t post = 0) {
    NisCurve c;
    c.layout = layout;
    c.keys = std::move(keys);
    c.preInfinity = pre;
    c.postInfinity = post;
    return c;
  };
  const auto tangents = NisCurveLayout::kTangents, bezier = NisCurveLayout::kBezier;
  const float third = 1 / 3.0f;
  NisCurve easeTangents = curve(tangents, {{0, 0, {1, 0}, {1, 0}}, {1, 1, {1, 0}, {1, 0}}});
  NisCurve easeHandles = curve(bezier, {{0, 0, {0, 0}, {third, 0}}, {1, 1, {2 * third, 1}, {0, 0}}});
  NisCurve slopeOne = curve(tangents, {{0, 0, {1, 1}, {1, 1}}, {1, 1, {1, 1}, {1, 1}}}, 1, 1);
  NisCurve handlesSlopeOne = curve(bezier, {{0, 0, {0, 0}, {third, third}}, {1, 1, {2 * third, 2 * third}, {0, 0}}}, 1, 1);
  struct Case {
    const char* name;
    const NisCurve& curve;
    double time, value;
  } cases[] = {
      {"Hermite between tangent keys", easeTangents, 0.25, 0.15625},
      {"Bezier between handle keys", easeHandles, 0.25, 0.15625},
      {"constant before the first key", easeTangents, -1, 0},
      {"constant after the last key", easeTangents, 5, 1},
      {"linear before the first key, along its out tangent", slopeOne, -1, -1},
      {"linear after the last key, along its in tangent", slopeOne, 3, 3},
      {"linear past handle keys, along the inner handle", handlesSlopeOne, 2, 2},
      {"at a key exactly", slopeOne, 1, 1},
  };
  for (const Case& c : cases) EXPECT_NEAR(EvaluateCurve(c.curve, c.time), c.value, 1e-6) << c.name;  // handles are floats
  NisCurve single = curve(tangents, {{1, 5, {1, 1}, {1, 1}}}, 1, 1);
  EXPECT_EQ(EvaluateCurve(single, -3), 5);
  EXPECT_EQ(EvaluateCurve(curve(tangents, {}), 1), 0);
}

TEST(Scene, PlaybackRunsFromInfosStartPastItsEndToTheLastKey) {
  TestScene game, late;
  game.info = {30, 1, 1830};
  game.keyedCurves = {{"k", {{0, 0}, {61, 1}}}};
  late.info = {30, 1, 90};
  late.keyedCurves = {{"k", {{0, 0}, {10, 1}}}};
  struct Case {
    const char* name;
    std::string file;
    SceneTimeUnit unit;
    double start, end;
    int64_t firstFrame, lastFrame;
    double lastEvent = 0;  // a script's
  } cases[] = {
      {"ours: whole seconds", TestScene().Build(), SceneTimeUnit::kSeconds, 0, 3, 0, 72},
      {"the game's: frames", game.Build(), SceneTimeUnit::kFrames, 1 / 30.0, 61, 1, 1830},
      {"keys past INFO's end", late.Build(), SceneTimeUnit::kFrames, 1 / 30.0, 10, 1, 300},
      {"a script's event past the last key", late.Build(), SceneTimeUnit::kFrames, 1 / 30.0, 20, 1, 600, 20},
      {"Crannnberry: seconds at 24 frames", CrannnberryTestFile().Build(), SceneTimeUnit::kSeconds, 0, 12.5, 0, 300},
  };
  for (const Case& c : cases) {
    NisDocument doc = Read(c.file);
    SceneReading scene = ReadScene(doc);
    PlayUntil(scene, c.lastEvent);
    EXPECT_EQ(scene.infoUnit, c.unit) << c.name;
    EXPECT_NEAR(scene.start, c.start, 1e-9) << c.name;
    EXPECT_NEAR(scene.end, c.end, 1e-9) << c.name;
    EXPECT_EQ(scene.firstFrame, c.firstFrame) << c.name;
    EXPECT_EQ(scene.lastFrame, c.lastFrame) << c.name;
  }
}

// What the scene section says of the game's conventions and of both older layouts.
TEST(Scene, SectionNamesKindsRigsPathsAndCrannnberryObjects) {
  auto section = [](const std::string& file) {
    std::ostringstream out;
    WriteDumpJson(Read(file), DumpOptions{}, out);
    return nlohmann::json::parse(out.str())["scene"];
  };
  nlohmann::json game = section(GameScene().Build());
  std::vector<std::string> kinds;
  for (const auto& f : game["followers"]) kinds.push_back(f["kind"]);
  EXPECT_EQ(kinds, (std::vector<std::string>{"helper", "ship", "camera", "target"}));
  EXPECT_EQ(game["followers"][2]["aimAt"], 3);
  EXPECT_EQ(game["followers"][2]["slots"][3], "aim");
  EXPECT_EQ(game["leaders"][1]["slots"][0], "path");
  EXPECT_EQ(game["leaders"][1]["path"], 0);
  EXPECT_EQ(game["paths"][0]["usable"], false);  // three degrees need four control points
  EXPECT_EQ(game["cameras"][0]["follower"], 2);
  EXPECT_EQ(section(OlderFileWithPath("ANIM_Empty", "curve1", 0))["followers"][0]["kind"], "ship");
  EXPECT_EQ(section(OlderFileWithPath())["followers"][0]["kind"], "helper");
  nlohmann::json crannnberry = section(CrannnberryTestFile().Build());
  EXPECT_EQ(crannnberry["followers"][1]["name"], "Kus_Mothership#1");
  EXPECT_EQ(crannnberry["followers"][2]["kind"], "camera");
  // Every object and camera stands at its keys: x, y, z of record r at key k are r*100 + 40, 50, 60 + k + 0.25.
  NisDocument doc = Read(CrannnberryTestFile().Build());
  SceneReading scene = ReadScene(doc);
  SceneEvaluator evaluator(scene);
  evaluator.SetTime(0.5);
  for (size_t r = 0; r < 3; ++r) {
    double base = r * 100 + 1.25;
    ExpectNear(evaluator.World(r).translation, {base + 40, base + 50, base + 60}, scene.followers[r].name);
  }
}

// `dump --frames`: every frame on its line, the named follower's pose as the evaluator gives it.
TEST(Scene, FramesStreamEveryFrameOnItsLine) {
  NisDocument doc = Read(RigScene("CAM", "CAM_view").Build());
  std::ostringstream out;
  std::string unknown;
  ASSERT_TRUE(WriteFramesJson(ReadScene(doc), {"FOLW_CAM"}, out, unknown));
  std::istringstream lines(out.str());
  std::string line;
  int frameLines = 0;
  while (std::getline(lines, line)) frameLines += line.rfind("  {\"frame\": ", 0) == 0;
  EXPECT_EQ(frameLines, 73);  // 0 to 72 at 24 frames per second
  nlohmann::json frames = nlohmann::json::parse(out.str());
  EXPECT_EQ(frames["followers"], nlohmann::json::array({"FOLW_CAM"}));
  const auto& at48 = frames["frames"][48];  // 2 s: the view at (0, 0, -10), straight ahead
  EXPECT_EQ(at48["time"], 2);
  EXPECT_EQ(at48["at"][0], nlohmann::json::array({0, 0, 0, 0, 0, 0, 1}));
  const auto& at0 = frames["frames"][0];  // 0 s: the view at (10, 0, 0), a quarter turn right
  EXPECT_NEAR(at0["at"][0][4].get<double>(), -std::sqrt(0.5), 1e-6);
  EXPECT_NEAR(at0["at"][0][6].get<double>(), std::sqrt(0.5), 1e-6);
  EXPECT_FALSE(WriteFramesJson(ReadScene(doc), {"FOLW_CAM", "CAM"}, out, unknown));
  EXPECT_EQ(unknown, "CAM");
}

}  // namespace
}  // namespace rw::test
