#include <gtest/gtest.h>

#include <cmath>
#include <cstring>

#include "export/NisScene.h"
#include "host/MemoryModel.h"
#include "log/ExportLog.h"
#include "tests/support/TestSupport.h"

namespace rw {
namespace {

// Float bits of the tangents that occur below.
constexpr uint32_t kOne = 0x3F800000, kDiagonal = 0x3F3504F3, kNegZero = 0x80000000;
constexpr uint32_t kHalfSlopeX = 0x3F64F92E, kHalfSlopeY = 0x3EE4F92E;
const char* const kTag = "20 5A 59 58";
const char* const kHead = "========================";

// Expected payloads, written out field by field in file order.
struct Bytes {
  std::string s;
  Bytes& u32(uint32_t v) { return raw(&v, 4); }
  Bytes& f64(double v) { return raw(&v, 8); }
  Bytes& text(const std::string& t) { return u32(static_cast<uint32_t>(t.size())).raw(t.data(), t.size()); }
  Bytes& hex(const char* h) { return s += test::FromHex(h), *this; }
  Bytes& raw(const void* p, size_t n) { return s.append(static_cast<const char*>(p), n), *this; }
  Bytes& key(double t, double v, uint32_t tx, uint32_t ty) { return f64(t).f64(v).u32(tx).u32(ty).u32(tx).u32(ty); }
};

std::string Frame(const std::string& name, const std::string& body) {
  return std::string(kHead) + " " + name + " " + kHead + "\r\n" + body + "\r\n" + kHead + " End " + kHead + "\r\n";
}

// A model and a scene filled by hand; each test runs one stage into a scratch file.
class NisChunksTest : public ::testing::Test {
 protected:
  void SetUp() override {
    LogCloseAll();
    LogOpenSection();
    scene.model = model;
    scene.fps = 24;
  }
  void TearDown() override {
    LogCloseAll();
    msModel_Destroy(model);
  }
  msBone* Accept(msBone* bone, const std::string& path) {
    scene.bones.push_back(bone);
    scene.bonePaths.push_back(path);
    return bone;
  }
  // The file that one stage writes, and the payload of its one chunk.
  std::string Run(bool (NisScene::*stage)()) {
    scene.lookup.Build(model);
    scene.iff = std::make_unique<LiteIFF>();
    EXPECT_TRUE(scene.iff->Attach(scratch.Path("out.nis").c_str()));
    EXPECT_TRUE((scene.*stage)());
    EXPECT_EQ(scene.iff->depth(), 0);
    scene.iff.reset();
    file = test::ReadFileBytes(scratch.Path("out.nis"));
    return file.size() < 8 ? "" : file.substr(8);
  }
  // Value of key j of a curve in the ANIM chunk just written.
  double KeyValue(const std::string& curve, int j, int field = 1) {
    const size_t at = file.find(Bytes().text(curve).s);
    double v = NAN;
    if (at != std::string::npos) std::memcpy(&v, &file[at + 4 + curve.size() + 4 + 32 * j + 8 * field], 8);
    return v;
  }
  msBone* Ship(const std::string& name) {  // the bone of the animation example
    msBone* ship = AddBone(model, name, "", {10, 0, -5}, {0, 0.5f, 0});
    AddKeyPair(ship, 24, {1, 2, 3}, {0.25f, 0, 0});
    AddKeyPair(ship, 48, {2, 2, 3}, {0.25f, 0.5f, 0});
    return ship;
  }
  std::string Log() { return LogSectionText(0); }

