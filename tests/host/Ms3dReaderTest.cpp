#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <set>

#include "examples/FleetScene.h"
#include "host/Ms3dReader.h"
#include "host/Ms3dWriter.h"
#include "tests/support/TestSupport.h"

namespace rw {
namespace {

std::string BoneName(msBone* bone) {
  char text[32] = "";
  msBone_GetName(bone, text, sizeof text);
  return text;
}
std::string ParentName(msBone* bone) {
  char text[32] = "";
  msBone_GetParentName(bone, text, sizeof text);
  return text;
}
std::string BoneComment(msBone* bone) {
  char text[1024] = "";
  const int length = msBone_GetComment(bone, text, sizeof text);
  return std::string(text, static_cast<size_t>(length));
}
std::string ModelComment(msModel* model) {
  char text[1024] = "";
  const int length = msModel_GetComment(model, text, sizeof text);
  return std::string(text, static_cast<size_t>(length));
}

// Real files made with the modeller.
struct SampleCase {
  const char* file;
  int joints;
  int bone;  // the bone checked below
  const char* name;
  const char* parent;
  int keys;  // position keys of that bone (the same number of rotation keys)
  float firstFrame, lastFrame;
};

const SampleCase kSamples[] = {
    {"ninja.ms3d", 28, 0, "Joint1", "", 113, 1, 300},       // fps 25, 0.04 s is frame 1; all sections
    {"hog.ms3d", 20, 1, "rshoulder", "root", 4, 1, 24},     // fps 24
    {"bonesgroup.ms3d", 5, 0, "<MS3DRoot>", "none", 0, 0, 0},  // parent names no joint; 14-byte vertex extra
    {"mrbox.ms3d", 28, 0, "Bip01 Pelvis", "", 0, 0, 0},     // ends after the comments
    {"skeleton.ms3d", 28, 1, "Bip01 Spine", "Bip01 Pelvis", 0, 0, 0},  // ends after the joints
    {"model.ms3d", 9, 2, "joint3", "joint2", 1, 1, 1},      // no optional sections
};

TEST(Ms3dSamples, EveryRealFileLoadsItsJointsAndKeys) {
  for (const SampleCase& c : kSamples) {
    SCOPED_TRACE(c.file);
    const Ms3dReadResult read = ReadMs3dFile(std::string(RW_SAMPLES_DIR) + "/" + c.file);
    ASSERT_TRUE(read.ok()) << read.diagnostics.back().Format(c.file);
    EXPECT_TRUE(read.diagnostics.empty());
    ASSERT_EQ(msModel_GetBoneCount(read.model.get()), c.joints);
    msBone* bone = msModel_GetBoneAt(read.model.get(), c.bone);
    EXPECT_EQ(BoneName(bone), c.name);
    EXPECT_EQ(ParentName(bone), c.parent);
    ASSERT_EQ(msBone_GetPositionKeyCount(bone), c.keys);
    ASSERT_EQ(msBone_GetRotationKeyCount(bone), c.keys);
    if (c.keys == 0) continue;
    EXPECT_EQ(msBone_GetPositionKeyAt(bone, 0)->fTime, c.firstFrame);
    EXPECT_EQ(msBone_GetRotationKeyAt(bone, 0)->fTime, c.firstFrame);
    EXPECT_EQ(msBone_GetPositionKeyAt(bone, c.keys - 1)->fTime, c.lastFrame);
  }
}

TEST(Ms3dSamples, MrboxModelCommentKeepsItsBytes) {
  const Ms3dReadResult read = ReadMs3dFile(std::string(RW_SAMPLES_DIR) + "/mrbox.ms3d");
  ASSERT_TRUE(read.ok());
  EXPECT_EQ(ModelComment(read.model.get()), "scale=0.100000\r\nconfig=0\r\nanim=0\r\ndump=1");
}

TEST(Ms3dSamples, NinjaHoldsAllItsKeys) {
  const Ms3dReadResult read = ReadMs3dFile(std::string(RW_SAMPLES_DIR) + "/ninja.ms3d");
  ASSERT_TRUE(read.ok());
  int keys = 0;
  for (int i = 0; i < msModel_GetBoneCount(read.model.get()); ++i) {
    msBone* bone = msModel_GetBoneAt(read.model.get(), i);
    keys += msBone_GetPositionKeyCount(bone) + msBone_GetRotationKeyCount(bone);
  }
  EXPECT_EQ(keys, 3760);
}

// Two joints with keys, one of every record of geometry, all optional sections. Its layout:
// joint count at 518, joint 0 at 520 (its key counts at 609, keys at 613), joint 1 at 677,
// comments at 802 (group comments 806, material 820, joint 824, model flag 838), vertex extra
// at 848, joint extra at 862, model extra at 890, end at 906.
Ms3dFile BaseFile() {
  Ms3dFile file;
  file.vertexCount = 1;
  file.triangleCount = 1;
  file.groupNames = {"g"};
  file.materialCount = 1;
  Ms3dJoint root;
  root.name = "Root";
  root.rotation = {0.5f, 0, 0};
  root.position = {1, 2, 3};
  root.rotationKeys = {{FrameToSeconds(1, 24), {0.1f, 0, 0}}, {FrameToSeconds(48, 24), {0.2f, 0, 0}}};
  root.positionKeys = {{FrameToSeconds(1, 24), {4, 5, 6}}, {FrameToSeconds(48, 24), {7, 8, 9}}};
  Ms3dJoint child;
  child.name = "Child";
  child.parentName = "Root";
  child.positionKeys = {{FrameToSeconds(24, 24), {0, 0, 1}}};
  child.rotationKeys = {{FrameToSeconds(24, 24), {0, 0, 0}}};
  file.joints = {root, child};
  file.groupComments = {{0, "gc"}};
  file.jointComments = {{0, "c0"}};
  file.hasModelComment = true;
  file.modelComment = "mc";
  return file;
}

std::string Patched(std::string bytes, size_t offset, const std::string& with) {
  bytes.replace(offset, with.size(), with);
  return bytes;
}
std::string I32Bytes(int32_t v) {
  std::string out(4, '\0');
  std::memcpy(&out[0], &v, 4);  // the tests run on little-endian machines, as the format is
  return out;
}
std::string F32Bytes(float v) {
  std::string out(4, '\0');
  std::memcpy(&out[0], &v, 4);
  return out;
}
const std::string kU16Max = "\xFF\xFF";

TEST(Ms3dReader, WriterRoundTripKeepsPoseKeysAndComments) {
  Ms3dFile file = BaseFile();
  file.joints[1].name = std::string(32, 'N');  // fills the field: no terminator in the file
  file.jointComments = {{1, "Sob Type=Frigate\r\nEvent0=24|fire|\"x\"\tend\r"}};
  file.modelComment = "OPT_FPS=24\nNum Events=0";
  const Ms3dReadResult read = ReadMs3d(WriteMs3d(file));
  ASSERT_TRUE(read.ok());
  EXPECT_TRUE(read.diagnostics.empty());
  msModel* model = read.model.get();
  ASSERT_EQ(msModel_GetBoneCount(model), 2);
  msBone* root = msModel_GetBoneAt(model, 0);
  msBone* child = msModel_GetBoneAt(model, 1);
  EXPECT_EQ(BoneName(child), std::string(31, 'N'));  // the host's 32-byte buffer cuts it
  EXPECT_EQ(ParentName(child), "Root");
  msVec3 position, rotation;
  msBone_GetPosition(root, position);
  msBone_GetRotation(root, rotation);
  EXPECT_EQ(position[0], 1);  // rotation comes first in the file, position second
  EXPECT_EQ(position[2], 3);
  EXPECT_EQ(rotation[0], 0.5f);
  ASSERT_EQ(msBone_GetPositionKeyCount(root), 2);
  EXPECT_EQ(msBone_GetPositionKeyAt(root, 0)->fTime, 1);
  EXPECT_EQ(msBone_GetPositionKeyAt(root, 1)->fTime, 48);
  EXPECT_EQ(msBone_GetPositionKeyAt(root, 1)->Position[1], 8);
  EXPECT_EQ(msBone_GetRotationKeyAt(root, 1)->Rotation[0], 0.2f);
  EXPECT_EQ(msBone_GetRotationKeyAt(child, 0)->fTime, 24);
  EXPECT_EQ(BoneComment(root), "");
  EXPECT_EQ(BoneComment(child), "Sob Type=Frigate\r\nEvent0=24|fire|\"x\"\tend\r");
  EXPECT_EQ(ModelComment(model), "OPT_FPS=24\nNum Events=0");

  file.version = 3;  // same core
  EXPECT_TRUE(ReadMs3d(WriteMs3d(file)).ok());
}

struct BadCase {
  const char* what;
  std::string bytes;
  int64_t offset;
  const char* message;
};

TEST(Ms3dReader, BadInputGivesOneErrorWithItsOffset) {
  const std::string base = WriteMs3d(BaseFile());
  const BadCase cases[] = {
      {"wrong id", Patched(base, 0, "X"), 0, "not an .ms3d file: the id is \"XS3D000000\", not \"MS3D000000\""},
      {"version", Patched(base, 10, I32Bytes(5)), 10, "unsupported version 5 (versions 3 and 4 are read)"},
      {"short header", base.substr(0, 5), 0, "file ends inside the header (14 bytes needed, 5 left)"},
      {"vertex count", Patched(base, 14, kU16Max), 14, "65535 vertices need at least 983025 bytes, only 890 left"},
      {"triangle count", Patched(base, 31, kU16Max), 31, "65535 triangles need at least 4587450 bytes, only 873 left"},
      {"group triangles", Patched(base, 138, kU16Max), 140, "file ends inside group 0 (131071 bytes needed, 766 left)"},
      {"material count", Patched(base, 143, "\x03"), 143, "3 materials need at least 1083 bytes, only 761 left"},
      {"joint count", Patched(base, 518, "\x64"), 518, "100 joints need at least 9300 bytes, only 386 left"},
      {"key count", Patched(base, 609, "\xE8\x03"), 613,
       "file ends inside the keys of joint 0 \"Root\" (16032 bytes needed, 293 left)"},
      {"inside a joint", base.substr(0, 720), 677, "file ends inside joint 1 (93 bytes needed, 43 left)"},
      {"inside keys", base.substr(0, 790), 770, "file ends inside the keys of joint 1 \"Child\" (32 bytes needed, 20 left)"},
      {"comment sub-version", Patched(base, 802, I32Bytes(2)), 802, "unsupported comment sub-version 2 (1 is read)"},
      {"negative count", Patched(base, 806, I32Bytes(-1)), 806, "negative group comment count (-1)"},
      {"comment count", Patched(base, 824, I32Bytes(200)), 824,
       "200 joint comments need at least 1600 bytes, only 78 left"},
      {"negative length", Patched(base, 832, I32Bytes(-5)), 832, "joint comment 0 has a negative length (-5)"},
      {"oversized length", Patched(base, 832, I32Bytes(1000)), 832, "joint comment 0 is 1000 bytes long, only 70 left"},
      {"model comment flag", Patched(base, 838, I32Bytes(2)), 838, "model comment flag 2 is neither 0 nor 1"},
      {"model comment length", Patched(base, 842, I32Bytes(99)), 842, "the model comment is 99 bytes long, only 60 left"},
      {"in a comment text", base.substr(0, 837), 832, "joint comment 0 is 2 bytes long, only 1 left"},
      {"in joint extra", base.substr(0, 870), 866, "file ends inside the joint extra records (24 bytes needed, 4 left)"},
      {"in model extra", base.substr(0, 900), 894, "file ends inside the model extra fields (12 bytes needed, 6 left)"},
  };
  for (const BadCase& c : cases) {
    SCOPED_TRACE(c.what);
    const Ms3dReadResult read = ReadMs3d(c.bytes);
    EXPECT_FALSE(read.ok());
    ASSERT_EQ(read.diagnostics.size(), 1u);
    ASSERT_NE(read.error(), nullptr);
    EXPECT_EQ(read.error()->offset, c.offset);
    EXPECT_EQ(read.error()->message, c.message);
  }
  EXPECT_EQ(ReadMs3d(Patched(base, 10, I32Bytes(5))).error()->Format("a.ms3d"),
            "a.ms3d: error at byte 10: unsupported version 5 (versions 3 and 4 are read)");
}

struct WarningCase {
  const char* what;
  std::string bytes;
  int64_t offset;
  const char* message;
};

TEST(Ms3dReader, RecoverableProblemsWarnAndLoad) {
  const std::string base = WriteMs3d(BaseFile());
  const WarningCase cases[] = {
      {"fps zero", Patched(base, 506, F32Bytes(0)), 506,
       "animation fps 0 is not a positive number; key times are read with 24"},
      {"fps nan", Patched(base, 506, F32Bytes(std::nanf(""))), 506,
       "animation fps nan is not a positive number; key times are read with 24"},
      {"orphan joint comment", Patched(base, 828, I32Bytes(7)), 828,
       "joint comment 0 is for joint 7, but the file has 2 joints; it is ignored"},
      {"vertex extra sub-version", Patched(base, 848, I32Bytes(9)), 848,
       "unknown vertex extra sub-version 9; the rest of the file is ignored"},
      {"trailing bytes", base + "xyz", 906, "3 bytes after the last section are ignored"},
  };
  for (const WarningCase& c : cases) {
    SCOPED_TRACE(c.what);
    const Ms3dReadResult read = ReadMs3d(c.bytes);
    ASSERT_TRUE(read.ok());
    ASSERT_EQ(read.diagnostics.size(), 1u);
    EXPECT_EQ(read.diagnostics[0].kind, Ms3dDiagnostic::Kind::kWarning);
    EXPECT_EQ(read.diagnostics[0].offset, c.offset);
    EXPECT_EQ(read.diagnostics[0].message, c.message);
    // Keys were stored at 24 fps in every case, so they still read as whole frames.
    EXPECT_EQ(msBone_GetPositionKeyAt(msModel_GetBoneAt(read.model.get(), 0), 1)->fTime, 48);
  }
  const Ms3dReadResult orphan = ReadMs3d(cases[2].bytes);
  EXPECT_EQ(BoneComment(msModel_GetBoneAt(orphan.model.get(), 0)), "");
}

// Every prefix either ends at a section boundary and loads, or gives one error inside it.
TEST(Ms3dReader, EveryPrefixLoadsOrFailsCleanly) {
  const std::string bytes = WriteMs3d(BaseFile());
  ASSERT_EQ(bytes.size(), 906u);
  const std::set<size_t> cleanEnds = {802, 848, 862, 890, 906};
  for (size_t length = 0; length <= bytes.size(); ++length) {
    const Ms3dReadResult read = ReadMs3d(bytes.data(), length);
    ASSERT_EQ(read.ok(), cleanEnds.count(length) == 1) << "prefix of " << length;
    if (read.ok()) {
      EXPECT_EQ(msModel_GetBoneCount(read.model.get()), 2);
      continue;
    }
    ASSERT_NE(read.error(), nullptr);
    EXPECT_EQ(read.diagnostics.size(), 1u);
    EXPECT_LE(read.error()->offset, static_cast<int64_t>(length)) << read.error()->message;
  }
}

TEST(Ms3dReader, SecondsBecomeFramesRoundedNearWholeNumbers) {
  struct Case {
    float seconds, fps, frames;
  };
  const Case cases[] = {
      {1.0f / 24, 24, 1},       {0.04f, 25, 1},        {12.0f, 25, 300},
      {0.5f, 3, 1.5f},          {1.0009f / 24, 24, 1}, {1.002f / 24, 24, 1.002f},
      {-1.0f / 24, 24, -1},     {1e30f, 1e30f, HUGE_VALF},
  };
  for (const Case& c : cases) EXPECT_EQ(SecondsToFrames(c.seconds, c.fps), c.frames) << c.seconds << " s at " << c.fps;
}

TEST(Ms3dReader, MissingFileIsAnErrorWithoutOffset) {
  const Ms3dReadResult read = ReadMs3dFile(std::string(RW_BINARY_DIR) + "/no-such-model.ms3d");
  ASSERT_NE(read.error(), nullptr);
  EXPECT_EQ(read.error()->Format("m.ms3d"), "m.ms3d: error: cannot open the file (No such file or directory)");
}

TEST(Ms3dExample, CommittedFleetIsTheGeneratorsOutput) {
  const std::string committed = test::ReadFileBytes(std::string(RW_EXAMPLES_DIR) + "/fleet.ms3d");
  EXPECT_EQ(committed, WriteMs3d(FleetScene())) << "run make_example examples/fleet.ms3d";
  const Ms3dReadResult read = ReadMs3d(committed);
  ASSERT_TRUE(read.ok());
  ASSERT_EQ(msModel_GetBoneCount(read.model.get()), 4);
  msBone* ship = msModel_GetBoneAt(read.model.get(), 1);
  EXPECT_EQ(ParentName(ship), "Fleet");
  const float frames[] = {1, 24, 48, 72};
  ASSERT_EQ(msBone_GetPositionKeyCount(ship), 4);
  for (int i = 0; i < 4; ++i) EXPECT_EQ(msBone_GetPositionKeyAt(ship, i)->fTime, frames[i]);
  EXPECT_EQ(BoneName(msModel_GetBoneAt(read.model.get(), 2)), "CAM_Main");
  EXPECT_NE(BoneComment(msModel_GetBoneAt(read.model.get(), 2)).find("Center Of Interest=Ship1"), std::string::npos);
}

}  // namespace
}  // namespace rw
