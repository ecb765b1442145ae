// Export, then read back, for the bundled example and every sample model: the reader's document
// must agree with the exported scene (names, counts, every key against the model's keys), and
// check must find nothing, since none of these models names a dropped or missing bone.
#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <filesystem>

#include "export/ExportDriver.h"
#include "nis/NisChunks.h"
#include "scene/Scene.h"
#include "model/Ms3dReader.h"
#include "tests/inspect/NisTestFiles.h"
#include "tests/support/TestSupport.h"

namespace rw::test {
namespace {

const char* const kSuffixes[7] = {"_translateX", "_translateY", "_translateZ", "_rotateX",
                                  "_rotateY",    "_rotateZ",    "_visibility"};
constexpr double kCameraHalfTurn = 3.14159274;  // the float nearest to pi, added to a camera's Y rotation

// The value of key j of curve `slot`: bind pose plus key, rounded once to a float.
double ExpectedValue(msBone* bone, int j, int slot, bool camera) {
  if (slot == 6) return 1.0;
  msVec3 bind;
  const float* key = slot < 3 ? msBone_GetPositionKeyAt(bone, j)->Position : msBone_GetRotationKeyAt(bone, j)->Rotation;
  slot < 3 ? msBone_GetPosition(bone, bind) : msBone_GetRotation(bone, bind);
  double extra = slot == 4 && camera ? kCameraHalfTurn : 0.0;
  return double(float(extra + double(key[slot % 3]) + double(bind[slot % 3])));
}

void ExpectDocumentMatchesScene(const Scene& s, const NisDocument& doc) {
  // One FORM "NIS " holding the seven chunks in their order, each of them fully decoded.
  ASSERT_EQ(doc.chunks.size(), 1u);
  std::string order;
  for (const NisChunk& chunk : doc.chunks[0].children) {
    order += std::string{char(chunk.id >> 24), char(chunk.id >> 16), char(chunk.id >> 8), char(chunk.id), ' '};
    EXPECT_TRUE(chunk.decoding == NisDecoding::kFull && chunk.dataSize == chunk.length) << order;
  }
  EXPECT_EQ(order, "NAME VERS INFO ANIM LEAD FOLW CMRA ");
  size_t n = s.bones.size();
  ASSERT_TRUE(doc.info);
  EXPECT_EQ((std::array{doc.info->fps, doc.info->start, doc.info->end}), (std::array{s.fps, s.startTime, s.endTime}));
  ASSERT_EQ((std::array{doc.curves.size(), doc.leaders.size(), doc.followers.size(), doc.cameras.size()}),
            (std::array{7 * n + 1, n + 1, n + 1, s.cameras.size()}));
  EXPECT_EQ(doc.curves[0].name + doc.leaders[0].name + doc.followers[0].name, "ANIM_EmptyLEAD_EmptyFOLW_Empty");
  for (size_t i = 0; i < n; ++i) {
    msBone* bone = s.bones[i];
    const std::string& path = s.bonePaths[i];
    size_t camera = std::find(s.cameras.begin(), s.cameras.end(), bone) - s.cameras.begin();
    int keys = msBone_GetPositionKeyCount(bone), rotationKeys = msBone_GetRotationKeyCount(bone);
    for (int slot = 0; slot < 7; ++slot) {
      const NisCurve& c = doc.curves[1 + 7 * i + slot];
      ASSERT_EQ(c.name, "ANIM_" + path + kSuffixes[slot]);
      ASSERT_EQ(c.keys.size(), size_t(keys)) << c.name;
      for (int j = 0; j < keys; ++j) {
        double time = double(float(double(msBone_GetPositionKeyAt(bone, j)->fTime) / double(uint32_t(s.fps))));
        EXPECT_EQ(c.keys[j].time, time) << c.name << " key " << j;
        // A missing rotation key is the exporter's call.
        if (slot < 3 || slot == 6 || j < rotationKeys) {
          EXPECT_EQ(c.keys[j].value, ExpectedValue(bone, j, slot, camera < s.cameras.size())) << c.name << " key " << j;
        }
      }
    }
    const NisLeader& lead = doc.leaders[1 + i];
    EXPECT_EQ(lead.name, "LEAD_" + path);
    for (int slot = 0; slot < 6; ++slot) EXPECT_EQ(lead.curves[slot], "ANIM_" + path + kSuffixes[slot]);
    for (int a = 0; a < 3 && keys > 0 && rotationKeys > 0; ++a) {
      EXPECT_EQ(lead.startPosition[a], double(msBone_GetPositionKeyAt(bone, 0)->Position[a])) << path;
      EXPECT_EQ(lead.startRotation[a], double(msBone_GetRotationKeyAt(bone, 0)->Rotation[a])) << path;
    }
    const NisFollower& folw = doc.followers[1 + i];
    EXPECT_EQ(folw.name + " " + folw.leaderName, "FOLW_" + path + " LEAD_" + path);
    if (camera < s.cameras.size()) {
      EXPECT_EQ(folw.objectClass, "camera");
      EXPECT_EQ(doc.cameras[camera].name + " " + doc.cameras[camera].followerName, s.cameraNames[camera] + " FOLW_" + path);
    }
  }
}

TEST(RoundTrip, TheExampleAndEverySampleReadBackAsExported) {
  std::string samplesMissing;
  std::vector<std::string> models = SampleModels(samplesMissing);
  models.insert(models.begin(), std::string(RW_EXAMPLES_DIR) + "/fleet.ms3d");
  ScratchDir dir;
  for (const std::string& file : models) {
    SCOPED_TRACE(file);
    Ms3dReadResult read = ReadMs3dFile(file);
    ASSERT_TRUE(read.ok()) << FormatDiagnostic(file, *read.error());
    RecordingPlatform platform;
    ASSERT_TRUE(ExportNis(dir.Path("out.nis").c_str(), read.model.get())) << platform.windowText;
    // The scene as the export saw it, scanned from the exported model (the scan's keys are in).
    const Scene scene = ScanScene(read.model.get());
    EXPECT_EQ(PredictNisSize(scene), ReadFileBytes(dir.Path("out.nis")).size());
    NisDocument doc;
    std::string error;
    ASSERT_TRUE(ReadNisFile(dir.Path("out.nis"), doc, error)) << error;
    ExpectDocumentMatchesScene(scene, doc);
    EXPECT_EQ(CheckLines(doc, ReadFileBytes(dir.Path("out.script"))), std::vector<std::string>{});  // faults too
  }
  // The example is checked either way; the real models only where they are.
  if (!samplesMissing.empty()) {
    if (SamplesRequired()) FAIL() << samplesMissing;
    GTEST_SKIP() << samplesMissing;
  }
}

}  // namespace
}  // namespace rw::test
