#include <gtest/gtest.h>

#include <cstdio>
#include <filesystem>

#include "export/NisScene.h"
#include "host/MemoryModel.h"
#include "log/ExportLog.h"
#include "script/EventScript.h"
#include "tests/support/TestSupport.h"

namespace rw {
namespace {

const std::string kRule = "========================";
const std::string kHead = kRule + " NIS Script Export " + kRule + "\r\n";
const std::string kEnd = "\r\n" + kRule + " End " + kRule + "\r\n";

template <typename Write>
std::string Written(Write write) {
  std::FILE* file = std::tmpfile();
  write(file);
  std::string bytes(static_cast<size_t>(std::ftell(file)), '\0');
  std::rewind(file);
  bytes.resize(std::fread(&bytes[0], 1, bytes.size(), file));
  std::fclose(file);
  return bytes;
}

TEST(EventText, SplitsIntoTimeFunctionAndArguments) {
  const struct {
    const char *text, *function, *arguments;
    int32_t time;
    bool wellFormed;
  } cases[] = {
      {"120|fade|1, 2", "fade", "1, 2", 120, true}, {"12.9|stop|", "stop", "", 12, true},
      {"|start|", "start", "", 0, true},            {"5|a|b|c", "a|b", "c", 5, true},
      {"-3| x |y ", " x ", "y ", 0, true},           {"7||", "", "", 7, true},
      {"5|fade", "", "fade", 5, false},             {"", "", "", 0, false},
  };
  for (const auto& c : cases) {
    EXPECT_EQ(ParseEventTime(c.text), c.time) << c.text;
    EXPECT_EQ(GetEventFunction(c.text), c.function) << c.text;
    EXPECT_EQ(GetEventArguments(c.text), c.arguments) << c.text;
    EXPECT_EQ(IsWellFormedEvent(c.text), c.wellFormed) << c.text;
  }
}

TEST(EventList, ReadsOneEntryPerIndexBelowTheCount) {
  EXPECT_EQ(ReadEventList("Num Events=2.9\nEvent0=a\nEvent1=b\nEvent2=c"), (EventList{"a", "b"}));
  EXPECT_EQ(ReadEventList("Num Events=3 events\r\nEvent0=a\r\n"), (EventList{"a", "", ""}));
  EXPECT_EQ(ReadEventList("Num Events=2000000000").size(), static_cast<size_t>(kMaxEventCount));
}

TEST(ScriptPath, ReplacesTheExtensionOfTheLastComponentOnly) {
  const char* const cases[][2] = {
      {"a.nis", "a.script"}, {"a.xyz", "a.script"}, {"a.b.nis", "a.b.script"}, {"d.v2/a", "d.v2/a.script"},
      {"a", "a.script"},     {"C:a.nis", "C:a.script"}, {"C:\\x.y/z\\s.n", "C:\\x.y/z\\s.script"},
  };
  for (const auto& c : cases) EXPECT_EQ(ScriptPathFor(c[0]), c[1]);
}

// The reference scene: Fleet, Ship1 under Fleet, CAM_Main, and IG_Guide, which the scan drops.
class ScriptTest : public ::testing::Test {
 protected:
  void SetUp() override {
    SetModelComment(model, "OPT_FPS=24\nNum Events=3\nEvent0=0|cameraCut|\"CAM_Main\"\nEvent1=0|fade|1, 2\n"
                           "Event2=48|attack|\"Ship1\"\n");
    AddKeyPair(fleet, 1, {}, {});
    SetBoneComment(ship, "Num Events=3\nEvent0=24|fire|\"front\"\nEvent1=24|fire|\"rear\"\nEvent2=12|stop|\n");
    AddKeyPair(camera, 48, {}, {});
    SetBoneComment(camera, "Num Events=1\nEvent0=48|shake|0.5\n");
    SetBoneComment(AddBone(model, "IG_Guide", "Fleet"), "Num Events=1\nEvent0=1|never|\n");
    scene.model = model;
    scene.ScanScene();  // before the log has sections: its lines go nowhere
    LogOpenSection();
  }
  void TearDown() override { msModel_Destroy(model); }
  std::string Statement(const char* text) {
    return Written([&](std::FILE* f) { WriteEventStatement(f, text, scene.lookup, "\t"); });
  }

