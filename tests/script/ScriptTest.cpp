// The event script. The example's whole .script file and its log are pinned by the example golden;
// these tests cover the rules that example does not reach.
#include <gtest/gtest.h>

#include <cstdio>
#include <tuple>

#include "scene/Scene.h"
#include "model/MemoryModel.h"
#include "log/ExportLog.h"
#include "script/EventScript.h"
#include "tests/support/TestSupport.h"

namespace rw {
namespace {

TEST(EventText, SplitsIntoTimeFunctionAndArguments) {
  const struct { const char *text, *function, *arguments; int32_t time; bool wellFormed; } cases[] = {
      {"120|fade|1, 2", "fade", "1, 2", 120, true}, {"12.9|stop|", "stop", "", 12, true},
      {"|start|", "start", "", 0, true},            {"5|a|b|c", "a|b", "c", 5, true},
      {"-3| x |y ", " x ", "y ", 0, true},           {"7||", "", "", 7, true},
      {"5|fade", "", "fade", 5, false},             {"", "", "", 0, false},
  };
  for (const auto& c : cases)
    EXPECT_EQ(std::make_tuple(ParseEventTime(c.text), GetEventFunction(c.text), GetEventArguments(c.text), IsWellFormedEvent(c.text)),
              std::make_tuple(c.time, std::string(c.function), std::string(c.arguments), c.wellFormed)) << c.text;
}

TEST(ScriptPath, ReplacesTheExtensionOfTheLastComponentOnly) {
  const char* const cases[][2] = {
      {"a.nis", "a.script"}, {"a.xyz", "a.script"}, {"a.b.nis", "a.b.script"}, {"d.v2/a", "d.v2/a.script"},
      {"a", "a.script"},     {"C:a.nis", "C:a.script"}, {"C:\\x.y/z\\s.n", "C:\\x.y/z\\s.script"},
  };
  for (const auto& c : cases) EXPECT_EQ(ScriptPathFor(c[0]), c[1]);
}

// Fleet, Ship1 and IG_Guide under Fleet, CAM_Main; the scan drops IG_Guide, events and all.
class ScriptTest : public ::testing::Test {
 protected:
  void SetUp() override {
    for (msBone* top : {fleet, camera}) AddKeyPair(top, 1, {}, {});  // a top bone without keys is left out
    SetBoneComment(AddBone(model, "IG_Guide", "Fleet"), "Num Events=1\nEvent0=1|never|\n");
    scene = ScanScene(model);  // before the log has sections: its lines go nowhere
    LogOpenSection();
  }
  void TearDown() override { msModel_Destroy(model); }

  test::RecordingPlatform platform;
  test::ScratchDir scratch;
  msModel* model = CreateModel();
  msBone* fleet = AddBone(model, "Fleet");
  msBone* ship = AddBone(model, "Ship1", "Fleet");
  msBone* camera = AddBone(model, "CAM_Main");
  Scene scene;
};

// The block of one bone: a time line whenever the time changes, and only cameraCut and attack
// have their argument rewritten into a quoted bone path.
TEST_F(ScriptTest, BlockWritesTimeLinesAndRewritesOnlyCameraCutAndAttack) {
  const struct { EventList events; std::string body; } cases[] = {  // body: between the braces
      {{"-3|a|", "48|b|", "0|c|", "12.9|d|"}, "\tat 0\n\t\ta()\n\tat 48\n\t\tb()\n\tat 0\n\t\tc()\n\tat 12\n\t\td()\n"},
      {{"0|a|", "bad", "", "0|b|"}, "\tat 0\n\t\ta()\n\t\tb()\n"},  // skipped texts keep the time
      {{"4294967295|a|", "0|b|"}, "\t\ta()\n\tat 0\n\t\tb()\n"},  // wraps to -1, the time a list starts with
      {{"", "1|x"}, ""},                                             // nothing well-formed: no braces either
      {{"0|cameraCut|CAM_Main"}, "\tat 0\n\t\tcameraCut(\"FOLW_Root|CAM_Main\")\n"},  // quotes come from the rewrite
      {{"0|attack|IG_Guide"}, "\tat 0\n\t\tattack(\"FOLW_Root|Fleet|IG_Guide\")\n"},  // any bone of the model
      {{"0|attack|\"Ship1\" \"Fleet\""}, "\tat 0\n\t\tattack(\"FOLW_Root|\")\n"},    // one name, matching none
      {{"0|CameraCut|\"CAM_Main\"", "0| attack|Ship1"}, "\tat 0\n\t\tCameraCut(\"CAM_Main\")\n\t\t attack(Ship1)\n"},
      {{"0|fade|1, (2), \"q\"", "7||"}, "\tat 0\n\t\tfade(1, (2), \"q\")\n\tat 7\n\t\t()\n"},
  };
  for (const auto& c : cases) {
    std::FILE* file = std::fopen(scratch.Path("block").c_str(), "wb");
    WriteLocalEvents(file, scene.lookup, "Root|B", c.events);
    std::fclose(file);
    EXPECT_EQ(test::ReadFileBytes(scratch.Path("block")), c.body.empty() ? "" : "with FOLW_Root|B\n{\n" + c.body + "}\n\n") << c.events[0];
  }
}

TEST_F(ScriptTest, UnopenableFileIsAnErrorAndLeavesTheSectionOpen) {
  const std::string script = scratch.Path("missing/scene.script");
  EXPECT_FALSE(WriteEventScript(scene, model, scratch.Path("missing/scene.nis")));
  EXPECT_EQ(LogSectionCount(), 2u);
  EXPECT_EQ(LogTopText(), "======================== NIS Script Export ========================\r\nOpening file '" +
                              script + "' for exporting script...\r\nERROR: Coudn't open file '" + script + "' for writing script.\r\n");
}

// Counts are truncated, entries beyond them ignored, CR LF comments read; what is skipped is
// warned about. The path (a full 255-character dialog path with a short extension) grows past
// the dialog's limit and is still written.
TEST_F(ScriptTest, MalformedEventsAreSkippedWithTheirCommentAndKey) {
  SetModelComment(model, "Num Events=4.9\nEvent0=0|fade|1\nEvent1=fade 2\nEvent3=0|x|\nEvent4=0|beyond|\n");
  SetBoneComment(ship, "Num Events=5 events\r\nEvent0=1|a|\r\n");
  SetBoneComment(camera, "Num Events=99999999\n");
  const std::string name = scratch.Path(std::string(252 - scratch.dir().size(), 'n'));  // 255 with ".n"
  ASSERT_TRUE(WriteEventScript(scene, model, name + ".n"));
  EXPECT_EQ(test::ReadFileBytes(name + ".script"), "at 0\n\tfade(1)\n\tx()\n\nwith FOLW_Root|Fleet|Ship1\n{\n\tat 1\n\t\ta()\n}\n\n");
  for (const char* warning : {
           "WARNING: Event1 of the model comment is skipped: \"fade 2\" is not time|function|arguments.\r\n",
           "WARNING: Event2 of the model comment is missing or empty; it is skipped.\r\n",
           "WARNING: Event1 to Event4 of bone 'Root|Fleet|Ship1' are missing or empty; they are skipped.\r\n",
           "WARNING: Num Events of bone 'Root|CAM_Main' is 99999999; only Event0 to Event9999 are read.\r\n"
           "WARNING: Event0 to Event9999 of bone 'Root|CAM_Main' are missing or empty; they are skipped.\r\n"})
    EXPECT_NE(LogSectionText(0).find(warning), std::string::npos) << warning;
}

}  // namespace
}  // namespace rw
