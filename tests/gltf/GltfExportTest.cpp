// glTF scenes through the reelwright program, as a user runs it: a glTF scene and the .ms3d
// model that says the same give the same NIS and script bytes; bad scenes stop with one line and
// write nothing; and assimp's glTF conversions of the sample models export as the models do.
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdio>
#include <filesystem>
#include <map>

#include "examples/Ms3dWriter.h"
#include "inspect/NisDocument.h"
#include "model/Ms3dReader.h"
#include "tests/gltf/GltfBuilder.h"
#include "tests/support/TestSupport.h"

namespace rw {
namespace {

using test::GltfBuilder;
using json = nlohmann::json;

using test::HaveProgram;
using test::Outcome;

Outcome RunIn(const std::string& folder, const std::string& command) { return test::Run(folder, command); }
Outcome Reelwright(const std::string& folder, const std::string& args) {
  return RunIn(folder, "'" RW_REELWRIGHT "' " + args);
}

std::vector<float> Turn(char axis, double angle) {
  const auto s = static_cast<float>(std::sin(angle / 2)), c = static_cast<float>(std::cos(angle / 2));
  return {axis == 'X' ? s : 0, axis == 'Y' ? s : 0, axis == 'Z' ? s : 0, c};
}
Ms3dKey Key(int frame, Vec3 value) { return {FrameToSeconds(frame, 24), value}; }

constexpr float kQuarter = 1.57079637f;  // the float nearest pi / 2
const std::string kModelComment = "Event0=0|cameraCut|\"CAM_Main\"\nNum Events=1\nOPT_FPS=24";

// A fleet that moves, a ship under it that turns, a camera that looks at the ship, and a guide.
GltfBuilder FleetGltf() {
  GltfBuilder g;
  g.doc["scenes"][0]["extras"] = {{"OPT_FPS", 24}, {"Num Events", 1}, {"Event0", "0|cameraCut|\"CAM_Main\""}};
  const int fleet = g.Node({{"name", "Fleet"}, {"rotation", Turn('Z', M_PI / 2)}});
  g.Channel(fleet, "translation", {1 / 24.f, 1, 2}, {0, 0, 0, 5, 0, 0, 10, 2, 0});
  const int ship =
      g.Node({{"name", "Ship1"}, {"translation", {1, 2, 3}}, {"extras", {{"Sob Type", "Frigate"}}}}, fleet);
  const std::vector<float> start = Turn('X', 0), end = Turn('X', M_PI / 2);
  std::vector<float> turns = start;
  turns.insert(turns.end(), end.begin(), end.end());
  g.Channel(ship, "rotation", {1 / 24.f, 2}, turns);
  const int camera = g.Node({{"name", "CAM_Main"},
                             {"translation", {0, 0, -20}},
                             {"rotation", Turn('Y', M_PI / 2)},
                             {"extras", {{"Center Of Interest", "Ship1"}}}});
  g.Channel(camera, "translation", {1 / 24.f, 2}, {0, 0, -20, 8, 0, -20});
  g.Node({{"name", "IG_Guide"}});
  return g;
}

// The same scene as a MilkShape model: keys are offsets from the rest pose, and the camera's
// rest rotation is the glTF camera's less the half turn the export adds.
Ms3dFile FleetMs3d() {
  Ms3dFile file;
  file.hasModelComment = true;
  file.modelComment = kModelComment;
  const Vec3 zero;
  file.joints.push_back({"Fleet", "", {0, 0, kQuarter}, zero, {Key(1, zero), Key(24, zero), Key(48, zero)},
                         {Key(1, zero), Key(24, {5, 0, 0}), Key(48, {10, 2, 0})}});
  file.joints.push_back({"Ship1", "Fleet", zero, {1, 2, 3}, {Key(1, zero), Key(48, {kQuarter, 0, 0})},
                         {Key(1, zero), Key(48, zero)}});
  file.joints.push_back({"CAM_Main", "", {0, -kQuarter, 0}, {0, 0, -20}, {Key(1, zero), Key(48, zero)},
                         {Key(1, zero), Key(48, {8, 0, 0})}});
  file.joints.push_back({"IG_Guide", "", zero, zero, {}, {}});
  file.jointComments = {{1, "Sob Type=Frigate"}, {2, "Center Of Interest=Ship1"}};
  return file;
}

TEST(GltfExport, SceneAndEquivalentMs3dGiveTheSameNisAndScript) {
  test::ScratchDir scratch;
  test::WriteFileBytes(scratch.Path("fleet.gltf"), FleetGltf().Gltf());
  test::WriteFileBytes(scratch.Path("fleet.glb"), FleetGltf().Glb());
  ASSERT_TRUE(WriteMs3dFile(FleetMs3d(), scratch.Path("fleet.ms3d")));
  for (const char* model : {"fleet.ms3d", "fleet.gltf", "fleet.glb"}) {
    const Outcome run = Reelwright(scratch.dir(), std::string("export ") + model + " -q -o " + model + ".nis");
    ASSERT_EQ(run.code, 0) << model << ": " << run.err;
    EXPECT_EQ(run.err, "") << model;
  }
  const std::string nis = test::ReadFileBytes(scratch.Path("fleet.ms3d.nis"));
  const std::string script = test::ReadFileBytes(scratch.Path("fleet.ms3d.script"));
  ASSERT_GT(nis.size(), 1000u);
  ASSERT_NE(script.find("cameraCut(\"FOLW_Root|CAM_Main\")"), std::string::npos);
  for (const char* model : {"fleet.gltf", "fleet.glb"}) {
    EXPECT_TRUE(test::ReadFileBytes(scratch.Path(std::string(model) + ".nis")) == nis) << model;
    EXPECT_EQ(test::ReadFileBytes(scratch.Path(std::string(model) + ".script")), script) << model;
  }
}

using Matrix = std::array<std::array<double, 3>, 3>;

// The rotation of Euler angles applied X, then Y, then Z about the parent's axes: Rz * Ry * Rx.
Matrix EulerMatrix(double a, double b, double c) {
  const double ca = std::cos(a), sa = std::sin(a), cb = std::cos(b), sb = std::sin(b), cc = std::cos(c),
               sc = std::sin(c);
  return {{{cc * cb, cc * sb * sa - sc * ca, cc * sb * ca + sc * sa},
           {sc * cb, sc * sb * sa + cc * ca, sc * sb * ca - cc * sa},
           {-sb, cb * sa, cb * ca}}};
}

// A camera looks down its own -Z with +Y up, after the rotation its curves hold (the preview's
// reading). Each camera node stands 100 units from a ship at the origin; at each of its keys, the
// exported rotation must look at the ship with the glTF camera's up.
TEST(GltfExport, CamerasLookWhereTheGltfCameraLooks) {
  const auto yaw = [](double degrees) { return Turn('Y', degrees * M_PI / 180); };
  const struct {
    const char* name;
    json node;
    std::vector<float> turns;                    // rotation keys at 1 s and 2 s (none: a translation key)
    std::vector<std::array<double, 6>> looks;  // at each key: the look direction, the up direction
  } cases[] = {
      {"CAM_Front", {{"translation", {0, 0, 100}}, {"camera", 0}}, {}, {{0, 0, -1, 0, 1, 0}}},
      {"CAM_Empty", {{"translation", {0, 0, 100}}}, {}, {{0, 0, -1, 0, 1, 0}}},  // no glTF camera: the same
      {"CAM_Side", {{"translation", {100, 0, 0}}, {"rotation", yaw(90)}}, {}, {{-1, 0, 0, 0, 1, 0}}},
      {"CAM_Rolled",
       {{"translation", {0, 0, 100}}, {"rotation", Turn('Z', M_PI / 2)}},
       {},
       {{0, 0, -1, -1, 0, 0}}},
      {"CAM_Panning", {{"translation", {0, 0, 100}}}, [&] {
         std::vector<float> keys = yaw(0), end = yaw(30);
         keys.insert(keys.end(), end.begin(), end.end());
         return keys;
       }(), {{0, 0, -1, 0, 1, 0}, {-0.5, 0, -std::sqrt(3) / 2, 0, 1, 0}}},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.name);
    GltfBuilder g;
    g.doc["cameras"] = {{{"type", "perspective"}, {"perspective", {{"yfov", 0.5}, {"znear", 1}}}}};
    g.Channel(g.Node({{"name", "Ship"}}), "translation", {1, 2}, {0, 0, 0, 0, 0, 0});
    json node = c.node;
    node["name"] = c.name;
    const int camera = g.Node(node);
    if (c.turns.empty()) {
      g.Channel(camera, "translation", {1}, node["translation"].get<std::vector<float>>());
    } else {
      g.Channel(camera, "rotation", {1, 2}, c.turns);
    }
    test::ScratchDir scratch;
    test::WriteFileBytes(scratch.Path("shot.glb"), g.Glb());
    const Outcome run = Reelwright(scratch.dir(), "export shot.glb -q");
    ASSERT_EQ(run.code, 0) << run.err;
    NisDocument nis;
    std::string error;
    ASSERT_TRUE(ReadNisFile(scratch.Path("shot.nis"), nis, error)) << error;
    const std::string prefix = std::string("ANIM_Root|") + c.name + "_rotate";
    std::vector<const NisCurve*> rotate;
    for (const char* axis : {"X", "Y", "Z"})
      for (const NisCurve& curve : nis.curves)
        if (curve.name == prefix + axis) rotate.push_back(&curve);
    ASSERT_EQ(rotate.size(), 3u);
    ASSERT_EQ(rotate[0]->keys.size(), c.looks.size());
    for (size_t k = 0; k < c.looks.size(); ++k) {
      const Matrix r = EulerMatrix(rotate[0]->keys[k].value, rotate[1]->keys[k].value, rotate[2]->keys[k].value);
      for (int i = 0; i < 3; ++i) {
        EXPECT_NEAR(-r[i][2], c.looks[k][i], 1e-6) << "look, key " << k << ", axis " << i;
        EXPECT_NEAR(r[i][1], c.looks[k][3 + i], 1e-6) << "up, key " << k << ", axis " << i;
      }
    }
  }
}

// One keyed node (its JSON as given) under extras for the scene and the asset, as a .glb.
std::string ShipGlb(json node, json sceneExtras = nullptr, json assetExtras = nullptr) {
  GltfBuilder g;
  if (!sceneExtras.is_null()) g.doc["scenes"][0]["extras"] = sceneExtras;
  if (!assetExtras.is_null()) g.doc["asset"]["extras"] = assetExtras;
  g.Channel(g.Node(std::move(node)), "translation", {1, 2}, {0, 0, 0, 1, 0, 0});
  return g.Glb();
}

// 200 nodes whose translations all read one sampler of 100,000 keys: 20 million keys, each 224
// bytes in the NIS file, past its 4 GiB, in a file of 1.6 MB.
std::string SharedKeysGlb() {
  GltfBuilder g;
  std::vector<float> times(100000), values(300000, 0.f);
  for (size_t i = 0; i < times.size(); ++i) times[i] = static_cast<float>(i + 1) / 24;
  g.Channel(g.Node({{"name", "Ship0"}}), "translation", times, values);
  for (int i = 1; i < 200; ++i)
    g.doc["animations"][0]["channels"].push_back(
        {{"sampler", 0}, {"target", {{"node", g.Node({{"name", "Ship" + std::to_string(i)}})}, {"path", "translation"}}}});
  return g.Glb();
}

// A chain of 100,000 nodes, each the child of the one before: its paths alone are quadratic.
std::string ChainGltf() {
  GltfBuilder g;
  int parent = g.Node({{"name", "N0"}});
  g.Channel(parent, "translation", {1}, {0, 0, 0});
  for (int i = 1; i < 100000; ++i) parent = g.Node({{"name", "N" + std::to_string(i)}}, parent);
  return g.Gltf();
}

// A scene whose buffer is the file buffer.bin of byteLength bytes.
std::string BufferFileGltf(size_t byteLength) {
  GltfBuilder g;
  g.doc["buffers"] = {{{"byteLength", byteLength}, {"uri", "buffer.bin"}}};
  return g.Gltf();
}
const std::string kNamedPipe = "(a named pipe)";  // made with mkfifo, not written

// What a user sees for each glTF command line: exit code, stderr (exact, or "..." and its start),
// and the files it leaves besides the inputs.
TEST(GltfExport, CommandLinesOnGltfScenes) {
  const std::string seeHelp = "reelwright: see 'reelwright --help'\n";
  const std::string name31(31, 'N'), text1023(1023, 'c'), cyrillic32 = "\xD0\x9A\xD0\xBE\xD1\x80" + std::string(26, 'a');
  const std::string limits = "; the modeller's ";
  const struct {
    std::string args;
    int code;
    std::string err;
    std::vector<std::string> written;
    std::map<std::string, std::string> files = {};  // more inputs
  } cases[] = {
      // The modeller's buffers: names of 31 bytes and comments of 1023 pass whole, longer are refused.
      {"export x.glb -q -o shot", 0, "", {"shot.nis", "shot.script"},
       {{"x.glb", ShipGlb({{"name", name31}, {"extras", {{"comment", text1023}}}}, {{"comment", text1023}})}}},
      {"export x.glb -q -o shot", 2, "reelwright: x.glb: error: node 0 \"" + name31 + "N\": its name is 32 bytes long" +
       limits + "names hold at most 31\n", {}, {{"x.glb", ShipGlb({{"name", name31 + "N"}})}}},
      {"export x.glb -q -o shot", 2, "reelwright: x.glb: error: node 0 \"\\xD0\\x9A\\xD0\\xBE\\xD1\\x80" +
       std::string(26, 'a') + "\": its name is 32 bytes long" + limits + "names hold at most 31\n", {},
       {{"x.glb", ShipGlb({{"name", cyrillic32}})}}},
      {"export x.glb -q -o shot", 2, "reelwright: x.glb: error: node 0 \"Ship\": its properties make a comment of 1024 "
       "bytes" + limits + "comments hold at most 1023\n", {},
       {{"x.glb", ShipGlb({{"name", "Ship"}, {"extras", {{"comment", text1023 + "c"}}}})}}},
      {"export x.glb -q -o shot", 2, "reelwright: x.glb: error: scene 0: its properties and the asset's make a model "
       "comment of 1025 bytes" + limits + "comments hold at most 1023\n", {},
       {{"x.glb", ShipGlb({{"name", "Ship"}}, {{"comment", text1023.substr(9)}}, {{"comment", "OPT_FPS=24"}})}}},
      // A Key=Value line with a line break would set options of its own; free text may span lines.
      {"export x.glb -q -o shot", 2, "reelwright: x.glb: error: node 0 \"Ship\": property \"Note\" holds a line break "
       "in its value; only \"comment\" may span lines\n", {},
       {{"x.glb", ShipGlb({{"name", "Ship"}, {"extras", {{"Note", "x\nSob Type=Mothership"}}}})}}},
      {"export x.glb -q -o shot", 0, "", {"shot.nis", "shot.script"},
       {{"x.glb", ShipGlb({{"name", "Ship"}, {"extras", {{"comment", "two\r\nlines"}}}})}}},
      // Scenes past the file's 4 GiB are refused before their keys are copied or their paths built.
      {"export x.glb -o shot", 2, "reelwright: x.glb: error: the scene's keys and names alone need more than the "
       "4294967303 bytes a NIS file can hold\n", {}, {{"x.glb", SharedKeysGlb()}}},
      {"export x.gltf -o shot", 2, "reelwright: x.gltf: error: the scene's keys and names alone need more than the "
       "4294967303 bytes a NIS file can hold\n", {}, {{"x.gltf", ChainGltf()}}},
      // A buffer file is read only when it is a regular file of exactly its byteLength.
      {"export x.gltf -o shot", 2, "reelwright: x.gltf: error: File read error : ./buffer.bin : is not a plain file\n",
       {}, {{"x.gltf", BufferFileGltf(8)}, {"buffer.bin", kNamedPipe}}},
      {"export x.gltf -o shot", 2, "reelwright: x.gltf: error: File read error : ./buffer.bin : holds 9 bytes, but its "
       "buffer's byteLength is 8\n", {}, {{"x.gltf", BufferFileGltf(8)}, {"buffer.bin", std::string(9, 'b')}}},
      {"export scene.glb -q -o shot", 0, "", {"shot.nis", "shot.script"}},
      {"export scene.glb --animation Walk -o shot", 2,
       "reelwright: scene.glb: error: no animation is named \"Walk\" (the file has \"Take\")\n", {}},
      {"export scene.glb --animation", 2, "reelwright: error: --animation needs an animation name\n" + seeHelp, {}},
      {"export scene.ms3d --animation Take", 2, "reelwright: error: --animation is for glTF scenes\n" + seeHelp, {}},
      {"export ext.gltf -o shot", 2, "reelwright: ext.gltf: error: File not found : missing.bin\n", {}},
      {"export bad.GLTF -o shot", 2, "...reelwright: bad.GLTF: error: ", {}},  // any case: read as glTF
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.args);
    test::ScratchDir scratch;
    GltfBuilder scene;
    scene.Channel(scene.Node({{"name", "Ship"}}), "translation", {1, 2}, {0, 0, 0, 1, 0, 0});
    test::WriteFileBytes(scratch.Path("scene.glb"), scene.Glb());
    test::WriteFileBytes(scratch.Path("scene.ms3d"), WriteMs3d(FleetMs3d()));
    GltfBuilder external;
    external.doc["buffers"] = {{{"byteLength", 8}, {"uri", "missing.bin"}}};
    test::WriteFileBytes(scratch.Path("ext.gltf"), external.Gltf());
    test::WriteFileBytes(scratch.Path("bad.GLTF"), "{\"asset\": ");
    for (const auto& [name, bytes] : c.files) {
      if (bytes == kNamedPipe) {
        ASSERT_EQ(mkfifo(scratch.Path(name).c_str(), 0600), 0);
      } else {
        test::WriteFileBytes(scratch.Path(name), bytes);
      }
    }
    const size_t inputs = 4 + c.files.size();

    const Outcome run = Reelwright(scratch.dir(), c.args);
    EXPECT_EQ(run.code, c.code);
    if (c.err.rfind("...", 0) == 0) {
      EXPECT_EQ(run.err.rfind(c.err.substr(3), 0), 0u) << run.err;
      EXPECT_EQ(run.err.find('\n'), run.err.size() - 1) << run.err;  // one line
    } else {
      EXPECT_EQ(run.err, c.err);
    }
    size_t files = 0;
    for ([[maybe_unused]] const auto& entry : std::filesystem::directory_iterator(scratch.dir())) ++files;
    EXPECT_EQ(files, inputs + c.written.size());
    for (const std::string& name : c.written) EXPECT_TRUE(test::FileExists(scratch.Path(name))) << name;
  }
}

