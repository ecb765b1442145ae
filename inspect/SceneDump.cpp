#include "inspect/SceneDump.h"

#include <charconv>
#include <cmath>
#include <unordered_map>

#include "inspect/ImportNames.h"

namespace rw {
namespace {

// Decimals kept in `dump --frames`: a tenth of a millimetre for a metre, and a quaternion part
// to a millionth (about 0.0001 degrees).
constexpr int kPositionDecimals = 4, kRotationDecimals = 6;

const char* UnitName(SceneTimeUnit unit) { return unit == SceneTimeUnit::kFrames ? "frames" : "seconds"; }

// "XYZ": the axes in the order they turn.
std::string TurnOrderText(const SceneSlots& slots) {
  std::string text;
  for (int axis : slots.order) text += char('X' + axis);
  return text;
}

void Index(JsonWriter& json, const char* key, size_t index) {
  json.Key(key);
  if (index == kNoIndex)
    json.Null();
  else
    json.Integer(int64_t(index));
}

void CurveName(JsonWriter& json, const char* key, const NisCurve* curve) {
  json.Key(key);
  if (curve)
    json.String(curve->name);
  else
    json.Null();
}

void Slots(JsonWriter& json, const SceneSlots& slots) {
  json.Key("slots");
  json.BeginArray(true);
  for (SlotUse use : slots.uses) json.String(SlotUseName(use));
  json.EndArray();
  json.Key("turnOrder");
  json.String(TurnOrderText(slots));
}

void Motion(JsonWriter& json, const SceneMotionPath& motion) {
  json.BeginObject(true);
  json.Key("name");
  json.String(motion.name);
  json.Key("usable");
  json.Bool(motion.usable);
  json.Key("turns");
  json.Bool(motion.turns);
  CurveName(json, "uValueCurve", motion.uValue);
  CurveName(json, "frontTwistCurve", motion.frontTwist);
  json.Key("frontAxis");
  json.Integer(motion.frontAxis);
  json.Key("upAxis");
  json.Integer(motion.upAxis);
  json.Key("arcLength");
  json.Number(motion.lengths.empty() ? 0 : motion.lengths.back());
  json.EndObject();
}

// A number with at most `decimals` decimals, trailing zeros dropped; null when not finite.
void AppendFixed(std::string& line, double value, int decimals) {
  if (!std::isfinite(value)) {
    line += "null";
    return;
  }
  char text[400];
  auto result = std::to_chars(text, text + sizeof text, value, std::chars_format::fixed, decimals);
  if (result.ec != std::errc()) {
    line += "null";
    return;
  }
  char* end = result.ptr;
  while (end[-1] == '0') --end;
  if (end[-1] == '.') --end;
  std::string number(text, end);
  line += number == "-0" ? "0" : number;
}

}  // namespace

void WriteSceneSection(const SceneReading& scene, JsonWriter& json) {
  const std::vector<ImportedNode> nodes = ImportNodes(scene);
  const std::vector<size_t> nodeOf = FollowerNodes(nodes, scene.followers.size());
  auto importName = [&](size_t follower) {
    json.Key("importName");
    if (follower == kNoIndex || nodeOf[follower] == kNoIndex)
      json.Null();
    else
      json.String(nodes[nodeOf[follower]].name);
  };
  json.Key("scene");
  json.BeginObject();
  json.Key("fps");
  json.Number(scene.fps);
  json.Key("infoUnit");
  json.String(UnitName(scene.infoUnit));
  json.Key("infoStart");
  json.Number(scene.infoStart);
  json.Key("infoEnd");
  json.Number(scene.infoEnd);
  json.Key("lastKeyTime");
  json.Number(scene.lastKeyTime);
  json.Key("start");
  json.Number(scene.start);
  json.Key("end");
  json.Number(scene.end);
  json.Key("firstFrame");
  json.Integer(scene.firstFrame);
  json.Key("lastFrame");
  json.Integer(scene.lastFrame);
  json.Key("paths");
  json.BeginArray();
  for (const SceneMotionPath& motion : scene.paths) Motion(json, motion);
  json.EndArray();
  json.Key("leaders");
  json.BeginArray();
  for (const SceneLeader& leader : scene.leaders) {
    json.BeginObject(true);
    json.Key("name");
    json.String(leader.name);
    Slots(json, leader.slots);
    json.Key("onPath");
    json.Bool(leader.onPath);
    Index(json, "path", leader.path);
    json.EndObject();
  }
  json.EndArray();
  json.Key("followers");
  json.BeginArray();
  for (const SceneFollower& follower : scene.followers) {
    json.BeginObject(true);
    json.Key("name");
    json.String(follower.name);
    json.Key("namePath");
    json.String(follower.namePath);
    json.Key("kind");
    json.String(SceneKindName(follower.kind));
    Index(json, "leader", follower.leader);
    Index(json, "parent", follower.parent);
    Index(json, "aimAt", follower.aimAt);
    Index(json, "camera", follower.camera);
    if (!follower.keys) Slots(json, follower.own);
    importName(&follower - scene.followers.data());
    json.EndObject();
  }
  json.EndArray();
  json.Key("importNodes");
  json.BeginArray();
  for (const ImportedNode& node : nodes) {
    json.BeginObject(true);
    json.Key("name");
    json.String(node.name);
    Index(json, "parent", node.parent);
    Index(json, "follower", node.follower);
    json.Key("camera");
    json.Bool(node.camera);
    json.EndObject();
  }
  json.EndArray();
  json.Key("cameras");
  json.BeginArray();
  for (const SceneCamera& camera : scene.cameras) {
    json.BeginObject(true);
    json.Key("name");
    json.String(camera.name);
    Index(json, "follower", camera.follower);
    Index(json, "centerOfInterest", camera.centerOfInterest);
    CurveName(json, "focalLengthCurve", camera.focalLength);
    importName(camera.follower);
    json.EndObject();
  }
  json.EndArray();
  json.Key("notes");
  json.BeginArray();
  for (const std::string& note : scene.notes) json.String(note);
  json.EndArray();
  json.EndObject();
}

bool WriteFramesJson(const SceneReading& scene, const std::vector<std::string>& names, std::ostream& out,
                     std::string& unknown) {
  std::vector<size_t> chosen;
  if (names.empty()) {
    for (size_t i = 0; i < scene.followers.size(); ++i) chosen.push_back(i);
  } else {
    std::unordered_map<std::string, size_t> byName;
    for (size_t i = 0; i < scene.followers.size(); ++i) byName.emplace(scene.followers[i].name, i);
    for (const std::string& name : names) {
      auto found = byName.find(name);
      if (found == byName.end()) {
        unknown = name;
        return false;
      }
      chosen.push_back(found->second);
    }
  }
  out << "{\"format\": \"reelwright-frames\", \"version\": 1, \"fps\": " << FormatDouble(scene.fps)
      << ", \"firstFrame\": " << scene.firstFrame << ", \"lastFrame\": " << scene.lastFrame << ",\n \"followers\": [";
  for (size_t i = 0; i < chosen.size(); ++i) out << (i ? ", " : "") << JsonString(scene.followers[chosen[i]].name);
  out << "],\n \"frames\": [\n";
  SceneEvaluator evaluator(scene);
  // Each quaternion takes the sign nearest the previous frame's, so that consumers can blend
  // between frames without a flip.
  std::vector<std::array<double, 4>> previous(chosen.size(), {0, 0, 0, 1});
  std::string line;
  for (int64_t frame = scene.firstFrame; frame <= scene.lastFrame; ++frame) {
    double time = double(frame) / scene.fps;
    evaluator.SetTime(time);
    line = "  {\"frame\": " + std::to_string(frame) + ", \"time\": " + FormatDouble(time) + ", \"at\": [";
    for (size_t i = 0; i < chosen.size(); ++i) {
      const ScenePose& pose = evaluator.World(chosen[i]);
      std::array<double, 4> q = PoseQuaternion(pose);
      double dot = q[0] * previous[i][0] + q[1] * previous[i][1] + q[2] * previous[i][2] + q[3] * previous[i][3];
      if (dot < 0)
        for (double& x : q) x = -x;
      previous[i] = q;
      line += i ? ", [" : "[";
      for (int k = 0; k < 3; ++k) {
        AppendFixed(line, pose.translation[k], kPositionDecimals);
        line += ", ";
      }
      for (int k = 0; k < 4; ++k) {
        AppendFixed(line, q[k], kRotationDecimals);
        line += k < 3 ? ", " : "]";
      }
    }
    line += frame < scene.lastFrame ? "]},\n" : "]}\n";
    out << line;
  }
  out << " ]}\n";
  return true;
}

}  // namespace rw
