#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "export/NisScene.h"
#include "host/MemoryModel.h"
#include "log/ExportLog.h"
#include "tests/support/TestSupport.h"

namespace rw {
namespace {

constexpr const char* kHead = "======================== NIS Export ========================\r\n";
constexpr const char* kSpareWarning = "WARNING: Bone \"Spare\" is being ignored because it has no keyframes...\r\n";

struct BoneRow {
  std::string name, parent;
  std::vector<float> positionFrames;
  std::vector<float> rotationFrames;  // the host's pairing: one per position key unless given
  bool ownRotations = false;
};

BoneRow Row(std::string name, std::string parent, std::vector<float> frames) {
  return {std::move(name), std::move(parent), std::move(frames), {}, false};
}
BoneRow RowWithRotations(std::string name, std::string parent, std::vector<float> positions,
                         std::vector<float> rotations) {
  return {std::move(name), std::move(parent), std::move(positions), std::move(rotations), true};
}

std::vector<float> KeyTimes(msBone* bone, bool rotation) {
  std::vector<float> times;
  const int count = rotation ? msBone_GetRotationKeyCount(bone) : msBone_GetPositionKeyCount(bone);
  for (int k = 0; k < count; ++k)
    times.push_back(rotation ? msBone_GetRotationKeyAt(bone, k)->fTime : msBone_GetPositionKeyAt(bone, k)->fTime);
  return times;
}

// A scene scanned inside an open "NIS Export" section, the way the driver sets the log up.
class SceneScanTest : public ::testing::Test {
 protected:
  void SetUp() override { Reset(); }
  void TearDown() override {
    msModel_Destroy(scene.model);
    LogCloseAll();
  }
  // A fresh model, scene and log: each row of a table runs on its own.
  void Reset() {
    msModel_Destroy(scene.model);
    scene = NisScene();
    LogCloseAll();
    LogCreateWindow();
    LogOpenSection();
    LogOpenStage("NIS Export");
    scene.model = CreateModel();
  }
  void Build(const std::vector<BoneRow>& rows, const std::string& comment = "OPT_FPS=24") {
    SetModelComment(scene.model, comment);
    msVec3 value = {1, 2, 3};
    for (const BoneRow& row : rows) {
      msBone* bone = AddBone(scene.model, row.name, row.parent);
      for (float t : row.positionFrames) msBone_AddPositionKey(bone, t, value);
      for (float t : row.ownRotations ? row.rotationFrames : row.positionFrames) msBone_AddRotationKey(bone, t, value);
    }
  }
  // Builds, scans and returns the scan's part of the section.
  std::string Scan(const std::vector<BoneRow>& rows, const std::string& comment = "OPT_FPS=24") {
    Build(rows, comment);
    EXPECT_TRUE(scene.ScanScene());
    EXPECT_EQ(scene.bones.size(), scene.bonePaths.size());
    EXPECT_EQ(scene.cameras.size(), scene.cameraNames.size());
    const std::string& text = LogTopText();
    return text.substr(std::string(kHead).size());
  }
  std::vector<std::string> Names(const std::vector<msBone*>& list) {
    std::vector<std::string> names;
    for (msBone* bone : list) {
      char buffer[32] = "";
      msBone_GetName(bone, buffer, sizeof buffer);
      names.push_back(buffer);
    }
    return names;
  }
  msBone* Bone(int index) { return msModel_GetBoneAt(scene.model, index); }

