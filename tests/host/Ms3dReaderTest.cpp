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

// Texts through the host's getters, with room to spare so that nothing is cut.
template <typename Handle, typename Result>
std::string Text(Result (*get)(Handle*, char*, int), Handle* handle) {
  char text[1024] = "";
  get(handle, text, sizeof text);
  return text;
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
  int allKeys;          // position and rotation keys of all bones
  const char* comment;  // the model comment's bytes
};

const SampleCase kSamples[] = {
    {"ninja.ms3d", 28, 0, "Joint1", "", 113, 1, 300, 3760, ""},  // fps 25, 0.04 s is frame 1; all sections
    {"hog.ms3d", 20, 1, "rshoulder", "root", 4, 1, 24, 114, ""},  // fps 24
    {"bonesgroup.ms3d", 5, 0, "<MS3DRoot>", "none", 0, 0, 0, 18, ""},  // no joint "none"; 14-byte vertex extra
    {"mrbox.ms3d", 28, 0, "Bip01 Pelvis", "", 0, 0, 0, 0,  // CR LF kept; ends after the comments
     "scale=0.100000\r\nconfig=0\r\nanim=0\r\ndump=1"},
    {"skeleton.ms3d", 28, 1, "Bip01 Spine", "Bip01 Pelvis", 0, 0, 0, 0, ""},  // ends after the joints
    {"model.ms3d", 9, 2, "joint3", "joint2", 1, 1, 1, 42, ""},  // no optional sections
};

TEST(Ms3dSamples, EveryRealFileLoadsItsJointsAndKeys) {
  for (const SampleCase& c : kSamples) {
    SCOPED_TRACE(c.file);
    const Ms3dReadResult read = ReadMs3dFile(std::string(RW_SAMPLES_DIR) + "/" + c.file);
    ASSERT_TRUE(read.ok()) << read.diagnostics.back().Format(c.file);
    EXPECT_TRUE(read.diagnostics.empty());
    EXPECT_EQ(Text(msModel_GetComment, read.model.get()), c.comment);
    ASSERT_EQ(msModel_GetBoneCount(read.model.get()), c.joints);
    int allKeys = 0;
    for (int i = 0; i < c.joints; ++i) {
      msBone* each = msModel_GetBoneAt(read.model.get(), i);
      allKeys += msBone_GetPositionKeyCount(each) + msBone_GetRotationKeyCount(each);
    }
    EXPECT_EQ(allKeys, c.allKeys);
    msBone* bone = msModel_GetBoneAt(read.model.get(), c.bone);
    EXPECT_EQ(Text(msBone_GetName, bone), c.name);
    EXPECT_EQ(Text(msBone_GetParentName, bone), c.parent);
    ASSERT_EQ(msBone_GetPositionKeyCount(bone), c.keys);
    ASSERT_EQ(msBone_GetRotationKeyCount(bone), c.keys);
    if (c.keys == 0) continue;
    EXPECT_EQ(msBone_GetPositionKeyAt(bone, 0)->fTime, c.firstFrame);
    EXPECT_EQ(msBone_GetRotationKeyAt(bone, 0)->fTime, c.firstFrame);
    EXPECT_EQ(msBone_GetPositionKeyAt(bone, c.keys - 1)->fTime, c.lastFrame);
  }
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
template <typename T>
std::string Bytes(T v) {  // the tests run on little-endian machines, as the format is
  return std::string(reinterpret_cast<const char*>(&v), sizeof v);
}
std::string I32Bytes(int32_t v) { return Bytes(v); }
std::string F32Bytes(float v) { return Bytes(v); }
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
  EXPECT_EQ(Text(msBone_GetName, child), std::string(32, 'N'));
  EXPECT_EQ(Text(msBone_GetParentName, child), "Root");
  msVec3 position, rotation;  // rotation comes first in the file, position second
  msBone_GetPosition(root, position);
  msBone_GetRotation(root, rotation);
  EXPECT_EQ(position[0] + position[2] + rotation[0], 1 + 3 + 0.5f);
  ASSERT_EQ(msBone_GetPositionKeyCount(root), 2);
  EXPECT_EQ(msBone_GetPositionKeyAt(root, 0)->fTime, 1);
  EXPECT_EQ(msBone_GetPositionKeyAt(root, 1)->fTime, 48);
  EXPECT_EQ(msBone_GetPositionKeyAt(root, 1)->Position[1], 8);
  EXPECT_EQ(msBone_GetRotationKeyAt(root, 1)->Rotation[0], 0.2f);
  EXPECT_EQ(msBone_GetRotationKeyAt(child, 0)->fTime, 24);
  EXPECT_EQ(Text(msBone_GetComment, root), "");
  EXPECT_EQ(Text(msBone_GetComment, child), "Sob Type=Frigate\r\nEvent0=24|fire|\"x\"\tend\r");
  EXPECT_EQ(Text(msModel_GetComment, model), "OPT_FPS=24\nNum Events=0");

  file.version = 3;  // same core
  EXPECT_TRUE(ReadMs3d(WriteMs3d(file)).ok());
}

// One patched or cut file each; an error leaves no model, a warning loads the rest.
struct ProblemCase {
  const char* what;
  std::string bytes;
  Ms3dDiagnostic::Kind kind;
  int64_t offset;
  const char* message;
};

