#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "host/MemoryModel.h"
#include "scene/BoneLookup.h"

namespace rw {
namespace {

struct BoneSpec {
  const char* name;
  const char* parent;
};

// Owns a model made of (name, parent) pairs, in order.
struct TestModel {
  explicit TestModel(const std::vector<BoneSpec>& specs) : model(CreateModel()) {
    for (const BoneSpec& b : specs) bones.push_back(AddBone(model, b.name, b.parent));
    lookup.Build(model);
  }
  ~TestModel() { msModel_Destroy(model); }
  msModel* model;
  std::vector<msBone*> bones;
  BoneLookup lookup;
};

TEST(BoneLookup, FindsTheFirstBoneOfANameLikeTheModelScan) {
  const std::string longName(40, 'L');  // the host hands out 31 characters of it
  TestModel m({{"Hull", ""}, {"hull", ""}, {"Hull", "x"}, {longName.c_str(), ""}, {"", ""}});
  const struct {
    std::string name;
    msBone* bone;
  } cases[] = {
      {"Hull", m.bones[0]},  // the first of two, in model order
      {"hull", m.bones[1]},  // case-sensitive
      {"Gone", nullptr},
      {longName, nullptr},
      {longName.substr(0, 31), m.bones[3]},
      {"", m.bones[4]},
  };
  for (const auto& c : cases) {
    EXPECT_EQ(m.lookup.Find(c.name), c.bone) << c.name;
    EXPECT_EQ(FindBoneByName(m.model, c.name), c.bone) << c.name;
  }
  BoneLookup rebuilt;
  rebuilt.Build(nullptr);  // a null model has no bones
  EXPECT_EQ(rebuilt.Find("Hull"), nullptr);
}

TEST(BuildBonePath, JoinsRootAncestorsAndName) {
  TestModel m({
      {"Hull", ""},          // 0
      {"Turret", "Hull"},    // 1
      {"IG_Guide", "Hull"},  // 2
      {"Child", "IG_Guide"}, // 3: dropped bones stand in paths
      {"Root", ""},          // 4: "Root" is no bone, so it may appear twice
      {"Beacon", "Gone"},    // 5: a parent no bone bears ends the climb but stands in the path
      {"A", "B"},            // 6: A and B are each other's parent
      {"B", "A"},            // 7
      {"Self", "Self"},      // 8
      {"Turret", "Root"},    // 9: a second Turret: children of "Turret" climb through the first
      {"Barrel", "Turret"},  // 10
  });
  const struct {
    msBone* bone;
    const char* path;
    bool looped;
  } cases[] = {
      {m.bones[0], "Root|Hull", false},
      {m.bones[1], "Root|Hull|Turret", false},
      {m.bones[3], "Root|Hull|IG_Guide|Child", false},
      {m.bones[4], "Root|Root", false},
      {m.bones[5], "Root|Gone|Beacon", false},
      {m.bones[6], "Root|B|A", true},  // cut below the repeat: each bone once
      {m.bones[7], "Root|A|B", true},
      {m.bones[8], "Root|Self", true},
      {m.bones[9], "Root|Root|Turret", false},
      {m.bones[10], "Root|Hull|Turret|Barrel", false},
      {nullptr, "Root|", false},
  };
  for (const auto& c : cases) {
    bool looped = !c.looped;
    EXPECT_EQ(BuildBonePath(m.lookup, c.bone, &looped), c.path);
    EXPECT_EQ(looped, c.looped) << c.path;
    EXPECT_EQ(BuildBonePath(m.model, c.bone), c.path);
  }
}

TEST(BuildBonePath, LongChainsAndLongLoopsComeOutWhole) {
  // 40 nested bones of 30 characters: a path far beyond 1023 characters.
  std::vector<std::string> names;
  std::vector<BoneSpec> specs;
  for (int i = 0; i < 40; ++i) names.push_back(std::string(28, 'a' + i % 26) + std::to_string(i + 10));
  for (int i = 0; i < 40; ++i) specs.push_back({names[i].c_str(), i ? names[i - 1].c_str() : ""});
  TestModel chain(specs);
  std::string expected = "Root";
  for (const std::string& name : names) expected += "|" + name;
  EXPECT_EQ(expected.size(), 4u + 40u * 31u);
  EXPECT_EQ(BuildBonePath(chain.lookup, chain.bones.back()), expected);

  // The same chain closed into a ring: the deep loop check finds the repeat too.
  specs[0].parent = names[39].c_str();
  TestModel ring(specs);
  bool looped = false;
  const std::string path = BuildBonePath(ring.lookup, ring.bones[0], &looped);
  EXPECT_TRUE(looped);
  EXPECT_EQ(path, "Root|" + expected.substr(5 + 31) + "|" + names[0]);
}

}  // namespace
}  // namespace rw