// --- Cross-check with assimp's glTF conversions of the sample models ---

Matrix Product(const Matrix& a, const Matrix& b) {
  Matrix m{};
  for (int r = 0; r < 3; ++r)
    for (int c = 0; c < 3; ++c)
      for (int k = 0; k < 3; ++k) m[r][c] += a[r][k] * b[k][c];
  return m;
}
double Distance(const Matrix& a, const Matrix& b) {
  double most = 0;
  for (int r = 0; r < 3; ++r)
    for (int c = 0; c < 3; ++c) most = std::max(most, std::fabs(a[r][c] - b[r][c]));
  return most;
}

struct SampleCase {
  const char* file;
  float fileFps;       // the .ms3d's own rate, at which its key times become frames
  const char* reason;  // why assimp cannot convert it, or null
};

void PrintTo(const SampleCase& c, std::ostream* out) { *out << c.file; }

const SampleCase kSamples[] = {
    {"hog", 24, nullptr},
    {"model", 24, nullptr},
    {"ninja", 25, nullptr},
    {"bonesgroup", 24, "assimp 5.2 crashes (segmentation fault) reading it"},
    {"mrbox", 24, "assimp 5.2 refuses it: \"Failure reading comment, length field is out of range\""},
    {"skeleton", 24, "assimp 5.2 refuses it: \"Didn't get any group records, file is malformed\""},
};

