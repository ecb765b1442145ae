// The glTF reader on scenes made here: each mapping rule, each sampler kind, each error, the
// Euler angles of a rotation, and every cut of a .glb.
#include <gtest/gtest.h>

#include <cmath>
#include <cstdio>
#include <functional>

#include "model/GltfReader.h"
#include "tests/gltf/GltfBuilder.h"

namespace rw {
namespace {

using test::GltfBuilder;
using json = nlohmann::json;

std::string Num(float v) {
  char text[32];
  std::snprintf(text, sizeof text, "%g", static_cast<double>(v) + 0.0);  // -0 reads 0
  return std::string(text) == "-0" ? "0" : text;
}
std::string Triple(const float* v) { return "(" + Num(v[0]) + " " + Num(v[1]) + " " + Num(v[2]) + ")"; }

template <typename Handle, typename Result>
std::string Text(Result (*get)(Handle*, char*, int), Handle* handle) {
  char text[1024] = "";
  get(handle, text, sizeof text);
  return text;
}

// One line per bone: "name<parent> rest position rest rotation | frame: position rotation ... #comment".
std::string Describe(msModel* model) {
  std::string out;
  for (int i = 0; i < msModel_GetBoneCount(model); ++i) {
    msBone* bone = msModel_GetBoneAt(model, i);
    msVec3 position, rotation;
    msBone_GetPosition(bone, position);
    msBone_GetRotation(bone, rotation);
    out += Text(msBone_GetName, bone) + "<" + Text(msBone_GetParentName, bone) + "> " + Triple(position) +
           Triple(rotation);
    EXPECT_EQ(msBone_GetPositionKeyCount(bone), msBone_GetRotationKeyCount(bone));
    for (int k = 0; k < msBone_GetPositionKeyCount(bone); ++k) {
      const msPositionKey* p = msBone_GetPositionKeyAt(bone, k);
      const msRotationKey* r = msBone_GetRotationKeyAt(bone, k);
      EXPECT_EQ(p->fTime, r->fTime);
      out += " | " + Num(p->fTime) + ": " + Triple(p->Position) + Triple(r->Rotation);
    }
    const std::string comment = Text(msBone_GetComment, bone);
    if (!comment.empty()) out += " #" + comment;
    out += "\n";
  }
  const std::string comment = Text(msModel_GetComment, model);
  return comment.empty() ? out : out + "model #" + comment + "\n";
}

std::string Messages(const GltfReadResult& read) {
  std::string out;
  for (const Diagnostic& d : read.diagnostics) out += FormatDiagnostic("s.gltf", d) + "\n";
  return out;
}

// A quaternion (x, y, z, w) of `angle` radians about one axis.
std::vector<float> Turn(char axis, double angle) {
  const auto s = static_cast<float>(std::sin(angle / 2)), c = static_cast<float>(std::cos(angle / 2));
  return {axis == 'X' ? s : 0, axis == 'Y' ? s : 0, axis == 'Z' ? s : 0, c};
}
json Quaternion(char axis, double angle) { return Turn(axis, angle); }

// Names each parameterised case, in test names and in failures, by its table row's name.
template <typename Case>
std::string CaseName(const ::testing::TestParamInfo<Case>& row) {
  return row.param.name;
}
struct MappingCase;
struct SamplerCase;
struct ErrorCase;
void PrintTo(const MappingCase& c, std::ostream* out);
void PrintTo(const SamplerCase& c, std::ostream* out);
void PrintTo(const ErrorCase& c, std::ostream* out);

// An array nested `levels` deep, with a number at the bottom.
json Nested(int levels) {
  json value = json::array({1});
  for (int i = 1; i < levels; ++i) value = json::array({value});
  return value;
}

struct MappingCase {
  const char* name;
  std::function<void(GltfBuilder&)> build;
  std::string model;     // Describe() of what was read
  std::string messages;  // the warnings
  std::string animation = "";
};

const MappingCase kMappings[] = {
    {"ParentsComeBeforeChildrenWhateverTheirIndex",
     [](GltfBuilder& g) {
       g.doc["nodes"] = {{{"name", "Ship"}}, {{"name", "Fleet"}, {"children", {0}}}, {{"name", "CAM_Main"}}};
       g.doc["scenes"][0]["nodes"] = {1, 2};
     },
     "Fleet<> (0 0 0)(0 0 0)\nShip<Fleet> (0 0 0)(0 0 0)\nCAM_Main<> (0 0 0)(0 0 0)\n", ""},
    {"NameIsKeptWholeAndAMissingOneIsMadeFromTheIndex",
     [](GltfBuilder& g) {
       const int top = g.Node({{"name", std::string(31, 'n')}});
       g.Node(json::object(), top);
     },
     std::string(31, 'n') + "<> (0 0 0)(0 0 0)\nNode1<" + std::string(31, 'n') + "> (0 0 0)(0 0 0)\n",
     "s.gltf: warning: node 1: has no name; it is called \"Node1\"\n"},
    {"RestPoseFromTranslationAndRotation",
     [](GltfBuilder& g) {
       g.Node({{"name", "Ship"}, {"translation", {10, 0, -5}}, {"rotation", Quaternion('Y', 0.5)}});
     },
     "Ship<> (10 0 -5)(0 0.5 0)\n", ""},
    {"RestPoseFromARigidMatrixColumnByColumn",
     [](GltfBuilder& g) { g.Node({{"name", "Ship"}, {"matrix", {0, 1, 0, 0, -1, 0, 0, 0, 0, 0, 1, 0, 4, 5, 6, 1}}}); },
     "Ship<> (4 5 6)(0 0 1.5708)\n", ""},
    {"RestScaleIsIgnoredWithAWarning",
     [](GltfBuilder& g) { g.Node({{"name", "Ship"}, {"translation", {1, 2, 3}}, {"scale", {2, 2, 2}}}); },
     "Ship<> (1 2 3)(0 0 0)\n",
     "s.gltf: warning: node 0 \"Ship\": its scale is ignored (only translation and rotation are exported)\n"},
    {"ExtrasBecomeCommentsInNameOrderAfterTheCommentText",
     [](GltfBuilder& g) {
       g.Node({{"name", "Ship"},
               {"extras", {{"Sob Type", "Frigate"}, {"comment", "Free text\r\n"}, {"Num Events", 2}, {"Scale", 0.5},
                           {"Hidden", true}}}});
       g.doc["asset"]["extras"] = {{"Event0", "0|fade|1"}};
       g.doc["scenes"][0]["extras"] = {{"OPT_FPS", 30.0}};
     },
     "Ship<> (0 0 0)(0 0 0) #Free text\r\nNum Events=2\nScale=0.5\nSob Type=Frigate\n"
     "model #Event0=0|fade|1\nOPT_FPS=30\n",
     "s.gltf: warning: node 0 \"Ship\": extras property \"Hidden\" is not a string or a number; it is ignored\n"},
    {"JsonNestedToTheLimit",  // root, nodes, node, extras: 4 levels, and 60 of arrays
     [](GltfBuilder& g) { g.Node({{"name", "Ship"}, {"extras", {{"deep", Nested(60)}}}}); }, "Ship<> (0 0 0)(0 0 0)\n",
     "s.gltf: warning: node 0 \"Ship\": extras property \"deep\" is not a string or a number; it is ignored\n"},
    {"KeysAreOffsetsFromTheRestPoseAtTheUnionOfChannelTimes",
     [](GltfBuilder& g) {
       const int ship = g.Node({{"name", "Ship"}, {"translation", {10, 0, 0}}, {"rotation", Quaternion('Y', 0.5)}});
       g.Channel(ship, "translation", {1 / 24.f, 2}, {10, 0, 0, 12, 2, 0});
       g.Channel(ship, "rotation", {1, 2}, {0, 0, 0, 1, 0, 0, 0, 1});
     },
     "Ship<> (10 0 0)(0 0.5 0) | 1: (0 0 0)(0 -0.5 0) | 24: (0.978723 0.978723 0)(0 -0.5 0) | 48: (2 2 0)(0 -0.5 0)\n",
     ""},
    {"ANodeWithoutChannelsHasNoKeys",
     [](GltfBuilder& g) {
       g.Node({{"name", "Still"}});
       g.Channel(g.Node({{"name", "Moving"}}), "rotation", {1}, Turn('X', 1));
     },
     "Still<> (0 0 0)(0 0 0)\nMoving<> (0 0 0)(0 0 0) | 24: (0 0 0)(1 0 0)\n", ""},
    {"ScaleThatStaysOneIsSilentAnyOtherWarns",
     [](GltfBuilder& g) {
       g.Channel(g.Node({{"name", "A"}}), "scale", {1, 2}, {1, 1, 1, 1, 1, 1});
       g.Channel(g.Node({{"name", "B"}}), "scale", {1, 2}, {1, 1, 1, 1, 3, 1});
     },
     "A<> (0 0 0)(0 0 0)\nB<> (0 0 0)(0 0 0)\n",
     "s.gltf: warning: node 1 \"B\": its scale animation is ignored (only translation and rotation are exported)\n"},
    {"TheFirstOfSeveralAnimationsWithAWarning",
     [](GltfBuilder& g) {
       const int ship = g.Node({{"name", "Ship"}});
       g.Channel(ship, "translation", {1}, {1, 0, 0});
       g.Animation("Second");
       g.Channel(ship, "translation", {2}, {2, 0, 0});
     },
     "Ship<> (0 0 0)(0 0 0) | 24: (1 0 0)(0 0 0)\n",
     "s.gltf: warning: the file has 2 animations; the first, \"Take\", is read\n"},
    {"AnAnimationChosenByName",
     [](GltfBuilder& g) {
       const int ship = g.Node({{"name", "Ship"}});
       g.Channel(ship, "translation", {1}, {1, 0, 0});
       g.Animation("Second");
       g.Channel(ship, "translation", {2}, {2, 0, 0});
     },
     "Ship<> (0 0 0)(0 0 0) | 48: (2 0 0)(0 0 0)\n", "", "Second"},
    {"KeyTimesBecomeFramesAtTheCommentsRate",
     [](GltfBuilder& g) {
       g.doc["scenes"][0]["extras"] = {{"fps", 30}};
       g.Channel(g.Node({{"name", "Ship"}}), "translation", {1 / 30.f, 0.5f}, {0, 0, 0, 1, 0, 0});
     },
     "Ship<> (0 0 0)(0 0 0) | 1: (0 0 0)(0 0 0) | 15: (1 0 0)(0 0 0)\nmodel #fps=30\n", ""},
};

void PrintTo(const MappingCase& c, std::ostream* out) { *out << c.name; }

class GltfMapping : public ::testing::TestWithParam<MappingCase> {};

TEST_P(GltfMapping, ReadsTheSceneIntoTheModel) {
  GltfBuilder g;
  GetParam().build(g);
  GltfReadOptions options;
  options.animation = GetParam().animation;
  // The test's own rate rule: the number behind "fps=", 24 without one.
  options.framesPerSecond = [](const std::string& comment) {
    const size_t at = comment.find("fps=");
    return at == std::string::npos ? 24 : std::atoi(comment.c_str() + at + 4);
  };
  for (const std::string& bytes : {g.Gltf(), g.Glb()}) {
    const GltfReadResult read = ReadGltf(bytes, options);
    ASSERT_TRUE(read.ok()) << Messages(read);
    EXPECT_EQ(Describe(read.model.get()), GetParam().model);
    EXPECT_EQ(Messages(read), GetParam().messages);
  }
}

INSTANTIATE_TEST_SUITE_P(Rules, GltfMapping, ::testing::ValuesIn(kMappings), CaseName<MappingCase>);

// Each sampler kind on a translation from x 0 (at 1 s) to x 10 (at 2 s), with a rotation key at
// 1.5 s that asks for a value between the two.
struct SamplerCase {
  const char* name;
  const char* interpolation;
  std::vector<float> values;
  std::string keys;
};

const SamplerCase kSamplers[] = {
    {"LinearInterpolatesBetweenKeys", "LINEAR", {0, 0, 0, 10, 0, 0}, "24: (0 0 0) | 36: (5 0 0) | 48: (10 0 0)"},
    {"StepHoldsUntilTheFrameBeforeTheNextKey", "STEP", {0, 0, 0, 10, 0, 0},
     "24: (0 0 0) | 36: (0 0 0) | 47: (0 0 0) | 48: (10 0 0)"},
    {"CubicSplineUsesTheTangentsBetweenKeysAndTheValuesAtThem", "CUBICSPLINE",
     {9, 9, 9, 0, 0, 0, 8, 0, 0, -8, 0, 0, 10, 0, 0, 9, 9, 9}, "24: (0 0 0) | 36: (7 0 0) | 48: (10 0 0)"},
};

void PrintTo(const SamplerCase& c, std::ostream* out) { *out << c.name; }

class GltfSampler : public ::testing::TestWithParam<SamplerCase> {};

TEST_P(GltfSampler, GivesKeysAtEveryTimeOfTheNode) {
  GltfBuilder g;
  const int ship = g.Node({{"name", "Ship"}});
  g.Channel(ship, "translation", {1, 2}, GetParam().values, GetParam().interpolation);
  g.Channel(ship, "rotation", {1.5}, {0, 0, 0, 1});
  const GltfReadResult read = ReadGltf(g.Gltf());
  ASSERT_TRUE(read.ok()) << Messages(read);
  std::string keys;
  msBone* bone = msModel_GetBoneAt(read.model.get(), 0);
  for (int k = 0; k < msBone_GetPositionKeyCount(bone); ++k)
    keys += (k ? " | " : "") + Num(msBone_GetPositionKeyAt(bone, k)->fTime) + ": " +
            Triple(msBone_GetPositionKeyAt(bone, k)->Position);
  EXPECT_EQ(keys, GetParam().keys);
}

INSTANTIATE_TEST_SUITE_P(Kinds, GltfSampler, ::testing::ValuesIn(kSamplers), CaseName<SamplerCase>);

TEST(GltfRotation, SlerpAndSplineTurnTheShortWayAndKeepAngles) {
  GltfBuilder g;
  const int ship = g.Node({{"name", "Ship"}});
  std::vector<float> turns = Turn('Y', 0.2);
  const std::vector<float> end = Turn('Y', 1.0);
  for (float& v : turns) v = -v;  // the same rotation, other sign: still the short way
  turns.insert(turns.end(), end.begin(), end.end());
  g.Channel(ship, "rotation", {1, 2}, turns);
  g.Channel(ship, "translation", {1.5}, {0, 0, 0});
  const GltfReadResult read = ReadGltf(g.Gltf());
  ASSERT_TRUE(read.ok()) << Messages(read);
  EXPECT_EQ(Describe(read.model.get()),
            "Ship<> (0 0 0)(0 0 0) | 24: (0 0 0)(0 0.2 0) | 36: (0 0 0)(0 0.6 0) | 48: (0 0 0)(0 1 0)\n");
}

// Euler angles (X, then Y, then Z about the parent's axes) survive the trip through a quaternion
// made as qz * qy * qx, including near the pole of Y, and come out nearest the angles asked for.
TEST(GltfRotation, EulerAnglesRoundTripThroughQuaternions) {
  const struct {
    double x, y, z;
  } kAngles[] = {{0.3, 0.2, 0.5},    {-1.2, 0.7, 2.9}, {0.1, 1.5697, -0.4},
                 {3.0, -1.1, -3.0}, {0, 0, 0},        {7.0, 0.1, -6.5}};
  for (const auto& a : kAngles) {
    SCOPED_TRACE(testing::Message() << a.x << " " << a.y << " " << a.z);
    const double cx = std::cos(a.x / 2), sx = std::sin(a.x / 2), cy = std::cos(a.y / 2), sy = std::sin(a.y / 2);
    const double cz = std::cos(a.z / 2), sz = std::sin(a.z / 2);
    const double q[4] = {sx * cy * cz - cx * sy * sz, cx * sy * cz + sx * cy * sz, cx * cy * sz - sx * sy * cz,
                         cx * cy * cz + sx * sy * sz};
    const double near[3] = {a.x, a.y, a.z};
    double euler[3];
    QuaternionToEuler(q, near, euler);
    EXPECT_NEAR(euler[0], a.x, 1e-6);
    EXPECT_NEAR(euler[1], a.y, 1e-6);
    EXPECT_NEAR(euler[2], a.z, 1e-6);
  }
}

// Bad scenes: the one error, as the command line shows it.
struct ErrorCase {
  const char* name;
  std::function<void(GltfBuilder&)> build;
  std::string error;
};

const ErrorCase kErrors[] = {
    {"NoScene", [](GltfBuilder& g) { g.doc.erase("scenes"), g.doc.erase("scene"); },
     "s.gltf: error: the file has no scene"},
    {"DefaultSceneEqualToTheCount", [](GltfBuilder& g) { g.doc["scene"] = 1; },
     "s.gltf: error: the default scene 1 does not exist (the file has 1 scenes)"},
    {"SceneNodeEqualToTheCount", [](GltfBuilder& g) { g.doc["scenes"][0]["nodes"].push_back(1); },
     "s.gltf: error: scene 0: names node 1, but the file has 1 nodes"},
    {"NodeInTwoPlaces", [](GltfBuilder& g) { g.doc["nodes"][0]["children"] = {0}; },
     "s.gltf: error: node 0 \"Ship\": names node 0 \"Ship\" a second time; a node has one place in the scene"},
    {"MatrixThatScales",
     [](GltfBuilder& g) { g.doc["nodes"][0]["matrix"] = {2, 0, 0, 0, 0, 2, 0, 0, 0, 0, 2, 0, 0, 0, 0, 1}; },
     "s.gltf: error: node 0 \"Ship\": its matrix is not rigid (it scales, shears, mirrors or projects)"},
    {"MatrixThatMirrors",
     [](GltfBuilder& g) { g.doc["nodes"][0]["matrix"] = {-1, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1}; },
     "s.gltf: error: node 0 \"Ship\": its matrix is not rigid (it scales, shears, mirrors or projects)"},
    {"ZeroRotation", [](GltfBuilder& g) { g.doc["nodes"][0]["rotation"] = {0, 0, 0, 0}; },
     "s.gltf: error: node 0 \"Ship\": its rotation is not a unit quaternion"},
    {"NotJson", [](GltfBuilder& g) { g.doc = "text", g.bin.clear(); },
     "s.gltf: error: Root element is not a JSON object"},
    {"JsonNestedOneLevelTooDeep", [](GltfBuilder& g) { g.doc["nodes"][0]["extras"] = {{"deep", Nested(61)}}; },
     "s.gltf: error: the JSON nests deeper than 64 levels"},
    {"ExternalBufferFromMemory",
     [](GltfBuilder& g) { g.bin.clear(), g.doc["buffers"] = {{{"byteLength", 4}, {"uri", "b.bin"}}}; },
     "s.gltf: error: File not found : b.bin"},
    {"UnknownAnimationName", [](GltfBuilder&) {},
     "s.gltf: error: no animation is named \"Walk\" (the file has \"Take\")"},
    {"UnknownInterpolation", [](GltfBuilder& g) { g.doc["animations"][0]["samplers"][0]["interpolation"] = "SMOOTH"; },
     "s.gltf: error: animation \"Take\" channel 0: has the unknown interpolation \"SMOOTH\""},
    {"TimesNotIncreasing", [](GltfBuilder& g) { std::memcpy(&g.bin[4], &g.bin[0], 4); },
     "s.gltf: error: animation \"Take\" channel 0: key time 1 is not after the one before it"},
    {"FewerValuesThanTimes", [](GltfBuilder& g) { g.doc["accessors"][1]["count"] = 1; },
     "s.gltf: error: animation \"Take\" channel 0 values, accessor 1: has 1 values, 2 are needed"},
    {"AccessorOneBytePastItsView", [](GltfBuilder& g) { g.doc["accessors"][1]["byteOffset"] = 1; },
     "s.gltf: error: animation \"Take\" channel 0 values, accessor 1: reaches past the end of its buffer view "
     "(24 bytes)"},
    {"ValuesOfTheWrongKind", [](GltfBuilder& g) { g.doc["accessors"][1]["type"] = "VEC2"; },
     "s.gltf: error: animation \"Take\" channel 0 values, accessor 1: holds the wrong kind of value "
     "(3 numbers each are needed)"},
    {"ChannelNodeEqualToTheCount", [](GltfBuilder& g) { g.doc["animations"][0]["channels"][0]["target"]["node"] = 1; },
     "s.gltf: error: animation \"Take\" channel 0: targets node 1, but the file has 1 nodes"},
    {"ValueNotFinite", [](GltfBuilder& g) { std::memcpy(&g.bin[8], "\x00\x00\xC0\x7F", 4); },
     "s.gltf: error: animation \"Take\" channel 0 values, accessor 1: value 0 is not a finite number"},
};

void PrintTo(const ErrorCase& c, std::ostream* out) { *out << c.name; }

class GltfError : public ::testing::TestWithParam<ErrorCase> {};

TEST_P(GltfError, StopsTheReadWithOneLine) {
  GltfBuilder g;
  g.Channel(g.Node({{"name", "Ship"}}), "translation", {1, 2}, {0, 0, 0, 1, 0, 0});
  GetParam().build(g);
  GltfReadOptions options;
  if (std::string(GetParam().name) == "UnknownAnimationName") options.animation = "Walk";
  const GltfReadResult read = ReadGltf(g.Gltf(), options);
  EXPECT_FALSE(read.ok());
  ASSERT_NE(read.error(), nullptr);
  EXPECT_EQ(FormatDiagnostic("s.gltf", *read.error()), GetParam().error);
}

INSTANTIATE_TEST_SUITE_P(Scenes, GltfError, ::testing::ValuesIn(kErrors), CaseName<ErrorCase>);

// Every cut of a .glb is refused with one line; the whole file reads.
TEST(GltfTruncation, EveryCutOfAGlbIsOneError) {
  GltfBuilder g;
  const int fleet = g.Node({{"name", "Fleet"}, {"extras", {{"Sob Type", "Frigate"}}}});
  g.Channel(g.Node({{"name", "Ship"}}, fleet), "rotation", {1, 2}, {0, 0, 0, 1, 0, 1, 0, 0}, "STEP");
  const std::string glb = g.Glb();
  ASSERT_TRUE(ReadGltf(glb).ok());
  for (size_t size = 0; size < glb.size(); ++size) {
    const GltfReadResult read = ReadGltf(glb.substr(0, size));
    ASSERT_FALSE(read.ok()) << size;
    ASSERT_NE(read.error(), nullptr) << size;
    EXPECT_EQ(read.error()->what.find('\n'), std::string::npos) << size;
  }
}

}  // namespace
}  // namespace rw