  test::RecordingPlatform platform;
  NisScene scene;
};

TEST_F(SceneScanTest, WorkedExampleSortsBonesAddsKeysAndLogs) {
  const std::string log = Scan({Row("Hull", "", {1, 48}), Row("Turret", "Hull", {1, 48}), Row("Gun", "Turret", {}),
                                Row("CAM_Main", "", {1, 48}), Row("IG_Guide", "Hull", {1}), Row("Spare", "", {}),
                                Row("Beacon", "Gone", {})});
  EXPECT_EQ(log, std::string("\r\n\r\n") +
                     "Got bone \"Hull\".\r\nGot bone \"Turret\".\r\nGot bone \"Gun\".\r\nGot camera \"CAM_Main\".\r\n" +
                     kSpareWarning + "Got bone \"Beacon\".\r\n");
  EXPECT_EQ(platform.windowText, LogTopText());
  EXPECT_EQ(Names(scene.bones), (std::vector<std::string>{"Hull", "Turret", "Gun", "CAM_Main", "Beacon"}));
  EXPECT_EQ(scene.bonePaths, (std::vector<std::string>{"Root|Hull", "Root|Hull|Turret", "Root|Hull|Turret|Gun",
                                                       "Root|CAM_Main", "Root|Gone|Beacon"}));
  EXPECT_EQ(scene.cameras, std::vector<msBone*>{Bone(3)});
  EXPECT_EQ(scene.cameraNames, std::vector<std::string>{"CAM_Main"});
  EXPECT_EQ(scene.fps, 24);
  EXPECT_EQ(scene.startTime, 0);
  EXPECT_EQ(scene.endTime, 3);
  // Gun moves with Turret: zero offsets at Turret's key times.
  EXPECT_EQ(KeyTimes(Bone(2), false), (std::vector<float>{1, 48}));
  EXPECT_EQ(KeyTimes(Bone(2), true), (std::vector<float>{1, 48}));
  for (int k = 0; k < 2; ++k) {
    const float* p = msBone_GetPositionKeyAt(Bone(2), k)->Position;
    const float* r = msBone_GetRotationKeyAt(Bone(2), k)->Rotation;
    EXPECT_EQ(p[0] + p[1] + p[2] + r[0] + r[1] + r[2], 0.0f);
  }
  EXPECT_EQ(msBone_GetPositionKeyCount(Bone(6)), 0);  // Beacon's parent does not exist
  EXPECT_EQ(msBone_GetPositionKeyCount(Bone(5)), 0);  // Spare is dropped, not changed
}

TEST_F(SceneScanTest, FrameRateOptionAndItsWarnings) {
  const std::string noFps = "WARNING: No Frames per second given!\r\n\t-> Defaulting to 24\r\n";
  const std::string zeroFps = "WARNING: Frames per second is 0!\r\n\t-> Defaulting to 24\r\n";
  const struct {
    const char* comment;
    int32_t fps;
    std::string warning;
  } cases[] = {
      {"OPT_FPS=30", 30, ""},  {"OPT_FPS=29.97", 29, ""},   {"OPT_FPS=abc", 24, zeroFps},
      {"OPT_FPS=-24", 24, zeroFps},  // no sign in number text
      {"OPT_FPS=", 24, noFps},  {"", 24, noFps},            {"OPT_FPS=0.5", 24, zeroFps},
      {"OPT_FPS=4294967297", 1, ""},  // the low 32 bits of the whole number
  };
  for (const auto& c : cases) {
    Reset();
    const std::string log = Scan({Row("Hull", "", {1})}, c.comment);
    EXPECT_EQ(scene.fps, c.fps) << c.comment;
    EXPECT_EQ(log, "\r\n" + c.warning + "\r\nGot bone \"Hull\".\r\n") << c.comment;
  }
}

TEST_F(SceneScanTest, TimeRangeInWholeSecondsWidenedByOne) {
  const struct {
    float first, last;
    int32_t start, end;
  } cases[] = {
      {1, 100, 0, 5}, {30, 60, 0, 3}, {48, 96, 1, 5}, {24, 24, 0, 2}, {1, 10, 0, 0},
      {-10, 10, 0, 0},  // seconds truncate toward zero
      {-30, 60, -2, 3},
      {-1, -1, 0, 0},   // a key at exactly -1 reads as no key at all: the error
  };
  for (const auto& c : cases) {
    Reset();
    // The first time on a rotation key, the last on a position key: both kinds count.
    const std::string log = Scan({RowWithRotations("Hull", "", {c.last}, {c.first})});
    EXPECT_EQ(scene.startTime, c.start) << c.first;
    EXPECT_EQ(scene.endTime, c.end) << c.last;
    EXPECT_EQ(log.find("ERROR: No frames found!") != std::string::npos, c.first == -1) << c.first;
  }
}

TEST_F(SceneScanTest, ModelsWithoutBonesOrKeys) {
  const std::string error = "ERROR: No frames found! Make sure you have keyframes defined!\r\n";
  EXPECT_EQ(Scan({}), "\r\n" + error + "\r\n");
  EXPECT_TRUE(scene.bones.empty() && scene.bonePaths.empty() && scene.cameras.empty());
  Reset();
  // Without keys, top bones are dropped and keyless children are accepted without keys.
  const std::string log = Scan({Row("Spare", "", {}), Row("Child", "Spare", {}), Row("CAM_Lost", "", {})});
  EXPECT_EQ(log, "\r\n" + error + "\r\n" + kSpareWarning + "Got bone \"Child\".\r\n" +
                     "WARNING: Bone \"CAM_Lost\" is being ignored because it has no keyframes...\r\n");
  EXPECT_EQ(scene.bonePaths, std::vector<std::string>{"Root|Spare|Child"});
  EXPECT_TRUE(scene.cameras.empty());
  EXPECT_EQ(scene.startTime + scene.endTime, 0);
}

TEST_F(SceneScanTest, NamesPrefixesAndParents) {
  Scan({Row("Hull", "", {1, 48}),
        Row("IG_Guide", "Hull", {1}),
        Row("Child", "IG_Guide", {}),                     // keys from a dropped parent all the same
        Row("CAM_Main", "", {1}),
        Row("Aim", "CAM_Main", {2}),                      // a camera's child is a plain bone
        Row("xCAM_1", "", {1}), Row("ig_1", "", {1}),     // prefixes count at the start, case-sensitively
        Row("Hull", "", {5}),                             // a second Hull: both accepted, same path
        RowWithRotations("Spin", "Hull", {}, {7}),        // rotation keys alone: still keyless
        Row("Late", "Later", {}), Row("Later", "Hull", {}),  // a keyless bone before its keyless parent
  });
  EXPECT_EQ(Names(scene.bones), (std::vector<std::string>{"Hull", "Child", "CAM_Main", "Aim", "xCAM_1", "ig_1",
                                                          "Hull", "Spin", "Late", "Later"}));
  EXPECT_EQ(scene.bonePaths,
            (std::vector<std::string>{"Root|Hull", "Root|Hull|IG_Guide|Child", "Root|CAM_Main", "Root|CAM_Main|Aim",
                                      "Root|xCAM_1", "Root|ig_1", "Root|Hull", "Root|Hull|Spin",
                                      "Root|Hull|Later|Late", "Root|Hull|Later"}));
  EXPECT_EQ(scene.cameraNames, std::vector<std::string>{"CAM_Main"});
  EXPECT_EQ(KeyTimes(Bone(2), false), std::vector<float>{1});         // IG_Guide's keys
  EXPECT_EQ(KeyTimes(Bone(8), false), (std::vector<float>{1, 48}));   // the first Hull's keys
  EXPECT_EQ(KeyTimes(Bone(8), true), (std::vector<float>{7, 1, 48}));  // on top of its own rotation key
  EXPECT_EQ(msBone_GetPositionKeyCount(Bone(9)), 0);                   // Later had none yet
  EXPECT_EQ(KeyTimes(Bone(10), false), (std::vector<float>{1, 48}));
}

TEST_F(SceneScanTest, ParentShortOfRotationKeysGivesZeroKeysAtPositionTimes) {
  const std::string log = Scan({RowWithRotations("Hull", "", {1, 10, 20}, {2}), Row("Gun", "Hull", {})});
  EXPECT_EQ(KeyTimes(Bone(1), false), (std::vector<float>{1, 10, 20}));
  EXPECT_EQ(KeyTimes(Bone(1), true), (std::vector<float>{2, 10, 20}));
  EXPECT_NE(log.find("WARNING: Bone \"Gun\" takes the keys of its parent \"Hull\", which has 3 position keys but "
                     "only 1 rotation keys!\r\n\t-> The missing rotation keys are set to zero at the times of the "
                     "position keys\r\nGot bone \"Gun\".\r\n"),
            std::string::npos)
      << log;
}

TEST_F(SceneScanTest, LongChainsAndLoopingChainsExportWithWholeWarnings) {
  // 40 nested bones of 31 characters, closed into a ring by the first bone's parent.
  std::vector<BoneRow> rows;
  auto name = [](int i) { return std::string(29, 'a' + i % 26) + std::to_string(i + 10); };
  for (int i = 0; i < 40; ++i) rows.push_back(Row(name(i), name(i ? i - 1 : 39), {1}));
  const std::string log = Scan(rows);
  ASSERT_EQ(scene.bonePaths.size(), 40u);
  for (const std::string& path : scene.bonePaths) EXPECT_EQ(path.size(), 4u + 40u * 32u);
  EXPECT_EQ(scene.bonePaths[1].substr(0, 37), "Root|" + name(2) + "|");
  // Every bone is on the loop: one warning each, the long path in it whole.
  const std::string warning = "WARNING: The parents of bone \"" + name(1) +
                              "\" lead back to a bone already on its chain!\r\n\t-> Its path is cut where the "
                              "chain loops: \"" + scene.bonePaths[1] + "\"\r\n";
  EXPECT_NE(log.find(warning), std::string::npos);
  size_t warnings = 0;
  for (size_t at = log.find("WARNING:"); at != std::string::npos; at = log.find("WARNING:", at + 1)) ++warnings;
  EXPECT_EQ(warnings, 40u);
}

TEST(DeepChainExport, FortyNestedBonesOfLongNamesExportWhole) {
  test::RecordingPlatform platform;
  test::ScratchDir scratch;
  msModel* model = CreateModel();
  std::string parent, path = "Root";
  for (int i = 0; i < 40; ++i) {
    const std::string name = std::string(29, 'a' + i % 26) + std::to_string(i + 10);
    AddKeyPair(AddBone(model, name, parent), 1, {}, {});
    path += "|" + name;
    parent = name;
  }
  NisScene scene;
  EXPECT_TRUE(scene.ExportNis(scratch.Path("deep.nis").c_str(), model));
  ASSERT_EQ(scene.bonePaths.back(), path);
  EXPECT_NE(test::ReadFileBytes(scratch.Path("deep.nis")).find("FOLW_" + path), std::string::npos);
  // Lines that name the path run far past 255 characters and still come out whole.
  EXPECT_NE(LogSectionText(0).find(path), std::string::npos);
  msModel_Destroy(model);
}

}  // namespace
}  // namespace rw