// assimp puts the joints under two nodes of its own, "<MS3DRoot>" (the mesh; keyless at the top, so
// the export drops it) and "<MS3DJointRoot>" (keyless under it: exported without keys). Their names
// are taken out of the glTF export's paths, and the second's records are left out of the count.
const std::string kWrapper = "<MS3DRoot>|<MS3DJointRoot>";

std::string WithoutWrapper(std::string name) {
  const size_t at = name.find(kWrapper + "|");
  return at == std::string::npos ? name : name.erase(at, kWrapper.size() + 1);
}

class AssimpCrossCheck : public ::testing::TestWithParam<SampleCase> {};

// The NIS from assimp's glTF against the NIS from the .ms3d: names, counts and order exactly;
// key times and translations within 1e-5 (relative; both pass through 32-bit floats once more);
// rotations compared as matrices within 1e-5 per element, since near Y = +-90 degrees very
// different Euler angles are one rotation. MilkShape poses a joint by the matrix product
// rest rotation x key rotation, and assimp writes that product; the exporter's .ms3d curves add
// the Euler angles instead, which is the same rotation only when the two turn about one axis or
// either is zero. So the glTF curves are checked against the product, and against the .ms3d
// curves wherever the two agree.
TEST_P(AssimpCrossCheck, GltfExportMatchesTheMs3dExport) {
  const SampleCase& sample = GetParam();
  RW_SAMPLE_MODEL_OR_SKIP(ms3d, std::string(sample.file) + ".ms3d");
  if (!HaveProgram("assimp")) GTEST_SKIP() << "assimp is not installed (scripts/setup-debian.sh installs assimp-utils)";
  test::ScratchDir scratch;
  const Outcome converted = RunIn(scratch.dir(), "assimp export '" + ms3d + "' model.gltf -fgltf2 >/dev/null");
  if (sample.reason) {
    EXPECT_NE(converted.code, 0) << "assimp converts it now: compare it";
    GTEST_SKIP() << sample.reason;
  }
  ASSERT_EQ(converted.code, 0) << converted.err;
  ASSERT_EQ(Reelwright(scratch.dir(), "export '" + ms3d + "' -q -o ms3d.nis").code, 0);
  const Outcome gltfRun = Reelwright(scratch.dir(), "export model.gltf -q -o gltf.nis");
  ASSERT_EQ(gltfRun.code, 0) << gltfRun.err;

  NisDocument a, b;
  std::string error;
  ASSERT_TRUE(ReadNisFile(scratch.Path("ms3d.nis"), a, error)) << error;
  ASSERT_TRUE(ReadNisFile(scratch.Path("gltf.nis"), b, error)) << error;
  const auto isWrapper = [](const std::string& name) { return name.find(kWrapper + "_") != std::string::npos; };
  b.curves.erase(std::remove_if(b.curves.begin(), b.curves.end(), [&](const NisCurve& c) { return isWrapper(c.name); }),
                 b.curves.end());
  ASSERT_EQ(b.leaders.size(), a.leaders.size() + 1);
  ASSERT_EQ(b.followers.size(), a.followers.size() + 1);
  ASSERT_EQ(b.curves.size(), a.curves.size());
  for (size_t i = 0; i < a.leaders.size(); ++i) {
    EXPECT_EQ(a.leaders[i].name, i == 0 ? b.leaders[0].name : WithoutWrapper(b.leaders[i + 1].name));
    EXPECT_EQ(a.followers[i].name, i == 0 ? b.followers[0].name : WithoutWrapper(b.followers[i + 1].name));
  }
  EXPECT_EQ(a.cameras.size(), b.cameras.size());

  const ModelPtr model = std::move(ReadMs3dFile(ms3d).model);
  ASSERT_TRUE(model);
  const double stretch = static_cast<double>(sample.fileFps) / 24;  // the scene's rate: no OPT_FPS
  size_t agreeing = 0;
  // Curves come seven to a bone, in the order of the bones; the first is the placeholder.
  for (size_t first = 1, bone = 0; first < a.curves.size(); first += 7, ++bone) {
    SCOPED_TRACE(a.curves[first].name);
    for (size_t k = first; k < first + 7; ++k) ASSERT_EQ(a.curves[k].name, WithoutWrapper(b.curves[k].name));
    msBone* joint = nullptr;  // the bone of this path: its name is the path's last part
    const std::string name = a.curves[first].name.substr(a.curves[first].name.rfind('|') + 1);
    for (int j = 0; j < msModel_GetBoneCount(model.get()) && !joint; ++j) {
      char text[64] = "";
      msBone_GetName(msModel_GetBoneAt(model.get(), j), text, sizeof text);
      if (name == std::string(text) + "_translateX") joint = msModel_GetBoneAt(model.get(), j);
    }
    ASSERT_NE(joint, nullptr);
    msVec3 rest;
    msBone_GetRotation(joint, rest);
    const Matrix restMatrix = EulerMatrix(rest[0], rest[1], rest[2]);
    const size_t keys = a.curves[first].keys.size();
    for (size_t k = first; k < first + 7; ++k) ASSERT_EQ(b.curves[k].keys.size(), keys);
    for (size_t key = 0; key < keys; ++key) {
      const auto at = [&](const NisDocument& d, size_t slot) { return d.curves[first + slot].keys[key].value; };
      EXPECT_NEAR(b.curves[first].keys[key].time * stretch, a.curves[first].keys[key].time, 1e-5);
      for (size_t slot = 0; slot < 3; ++slot)
        EXPECT_NEAR(at(b, slot), at(a, slot), 1e-5 * std::max(1.0, std::fabs(at(a, slot))));
      const msRotationKey* offset = msBone_GetRotationKeyAt(joint, static_cast<int>(key));
      const Matrix fromGltf = EulerMatrix(at(b, 3), at(b, 4), at(b, 5));
      const Matrix composed =
          Product(restMatrix, EulerMatrix(offset->Rotation[0], offset->Rotation[1], offset->Rotation[2]));
      EXPECT_LT(Distance(fromGltf, composed), 1e-5) << "key " << key;
      const Matrix fromMs3d = EulerMatrix(at(a, 3), at(a, 4), at(a, 5));
      if (Distance(fromMs3d, composed) < 1e-6) {
        ++agreeing;
        EXPECT_LT(Distance(fromGltf, fromMs3d), 1e-5) << "key " << key;
      }
    }
  }
  EXPECT_GT(agreeing, 0u);
}

std::string SampleName(const ::testing::TestParamInfo<SampleCase>& row) { return row.param.file; }

INSTANTIATE_TEST_SUITE_P(Samples, AssimpCrossCheck, ::testing::ValuesIn(kSamples), SampleName);

}  // namespace
}  // namespace rw
