#include <gtest/gtest.h>

#include <cmath>
#include <set>
#include <type_traits>

#include "examples/FleetScene.h"
#include "model/Ms3dReader.h"
#include "examples/Ms3dWriter.h"
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

// Real files made with the modeller: joints, one bone (name, parent, keys of each kind, first and
// last key frame), the position and rotation keys of all bones, the model comment's bytes.
const struct SampleCase {
  const char *file;
  int joints, bone;
  const char *name, *parent;
  int keys, firstFrame, lastFrame, allKeys;
  const char* comment;
} kSamples[] = {
    {"ninja.ms3d", 28, 0, "Joint1", "", 113, 1, 300, 3760, ""},  // fps 25, 0.04 s is frame 1; all sections
    {"hog.ms3d", 20, 1, "rshoulder", "root", 4, 1, 24, 114, ""},  // fps 24
    {"bonesgroup.ms3d", 5, 0, "<MS3DRoot>", "none", 0, 0, 0, 18, ""},  // no joint "none"; 14-byte vertex extra
    {"mrbox.ms3d", 28, 0, "Bip01 Pelvis", "", 0, 0, 0, 0, "scale=0.100000\r\nconfig=0\r\nanim=0\r\ndump=1"},  // CR LF kept
    {"skeleton.ms3d", 28, 1, "Bip01 Spine", "Bip01 Pelvis", 0, 0, 0, 0, ""},  // ends after the joints
    {"model.ms3d", 9, 2, "joint3", "joint2", 1, 1, 1, 42, ""},  // no optional sections
};

TEST(Ms3dSamples, EveryRealFileLoadsItsJointsAndKeys) {
  RW_SAMPLE_MODELS_OR_SKIP(models);
  for (const SampleCase& c : kSamples) {
    SCOPED_TRACE(c.file);
    const Ms3dReadResult read = ReadMs3dFile(test::SamplesDir() + "/" + c.file);
    ASSERT_TRUE(read.ok()) << FormatDiagnostic(c.file, read.diagnostics.back());
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
    EXPECT_EQ(msBone_GetRotationKeyAt(bone, 0)->fTime, c.firstFrame);
    EXPECT_EQ(msBone_GetPositionKeyAt(bone, c.keys - 1)->fTime, c.lastFrame);
  }
}

// Two joints with keys (the second's name fills its 32 bytes: no terminator), one of every record
// of geometry, all optional sections. Its layout: joint count at 518, joint 0 at 520 (its key
// counts at 609, keys at 613), joint 1 at 677, comments at 802 (group comments 806, material 820,
// joint 824, model flag 838), vertex extra at 848, joint extra at 862, model extra at 890, end 906.
Ms3dFile BaseFile() {
  Ms3dFile file;
  file.vertexCount = file.triangleCount = file.materialCount = 1;
  file.groupNames = {"g"};
  const float at1 = FrameToSeconds(1, 24), at24 = FrameToSeconds(24, 24), at48 = FrameToSeconds(48, 24);
  file.joints = {{"Root", "", {0.5f, 0, 0}, {1, 2, 3}, {{at1, {0.1f, 0, 0}}, {at48, {0.2f, 0, 0}}},
                  {{at1, {4, 5, 6}}, {at48, {7, 8, 9}}}},
                 {std::string(32, 'N'), "Root", {}, {}, {{at24, {}}}, {{at24, {0, 0, 1}}}}};
  file.groupComments = {{0, "gc"}};
  file.jointComments = {{0, "c0"}};
  file.hasModelComment = true;
  file.modelComment = "mc";
  return file;
}

template <typename T>  // a string's bytes, or a number's (the tests run little-endian, as the format)
std::string Patched(std::string bytes, size_t offset, const T& with) {
  if constexpr (std::is_arithmetic_v<T>)
    return Patched(bytes, offset, std::string(reinterpret_cast<const char*>(&with), sizeof with));
  else
    return bytes.replace(offset, std::string(with).size(), with);
}

// A version 3 file has the same core as a version 4 one; the pose is rotation, then position,
// and so are the key counts and the keys (the child has two rotation keys for one position key).
TEST(Ms3dReader, WriterRoundTripKeepsPoseKeysAndComments) {
  Ms3dFile file = BaseFile();
  file.version = 3;
  file.joints[1].rotationKeys.push_back({FrameToSeconds(48, 24), {0, 0.5f, 0}});
  file.jointComments = {{1, "Sob Type=Frigate\r\nEvent0=24|fire|\"x\"\tend\r"}};
  file.modelComment = "OPT_FPS=24\nNum Events=0";
  const Ms3dReadResult read = ReadMs3d(WriteMs3d(file));
  ASSERT_TRUE(read.ok() && read.diagnostics.empty());
  msBone* root = msModel_GetBoneAt(read.model.get(), 0);
  msBone* child = msModel_GetBoneAt(read.model.get(), 1);
  msVec3 position, rotation;
  msBone_GetPosition(root, position);
  msBone_GetRotation(root, rotation);
  EXPECT_EQ(position[0] + position[2] + rotation[0], 1 + 3 + 0.5f);
  EXPECT_EQ(msBone_GetPositionKeyAt(root, 1)->Position[1], 8);
  EXPECT_EQ(msBone_GetRotationKeyAt(root, 1)->Rotation[0], 0.2f);
  ASSERT_EQ(msBone_GetRotationKeyCount(child), 2);
  EXPECT_EQ(msBone_GetPositionKeyCount(child), 1);
  EXPECT_EQ(msBone_GetRotationKeyAt(child, 1)->Rotation[1], 0.5f);
  EXPECT_EQ(Text(msBone_GetName, child), std::string(32, 'N'));
  EXPECT_EQ(Text(msBone_GetComment, child), file.jointComments[0].text);
  EXPECT_EQ(Text(msModel_GetComment, read.model.get()), file.modelComment);
}

