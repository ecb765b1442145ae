#include <gtest/gtest.h>

#include <cstdio>
#include <functional>

#include "host/MemoryModel.h"
#include "script/EventScript.h"

namespace rw {
namespace {

// What a writer puts into a file.
std::string Written(const std::function<void(std::FILE*)>& write) {
  std::FILE* file = std::tmpfile();
  write(file);
  std::string bytes(static_cast<size_t>(std::ftell(file)), '\0');
  std::rewind(file);
  bytes.resize(std::fread(&bytes[0], 1, bytes.size(), file));
  std::fclose(file);
  return bytes;
}

TEST(EventText, SplitsIntoTimeFunctionAndArguments) {
  struct Case {
    const char* text;
    int32_t time;
    const char *function, *arguments;
    bool wellFormed;
  } const cases[] = {
      {"120|fade|1, 2", 120, "fade", "1, 2", true},
      {"12.9|stop|", 12, "stop", "", true},
      {"|start|", 0, "start", "", true},
      {"5|a|b|c", 5, "a|b", "c", true},  // inner "|" belong to the function
      {"0|cameraCut|\"CAM_Main\"", 0, "cameraCut", "\"CAM_Main\"", true},
      {"-3| x |y ", 0, " x ", "y ", true},  // no sign, nothing trimmed
      {"7||", 7, "", "", true},
      {"5|fade", 5, "", "fade", false},
      {"", 0, "", "", false},
  };
  for (const Case& c : cases) {
    EXPECT_EQ(ParseEventTime(c.text), c.time) << c.text;
    EXPECT_EQ(GetEventFunction(c.text), c.function) << c.text;
    EXPECT_EQ(GetEventArguments(c.text), c.arguments) << c.text;
    EXPECT_EQ(IsWellFormedEvent(c.text), c.wellFormed) << c.text;
  }
}

class EventWriterTest : public ::testing::Test {
 protected:
  void SetUp() override {
    AddBone(model, "Fleet");
    AddBone(model, "Ship1", "Fleet");
    AddBone(model, "CAM_Main");
    AddBone(model, "IG_Guide", "Fleet");
    lookup.Build(model);
  }
  void TearDown() override { msModel_Destroy(model); }
  msModel* model = CreateModel();
  BoneLookup lookup;
};

TEST_F(EventWriterTest, StatementRewritesOnlyCameraCutAndAttack) {
  const char* const cases[][2] = {
      {"0|cameraCut|\"CAM_Main\"", "\tcameraCut(\"FOLW_Root|CAM_Main\")\n"},
      {"0|cameraCut|CAM_Main", "\tcameraCut(\"FOLW_Root|CAM_Main\")\n"},  // quotes come from the rewrite
      {"0|attack|'Ship1'", "\tattack(\"FOLW_Root|Fleet|Ship1\")\n"},
      {"0|attack|IG_Guide", "\tattack(\"FOLW_Root|Fleet|IG_Guide\")\n"},  // any bone of the model
      {"0|attack|\"Ship1\" \"Fleet\"", "\tattack(\"FOLW_Root|\")\n"},    // one name, matching none
      {"0|cameraCut|Nobody", "\tcameraCut(\"FOLW_Root|\")\n"},
      {"0|CameraCut|\"CAM_Main\"", "\tCameraCut(\"CAM_Main\")\n"},
      {"0| attack|Ship1", "\t attack(Ship1)\n"},
      {"0|fade|1, (2), \"q\"", "\tfade(1, (2), \"q\")\n"},
      {"7||", "\t()\n"},
  };
  for (const auto& c : cases)
    EXPECT_EQ(Written([&](std::FILE* f) { WriteEventStatement(f, c[0], lookup, "\t"); }), c[1]) << c[0];
}

TEST_F(EventWriterTest, BlockWritesATimeLineWheneverTheTimeChanges) {
  const auto block = [](const std::string& body) { return "with FOLW_Root|B\n{\n" + body + "}\n\n"; };
  const struct {
    EventList events;
    std::string expected;
  } cases[] = {
      {{"24|fire|a", "24|fire|b", "12|stop|"}, block("\tat 24\n\t\tfire(a)\n\t\tfire(b)\n\tat 12\n\t\tstop()\n")},
      {{"0|a|", "48|b|", "0|c|"}, block("\tat 0\n\t\ta()\n\tat 48\n\t\tb()\n\tat 0\n\t\tc()\n")},
      {{"-3|a|", "12.9|b|"}, block("\tat 0\n\t\ta()\n\tat 12\n\t\tb()\n")},
      {{"0|a|", "bad", "", "0|b|"}, block("\tat 0\n\t\ta()\n\t\tb()\n")},  // skipped texts keep the time
      {{"", "1|x"}, ""},  // nothing well-formed: no braces either
      {{}, ""},
  };
  for (const auto& c : cases)
    EXPECT_EQ(Written([&](std::FILE* f) { WriteLocalEvents(f, lookup, "Root|B", c.events); }), c.expected);
}

TEST(EventList, ReadsCountAndKeysAsWritten) {
  const struct {
    const char* comment;
    EventList expected;
  } cases[] = {
      {"Num Events=2.9\nEvent0=a\nEvent1=b\nEvent2=c", {"a", "b"}},
      {"Num Events=3 events\r\nEvent0=a\r\n", {"a", "", ""}},
      {"Num Events=-2\nEvent0=a", {}},
      {"Num Events = 3\nEvent0=a", {}},  // the blank is the separator: "= 3" is no number
      {"Event0=a", {}},
      {"Num Events=2\nEvent10=ten\nEvent1=one\nEvent0=zero", {"zero", "=ten"}},  // first place wins
  };
  for (const auto& c : cases) EXPECT_EQ(ReadEventList(c.comment), c.expected) << c.comment;
  EXPECT_EQ(ReadEventList("Num Events=2000000000").size(), static_cast<size_t>(kMaxEventCount));
}

TEST(ScriptPath, ReplacesTheExtensionOfTheLastComponentOnly) {
  const char* const cases[][2] = {
      {"a.nis", "a.script"},       {"a.xyz", "a.script"},
      {"a.b.nis", "a.b.script"},   {"d.v2/scene", "d.v2/scene.script"},
      {"a", "a.script"},           {"C:\\my.dir\\scene", "C:\\my.dir\\scene.script"},
      {"C:a.nis", "C:a.script"},   {"C:\\x.y/z\\s.n", "C:\\x.y/z\\s.script"},
  };
  for (const auto& c : cases) EXPECT_EQ(ScriptPathFor(c[0]), c[1]);
}

}  // namespace
}  // namespace rw
