#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "export/NisScene.h"
#include "host/MemoryModel.h"
#include "log/ExportLog.h"
#include "tests/support/TestSupport.h"

namespace rw {
namespace {

using Texts = std::vector<std::string>;
using Times = std::vector<float>;

struct BoneRow {
  std::string name, parent;
  Times positions = {};
  Times rotations = {-2};  // -2: one rotation key per position key, as the host gives them
};

msModel* MakeModel(const std::vector<BoneRow>& rows, const std::string& comment = "OPT_FPS=24") {
  msModel* model = CreateModel();
  SetModelComment(model, comment);
  msVec3 value = {1, 2, 3};
  for (const BoneRow& row : rows) {
    msBone* bone = AddBone(model, row.name, row.parent);
    for (float t : row.positions) msBone_AddPositionKey(bone, t, value);
    for (float t : row.rotations == Times{-2} ? row.positions : row.rotations) msBone_AddRotationKey(bone, t, value);
  }
  return model;
}

Times KeyTimes(msBone* bone, bool rotation) {
  Times times;
  for (int k = 0; k < (rotation ? msBone_GetRotationKeyCount(bone) : msBone_GetPositionKeyCount(bone)); ++k)
    times.push_back(rotation ? msBone_GetRotationKeyAt(bone, k)->fTime : msBone_GetPositionKeyAt(bone, k)->fTime);
  return times;
}

TEST(BonePaths, LookupAndPathsFollowParentNames) {
  const std::string longName(40, 'L');  // the host hands out 31 characters of it
  msModel* model = MakeModel({{"Hull", ""}, {"hull", ""}, {"IG_Guide", "Hull"}, {"Child", "IG_Guide"},
                              {"Root", ""}, {"Beacon", "Gone"}, {"A", "B"}, {"B", "A"}, {"Self", "Self"},
                              {"Hull", "Root"}, {"Gun", "Hull"}, {longName, ""}});
  BoneLookup lookup;
  lookup.Build(model);
  auto bone = [model](int i) { return msModel_GetBoneAt(model, i); };
  const std::pair<std::string, msBone*> finds[] = {
      {"Hull", bone(0)}, {"hull", bone(1)}, {"Gone", nullptr}, {longName, nullptr}, {longName.substr(0, 31), bone(11)}};
  for (const auto& [name, found] : finds) {
    EXPECT_EQ(lookup.Find(name), found) << name;
    EXPECT_EQ(FindBoneByName(model, name), found) << name;
  }
  const struct {
    msBone* bone;
    const char* path;
    bool looped;
  } paths[] = {
      {bone(0), "Root|Hull", false},
      {bone(3), "Root|Hull|IG_Guide|Child", false},  // dropped bones stand in paths
      {bone(4), "Root|Root", false},                 // "Root" is no bone
      {bone(5), "Root|Gone|Beacon", false},          // a name no bone bears ends the climb
      {bone(6), "Root|B|A", true},                   // a loop is cut below the repeat
      {bone(8), "Root|Self", true},
      {bone(10), "Root|Hull|Gun", false},            // the first Hull is the parent
      {nullptr, "Root|", false},
  };
  for (const auto& c : paths) {
    bool looped = !c.looped;
    EXPECT_EQ(BuildBonePath(lookup, c.bone, &looped), c.path);
    EXPECT_EQ(looped, c.looped) << c.path;
    EXPECT_EQ(BuildBonePath(model, c.bone), c.path);
  }
  msModel_Destroy(model);
}

// Scans inside an open "NIS Export" section, the way the driver sets the log up.
class SceneScanTest : public ::testing::Test {
 protected:
  void TearDown() override { Reset(); }
  void Reset() {
    msModel_Destroy(scene.model);
    scene = NisScene();
    LogCloseAll();
  }
  // Returns what the scan printed.
  std::string Scan(const std::vector<BoneRow>& rows, const std::string& comment = "OPT_FPS=24") {
    Reset();
    LogCreateWindow();
    LogOpenSection();
    LogOpenStage("NIS Export");
    const size_t head = LogTopText().size();
    scene.model = MakeModel(rows, comment);
    EXPECT_TRUE(scene.ScanScene());
    EXPECT_EQ(scene.bones.size(), scene.bonePaths.size());
    EXPECT_EQ(platform.windowText, LogTopText());
    return LogTopText().substr(head);
  }
  msBone* Bone(int index) { return msModel_GetBoneAt(scene.model, index); }