// One patched or cut file each; an error leaves no model, a warning loads the rest.
TEST(Ms3dReader, EachProblemGivesOneMessageWithItsOffset) {
  const std::string base = WriteMs3d(BaseFile());
  constexpr auto kError = Severity::kError, kWarning = Severity::kWarning;
  const struct { std::string bytes; Severity kind; int64_t offset; const char* message; } cases[] = {
      {Patched(base, 0, "X"), kError, 0, "not an .ms3d file: the id is \"XS3D000000\", not \"MS3D000000\""},
      {Patched(base, 10, 5), kError, 10, "unsupported version 5 (versions 3 and 4 are read)"},
      {base.substr(0, 5), kError, 0, "file ends inside the header (14 bytes needed, 5 left)"},
      {Patched(base, 14, "\xFF\xFF"), kError, 14, "65535 vertices need at least 983025 bytes, only 890 left"},
      {Patched(base, 138, "\xFF\xFF"), kError, 140, "file ends inside group 0 (131071 bytes needed, 766 left)"},
      {Patched(base, 518, "\x64"), kError, 518, "100 joints need at least 9300 bytes, only 386 left"},
      {Patched(base, 609, "\xE8\x03"), kError, 613, "file ends inside the keys of joint 0 \"Root\" (16032 bytes needed, 293 left)"},
      {Patched(base, 802, 2), kError, 802, "unsupported comment sub-version 2 (1 is read)"},
      {Patched(base, 806, -1), kError, 806, "negative group comment count (-1)"},
      {Patched(base, 832, -5), kError, 832, "joint comment 0 has a negative length (-5)"},
      {Patched(base, 832, 1000), kError, 832, "joint comment 0 is 1000 bytes long, only 70 left"},
      {Patched(base, 838, 2), kError, 838, "model comment flag 2 is neither 0 nor 1"},
      {Patched(base, 842, 99), kError, 842, "the model comment is 99 bytes long, only 60 left"},
      {Patched(base, 506, 0.0f), kWarning, 506, "animation fps 0 is not a finite number above 0; key times are read with 24"},
      {Patched(base, 506, std::nanf("")), kWarning, 506, "animation fps nan is not a finite number above 0; key times are read with 24"},
      {Patched(base, 828, 7), kWarning, 828, "joint comment 0 is for joint 7, but the file has 2 joints; it is ignored"},
      {Patched(base, 828, 2), kWarning, 828, "joint comment 0 is for joint 2, but the file has 2 joints; it is ignored"},
      {Patched(base, 848, 9), kWarning, 848, "unknown vertex extra sub-version 9; the rest of the file is ignored"},
      {base + "xyz", kWarning, 906, "3 bytes after the last section are ignored"},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.message);
    const Ms3dReadResult read = ReadMs3d(c.bytes);
    ASSERT_EQ(read.diagnostics.size(), 1u);
    EXPECT_EQ(read.diagnostics[0].severity, c.kind);
    EXPECT_EQ(read.diagnostics[0].offset, c.offset);
    EXPECT_EQ(read.diagnostics[0].what, c.message);
    ASSERT_EQ(read.ok(), c.kind == kWarning);
    if (!read.ok()) continue;
    // The keys were stored at 24 fps, so they read as whole frames whatever the fps field says;
    // the orphan comment went nowhere.
    EXPECT_EQ(msBone_GetPositionKeyAt(msModel_GetBoneAt(read.model.get(), 0), 1)->fTime, 48);
    EXPECT_EQ(Text(msBone_GetComment, msModel_GetBoneAt(read.model.get(), 0)), c.offset == 828 ? "" : "c0");
  }
}

// Every prefix either ends at a section boundary and loads, or gives one error inside it.
TEST(Ms3dReader, EveryPrefixLoadsOrFailsCleanly) {
  const std::string bytes = WriteMs3d(BaseFile());
  const std::set<size_t> cleanEnds = {802, 848, 862, 890, 906};
  for (size_t length = 0; length <= bytes.size(); ++length) {
    const Ms3dReadResult read = ReadMs3d(bytes.data(), length);
    ASSERT_EQ(read.ok(), cleanEnds.count(length) == 1) << "prefix of " << length;
    ASSERT_EQ(read.diagnostics.size(), read.ok() ? 0u : 1u) << "prefix of " << length;
    if (read.ok()) EXPECT_EQ(msModel_GetBoneCount(read.model.get()), 2);
    else EXPECT_LE(read.error()->offset, static_cast<int64_t>(length)) << read.error()->what;
  }
}

TEST(Ms3dReader, SecondsBecomeFramesRoundedNearWholeNumbers) {
  EXPECT_EQ(SecondsToFrames(1.0009f / 24, 24), 1);     // within 0.001: whole
  EXPECT_EQ(SecondsToFrames(1.002f / 24, 24), 1.002f);  // beyond: kept
  EXPECT_EQ(SecondsToFrames(1e30f, 1e30f), HUGE_VALF);  // no float holds it
}

TEST(Ms3dExample, CommittedFleetIsTheGeneratorsOutput) {
  EXPECT_EQ(test::ReadFileBytes(std::string(RW_EXAMPLES_DIR) + "/fleet.ms3d"), WriteMs3d(FleetScene()))
      << "run make_example examples/fleet.ms3d";
}

}  // namespace
}  // namespace rw
