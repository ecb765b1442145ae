// The comment toolkit's tables, then the scan on models built row by row. The bundled
// example's whole run (tests/export) pins the ordinary scan; these pin the worked example, the
// time range and what the example lacks.
#include <gtest/gtest.h>

#include <cmath>
#include <sstream>
#include <string>
#include <utility>
#include <vector>

#include "scene/Scene.h"
#include "model/MemoryModel.h"
#include "log/ExportLog.h"
#include "scene/CommentOptions.h"

namespace rw {
namespace {

TEST(GetOption, FindsTheFirstPlaceOfTheKeyAndReadsToTheLineEnd) {
  const std::pair<const char*, const char*> cases[] = {
      {"OPT_FPS:30", "30"}, {"OPT_FPS = 30", "= 30"},  // any character separates; nothing is trimmed
      {"OPT_FPS=\nx", ""}, {"OPT_FPS", ""}, {"OPT_FPS\n30", ""},  // empty; the key at the end; a line end behind it
      {"MY_OPT_FPS=5", "5"}, {"OPT_FPS2=7", "=7"},  // inside a longer word; the 2 is the separator
      {"Name=OPT_FPS 9\nOPT_FPS=30", "9"},          // the first place wins, also inside a value
      {"opt_fps=30", ""},                           // case-sensitive
      {"OPT_FPS=2\r4 \n", "24 "},                   // a lone CR ends no line and is dropped
  };
  for (const auto& [comment, value] : cases) EXPECT_EQ(GetOption(comment, "OPT_FPS"), value) << comment;
  EXPECT_EQ(StripQuotes("`it's` \"Hull\"\r\n"), "its Hull\r\n");
}

TEST(NumberText, ReadsWritesAndTruncatesInTheExportersOwnForm) {
  const std::pair<const char*, double> read[] = {
      {"24", 24},       {"29.97", 29.97}, {"24,5", 24.5}, {".5", 0.5},    {"1e3", 1000},
      {"2.5E-1", 0.25}, {"1E+2", 100},    {"", 0},        {"fast", 0},    {" 24", 0},
      {"-5", 0},        {"+5", 0},        {"24fps", 24},  {"12 34", 12},  {"5-3", 5},
      {"24e", 24},      {"1.2.3", 1.23},  {"1e--2", 100}, {"1e-+2", 100}, {"1e2.5", 1e25},
      {"0.03", 3 * (0.1 * 0.1)},  // tenths accumulate step by step: not the double nearest 0.03
  };
  for (const auto& [text, number] : read) EXPECT_EQ(TextToNumber(text), number) << text;

  const std::pair<double, const char*> written[] = {
      // 2^31 - 1, the most a caller passes; then numbers no caller passes still read sensibly.
      {2147483647, "2147483647"}, {4294967295.0, "4294967295"}, {-7, "-7"}, {2.5, "2.5"}, {std::nan(""), "0"},
  };
  for (const auto& [number, text] : written) EXPECT_EQ(NumberToText(number), text) << text;
  // The digit loop works in doubles: check it from 0 up where rounding would bite first.
  for (double x = 1; x < 3e9; x = x * 10)
    for (double n : {x - 1, x, x + 1}) EXPECT_EQ(NumberToText(n), std::to_string(static_cast<long long>(n)));
  EXPECT_LE(NumberToText(1.0 / 3.0).size(), 63u);

  // Truncation drops the fraction and keeps the low 32 bits; outside 64 bits: 0, no overflow.
  const std::pair<double, int32_t> truncated[] = {
      {29.97, 29}, {-2.5, -2}, {2147483648.0, INT32_MIN}, {4294967301.0, 5}, {-4294967297.0, -1},
      {std::nan(""), 0}, {1e19, 0}, {-1e19, 0}, {HUGE_VAL, 0},
  };
  for (const auto& [in, out] : truncated) EXPECT_EQ(TruncateToInt32(in), out) << in;
}

using Texts = std::vector<std::string>;
using Times = std::vector<float>;

struct BoneRow {
  std::string name, parent;
  Times positions = {};
  Times rotations = {-2};  // -2: one rotation key per position key, as the host gives them
};

class SceneScanTest : public ::testing::Test {
 protected:
  void TearDown() override { msModel_Destroy(model), model = nullptr, LogCloseAll(); }
  // A model of rows (every key's values 1, 2, 3), scanned; returns what the scan printed.
  std::string Scan(const std::vector<BoneRow>& rows, const std::string& comment = "OPT_FPS=24") {
    TearDown();
    LogOpenSection();
    model = CreateModel();
    SetModelComment(model, comment);
    msVec3 value = {1, 2, 3};
    for (const BoneRow& row : rows) {
      msBone* bone = AddBone(model, row.name, row.parent);
      for (float t : row.positions) msBone_AddPositionKey(bone, t, value);
      for (float t : row.rotations == Times{-2} ? row.positions : row.rotations) msBone_AddRotationKey(bone, t, value);
    }
    scene = ScanScene(model);
    EXPECT_EQ(scene.bones.size(), scene.bonePaths.size());
    // The keys counted before the copy are the keys each bone has after it.
    EXPECT_FALSE(scene.keysCapped);
    for (size_t i = 0; i < scene.bones.size(); ++i)
      EXPECT_EQ(scene.keyCounts.at(i), uint64_t(msBone_GetPositionKeyCount(scene.bones[i]))) << scene.bonePaths[i];
    return LogTopText();
  }
  msBone* Bone(int index) { return msModel_GetBoneAt(model, index); }
  // "time(x,y,z) ..." of a bone's position keys, then " /" and its rotation keys.
  std::string Keys(int index) {
    std::ostringstream text;
    const auto add = [&text](float t, const float* v) {
      text << t << '(' << v[0] << ',' << v[1] << ',' << v[2] << ") ";
    };
    for (int k = 0; k < msBone_GetPositionKeyCount(Bone(index)); ++k)
      add(msBone_GetPositionKeyAt(Bone(index), k)->fTime, msBone_GetPositionKeyAt(Bone(index), k)->Position);
    text << "/ ";
    for (int k = 0; k < msBone_GetRotationKeyCount(Bone(index)); ++k)
      add(msBone_GetRotationKeyAt(Bone(index), k)->fTime, msBone_GetRotationKeyAt(Bone(index), k)->Rotation);
    return text.str();
  }

