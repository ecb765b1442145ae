// Key tangents, then one chunk stage at a time against the worked examples. Whole runs are pinned
// by the example goldens (tests/export/ExampleGoldenTest.cpp) and the empty model's run
// (tests/export/PlugInTest.cpp). Matrix4 is checked through the bind chain below, the one place
// that multiplies, rotates and inverts.
#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <iomanip>
#include <random>
#include <vector>

#include "nis/NisChunks.h"
#include "scene/Scene.h"
#include "model/MemoryModel.h"
#include "log/ExportLog.h"
#include "nis/CurveBlock.h"
#include "tests/support/ByteBuilder.h"
#include "tests/support/TestSupport.h"

namespace rw {
namespace {

// Float bits of the tangents that occur below.
constexpr uint32_t kOne = 0x3F800000, kDiagonal = 0x3F3504F3, kNegZero = 0x80000000;
constexpr uint32_t kHalfSlopeX = 0x3F64F92E, kHalfSlopeY = 0x3EE4F92E;
const char* const kSuffixes[] = {"_translateX", "_translateY", "_translateZ", "_rotateX",
                                 "_rotateY",    "_rotateZ",    "_visibility"};

using test::Bytes;

// One 32-byte key whose in and out tangents are the same bits.
std::string Key(double t, double v, uint32_t tx, uint32_t ty) {
  return Bytes().F64(t).F64(v).U32(tx).U32(ty).U32(tx).U32(ty).s;
}

// The tail of leader and follower records: six curve names (of path, or the placeholder),
// six doubles, " ZYX".
std::string MotionTail(const std::string& path, const double (&start)[6] = {0, 0, 0, 0, 0, 0}) {
  Bytes b;
  for (int c = 0; c < 6; ++c) b.Text(path.empty() ? "ANIM_Empty" : "ANIM_" + path + kSuffixes[c]);
  for (double v : start) b.F64(v);
  return b.Raw(" ZYX").s;
}

std::string FloatHex(float value) { return test::ToHex(std::string(reinterpret_cast<const char*>(&value), 4)); }

// Each row is a curve; a two-key curve shows one stretch looked at forward (key 0) and backward
// (key 1, the last key). Every key reads "in X | in Y"; out must equal in.
TEST(ComputeCurveTangents, BytesOfEachKindOfStretch) {
  const struct {
    std::vector<float> times, values;
    const char* tangents;
  } curves[] = {
      {{1, 2}, {11, 12}, "F3 04 35 3F | F3 04 35 3F, F3 04 35 3F | F3 04 35 3F"},  // rising 45 degrees
      {{0, 1}, {1, 0}, "F3 04 35 3F | F3 04 35 BF, F3 04 35 3F | F3 04 35 BF"},    // falling: X stays positive
      {{0, 1}, {5, 5}, "00 00 80 3F | 00 00 00 00, 00 00 80 3F | 00 00 00 80"},    // flat; the last key -0
      {{1, 2}, {0.5f, 1}, "2E F9 64 3F | 2E F9 E4 3E, 2E F9 64 3F | 2E F9 E4 3E"},  // atan, cos, sin in double
      // Equal times: +-pi/2 by the sign of dy (+ for 0), X about 6.12e-17.
      {{1, 1}, {0, 3}, "32 31 8D 24 | 00 00 80 3F, 32 31 8D 24 | 00 00 80 BF"},
      {{1, 1}, {2, 2}, "32 31 8D 24 | 00 00 80 3F, 32 31 8D 24 | 00 00 80 3F"},
      // A middle key looks forward, only the last one back.
      {{1, 1, 2}, {0, 3, 3}, "32 31 8D 24 | 00 00 80 3F, 00 00 80 3F | 00 00 00 00, 00 00 80 3F | 00 00 00 80"},
      {{}, {}, "00 00 00 00 | 00 00 00 00"},    // no keys: one unused 0.0 entry, stale entries gone
      {{4}, {7}, "00 00 00 00 | 00 00 00 00"},  // one key: zeros, not the 1, 0 of a flat stretch
  };
  TangentArrays in, out;  // reused: each call empties them first
  for (const auto& c : curves) {
    ComputeCurveTangents(c.times, c.values, in, out);
    std::string text;
    for (size_t k = 0; k < in.x.size(); ++k) text += (k ? ", " : "") + FloatHex(in.x[k]) + " | " + FloatHex(in.y[k]);
    EXPECT_EQ(text, c.tangents);
    EXPECT_TRUE(in.x == out.x && in.y == out.y && in.y.size() == in.x.size()) << c.tangents;
  }
}

// Tangents are computed the quick way where that provably gives the library's bits: atan, then
// cos and sin in double, each rounded to float. Pinned: slopes where 1 / sqrt(1 + s^2) alone
// rounds to another float, the ends of the quick range and what lies past them; then a sweep.
TEST(SlopeTangent, SameBitsAsTheLibraryCalls) {
  std::vector<double> slopes = {306084.79141839704, -791569.26653830067, -23576.281614882046, 147918.03567613542,
                                0.5,  -0.0,  1e-30, 0.99e-30, 1e6, 1.01e6, 1e300, -INFINITY, NAN, 5e-324};
  std::mt19937_64 random(7);
  std::uniform_real_distribution<double> exponent(-35, 8);
  for (int i = 0; i < 200000; ++i) slopes.push_back(std::copysign(std::pow(10.0, exponent(random)), i % 2 - 0.5));
  for (double slope : slopes) {
    const double angle = std::atan(slope);
    const Tangent tangent = SlopeTangent(slope);
    ASSERT_EQ(FloatHex(tangent.x) + FloatHex(tangent.y),
              FloatHex(static_cast<float>(std::cos(angle))) + FloatHex(static_cast<float>(std::sin(angle))))
        << std::setprecision(17) << "slope " << slope;
  }
}

// A model and a scene filled by hand; Run writes one stage into a scratch file.
class NisChunksTest : public ::testing::Test {
 protected:
  void SetUp() override { scene.fps = 24; }
  void TearDown() override { LogCloseAll(), msModel_Destroy(model); }
  msBone* Accept(msBone* bone, const std::string& path) {
    scene.bones.push_back(bone), scene.bonePaths.push_back(path);
    return bone;
  }
  // The payload of the stage's one chunk; file and log keep the whole file and the stage's log.
  std::string Run(void (*stage)(LiteIFF&, const Scene&), bool inForm = false) {
    LogCloseAll();
    LogOpenSection();
    scene.lookup.Build(model);
    {
      LiteIFF iff;
      EXPECT_TRUE(iff.Attach(scratch.Path("out.nis").c_str()));
      if (inForm) iff.OpenForm(kChunkForm, MakeChunkId("NIS "), 0);
      stage(iff, scene);
      if (inForm) iff.CloseChunk();
      EXPECT_EQ(iff.depth(), 0);
    }
    file = test::ReadFileBytes(scratch.Path("out.nis"));
    log = LogSectionText(0);
    return file.substr(8);
  }
  // The value of key j of a curve in the ANIM chunk just written.
  double KeyValue(const std::string& curve, int j) {
    const size_t at = file.find(Bytes().Text(curve).s);
    double v = NAN;
    if (at != std::string::npos) std::memcpy(&v, &file[at + 4 + curve.size() + 4 + 32 * j + 8], 8);
    return v;
  }
  msBone* Ship(const std::string& name) {  // the bone of the animation example
    msBone* ship = AddBone(model, name, "", {10, 0, -5}, {0, 0.5f, 0});
    AddKeyPair(ship, 24, {1, 2, 3}, {0.25f, 0, 0});
    AddKeyPair(ship, 48, {2, 2, 3}, {0.25f, 0.5f, 0});
    return ship;
  }