  test::ScratchDir scratch;
  msModel* model = CreateModel();
  NisScene scene;
  std::string file;
};

TEST_F(NisChunksTest, HeaderGivesTheFixed59BytesAndInfo) {
  scene.startTime = 1;
  scene.endTime = 5;
  scene.lookup.Build(model);
  scene.iff = std::make_unique<LiteIFF>();
  ASSERT_TRUE(scene.iff->Attach(scratch.Path("h.nis").c_str()));
  scene.iff->OpenForm(kChunkForm, MakeChunkId("NIS "), 0);
  EXPECT_TRUE(scene.WriteNisHeader());
  scene.iff->CloseChunk();
  scene.iff.reset();
  // FORM length 63; NAME at 12, VERS at 39 (odd), INFO at 51; fps, start, end little-endian.
  EXPECT_EQ(test::ToHex(test::ReadFileBytes(scratch.Path("h.nis"))),
            "46 4F 52 4D 00 00 00 3F 4E 49 53 20 4E 41 4D 45 00 00 00 13 48 6F 6D 65 77 6F 72 6C 64 32 20 4E 49 53 "
            "20 46 69 6C 65 56 45 52 53 00 00 00 04 00 01 00 00 49 4E 46 4F 00 00 00 0C 18 00 00 00 01 00 00 00 "
            "05 00 00 00");
  EXPECT_EQ(Log(), Frame("NIS Header",
                         "NAME chunk: 'Homeworld2 NIS File'\r\nVERS chunk: '256'\r\n"
                         "Animation FPS: 24\r\nStart Time: 1\r\nEnd Time: 5\r\n"));
}

// The seven curves of Root|Ship in the animation example, with their tangents.
Bytes ShipCurves(const std::string& prefix) {
  struct Curve {
    const char* suffix;
    double v0, v1;
    uint32_t tx, ty0, ty1;
  };
  const Curve curves[] = {{"_translateX", 11, 12, kDiagonal, kDiagonal, kDiagonal},
                          {"_translateY", 2, 2, kOne, 0, kNegZero},
                          {"_translateZ", -2, -2, kOne, 0, kNegZero},
                          {"_rotateX", 0.25, 0.25, kOne, 0, kNegZero},
                          {"_rotateY", 0.5, 1, kHalfSlopeX, kHalfSlopeY, kHalfSlopeY},
                          {"_rotateZ", 0, 0, kOne, 0, kNegZero},
                          {"_visibility", 1, 1, kOne, 0, kNegZero}};
  Bytes b;
  for (const Curve& c : curves)
    b.text(prefix + c.suffix).u32(2).key(1, c.v0, c.tx, c.ty0).key(2, c.v1, c.tx, c.ty1).u32(0).u32(0);
  return b;
}

TEST_F(NisChunksTest, AnimationExampleIs820BytesOfBindPlusKey) {
  scene.endTime = 3;
  Accept(Ship("Ship"), "Root|Ship");
  const std::string payload = Run(&NisScene::WriteAnimationCurves);
  EXPECT_EQ(test::ToHex(file.substr(0, 8)), "41 4E 49 4D 00 00 03 34");
  Bytes expected;
  expected.u32(8).text("ANIM_Empty").u32(2).key(0, 0, kOne, 0).key(3, 0, kOne, 0).u32(0).u32(0);
  expected.s += ShipCurves("ANIM_Root|Ship").s;
  EXPECT_EQ(test::ToHex(payload), test::ToHex(expected.s));
  // Key 0 of _translateX: time 1.0, value 11.0, four tangent fields of 45 degrees.
  EXPECT_EQ(test::ToHex(payload.substr(4 + 90 + 4 + 25 + 4, 32)),
            "00 00 00 00 00 00 F0 3F 00 00 00 00 00 00 26 40 F3 04 35 3F F3 04 35 3F F3 04 35 3F F3 04 35 3F");
  EXPECT_EQ(Log(), Frame("Animation Curves", "Writing animation curves for bone #1...\r\n"));
}

TEST_F(NisChunksTest, CameraCurvesTurnHalfAboutY) {
  Accept(Ship("CAM_Ship"), "Root|CAM_Ship");
  Run(&NisScene::WriteAnimationCurves);
  // Half turn 0x40490FDB + 0 + 0.5, summed in double and rounded once: 3.64159274.
  EXPECT_EQ(test::ToHex(Bytes().f64(KeyValue("ANIM_Root|CAM_Ship_rotateY", 0)).s), "00 00 00 60 FB 21 0D 40");
  EXPECT_EQ(KeyValue("ANIM_Root|CAM_Ship_translateX", 1), 12.0);
  EXPECT_NE(Log().find("Writing animation curves for camera #1...\r\n"), std::string::npos);
}

TEST_F(NisChunksTest, KeylessEntitiesStillGetSevenBlocksAndOneNumberSeries) {
  const std::string longPath = "Root|" + std::string(1100, 'p');  // curve names stay whole
  Accept(AddBone(model, "Plain"), longPath);
  Accept(AddBone(model, "CAM_1"), "Root|CAM_1");
  Accept(AddBone(model, "Aim", "CAM_1"), "Root|CAM_1|Aim");  // a camera's child is a bone
  const std::string payload = Run(&NisScene::WriteAnimationCurves);
  // endTime 0: both placeholder keys at 0.0.
  Bytes expected;
  expected.u32(22).text("ANIM_Empty").u32(2).key(0, 0, kOne, 0).key(0, 0, kOne, 0).u32(0).u32(0);
  for (const std::string& path : {longPath, std::string("Root|CAM_1"), std::string("Root|CAM_1|Aim")})
    for (const char* suffix :
         {"_translateX", "_translateY", "_translateZ", "_rotateX", "_rotateY", "_rotateZ", "_visibility"})
      expected.text("ANIM_" + path + suffix).u32(0).u32(0).u32(0);
  EXPECT_EQ(payload, expected.s);
  EXPECT_EQ(Log(), Frame("Animation Curves",
                         "Writing animation curves for bone #1...\r\nWriting animation curves for camera #2...\r\n"
                         "Writing animation curves for bone #3...\r\n"));
}

TEST_F(NisChunksTest, MissingRotationKeysCountAsZeroWithOneWarning) {
  msBone* half = AddBone(model, "Half", "", {}, {0.5f, 0, 0});
  AddKeyPair(half, 1, {1, 0, 0}, {0.25f, 0, 0});
  msVec3 moved = {2, 0, 0};
  msBone_AddPositionKey(half, 2, moved);
  msBone_AddPositionKey(half, 3, moved);
  Accept(half, "Root|Half");
  Run(&NisScene::WriteAnimationCurves);
  EXPECT_EQ(KeyValue("ANIM_Root|Half_rotateX", 0), 0.75);
  EXPECT_EQ(KeyValue("ANIM_Root|Half_rotateX", 2), 0.5);  // bind rotation alone
  EXPECT_EQ(KeyValue("ANIM_Root|Half_translateX", 2), 2.0);
  // Frame 1 at 24 fps: the float nearest 1/24, widened.
  EXPECT_EQ(test::ToHex(Bytes().f64(KeyValue("ANIM_Root|Half_rotateX", 0, 0)).s), "00 00 00 60 55 55 A5 3F");
  EXPECT_EQ(Log(), Frame("Animation Curves",
                         "Writing animation curves for bone #1...\r\nWARNING: Bone 'Root|Half' has only 1 rotation "
                         "keys for 3 position keys\r\n\t-> The missing rotation keys count as 0, 0, 0\r\n"));
}

// Inverse of a rotation by a about X (i = 1, j = 2) or Z (i = 0, j = 1), for row vectors.
void UnRotate(double (&v)[3], int i, int j, double a) {
  const double vi = v[i] * std::cos(a) + v[j] * std::sin(a), vj = -v[i] * std::sin(a) + v[j] * std::cos(a);
  v[i] = vi, v[j] = vj;
}

TEST_F(NisChunksTest, BoneNamedLikeACurveInvertsItsBindChain) {
  Accept(Ship("Ship"), "Root|Ship");
  // Chain: the bone named ANIM_Root|Ship (t1, about Z by 0.5), its parent Base (t2, about X by
  // 0.25), whose parent is ANIM_Root|Ship again: the climb stops there with a warning.
  AddBone(model, "ANIM_Root|Ship", "Base", {1, 0, 0}, {0, 0, 0.5f});
  AddBone(model, "Base", "ANIM_Root|Ship", {0, 3, 0}, {0.25f, 0, 0});
  Run(&NisScene::WriteAnimationCurves);
  double v[3] = {11, 2, -2};  // bind plus key 0, taken back through the parent, then the bone itself
  UnRotate(v, 1, 2, 0.25);
  v[1] -= 3;
  UnRotate(v, 0, 1, 0.5);
  v[0] -= 1;
  const char* axes[] = {"_translateX", "_translateY", "_translateZ"};
  for (int a = 0; a < 3; ++a) EXPECT_NEAR(KeyValue(std::string("ANIM_Root|Ship") + axes[a], 0), v[a], 1e-5) << a;
  EXPECT_EQ(KeyValue("ANIM_Root|Ship_rotateY", 0), 0.5);  // rotations pass untouched
  EXPECT_NE(Log().find("WARNING: The parent chain of bone 'ANIM_Root|Ship' comes back to bone 'ANIM_Root|Ship'\r\n"
                       "\t-> The chain ends there\r\n"),
            std::string::npos);
}

Bytes MotionRecord(const std::string& name, const std::string& path, const double (&start)[6]) {
  Bytes b;
  b.text(name).text("");
  for (const char* s : {"_translateX", "_translateY", "_translateZ", "_rotateX", "_rotateY", "_rotateZ"})
    b.text(path.empty() ? "ANIM_Empty" : "ANIM_" + path + s);
  for (double v : start) b.f64(v);
  return b.hex(kTag);
}

TEST_F(NisChunksTest, LeaderExampleIs397Bytes) {
  Accept(Ship("Ship"), "Root|Ship");
  const std::string payload = Run(&NisScene::WriteLeaders);
  EXPECT_EQ(test::ToHex(file.substr(0, 8)), "4C 45 41 44 00 00 01 8D");
  Bytes expected;
  expected.u32(2).s += MotionRecord("LEAD_Empty", "", {0, 0, 0, 0, 0, 0}).s;
  EXPECT_EQ(expected.s.size(), 4 + 154u);
  expected.s += MotionRecord("LEAD_Root|Ship", "Root|Ship", {1, 2, 3, 0.25, 0, 0}).s;  // key 0 alone, no bind
  EXPECT_EQ(test::ToHex(payload), test::ToHex(expected.s));
  EXPECT_EQ(test::ToHex(payload.substr(158, 4)), "0E 00 00 00");
  EXPECT_EQ(Log(), Frame("Leaders", "Writing leader information for bone #1...\r\n"));
}

TEST_F(NisChunksTest, KeylessBoneWithLongPathGetsZerosWholeNamesAndWarnings) {
  const std::string path = "Root|" + std::string(1100, 'p');
  Accept(AddBone(model, "Loose", "Gone"), path);
  const std::string payload = Run(&NisScene::WriteLeaders);
  EXPECT_EQ(payload.substr(4 + 154), MotionRecord("LEAD_" + path, path, {0, 0, 0, 0, 0, 0}).s);
  EXPECT_EQ(Log(),
            Frame("Leaders", "Writing leader information for bone #1...\r\nWARNING: Bone '" + path +
                                 "' has no position key 0\r\n\t-> Its leader starts at position 0, 0, 0\r\n"
                                 "WARNING: Bone '" +
                                 path + "' has no rotation key 0\r\n\t-> Its leader starts at rotation 0, 0, 0\r\n"));
  LogCloseAll();
  LogOpenSection();
  Run(&NisScene::WriteFollowers);  // a warning far over 255 characters comes out whole
  EXPECT_NE(Log().find("WARNING: No sob-group type given for bone '" + path + "'\r\n"), std::string::npos);
}

Bytes FollowerRecord(const std::string& path, const std::string& type, const std::string& name) {
  Bytes b;
  b.text(path.empty() ? "FOLW_Empty" : "FOLW_" + path).text(path.empty() ? "LEAD_Empty" : "LEAD_" + path);
  b.text(type).text(name);
  for (int i = 0; i < 6; ++i) b.text("ANIM_Empty");
  for (int i = 0; i < 6; ++i) b.f64(0);
  return b.hex(kTag);
}

TEST_F(NisChunksTest, FollowerExampleAndSobRules) {
  struct Case {
    const char *name, *path, *comment, *type, *sobName;
    bool camera, warned;
  };
  const Case cases[] = {
      {"Ship", "Root|Ship", "Sob Type=Fighter\nSob Name=Red 1\n", "Fighter", "Red 1", false, false},  // example
      {"CAM_Main", "Root|CAM_Main", "", "camera", "", true, false},                                   // example
      {"Bare", "Root|Bare", "", "None", "", false, true},                                             // no comment
      {"Named", "Root|Named", "Sob Name=Red 2", "None", "Red 2", false, true},                        // a name, no type
      {"CAM_Cut", "Root|CAM_Cut", "Sob Type=Frigate\nSob Name=X", "camera", "", true, false},         // options ignored
      {"Aim", "Root|CAM_Cut|Aim", "Sob Type=Ship\r\n", "Ship", "", false, false},  // CR dropped; not a camera
      {"Cam_1", "Root|Cam_1", "", "None", "", false, true},                        // case counts
      {"CAM", "Root|CAM", "Sob Type=A|b", "A|b", "", false, false},                // too short for the prefix
  };
  Bytes expected;
  expected.u32(9).s += FollowerRecord("", "None", "").s;
  std::string log;
  int number = 0;
  for (const Case& c : cases) {
    SetBoneComment(Accept(AddBone(model, c.name), c.path), c.comment);
    expected.s += FollowerRecord(c.path, c.type, c.sobName).s;
    log += std::string("Writing follower information for ") + (c.camera ? "camera (on bone)" : "bone") + " #" +
           std::to_string(++number) + "...\r\n";
    if (c.warned) log += std::string("WARNING: No sob-group type given for bone '") + c.path + "'\r\n";
  }
  EXPECT_EQ(test::ToHex(Run(&NisScene::WriteFollowers)), test::ToHex(expected.s));
  EXPECT_EQ(Log(), Frame("Followers", log));
  // The example alone (placeholder, Ship, CAM_Main) has a payload of 4 + 176 + 192 + 194 bytes.
  EXPECT_EQ(4 + FollowerRecord("", "None", "").s.size() + FollowerRecord("Root|Ship", "Fighter", "Red 1").s.size() +
                FollowerRecord("Root|CAM_Main", "camera", "").s.size(),
            566u);
}

TEST_F(NisChunksTest, CameraRecordsOf100And84Bytes) {
  AddBone(model, "Rig");
  msBone* cam1 = AddBone(model, "CAM_1", "Rig");
  msBone* cam2 = AddBone(model, "CAM_2", "Rig");
  msBone* cam3 = AddBone(model, "CAM_3");
  AddBone(model, "Target");
  SetBoneComment(cam1, "Center Of Interest=Target\n");
  SetBoneComment(cam3, "Center Of Interest=Nobody");
  scene.cameras = {cam1, cam2, cam3};
  scene.cameraNames = {"CAM_1", "CAM_2", "CAM_3"};
  const std::string payload = Run(&NisScene::WriteCameras);
  const char* params =
      "CD CC CC CC CC CC 35 40 EC 51 B8 1E 85 EB 3F 40 00 00 00 00 00 00 38 40 00 00 00 00 00 00 F0 3F 00 00 00 00 D0 "
      "12 63 41";
  Bytes expected;
  expected.u32(3);
  expected.text("CAM_1").text("FOLW_Root|Rig|CAM_1").text("FOLW_Root|Target").text("").text("").hex(params);
  EXPECT_EQ(expected.s.size(), 4 + 100u);
  expected.text("CAM_2").text("FOLW_Root|Rig|CAM_2").text("").text("").text("").hex(params);  // no option
  EXPECT_EQ(expected.s.size(), 4 + 100 + 84u);
  expected.text("CAM_3").text("FOLW_Root|CAM_3").text("FOLW_Root|").text("").text("").hex(params);  // no such bone
  EXPECT_EQ(test::ToHex(payload), test::ToHex(expected.s));
  EXPECT_EQ(Log(), Frame("Cameras", "Exporting camera #1...\r\nExporting camera #2...\r\nExporting camera #3...\r\n"));
}

TEST_F(NisChunksTest, EmptySceneGivesPlaceholdersOnly) {
  const std::pair<bool (NisScene::*)(), const char*> stages[] = {
      {&NisScene::WriteLeaders, "4C 45 41 44 00 00 00 9E"},              // 158
      {&NisScene::WriteFollowers, "46 4F 4C 57 00 00 00 B4"},            // 180
      {&NisScene::WriteCameras, "43 4D 52 41 00 00 00 04 00 00 00 00"},  // count 0
  };
  for (const auto& [stage, head] : stages) {
    Run(stage);
    EXPECT_EQ(test::ToHex(file.substr(0, std::strlen(head) / 3 + 1)), head);
  }
}

}  // namespace
}  // namespace rw
