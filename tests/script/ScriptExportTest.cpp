#include <gtest/gtest.h>

#include <filesystem>

#include "export/NisScene.h"
#include "host/MemoryModel.h"
#include "log/ExportLog.h"
#include "tests/support/TestSupport.h"

namespace rw {
namespace {

const std::string kRule = "========================";
const std::string kHead = kRule + " NIS Script Export " + kRule + "\r\n";
const std::string kEnd = "\r\n" + kRule + " End " + kRule + "\r\n";

// The made-up scene of the script's reference sample: Fleet, Ship1 under Fleet, CAM_Main, and
// IG_Guide, which the scan drops.
class ScriptExportTest : public ::testing::Test {
 protected:
  void SetUp() override {
    SetModelComment(model,
                    "OPT_FPS=24\nNum Events=3\nEvent0=0|cameraCut|\"CAM_Main\"\nEvent1=0|fade|1, 2\n"
                    "Event2=48|attack|\"Ship1\"\n");
    msBone* fleet = AddBone(model, "Fleet");
    AddKeyPair(fleet, 1, {}, {});
    ship = AddBone(model, "Ship1", "Fleet");
    SetBoneComment(ship, "Num Events=3\nEvent0=24|fire|\"front\"\nEvent1=24|fire|\"rear\"\nEvent2=12|stop|\n");
    camera = AddBone(model, "CAM_Main");
    AddKeyPair(camera, 48, {}, {});
    SetBoneComment(camera, "Num Events=1\nEvent0=48|shake|0.5\n");
    SetBoneComment(AddBone(model, "IG_Guide", "Fleet"), "Num Events=1\nEvent0=1|never|\n");
    scene.model = model;
    scene.ScanScene();  // before the log has sections: its lines go nowhere
    LogOpenSection();
  }
  void TearDown() override { msModel_Destroy(model); }

  test::RecordingPlatform platform;
  test::ScratchDir scratch;
  msModel* model = CreateModel();
  msBone *ship = nullptr, *camera = nullptr;
  NisScene scene;
};

TEST_F(ScriptExportTest, WritesTheSampleFileAndLogsEveryBone) {
  ASSERT_EQ(scene.bonePaths, (std::vector<std::string>{"Root|Fleet", "Root|Fleet|Ship1", "Root|CAM_Main"}));
  const std::string script = scratch.Path("scene.script");
  ASSERT_TRUE(scene.ExportScript(scratch.Path("scene.nis").c_str()));
  EXPECT_EQ(test::ReadFileBytes(script),
            "at 0\n\tcameraCut(\"FOLW_Root|CAM_Main\")\n\tfade(1, 2)\nat 48\n\tattack(\"FOLW_Root|Fleet|Ship1\")\n\n"
            "with FOLW_Root|Fleet|Ship1\n{\n\tat 24\n\t\tfire(\"front\")\n\t\tfire(\"rear\")\n\tat 12\n\t\tstop()\n}\n\n"
            "with FOLW_Root|CAM_Main\n{\n\tat 48\n\t\tshake(0.5)\n}\n\n");
  EXPECT_EQ(LogSectionCount(), 1u);
  EXPECT_EQ(LogSectionText(0), kHead + "Opening file '" + script + "' for exporting script...\r\n" +
                                   "Exporting global events...\r\nExporting local events...\r\n"
                                   "Exporting events for bone\\camera 'Root|Fleet'...\r\n"
                                   "Exporting events for bone\\camera 'Root|Fleet|Ship1'...\r\n"
                                   "Exporting events for bone\\camera 'Root|CAM_Main'...\r\nDone.\r\n" + kEnd);
}

TEST_F(ScriptExportTest, UnopenableFileIsAnErrorAndLeavesTheSectionOpen) {
  const std::string script = scratch.Path("missing/scene.script");
  EXPECT_FALSE(scene.ExportScript(scratch.Path("missing/scene.nis").c_str()));
  EXPECT_EQ(LogSectionCount(), 2u);
  EXPECT_EQ(LogTopText(), kHead + "Opening file '" + script + "' for exporting script...\r\n" +
                              "ERROR: Coudn't open file '" + script + "' for writing script.\r\n");
  EXPECT_FALSE(test::FileExists(script));
}

TEST_F(ScriptExportTest, MalformedEventsAreSkippedWithTheirCommentAndKey) {
  SetModelComment(model, "Num Events=4\nEvent0=0|fade|1\nEvent1=fade 2\nEvent3=0|x|\n");
  SetBoneComment(ship, "Num Events=5\nEvent0=1|a|\n");
  SetBoneComment(camera, "Num Events=99999999\n");
  ASSERT_TRUE(scene.ExportScript(scratch.Path("scene.nis").c_str()));
  EXPECT_EQ(test::ReadFileBytes(scratch.Path("scene.script")),
            "at 0\n\tfade(1)\n\tx()\n\nwith FOLW_Root|Fleet|Ship1\n{\n\tat 1\n\t\ta()\n}\n\n");
  const std::string log = LogSectionText(0);
  for (const char* warning : {
           "WARNING: Event1 of the model comment is skipped: \"fade 2\" is not time|function|arguments.\r\n",
           "WARNING: Event2 of the model comment is missing or empty; it is skipped.\r\n",
           "WARNING: Event1 to Event4 of bone 'Root|Fleet|Ship1' are missing or empty; they are skipped.\r\n",
           "WARNING: Num Events of bone 'Root|CAM_Main' is 99999999; only Event0 to Event9999 are read.\r\n"
           "WARNING: Event0 to Event9999 of bone 'Root|CAM_Main' are missing or empty; they are skipped.\r\n"})
    EXPECT_NE(log.find(warning), std::string::npos) << warning;
  EXPECT_NE(log.find("Done.\r\n" + kEnd), std::string::npos);
}

// A dialog path of full length (255) whose extension is shorter than ".nis" gives a script
// path of 260 characters: written like any other.
TEST_F(ScriptExportTest, ScriptPathLongerThanTheDialogsIsWritten) {
  const std::string dir = scratch.Path(std::string(250 - scratch.dir().size(), 'd'));
  std::filesystem::create_directory(dir);
  const std::string nis = dir + "/x.n";
  ASSERT_EQ(nis.size(), 255u);
  EXPECT_TRUE(scene.ExportScript(nis.c_str()));
  EXPECT_TRUE(test::FileExists(dir + "/x.script"));
  EXPECT_EQ((dir + "/x.script").size(), 260u);
}

}  // namespace
}  // namespace rw