  test::RecordingPlatform platform;
  NisScene scene;
};

constexpr const char* kSpareWarning = "WARNING: Bone \"Spare\" is being ignored because it has no keyframes...\r\n";

TEST_F(SceneScanTest, WorkedExampleSortsBonesAddsKeysAndLogs) {
  const std::string log = Scan({{"Hull", "", {1, 48}}, {"Turret", "Hull", {1, 48}}, {"Gun", "Turret", {}},
                                {"CAM_Main", "", {1, 48}}, {"IG_Guide", "Hull", {1}}, {"Spare", "", {}},
                                {"Beacon", "Gone", {}}});
  EXPECT_EQ(log, std::string("\r\n\r\nGot bone \"Hull\".\r\nGot bone \"Turret\".\r\nGot bone \"Gun\".\r\n") +
                     "Got camera \"CAM_Main\".\r\n" + kSpareWarning + "Got bone \"Beacon\".\r\n");
  EXPECT_EQ(scene.bones, (std::vector<msBone*>{Bone(0), Bone(1), Bone(2), Bone(3), Bone(6)}));
  EXPECT_EQ(scene.bonePaths,
            (Texts{"Root|Hull", "Root|Hull|Turret", "Root|Hull|Turret|Gun", "Root|CAM_Main", "Root|Gone|Beacon"}));
  EXPECT_EQ(scene.cameras, std::vector<msBone*>{Bone(3)});
  EXPECT_EQ(scene.cameraNames, Texts{"CAM_Main"});
  EXPECT_EQ(std::vector<int>({scene.fps, scene.startTime, scene.endTime}), std::vector<int>({24, 0, 3}));
  // Gun moves with Turret: zero offsets at Turret's key times. Beacon's parent does not exist.
  EXPECT_EQ(KeyTimes(Bone(2), false), (Times{1, 48}));
  EXPECT_EQ(KeyTimes(Bone(2), true), (Times{1, 48}));
  for (int k = 0; k < 2; ++k) {
    EXPECT_EQ(msBone_GetPositionKeyAt(Bone(2), k)->Position[2], 0.0f);
    EXPECT_EQ(msBone_GetRotationKeyAt(Bone(2), k)->Rotation[0], 0.0f);
  }
  EXPECT_EQ(msBone_GetPositionKeyCount(Bone(6)) + msBone_GetPositionKeyCount(Bone(5)), 0);
}

TEST_F(SceneScanTest, FrameRateOptionAndItsWarnings) {
  const std::string noFps = "WARNING: No Frames per second given!\r\n\t-> Defaulting to 24\r\n";
  const std::string zeroFps = "WARNING: Frames per second is 0!\r\n\t-> Defaulting to 24\r\n";
  const struct {
    const char* comment;
    int32_t fps;
    std::string warning;
  } cases[] = {
      {"OPT_FPS=30", 30, ""},       {"OPT_FPS=29.97", 29, ""}, {"OPT_FPS=abc", 24, zeroFps},
      {"OPT_FPS=-24", 24, zeroFps},  // no sign in number text
      {"OPT_FPS=", 24, noFps},      {"", 24, noFps},          {"OPT_FPS=0.5", 24, zeroFps},
      {"OPT_FPS=4294967297", 1, ""},  // the low 32 bits of the whole number
      {"OPT_FPS=1e400", 24, zeroFps},  // infinity truncates to 0, without overflow
  };
  for (const auto& c : cases) {
    EXPECT_EQ(Scan({{"Hull", "", {1}}}, c.comment), "\r\n" + c.warning + "\r\nGot bone \"Hull\".\r\n") << c.comment;
    EXPECT_EQ(scene.fps, c.fps) << c.comment;
  }
}

TEST_F(SceneScanTest, TimeRangeInWholeSecondsWidenedByOne) {
  const struct {
    float first, last;
    int32_t start, end;
  } cases[] = {
      {1, 100, 0, 5}, {30, 60, 0, 3},   {48, 96, 1, 5}, {24, 24, 0, 2}, {1, 10, 0, 0},
      {-10, 10, 0, 0},   // seconds truncate toward zero
      {-30, 60, -2, 3},
      {-1, -1, 0, 0},    // a key at exactly -1 reads as no key at all: the error
  };
  for (const auto& c : cases) {
    // The first time on a rotation key, the last on a position key: both kinds count.
    const std::string log = Scan({{"Hull", "", {c.last}, {c.first}}});
    EXPECT_EQ(scene.startTime, c.start) << c.first;
    EXPECT_EQ(scene.endTime, c.end) << c.last;
    EXPECT_EQ(log.find("ERROR: No frames found!") != std::string::npos, c.first == -1) << c.first;
  }
  const std::string error = "ERROR: No frames found! Make sure you have keyframes defined!\r\n";
  EXPECT_EQ(Scan({}), "\r\n" + error + "\r\n");
  EXPECT_TRUE(scene.bones.empty() && scene.cameras.empty());
  // Without any key, top bones are dropped (cameras too) and keyless children are accepted.
  EXPECT_EQ(Scan({{"Spare", "", {}}, {"Child", "Spare", {}}, {"CAM_Lost", "", {}}}),
            "\r\n" + error + "\r\n" + kSpareWarning + "Got bone \"Child\".\r\n" +
                "WARNING: Bone \"CAM_Lost\" is being ignored because it has no keyframes...\r\n");
  EXPECT_EQ(scene.bonePaths, Texts{"Root|Spare|Child"});
  EXPECT_TRUE(scene.cameras.empty());
}

TEST_F(SceneScanTest, NamesPrefixesAndParents) {
  Scan({{"Hull", "", {1, 48}}, {"IG_Guide", "Hull", {1}},
        {"Child", "IG_Guide", {}},                   // 2: keys from a dropped parent all the same
        {"CAM_Main", "", {1}}, {"Aim", "CAM_Main", {2}},  // a camera's child is a plain bone
        {"xCAM_1", "", {1}}, {"ig_1", "", {1}},      // prefixes count at the start, case-sensitively
        {"Hull", "", {5}},                           // a second Hull: both accepted, same path
        {"Spin", "Hull", {}, {7}},                   // 8: rotation keys alone are no keys here
        {"Late", "Later", {}}, {"Later", "Hull", {}}});  // 9 stands before its keyless parent 10
  EXPECT_EQ(scene.bonePaths, (Texts{"Root|Hull", "Root|Hull|IG_Guide|Child", "Root|CAM_Main", "Root|CAM_Main|Aim",
                                    "Root|xCAM_1", "Root|ig_1", "Root|Hull", "Root|Hull|Spin",
                                    "Root|Hull|Later|Late", "Root|Hull|Later"}));
  EXPECT_EQ(scene.cameraNames, Texts{"CAM_Main"});
  EXPECT_EQ(KeyTimes(Bone(2), false), Times{1});
  EXPECT_EQ(KeyTimes(Bone(8), true), (Times{7, 1, 48}));  // the first Hull's keys after its own
  EXPECT_EQ(KeyTimes(Bone(9), false), Times{});
  EXPECT_EQ(KeyTimes(Bone(10), false), (Times{1, 48}));
}

TEST_F(SceneScanTest, OpenPointsAreLoggedAndTheScanGoesOn) {
  // A parent short of rotation keys: zero rotation keys at its position keys' times.
  std::string log = Scan({{"Hull", "", {1, 10, 20}, {2}}, {"Gun", "Hull", {}}});
  EXPECT_EQ(KeyTimes(Bone(1), true), (Times{2, 10, 20}));
  EXPECT_NE(log.find("WARNING: Bone \"Gun\" takes the keys of its parent \"Hull\", which has 3 position keys but "
                     "only 1 rotation keys!\r\n\t-> The missing rotation keys are set to zero at the times of the "
                     "position keys\r\nGot bone \"Gun\".\r\n"),
            std::string::npos);
  // Parents that loop: one warning per bone, after its line.
  log = Scan({{"A", "B", {1}}, {"B", "A", {1}}});
  EXPECT_EQ(scene.bonePaths, (Texts{"Root|B|A", "Root|A|B"}));
  EXPECT_NE(log.find("Got bone \"B\".\r\nWARNING: The parents of bone \"B\" lead back to a bone already on its "
                     "chain!\r\n\t-> Its path is cut where the chain loops: \"Root|A|B\"\r\n"),
            std::string::npos);
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
  EXPECT_EQ(scene.bonePaths.back(), path);  // 1284 characters
  EXPECT_NE(test::ReadFileBytes(scratch.Path("deep.nis")).find("FOLW_" + path), std::string::npos);
  // Lines that name the path run far past 255 characters and still come out whole.
  EXPECT_NE(LogSectionText(0).find(path), std::string::npos);
  msModel_Destroy(model);
}

}  // namespace
}  // namespace rw
