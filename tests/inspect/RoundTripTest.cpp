// Export, then read back: the document our reader makes of an exported file must agree with
// the scene that was exported (names, counts, every key against the model's keys), and check
// must report only the references that the exporter knowingly writes unresolved.
#include <gtest/gtest.h>

#include <cmath>
#include <filesystem>
#include <fstream>

#include "export/NisScene.h"
#include "host/MemoryModel.h"
#include "host/Ms3dReader.h"
#include "inspect/Check.h"
#include "tests/inspect/NisTestFiles.h"
#include "tests/support/TestSupport.h"

namespace rw::test {
namespace {

const char* const kSuffixes[7] = {"_translateX", "_translateY", "_translateZ", "_rotateX",
                                  "_rotateY",    "_rotateZ",    "_visibility"};
constexpr double kCameraHalfTurn = 3.14159274;  // the float nearest to pi

std::string BoneName(msBone* bone) {
  char name[32] = "";
  msBone_GetName(bone, name, sizeof name);
  return name;
}

// The value that key j of curve `slot` must hold: bind pose plus key, rounded once to a float.
double ExpectedValue(msBone* bone, int j, int slot, bool camera) {
  if (slot == 6) return 1.0;
  msVec3 bind;
  const float* key;
  if (slot < 3) {
    msBone_GetPosition(bone, bind);
    key = msBone_GetPositionKeyAt(bone, j)->Position;
  } else {
    msBone_GetRotation(bone, bind);
    key = msBone_GetRotationKeyAt(bone, j)->Rotation;
  }
  int axis = slot % 3;
  double extra = slot == 4 && camera ? kCameraHalfTurn : 0.0;
  return double(float(extra + double(key[axis]) + double(bind[axis])));
}

struct Exported {
  NisScene scene;
  NisDocument doc;
  std::string script;
};

// Exports `model` to dir/name.nis and reads the file back.
void ExportAndRead(msModel* model, const ScratchDir& dir, const std::string& name, Exported& out) {
  RecordingPlatform platform;
  std::string path = dir.Path(name + ".nis");
  ASSERT_TRUE(out.scene.ExportNis(path.c_str(), model)) << platform.windowText;
  std::string error;
  ASSERT_TRUE(ReadNisFile(path, out.doc, error)) << error;
  out.script = ReadFileBytes(dir.Path(name + ".script"));
}

void ExpectDocumentMatchesScene(const Exported& e) {
  const NisScene& s = e.scene;
  const NisDocument& doc = e.doc;
  EXPECT_TRUE(doc.faults.empty()) << doc.faults[0].where << ": " << doc.faults[0].message;
  ASSERT_TRUE(doc.info);
  EXPECT_EQ(doc.info->fps, s.fps);
  EXPECT_EQ(doc.info->start, s.startTime);
  EXPECT_EQ(doc.info->end, s.endTime);
  size_t n = s.bones.size();
  ASSERT_EQ(doc.curves.size(), 7 * n + 1);
  ASSERT_EQ(doc.leaders.size(), n + 1);
  ASSERT_EQ(doc.followers.size(), n + 1);
  ASSERT_EQ(doc.cameras.size(), s.cameras.size());
  EXPECT_EQ(doc.curves[0].name, "ANIM_Empty");
  EXPECT_EQ(doc.leaders[0].name, "LEAD_Empty");
  EXPECT_EQ(doc.followers[0].name, "FOLW_Empty");
  for (size_t i = 0; i < n; ++i) {
    msBone* bone = s.bones[i];
    const std::string& path = s.bonePaths[i];
    bool camera = BoneName(bone).compare(0, 4, "CAM_") == 0;
    int keys = msBone_GetPositionKeyCount(bone);
    for (int slot = 0; slot < 7; ++slot) {
      const NisCurve& c = doc.curves[1 + 7 * i + slot];
      ASSERT_EQ(c.name, "ANIM_" + path + kSuffixes[slot]);
      ASSERT_EQ(c.keys.size(), size_t(keys)) << c.name;
      for (int j = 0; j < keys; ++j) {
        double time = double(float(double(msBone_GetPositionKeyAt(bone, j)->fTime) / double(uint32_t(s.fps))));
        EXPECT_EQ(c.keys[j].time, time) << c.name << " key " << j;
        bool paired = j < msBone_GetRotationKeyCount(bone);  // a missing rotation key is the exporter's call
        if (slot < 3 || slot == 6 || paired) {
          EXPECT_EQ(c.keys[j].value, ExpectedValue(bone, j, slot, camera)) << c.name << " key " << j;
        }
      }
    }
    const NisLeader& lead = doc.leaders[1 + i];
    EXPECT_EQ(lead.name, "LEAD_" + path);
    for (int slot = 0; slot < 6; ++slot) EXPECT_EQ(lead.curves[slot], "ANIM_" + path + kSuffixes[slot]);
    if (keys > 0 && msBone_GetRotationKeyCount(bone) > 0) {
      for (int a = 0; a < 3; ++a) {
        EXPECT_EQ(lead.startPosition[a], double(msBone_GetPositionKeyAt(bone, 0)->Position[a])) << path;
        EXPECT_EQ(lead.startRotation[a], double(msBone_GetRotationKeyAt(bone, 0)->Rotation[a])) << path;
      }
    }
    const NisFollower& folw = doc.followers[1 + i];
    EXPECT_EQ(folw.name, "FOLW_" + path);
    EXPECT_EQ(folw.leaderName, "LEAD_" + path);
    if (camera) {
      EXPECT_EQ(folw.objectClass, "camera");
    }
  }
  for (size_t c = 0; c < s.cameras.size(); ++c) {
    EXPECT_EQ(doc.cameras[c].name, s.cameraNames[c]);
    for (size_t i = 0; i < n; ++i) {
      if (s.bones[i] == s.cameras[c]) {
        EXPECT_EQ(doc.cameras[c].followerName, "FOLW_" + s.bonePaths[i]);
      }
    }
  }
}

TEST(RoundTrip, TheExampleAndEverySampleReadBackAsExported) {
  std::vector<std::string> models = {std::string(RW_EXAMPLES_DIR) + "/fleet.ms3d"};
  for (const auto& entry : std::filesystem::directory_iterator(RW_SAMPLES_DIR)) {
    if (entry.path().extension() == ".ms3d") models.push_back(entry.path().string());
  }
  ScratchDir dir;
  for (const std::string& file : models) {
    SCOPED_TRACE(file);
    Ms3dReadResult read = ReadMs3dFile(file);
    ASSERT_TRUE(read.ok()) << read.error()->Format(file);
    Exported e;
    ExportAndRead(read.model.get(), dir, std::filesystem::path(file).stem().string(), e);
    ExpectDocumentMatchesScene(e);
    // None of these models names a dropped or missing bone, so nothing may be reported.
    EXPECT_EQ(CheckLines(e.doc, e.script), std::vector<std::string>{});
  }
}

// The exporter writes these names although they resolve nowhere: a centre of interest on an
// ignored bone or on no bone at all, and cuts and attacks naming such bones.
TEST(RoundTrip, CheckReportsWhatTheExporterKnowinglyLeavesUnresolved) {
  msModel* model = CreateModel();
  SetModelComment(model,
                  "Num Events=3\nEvent0=0|cameraCut|\"IG_Target\"\nEvent1=0|cameraCut|\"CAM_A\"\n"
                  "Event2=24|attack|\"Ghost\"");
  for (const char* name : {"Ship", "CAM_A", "CAM_B", "IG_Target"}) {
    AddKeyPair(AddBone(model, name), 0, {}, {});
  }
  SetBoneComment(msModel_GetBoneAt(model, 1), "Center Of Interest=IG_Target");
  SetBoneComment(msModel_GetBoneAt(model, 2), "Center Of Interest=Ghost\nNum Events=1\nEvent0=0|attack|Ship");
  ScratchDir dir;
  Exported e;
  ExportAndRead(model, dir, "knowing", e);
  ExpectDocumentMatchesScene(e);
  size_t coi1 = e.doc.cameras[0].offset + 4 + 5 + 4 + 15;
  size_t coi2 = e.doc.cameras[1].offset + 4 + 5 + 4 + 15;
  EXPECT_EQ(CheckLines(e.doc, e.script),
            (std::vector<std::string>{
                "CMRA #1 centerOfInterest at " + std::to_string(coi1) +
                    R"(: names follower "FOLW_Root|IG_Target", which FOLW does not hold)",
                "CMRA #2 centerOfInterest at " + std::to_string(coi2) +
                    R"(: names follower "FOLW_Root|", which FOLW does not hold)",
                R"(x.script line 2: cameraCut names "FOLW_Root|IG_Target", neither a follower nor a camera of the file)",
                R"(x.script line 5: attack names follower "FOLW_Root|", which FOLW does not hold)",
            }));
  msModel_Destroy(model);
}

}  // namespace
}  // namespace rw::test