TEST(Ms3dReader, EachProblemGivesOneMessageWithItsOffset) {
  const std::string base = WriteMs3d(BaseFile());
  constexpr auto kError = Ms3dDiagnostic::Kind::kError;
  constexpr auto kWarning = Ms3dDiagnostic::Kind::kWarning;
  const ProblemCase cases[] = {
      {"wrong id", Patched(base, 0, "X"), kError, 0, "not an .ms3d file: the id is \"XS3D000000\", not \"MS3D000000\""},
      {"version", Patched(base, 10, I32Bytes(5)), kError, 10, "unsupported version 5 (versions 3 and 4 are read)"},
      {"short header", base.substr(0, 5), kError, 0, "file ends inside the header (14 bytes needed, 5 left)"},
      {"vertex count", Patched(base, 14, kU16Max), kError, 14, "65535 vertices need at least 983025 bytes, only 890 left"},
            {"group triangles", Patched(base, 138, kU16Max), kError, 140,
       "file ends inside group 0 (131071 bytes needed, 766 left)"},
      {"material count", Patched(base, 143, "\x03"), kError, 143, "3 materials need at least 1083 bytes, only 761 left"},
      {"joint count", Patched(base, 518, "\x64"), kError, 518, "100 joints need at least 9300 bytes, only 386 left"},
      {"key count", Patched(base, 609, "\xE8\x03"), kError, 613,
       "file ends inside the keys of joint 0 \"Root\" (16032 bytes needed, 293 left)"},
      {"inside a joint", base.substr(0, 720), kError, 677, "file ends inside joint 1 (93 bytes needed, 43 left)"},
            {"comment sub-version", Patched(base, 802, I32Bytes(2)), kError, 802, "unsupported comment sub-version 2 (1 is read)"},
      {"negative count", Patched(base, 806, I32Bytes(-1)), kError, 806, "negative group comment count (-1)"},
            {"negative length", Patched(base, 832, I32Bytes(-5)), kError, 832, "joint comment 0 has a negative length (-5)"},
      {"oversized length", Patched(base, 832, I32Bytes(1000)), kError, 832,
       "joint comment 0 is 1000 bytes long, only 70 left"},
      {"in a comment text", base.substr(0, 837), kError, 832, "joint comment 0 is 2 bytes long, only 1 left"},
      {"model comment flag", Patched(base, 838, I32Bytes(2)), kError, 838, "model comment flag 2 is neither 0 nor 1"},
      {"model comment length", Patched(base, 842, I32Bytes(99)), kError, 842,
       "the model comment is 99 bytes long, only 60 left"},
            {"in model extra", base.substr(0, 900), kError, 894,
       "file ends inside the model extra fields (12 bytes needed, 6 left)"},
      {"fps zero", Patched(base, 506, F32Bytes(0)), kWarning, 506,
       "animation fps 0 is not a finite number above 0; key times are read with 24"},
      {"fps nan", Patched(base, 506, F32Bytes(std::nanf(""))), kWarning, 506,
       "animation fps nan is not a finite number above 0; key times are read with 24"},
      {"orphan joint comment", Patched(base, 828, I32Bytes(7)), kWarning, 828,
       "joint comment 0 is for joint 7, but the file has 2 joints; it is ignored"},
      {"vertex extra sub-version", Patched(base, 848, I32Bytes(9)), kWarning, 848,
       "unknown vertex extra sub-version 9; the rest of the file is ignored"},
      {"trailing bytes", base + "xyz", kWarning, 906, "3 bytes after the last section are ignored"},
  };
  for (const ProblemCase& c : cases) {
    SCOPED_TRACE(c.what);
    const Ms3dReadResult read = ReadMs3d(c.bytes);
    ASSERT_EQ(read.diagnostics.size(), 1u);
    EXPECT_EQ(read.diagnostics[0].kind, c.kind);
    EXPECT_EQ(read.diagnostics[0].offset, c.offset);
    EXPECT_EQ(read.diagnostics[0].message, c.message);
    ASSERT_EQ(read.ok(), c.kind == kWarning);
    if (!read.ok()) continue;
    // The keys were stored at 24 fps, so they read as whole frames whatever the fps field says;
    // the orphan comment went nowhere.
    msBone* root = msModel_GetBoneAt(read.model.get(), 0);
    EXPECT_EQ(msBone_GetPositionKeyAt(root, 1)->fTime, 48);
    EXPECT_EQ(Text(msBone_GetComment, root), c.offset == 828 ? "" : "c0");
  }
  EXPECT_EQ(ReadMs3d(Patched(base, 10, I32Bytes(5))).error()->Format("a.ms3d"),
            "a.ms3d: error at byte 10: unsupported version 5 (versions 3 and 4 are read)");
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
  EXPECT_EQ(SecondsToFrames(0.04f, 25), 1);            // float seconds miss the frame slightly
  EXPECT_EQ(SecondsToFrames(1.0009f / 24, 24), 1);     // within 0.001: whole
  EXPECT_EQ(SecondsToFrames(1.002f / 24, 24), 1.002f);  // beyond: kept
  EXPECT_EQ(SecondsToFrames(0.5f, 3), 1.5f);
  EXPECT_EQ(SecondsToFrames(1e30f, 1e30f), HUGE_VALF);  // no float holds it
}

TEST(Ms3dExample, CommittedFleetIsTheGeneratorsOutput) {
  const std::string committed = test::ReadFileBytes(std::string(RW_EXAMPLES_DIR) + "/fleet.ms3d");
  EXPECT_EQ(committed, WriteMs3d(FleetScene())) << "run make_example examples/fleet.ms3d";
  const Ms3dReadResult read = ReadMs3d(committed);
  ASSERT_TRUE(read.ok());
  ASSERT_EQ(msModel_GetBoneCount(read.model.get()), 4);
  msBone* ship = msModel_GetBoneAt(read.model.get(), 1);
  ASSERT_EQ(msBone_GetPositionKeyCount(ship), 4);
  EXPECT_EQ(msBone_GetPositionKeyAt(ship, 0)->fTime, 1);  // whole frames at 24 fps
  EXPECT_EQ(msBone_GetRotationKeyAt(ship, 3)->fTime, 72);
}

}  // namespace
}  // namespace rw