  test::RecordingPlatform platform;
  test::ScratchDir scratch;
  msModel* model = CreateModel();
  msBone* fleet = AddBone(model, "Fleet");
  msBone* ship = AddBone(model, "Ship1", "Fleet");
  msBone* camera = AddBone(model, "CAM_Main");
  NisScene scene;
};

TEST_F(ScriptTest, WritesTheReferenceFileAndLogsEveryBone) {
  const std::string script = scratch.Path("scene.script");
  ASSERT_TRUE(scene.ExportScript(scratch.Path("scene.nis").c_str()));
  EXPECT_EQ(test::ReadFileBytes(script),
            "at 0\n\tcameraCut(\"FOLW_Root|CAM_Main\")\n\tfade(1, 2)\nat 48\n\tattack(\"FOLW_Root|Fleet|Ship1\")\n\n"
            "with FOLW_Root|Fleet|Ship1\n{\n\tat 24\n\t\tfire(\"front\")\n\t\tfire(\"rear\")\n\tat 12\n\t\tstop()\n}\n\n"
            "with FOLW_Root|CAM_Main\n{\n\tat 48\n\t\tshake(0.5)\n}\n\n");
  EXPECT_EQ(LogSectionText(0), kHead + "Opening file '" + script + "' for exporting script...\r\n" +
                                   "Exporting global events...\r\nExporting local events...\r\n"
                                   "Exporting events for bone\\camera 'Root|Fleet'...\r\n"
                                   "Exporting events for bone\\camera 'Root|Fleet|Ship1'...\r\n"
                                   "Exporting events for bone\\camera 'Root|CAM_Main'...\r\nDone.\r\n" + kEnd);
}

TEST_F(ScriptTest, StatementRewritesOnlyCameraCutAndAttack) {
  const char* const cases[][2] = {
      {"0|cameraCut|CAM_Main", "\tcameraCut(\"FOLW_Root|CAM_Main\")\n"},  // quotes come from the rewrite
      {"0|attack|IG_Guide", "\tattack(\"FOLW_Root|Fleet|IG_Guide\")\n"},  // any bone of the model
      {"0|attack|\"Ship1\" \"Fleet\"", "\tattack(\"FOLW_Root|\")\n"},    // one name, matching none
      {"0|CameraCut|\"CAM_Main\"", "\tCameraCut(\"CAM_Main\")\n"},
      {"0| attack|Ship1", "\t attack(Ship1)\n"},
      {"0|fade|1, (2), \"q\"", "\tfade(1, (2), \"q\")\n"},
      {"7||", "\t()\n"},
  };
  for (const auto& c : cases) EXPECT_EQ(Statement(c[0]), c[1]) << c[0];
}

TEST_F(ScriptTest, BlockWritesATimeLineWheneverTheTimeChanges) {
  const auto block = [](const std::string& body) { return "with FOLW_Root|B\n{\n" + body + "}\n\n"; };
  const struct {
    EventList events;
    std::string expected;
  } cases[] = {
      {{"0|a|", "48|b|", "0|c|"}, block("\tat 0\n\t\ta()\n\tat 48\n\t\tb()\n\tat 0\n\t\tc()\n")},
      {{"-3|a|", "12.9|b|"}, block("\tat 0\n\t\ta()\n\tat 12\n\t\tb()\n")},
      {{"0|a|", "bad", "", "0|b|"}, block("\tat 0\n\t\ta()\n\t\tb()\n")},  // skipped texts keep the time
      {{"", "1|x"}, ""},  // nothing well-formed: no braces either
  };
  for (const auto& c : cases)
    EXPECT_EQ(Written([&](std::FILE* f) { WriteLocalEvents(f, scene.lookup, "Root|B", c.events); }), c.expected);
}

TEST_F(ScriptTest, UnopenableFileIsAnErrorAndLeavesTheSectionOpen) {
  const std::string script = scratch.Path("missing/scene.script");
  EXPECT_FALSE(scene.ExportScript(scratch.Path("missing/scene.nis").c_str()));
  EXPECT_EQ(LogSectionCount(), 2u);
  EXPECT_EQ(LogTopText(), kHead + "Opening file '" + script + "' for exporting script...\r\n" +
                              "ERROR: Coudn't open file '" + script + "' for writing script.\r\n");
}

TEST_F(ScriptTest, MalformedEventsAreSkippedWithTheirCommentAndKey) {
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

// A dialog path of full length whose extension is shorter than ".nis": 260 characters, written.
TEST_F(ScriptTest, ScriptPathLongerThanTheDialogsIsWritten) {
  const std::string dir = scratch.Path(std::string(250 - scratch.dir().size(), 'd'));
  std::filesystem::create_directory(dir);
  ASSERT_EQ((dir + "/x.n").size(), 255u);
  EXPECT_TRUE(scene.ExportScript((dir + "/x.n").c_str()));
  EXPECT_TRUE(test::FileExists(dir + "/x.script"));
}

}  // namespace
}  // namespace rw