  msModel* model = nullptr;
  Scene scene;
};

TEST_F(SceneScanTest, WorkedExampleSortsBonesAddsKeysAndLogs) {
  EXPECT_EQ(Scan({{"Hull", "", {1, 48}}, {"Turret", "Hull", {1, 48}}, {"Gun", "Turret"}, {"CAM_Main", "", {1, 48}},
                  {"IG_Guide", "Hull", {1}}, {"Spare", ""}, {"Beacon", "Gone"}}),
            "\r\n\r\nGot bone \"Hull\".\r\nGot bone \"Turret\".\r\nGot bone \"Gun\".\r\nGot camera \"CAM_Main\".\r\n"
            "WARNING: Bone \"Spare\" is being ignored because it has no keyframes...\r\nGot bone \"Beacon\".\r\n");
  EXPECT_EQ(scene.bonePaths,
            (Texts{"Root|Hull", "Root|Hull|Turret", "Root|Hull|Turret|Gun", "Root|CAM_Main", "Root|Gone|Beacon"}));
  EXPECT_EQ(scene.cameras, std::vector<msBone*>{Bone(3)});
  EXPECT_EQ(scene.cameraNames, Texts{"CAM_Main"});
  EXPECT_EQ(std::vector<int>({scene.fps, scene.startTime, scene.endTime}), std::vector<int>({24, 0, 3}));
  EXPECT_EQ(Keys(2), "1(0,0,0) 48(0,0,0) / 1(0,0,0) 48(0,0,0) ");  // Gun moves with Turret: zero offsets
  EXPECT_EQ(Keys(6), "/ ");                                        // Beacon's parent does not exist
}

TEST_F(SceneScanTest, FrameRateAndTimeRangeInWholeSecondsWidenedByOne) {
  const struct {
    const char* comment;
    float first, last;
    int32_t fps, start, end;
    std::string warning;
  } cases[] = {
      {"OPT_FPS=24", 1, 100, 24, 0, 5, ""}, {"OPT_FPS=24", 30, 60, 24, 0, 3, ""}, {"OPT_FPS=24", 48, 96, 24, 1, 5, ""},
      {"OPT_FPS=24", 24, 24, 24, 0, 2, ""}, {"OPT_FPS=24", -30, 60, 24, -2, 3, ""},
      // Seconds use the frame rate given; -10 frames truncate toward 0 s, and a bound of 0 is not widened.
      {"OPT_FPS=30", 48, 48, 30, 0, 2, ""}, {"OPT_FPS=24", -10, 10, 24, 0, 0, ""},
      // A key at exactly -1 reads as no key at all: the error, and no range.
      {"OPT_FPS=24", -1, -1, 24, 0, 0, "ERROR: No frames found! Make sure you have keyframes defined!\r\n"},
      {"", 48, 48, 24, 1, 3, "WARNING: No Frames per second given!\r\n\t-> Defaulting to 24\r\n"},
      {"OPT_FPS=abc", 48, 48, 24, 1, 3, "WARNING: Frames per second is 0!\r\n\t-> Defaulting to 24\r\n"},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(std::string(c.comment) + " " + std::to_string(c.first));
    // The first time on a rotation key, the last on a position key: both kinds count.
    EXPECT_EQ(Scan({{"Hull", "", {c.last}, {c.first}}}, c.comment), "\r\n" + c.warning + "\r\nGot bone \"Hull\".\r\n");
    EXPECT_EQ(std::vector<int>({scene.fps, scene.startTime, scene.endTime}), std::vector<int>({c.fps, c.start, c.end}));
  }
}

TEST_F(SceneScanTest, NamesPrefixesAndParents) {
  Scan({{"Hull", "", {1, 48}}, {"IG_Guide", "Hull", {1}},
        {"Child", "IG_Guide", {}},                        // 2: keys from a dropped parent all the same
        {"CAM_Main", "", {1}}, {"Aim", "CAM_Main", {2}},  // a camera's child is a plain bone
        {"xCAM_1", "", {1}}, {"xIG_1", "", {1}}, {"ig_1", "", {1}},  // prefixes count at the start, in case
        {"Hull", "", {5}},                                // a second Hull: both accepted, same path
        {"Spin", "Hull", {}, {7}},                        // 9: rotation keys alone are no keys here
        {"Late", "Later", {}}, {"Later", "Hull", {}}});   // 10 stands before its keyless parent 11
  EXPECT_EQ(scene.bonePaths, (Texts{"Root|Hull", "Root|Hull|IG_Guide|Child", "Root|CAM_Main", "Root|CAM_Main|Aim",
                                    "Root|xCAM_1", "Root|xIG_1", "Root|ig_1", "Root|Hull", "Root|Hull|Spin",
                                    "Root|Hull|Later|Late", "Root|Hull|Later"}));
  EXPECT_EQ(scene.cameraNames, Texts{"CAM_Main"});
  EXPECT_EQ(Keys(2), "1(0,0,0) / 1(0,0,0) ");
  EXPECT_EQ(Keys(9), "1(0,0,0) 48(0,0,0) / 7(1,2,3) 1(0,0,0) 48(0,0,0) ");  // the first Hull's keys after its own
  EXPECT_EQ(Keys(10), "/ ");
}

TEST_F(SceneScanTest, OpenPointsAreLoggedAndTheScanGoesOn) {
  // A parent short of rotation keys: zero rotation keys at its position keys' times.
  EXPECT_EQ(Scan({{"Hull", "", {1, 10, 20}, {2}}, {"Gun", "Hull"}}),
            "\r\n\r\nGot bone \"Hull\".\r\nWARNING: Bone \"Gun\" takes the keys of its parent \"Hull\", which has 3 "
            "position keys but only 1 rotation keys!\r\n\t-> The missing rotation keys are set to zero at the times "
            "of the position keys\r\nGot bone \"Gun\".\r\n");
  EXPECT_EQ(Keys(1), "1(0,0,0) 10(0,0,0) 20(0,0,0) / 2(0,0,0) 10(0,0,0) 20(0,0,0) ");
  // Parents that loop, also above a bone off the loop (C): the path is cut below the repeat,
  // one warning per bone after its line.
  const std::string log = Scan({{"A", "B", {1}}, {"B", "A", {1}}, {"Self", "Self", {1}}, {"C", "A", {1}}});
  EXPECT_EQ(scene.bonePaths, (Texts{"Root|B|A", "Root|A|B", "Root|Self", "Root|B|A|C"}));
  EXPECT_NE(log.find("Got bone \"B\".\r\nWARNING: The parents of bone \"B\" lead back to a bone already on its "
                     "chain!\r\n\t-> Its path is cut where the chain loops: \"Root|A|B\"\r\nGot bone \"Self\""),
            std::string::npos);
  // A name of 40 characters, which the host cuts to 31, under forty nested names of 31, the
  // host's most: a path of 1316 characters, past the point where loop checks switch to a hash set.
  std::vector<BoneRow> rows = {{std::string(40, 'L'), "", {1}}};
  std::string path = "Root|" + std::string(31, 'L');
  for (int i = 0; i < 40; ++i) {
    rows.push_back({std::string(29, 'a' + i % 26) + std::to_string(i + 10), rows.back().name, {1}});
    path += "|" + rows.back().name;
  }
  Scan(rows);
  EXPECT_EQ(scene.bonePaths.back(), path);
  // A key that is not a finite number: one warning for the bone, after its line.
  TearDown();
  LogOpenSection();
  model = CreateModel();
  SetModelComment(model, "OPT_FPS=24");
  msBone* odd = AddBone(model, "Odd");
  AddKeyPair(odd, 1, {0, std::nanf(""), 0}, {});
  AddKeyPair(odd, 2, {}, {0, 0, HUGE_VALF});
  ScanScene(model);
  EXPECT_NE(LogTopText().find("Got bone \"Odd\".\r\nWARNING: Bone \"Odd\" has keys whose time or value is not a number "
                              "or infinite!\r\n\t-> They are written as they are\r\n"),
            std::string::npos)
      << LogTopText();
}

}  // namespace
}  // namespace rw