  test::ScratchDir scratch;
  msModel* model = CreateModel();
  Scene scene;
  std::string file, log;
};

TEST_F(NisChunksTest, HeaderIs71Bytes) {
  scene.startTime = 1, scene.endTime = 5;
  Run(&WriteNisHeader, true);
  // FORM length 63; NAME at 12, VERS at 39 (odd: no pad byte), INFO at 51; fps, start, end.
  EXPECT_EQ(test::ToHex(file),
            "46 4F 52 4D 00 00 00 3F 4E 49 53 20 4E 41 4D 45 00 00 00 13 48 6F 6D 65 77 6F 72 6C 64 32 20 4E 49 53 "
            "20 46 69 6C 65 56 45 52 53 00 00 00 04 00 01 00 00 49 4E 46 4F 00 00 00 0C 18 00 00 00 01 00 00 00 "
            "05 00 00 00");
}

// The animation example: ANIM of 820 bytes (bind plus key), LEAD of 397 (key 0 alone).
TEST_F(NisChunksTest, ShipExampleGivesAnim820AndLead397Bytes) {
  scene.endTime = 3;
  Accept(Ship("Ship"), "Root|Ship");
  const std::string payload = Run(&WriteAnimationCurves);
  EXPECT_EQ(test::ToHex(file.substr(0, 8)), "41 4E 49 4D 00 00 03 34");
  // Keys 0 and 1 of the seven curves (bind plus key, at 1 and 2 s) and their tangent bits.
  const struct {
    double v0, v1;
    uint32_t tx, ty0, ty1;
  } curves[] = {{11, 12, kDiagonal, kDiagonal, kDiagonal}, {2, 2, kOne, 0, kNegZero},
                {-2, -2, kOne, 0, kNegZero},               {0.25, 0.25, kOne, 0, kNegZero},
                {0.5, 1, kHalfSlopeX, kHalfSlopeY, kHalfSlopeY}, {0, 0, kOne, 0, kNegZero},
                {1, 1, kOne, 0, kNegZero}};
  Bytes expected;
  expected.U32(8).Text("ANIM_Empty").U32(2).Raw(Key(0, 0, kOne, 0) + Key(3, 0, kOne, 0)).U32(0).U32(0);
  for (int c = 0; c < 7; ++c) {
    const auto& [v0, v1, tx, ty0, ty1] = curves[c];
    expected.Text(std::string("ANIM_Root|Ship") + kSuffixes[c]).U32(2).Raw(Key(1, v0, tx, ty0) + Key(2, v1, tx, ty1));
    expected.U32(0).U32(0);
  }
  EXPECT_EQ(test::ToHex(payload), test::ToHex(expected.s));
  // Key 0 of _translateX spelled out: time 1.0, value 11.0.
  EXPECT_EQ(test::ToHex(payload.substr(4 + 90 + 4 + 25 + 4, 16)), "00 00 00 00 00 00 F0 3F 00 00 00 00 00 00 26 40");

  const std::string leaders = Run(&WriteLeaders);
  EXPECT_EQ(test::ToHex(file.substr(0, 8)), "4C 45 41 44 00 00 01 8D");
  Bytes lead;
  lead.U32(2).Text("LEAD_Empty").Text("").s += MotionTail("");
  lead.Text("LEAD_Root|Ship").Text("").s += MotionTail("Root|Ship", {1, 2, 3, 0.25, 0, 0});  // key 0, no bind
  EXPECT_EQ(test::ToHex(leaders), test::ToHex(lead.s));
}

// A keyless bone (a keyless child of a keyless parent gets here) under a path far past 255
// characters: seven empty curves, a leader at zero with two warnings, names and lines whole.
TEST_F(NisChunksTest, KeylessBoneWithLongPath) {
  const std::string path = "Root|" + std::string(1100, 'p');
  Accept(AddBone(model, "Plain", "Gone"), path);
  Bytes curves;  // endTime 0 puts both placeholder keys at 0.0
  curves.U32(8).Text("ANIM_Empty").U32(2).Raw(Key(0, 0, kOne, 0) + Key(0, 0, kOne, 0)).U32(0).U32(0);
  for (const char* suffix : kSuffixes) curves.Text("ANIM_" + path + suffix).U32(0).U32(0).U32(0);
  EXPECT_EQ(Run(&WriteAnimationCurves), curves.s);
  const std::string leader = Bytes().Text("LEAD_" + path).Text("").s + MotionTail(path);
  EXPECT_EQ(Run(&WriteLeaders).substr(4 + 154, leader.size()), leader);
  EXPECT_NE(log.find("Writing leader information for bone #1...\r\nWARNING: Bone '" + path +
                     "' has no position key 0\r\n\t-> Its leader starts at position 0, 0, 0\r\nWARNING: Bone '" +
                     path + "' has no rotation key 0\r\n\t-> Its leader starts at rotation 0, 0, 0\r\n"),
            std::string::npos);
}

// Half turn + key 0.1 + bind 0.3 summed in double and rounded once; rounding after the first
// sum would end in ...80 2E 55 0C 40 instead.
TEST_F(NisChunksTest, CameraHalfTurnIsRoundedOnce) {
  msBone* camera = Accept(AddBone(model, "CAM_Odd", "", {}, {0, 0.3f, 0}), "Root|CAM_Odd");
  AddKeyPair(camera, 1, {}, {0, 0.1f, 0});
  Run(&WriteAnimationCurves);
  EXPECT_EQ(test::ToHex(Bytes().F64(KeyValue("ANIM_Root|CAM_Odd_rotateY", 0)).s), "00 00 00 A0 2E 55 0C 40");
  // A bone with a single key: one key whose tangents are zeros, not the 1, 0 of a flat stretch.
  const std::string curve = "ANIM_Root|CAM_Odd_translateX";
  const size_t at = file.find(Bytes().Text(curve).s) + 4 + curve.size();
  EXPECT_EQ(test::ToHex(file.substr(at, 4) + file.substr(at + 4 + 16, 16)), test::ToHex(Bytes().U32(1).s + std::string(16, '\0')));
}

// The camera variant of the example, and a bone short of rotation keys.
TEST_F(NisChunksTest, CameraHalfTurnAndMissingRotationKeys) {
  Accept(Ship("CAM_Ship"), "Root|CAM_Ship");
  msBone* half = Accept(AddBone(model, "Half", "", {}, {0.5f, 0, 0}), "Root|Half");
  AddKeyPair(half, 1, {1, 0, 0}, {0.25f, 0, 0});
  msVec3 moved = {2, 0, 0};
  for (float frame : {2.0f, 3.0f}) msBone_AddPositionKey(half, frame, moved);
  Run(&WriteAnimationCurves);
  // Half turn 0x40490FDB + 0 + 0.5, summed in double and rounded once: 3.64159274.
  EXPECT_EQ(test::ToHex(Bytes().F64(KeyValue("ANIM_Root|CAM_Ship_rotateY", 0)).s), "00 00 00 60 FB 21 0D 40");
  EXPECT_EQ(KeyValue("ANIM_Root|CAM_Ship_translateX", 1), 12.0);
  EXPECT_EQ(KeyValue("ANIM_Root|Half_rotateX", 0), 0.75);
  EXPECT_EQ(KeyValue("ANIM_Root|Half_rotateX", 2), 0.5);  // bind rotation alone
  EXPECT_EQ(KeyValue("ANIM_Root|Half_translateX", 2), 2.0);
  // One warning for the bone, not one per key: the stage's blank last line follows.
  EXPECT_NE(log.find("camera #1...\r\nWriting animation curves for bone #2...\r\nWARNING: Bone 'Root|Half' has only "
                     "1 rotation keys for 3 position keys\r\n\t-> The missing rotation keys count as 0, 0, 0\r\n\r\n"),
            std::string::npos);
}

TEST_F(NisChunksTest, BoneNamedLikeACurveInvertsItsBindChain) {
  Accept(Ship("Ship"), "Root|Ship");
  // Chain: the bone named ANIM_Root|Ship (t1, about Z by 0.5), its parent Base (t2, about X by
  // 0.25, about Y by 0.3), whose parent is ANIM_Root|Ship again: the climb stops there with a warning.
  AddBone(model, "ANIM_Root|Ship", "Base", {1, 0, 0}, {0, 0, 0.5f});
  AddBone(model, "Base", "ANIM_Root|Ship", {0, 3, 0}, {0.25f, 0.3f, 0});
  Run(&WriteAnimationCurves);
  // Bind plus key 0, (11, 2, -2, 1), times the inverse of t1 Rz(0.5) t2 Rx(0.25) Ry(0.3), as row
  // vectors (+sin above the diagonal), worked out in double.
  const double v[3] = {8.390652, -5.962698, 0.803582};
  for (int a = 0; a < 3; ++a) EXPECT_NEAR(KeyValue(std::string("ANIM_Root|Ship") + kSuffixes[a], 0), v[a], 1e-5) << a;
  EXPECT_EQ(KeyValue("ANIM_Root|Ship_rotateY", 0), 0.5);  // rotations pass untouched
  EXPECT_NE(log.find("WARNING: The parent chain of bone 'ANIM_Root|Ship' comes back to bone 'ANIM_Root|Ship'\r\n"
                     "\t-> The chain ends there\r\n"),
            std::string::npos);
}

std::string FollowerRecord(const std::string& path, const std::string& type, const std::string& name) {
  const std::string tail = path.empty() ? "_Empty" : "_" + path;
  return Bytes().Text("FOLW" + tail).Text("LEAD" + tail).Text(type).Text(name).s + MotionTail("");
}

TEST_F(NisChunksTest, FollowerExampleIs566BytesAndSobRules) {
  const struct {
    const char *name, *path, *comment, *type, *sobName;
  } cases[] = {
      {"Ship", "Root|Ship", "Sob Type=Fighter\nSob Name=Red 1\n", "Fighter", "Red 1"},  // the example
      {"CAM_Main", "Root|CAM_Main", "", "camera", ""},                                   // the example
      {"Named", "Root|Named", "Sob Name=Red 2", "None", "Red 2"},                        // a name, no type
      {"CAM_Cut", "Root|CAM_Cut", "Sob Type=Frigate\nSob Name=X", "camera", ""},         // options ignored
      {"Aim", "Root|CAM_Cut|Aim", "Sob Type=Ship\r\n", "Ship", ""},  // a camera's child is no camera
      {"Cam_1", "Root|Cam_1", "", "None", ""},                       // case counts
      {"CAM", "Root|CAM", "Sob Type=A|b", "A|b", ""},                // too short for the prefix
  };
  std::string expected = Bytes().U32(8).s + FollowerRecord("", "None", "");
  for (const auto& c : cases) {
    SetBoneComment(Accept(AddBone(model, c.name), c.path), c.comment);
    expected += FollowerRecord(c.path, c.type, c.sobName);
  }
  const std::string payload = Run(&WriteFollowers);
  EXPECT_EQ(test::ToHex(payload), test::ToHex(expected));
  // The example alone (placeholder, Ship, CAM_Main) is 4 + 176 + 192 + 194 = 566 bytes.
  EXPECT_EQ(payload.find(Bytes().Text("FOLW_Root|Named").s), 566u);
}

TEST_F(NisChunksTest, CameraRecordsOf100And84Bytes) {
  AddBone(model, "Rig"), AddBone(model, "Target");
  scene.cameras = {AddBone(model, "CAM_1", "Rig"), AddBone(model, "CAM_2", "Rig"), AddBone(model, "CAM_3")};
  SetBoneComment(scene.cameras[0], "Center Of Interest=Target\n");
  SetBoneComment(scene.cameras[2], "Center Of Interest=Nobody");
  scene.cameraNames = {"CAM_1", "CAM_2", "CAM_3"};
  const std::string payload = Run(&WriteCameras);
  // The five fixed numbers of every record: 21.8, 31.92, 24, 1, 10000000.
  const std::string params = test::FromHex(
      "CD CC CC CC CC CC 35 40 EC 51 B8 1E 85 EB 3F 40 00 00 00 00 00 00 38 40 00 00 00 00 00 00 F0 3F 00 00 00 00 D0 "
      "12 63 41");
  Bytes expected;
  expected.U32(3).Text("CAM_1").Text("FOLW_Root|Rig|CAM_1").Text("FOLW_Root|Target").Text("").Text("").s += params;
  expected.Text("CAM_2").Text("FOLW_Root|Rig|CAM_2").Text("").Text("").Text("").s += params;  // no option
  expected.Text("CAM_3").Text("FOLW_Root|CAM_3").Text("FOLW_Root|").Text("").Text("").s += params;  // no such bone
  EXPECT_EQ(test::ToHex(payload), test::ToHex(expected.s));
  EXPECT_EQ(payload.size(), 4 + 100 + 84 + 90u);
}

}  // namespace
}  // namespace rw
