#include "model/GltfReader.h"

#include <tiny_gltf.h>

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstring>
#include <map>

#include "host/HostBuffers.h"
#include "io/Diagnostic.h"
#include "io/FileBytes.h"
#include "model/MemoryModel.h"

namespace rw {
namespace {

constexpr double kPi = 3.14159265358979323846;
constexpr double kTurn = 2 * kPi;
constexpr char kGlbMagic[] = "glTF";
constexpr size_t kGlbMagicSize = 4;
// Below this, cos(Y) counts as 0: X and Z then turn about the same axis and Z is taken as 0.
constexpr double kGimbalLimit = 1e-9;
// The one property kept as free text; every other becomes one Key=Value line.
constexpr char kFreeTextProperty[] = "comment";

struct Vec3d {
  double x = 0, y = 0, z = 0;
};
struct Quat {
  double x = 0, y = 0, z = 0, w = 1;
};

std::string Num(uint64_t value) { return std::to_string(value); }

bool HasLineBreak(const std::string& text) { return text.find_first_of("\r\n") != std::string::npos; }

// Number text for a comment: whole numbers without a point, others with up to 15 digits.
std::string NumberText(double value) {
  char text[64];
  if (std::isfinite(value) && value == std::floor(value) && std::fabs(value) < 1e15)
    std::snprintf(text, sizeof text, "%.0f", value);
  else
    std::snprintf(text, sizeof text, "%.15g", value);
  return text;
}

// The rotation matrix (column vectors: v' = R v) of a unit quaternion.
void QuaternionToMatrix(const Quat& q, double r[3][3]) {
  const double xx = q.x * q.x, yy = q.y * q.y, zz = q.z * q.z;
  const double xy = q.x * q.y, xz = q.x * q.z, yz = q.y * q.z;
  const double wx = q.w * q.x, wy = q.w * q.y, wz = q.w * q.z;
  r[0][0] = 1 - 2 * (yy + zz), r[0][1] = 2 * (xy - wz), r[0][2] = 2 * (xz + wy);
  r[1][0] = 2 * (xy + wz), r[1][1] = 1 - 2 * (xx + zz), r[1][2] = 2 * (yz - wx);
  r[2][0] = 2 * (xz - wy), r[2][1] = 2 * (yz + wx), r[2][2] = 1 - 2 * (xx + yy);
}

// `angle` moved by whole turns to lie within half a turn of `near`.
double Unwrap(double angle, double near) { return angle + kTurn * std::round((near - angle) / kTurn); }

// Euler angles of R = Rz(c) * Ry(b) * Rx(a). Of the two solutions, (a, b, c) and
// (a + pi, pi - b, c + pi), each unwrapped toward `near`, the one closer to it wins, so a run of
// keys turns the short way and a still bone keeps offsets of 0.
void MatrixToEuler(const double r[3][3], const double near[3], double euler[3]) {
  const double cosY = std::hypot(r[0][0], r[1][0]);
  double a, b, c;
  b = std::atan2(-r[2][0], cosY);
  if (cosY > kGimbalLimit) {
    a = std::atan2(r[2][1], r[2][2]);
    c = std::atan2(r[1][0], r[0][0]);
  } else {
    a = std::atan2(-r[1][2], r[1][1]);
    c = 0;
  }
  const double first[3] = {Unwrap(a, near[0]), Unwrap(b, near[1]), Unwrap(c, near[2])};
  const double second[3] = {Unwrap(a + kPi, near[0]), Unwrap(kPi - b, near[1]), Unwrap(c + kPi, near[2])};
  double firstDistance = 0, secondDistance = 0;
  for (int i = 0; i < 3; ++i) {
    firstDistance += std::fabs(first[i] - near[i]);
    secondDistance += std::fabs(second[i] - near[i]);
  }
  const double* best = secondDistance < firstDistance ? second : first;
  for (int i = 0; i < 3; ++i) euler[i] = best[i];
}

bool Normalize(Quat& q) {
  const double length = std::sqrt(q.x * q.x + q.y * q.y + q.z * q.z + q.w * q.w);
  if (!(length > 0) || !std::isfinite(length)) return false;
  q.x /= length, q.y /= length, q.z /= length, q.w /= length;
  return true;
}

Quat Slerp(Quat a, const Quat& b, double s) {
  double dot = a.x * b.x + a.y * b.y + a.z * b.z + a.w * b.w;
  if (dot < 0) {  // the short way round
    a = {-a.x, -a.y, -a.z, -a.w};
    dot = -dot;
  }
  double wa = 1 - s, wb = s;
  if (dot < 0.9999) {
    const double angle = std::acos(dot);
    wa = std::sin((1 - s) * angle) / std::sin(angle);
    wb = std::sin(s * angle) / std::sin(angle);
  }
  Quat q{wa * a.x + wb * b.x, wa * a.y + wb * b.y, wa * a.z + wb * b.z, wa * a.w + wb * b.w};
  Normalize(q);
  return q;
}

enum class Interpolation { kStep, kLinear, kCubicSpline };

// One sampler's keys: times in seconds and `width` numbers per value. A cubic spline holds
// three values per key: in-tangent, value, out-tangent.
struct Curve {
  Interpolation interpolation = Interpolation::kLinear;
  int width = 3;
  std::vector<double> times;
  std::vector<double> values;

  size_t Stride() const { return interpolation == Interpolation::kCubicSpline ? 3 : 1; }
  const double* Value(size_t key, size_t part = 1) const {
    const size_t slot = interpolation == Interpolation::kCubicSpline ? key * 3 + part : key;
    return &values[slot * static_cast<size_t>(width)];
  }

  // The value at time t, clamped to the first and last keys; exactly a key's value at its time.
  void Evaluate(double t, double* out) const {
    const size_t n = times.size();
    size_t i = 0;
    if (t >= times[n - 1]) {
      i = n - 1;
    } else if (t > times[0]) {
      i = static_cast<size_t>(std::upper_bound(times.begin(), times.end(), t) - times.begin()) - 1;
    }
    const double* v0 = Value(i);
    if (t <= times[i] || i + 1 == n || interpolation == Interpolation::kStep) {
      std::copy(v0, v0 + width, out);
      return;
    }
    const double span = times[i + 1] - times[i];
    const double s = (t - times[i]) / span;
    const double* v1 = Value(i + 1);
    if (interpolation == Interpolation::kCubicSpline) {
      const double s2 = s * s, s3 = s2 * s;
      const double* out0 = Value(i, 2);
      const double* in1 = Value(i + 1, 0);
      for (int k = 0; k < width; ++k)
        out[k] = (2 * s3 - 3 * s2 + 1) * v0[k] + span * (s3 - 2 * s2 + s) * out0[k] + (-2 * s3 + 3 * s2) * v1[k] +
                 span * (s3 - s2) * in1[k];
      if (width == 4) {
        Quat q{out[0], out[1], out[2], out[3]};
        Normalize(q);
        out[0] = q.x, out[1] = q.y, out[2] = q.z, out[3] = q.w;
      }
      return;
    }
    if (width == 4) {
      const Quat q = Slerp({v0[0], v0[1], v0[2], v0[3]}, {v1[0], v1[1], v1[2], v1[3]}, s);
      out[0] = q.x, out[1] = q.y, out[2] = q.z, out[3] = q.w;
      return;
    }
    for (int k = 0; k < width; ++k) out[k] = v0[k] + (v1[k] - v0[k]) * s;
  }
};

struct NodeChannels {
  const Curve* translation = nullptr;
  const Curve* rotation = nullptr;
};

// Walks one parsed glTF document into the host model. The first failure ends the read.
class GltfMapper {
 public:
  GltfMapper(const tinygltf::Model& gltf, const GltfReadOptions& options, GltfReadResult& result)
      : gltf_(gltf), options_(options), result_(result) {}
  ~GltfMapper() {
    if (model_) msModel_Destroy(model_);
  }

  bool Map();
  msModel* Release() {
    msModel* model = model_;
    model_ = nullptr;
    return model;
  }

 private:
  bool Fail(const std::string& where, const std::string& what) {
    result_.diagnostics.push_back({Severity::kError, -1, where, what});
    return false;
  }
  void Warn(const std::string& where, const std::string& what) {
    result_.diagnostics.push_back({Severity::kWarning, -1, where, what});
  }
  std::string NodePlace(int index) const {
    const std::string& name = gltf_.nodes[static_cast<size_t>(index)].name;
    return "node " + Num(static_cast<uint64_t>(index)) + (name.empty() ? "" : " " + QuoteText(name));
  }

  bool CollectSceneNodes();
  bool Comment(const tinygltf::Value& extras, const std::string& place, std::string& comment);
  bool ChooseAnimation();
  bool ReadChannels();
  bool ReadCurve(const tinygltf::AnimationSampler& sampler, int width, const std::string& place, Curve& curve);
  bool ReadFloats(int accessorIndex, int type, size_t expectedCount, const std::string& place,
                  std::vector<double>& out);
  bool RestPose(int index, Vec3d& position, double euler[3]);
  bool AddNode(int index);

  const tinygltf::Model& gltf_;
  const GltfReadOptions& options_;
  GltfReadResult& result_;
  msModel* model_ = nullptr;
  std::vector<int> order_;             // scene nodes, parents before children
  std::vector<int> parent_;            // by node index; -1 for a top node
  std::vector<std::string> names_;     // by node index
  std::vector<std::string> comments_;  // by node index
  const tinygltf::Animation* animation_ = nullptr;
  std::vector<Curve> curves_;
  std::map<int, NodeChannels> channels_;
  double fps_ = kGltfDefaultFps;
};

bool GltfMapper::CollectSceneNodes() {
  if (gltf_.scenes.empty()) return Fail("", "the file has no scene");
  size_t sceneIndex = 0;
  if (gltf_.defaultScene >= 0) {
    sceneIndex = static_cast<size_t>(gltf_.defaultScene);
    if (sceneIndex >= gltf_.scenes.size())
      return Fail("", "the default scene " + Num(sceneIndex) + " does not exist (the file has " +
                          Num(gltf_.scenes.size()) + " scenes)");
  }
  const size_t nodeCount = gltf_.nodes.size();
  parent_.assign(nodeCount, -1);
  std::vector<bool> seen(nodeCount, false);
  // Depth first, children in their order, without recursion: a chain may be deep.
  std::vector<std::pair<int, int>> stack;  // node, parent
  const std::vector<int>& roots = gltf_.scenes[sceneIndex].nodes;
  for (auto it = roots.rbegin(); it != roots.rend(); ++it) stack.push_back({*it, -1});
  while (!stack.empty()) {
    const auto [node, parent] = stack.back();
    stack.pop_back();
    const std::string place = parent < 0 ? "scene " + Num(sceneIndex) : NodePlace(parent);
    if (node < 0 || static_cast<size_t>(node) >= nodeCount)
      return Fail(place, "names node " + std::to_string(node) + ", but the file has " + Num(nodeCount) + " nodes");
    if (seen[static_cast<size_t>(node)])
      return Fail(place, "names " + NodePlace(node) + " a second time; a node has one place in the scene");
    seen[static_cast<size_t>(node)] = true;
    parent_[static_cast<size_t>(node)] = parent;
    order_.push_back(node);
    const std::vector<int>& children = gltf_.nodes[static_cast<size_t>(node)].children;
    for (auto it = children.rbegin(); it != children.rend(); ++it) stack.push_back({*it, node});
  }
  names_.resize(nodeCount);
  for (int node : order_) {
    std::string name = gltf_.nodes[static_cast<size_t>(node)].name;
    if (name.empty()) {
      name = "Node" + std::to_string(node);
      Warn(NodePlace(node), "has no name; it is called " + QuoteText(name));
    }
    if (name.size() > kHostNameMax)
      return Fail(NodePlace(node), "its name is " + Num(name.size()) +
                                       " bytes long; the modeller's names hold at most " + Num(kHostNameMax));
    names_[static_cast<size_t>(node)] = name;
  }
  comments_.resize(nodeCount);
  for (int node : order_)
    if (!Comment(gltf_.nodes[static_cast<size_t>(node)].extras, NodePlace(node), comments_[static_cast<size_t>(node)]))
      return false;
  return true;
}

// "comment" as written, then every other string or number property as a Key=Value line, in
// name order. Other kinds of value have no comment form and are skipped with a warning.
// A Key=Value line holds one option: a line break in it would add options of its own.
bool GltfMapper::Comment(const tinygltf::Value& extras, const std::string& place, std::string& comment) {
  comment.clear();
  if (extras.Type() == tinygltf::NULL_TYPE) return true;
  if (!extras.IsObject()) {
    Warn(place, "extras are not an object of properties; they are ignored");
    return true;
  }
  const auto append = [&comment](const std::string& line) {
    if (!comment.empty() && comment.back() != '\n') comment += '\n';
    comment += line;
  };
  const tinygltf::Value::Object& properties = extras.Get<tinygltf::Value::Object>();
  const auto found = properties.find(kFreeTextProperty);
  if (found != properties.end() && found->second.IsString()) append(found->second.Get<std::string>());
  for (const auto& [key, value] : properties) {
    if (value.IsString()) {
      if (key == kFreeTextProperty) continue;
      const std::string& text = value.Get<std::string>();
      if (HasLineBreak(key) || HasLineBreak(text))
        return Fail(place, "property " + QuoteText(key) + " holds a line break in its " +
                               (HasLineBreak(key) ? "name" : "value") + "; only \"" + kFreeTextProperty +
                               "\" may span lines");
      append(key + "=" + text);
    } else if (value.IsNumber()) {
      if (HasLineBreak(key)) return Fail(place, "property " + QuoteText(key) + " holds a line break in its name");
      append(key + "=" + NumberText(value.GetNumberAsDouble()));
    } else {
      Warn(place, "extras property " + QuoteText(key) + " is not a string or a number; it is ignored");
    }
  }
  if (comment.size() > kHostCommentMax)
    return Fail(place, "its properties make a comment of " + Num(comment.size()) +
                           " bytes; the modeller's comments hold at most " + Num(kHostCommentMax));
  return true;
}

bool GltfMapper::ChooseAnimation() {
  const std::vector<tinygltf::Animation>& animations = gltf_.animations;
  if (!options_.animation.empty()) {
    for (const tinygltf::Animation& animation : animations)
      if (animation.name == options_.animation) {
        animation_ = &animation;
        return true;
      }
    std::string names;
    for (const tinygltf::Animation& animation : animations)
      names += (names.empty() ? "" : ", ") + QuoteText(animation.name);
    return Fail("", "no animation is named " + QuoteText(options_.animation) +
                        (names.empty() ? " (the file has none)" : " (the file has " + names + ")"));
  }
  if (animations.empty()) return true;
  animation_ = &animations[0];
  if (animations.size() > 1)
    Warn("", "the file has " + Num(animations.size()) + " animations; the first, " + QuoteText(animation_->name) +
                 ", is read");
  return true;
}

bool GltfMapper::ReadFloats(int accessorIndex, int type, size_t expectedCount, const std::string& place,
                            std::vector<double>& out) {
  if (accessorIndex < 0 || static_cast<size_t>(accessorIndex) >= gltf_.accessors.size())
    return Fail(place, "names accessor " + std::to_string(accessorIndex) + ", but the file has " +
                           Num(gltf_.accessors.size()) + " accessors");
  const tinygltf::Accessor& accessor = gltf_.accessors[static_cast<size_t>(accessorIndex)];
  const std::string where = place + ", accessor " + std::to_string(accessorIndex);
  const int width = type == TINYGLTF_TYPE_SCALAR ? 1 : type == TINYGLTF_TYPE_VEC3 ? 3 : 4;
  if (accessor.type != type)
    return Fail(where,
                "holds the wrong kind of value (" + Num(static_cast<uint64_t>(width)) + " numbers each are needed)");
  if (accessor.componentType != TINYGLTF_COMPONENT_TYPE_FLOAT)
    return Fail(where, "is not of 32-bit floats (only those are read)");
  if (accessor.sparse.isSparse) return Fail(where, "is sparse (not read)");
  if (expectedCount != 0 && accessor.count != expectedCount)
    return Fail(where, "has " + Num(accessor.count) + " values, " + Num(expectedCount) + " are needed");
  if (accessor.count == 0) return Fail(where, "is empty");
  if (accessor.bufferView < 0 || static_cast<size_t>(accessor.bufferView) >= gltf_.bufferViews.size())
    return Fail(where, "has no buffer view");
  const tinygltf::BufferView& view = gltf_.bufferViews[static_cast<size_t>(accessor.bufferView)];
  if (view.buffer < 0 || static_cast<size_t>(view.buffer) >= gltf_.buffers.size())
    return Fail(where, "has a buffer view without a buffer");
  const uint64_t bufferSize = gltf_.buffers[static_cast<size_t>(view.buffer)].data.size();
  const uint64_t elementSize = uint64_t{4} * static_cast<uint64_t>(width);
  const uint64_t stride = view.byteStride != 0 ? view.byteStride : elementSize;
  const uint64_t count = accessor.count;
  // Every product below stays far from overflow: each factor is checked against the buffer first.
  if (view.byteOffset > bufferSize || view.byteLength > bufferSize - view.byteOffset)
    return Fail(where, "has a buffer view past the end of its buffer (" + Num(bufferSize) + " bytes)");
  if (stride < elementSize || accessor.byteOffset > view.byteLength || count - 1 > view.byteLength / stride ||
      (count - 1) * stride + elementSize > view.byteLength - accessor.byteOffset)
    return Fail(where, "reaches past the end of its buffer view (" + Num(view.byteLength) + " bytes)");
  const unsigned char* base =
      gltf_.buffers[static_cast<size_t>(view.buffer)].data.data() + view.byteOffset + accessor.byteOffset;
  out.resize(static_cast<size_t>(count) * static_cast<size_t>(width));
  for (uint64_t i = 0; i < count; ++i) {
    for (int k = 0; k < width; ++k) {
      float value;
      std::memcpy(&value, base + i * stride + static_cast<uint64_t>(k) * 4, sizeof value);
      if (!std::isfinite(value)) return Fail(where, "value " + Num(i) + " is not a finite number");
      out[static_cast<size_t>(i) * static_cast<size_t>(width) + static_cast<size_t>(k)] = value;
    }
  }
  return true;
}

bool GltfMapper::ReadCurve(const tinygltf::AnimationSampler& sampler, int width, const std::string& place,
                           Curve& curve) {
  if (sampler.interpolation == "STEP") {
    curve.interpolation = Interpolation::kStep;
  } else if (sampler.interpolation == "LINEAR" || sampler.interpolation.empty()) {
    curve.interpolation = Interpolation::kLinear;
  } else if (sampler.interpolation == "CUBICSPLINE") {
    curve.interpolation = Interpolation::kCubicSpline;
  } else {
    return Fail(place, "has the unknown interpolation " + QuoteText(sampler.interpolation));
  }
  curve.width = width;
  if (!ReadFloats(sampler.input, TINYGLTF_TYPE_SCALAR, 0, place + " times", curve.times)) return false;
  for (size_t i = 1; i < curve.times.size(); ++i)
    if (!(curve.times[i] > curve.times[i - 1]))
      return Fail(place, "key time " + Num(i) + " is not after the one before it");
  const int type = width == 3 ? TINYGLTF_TYPE_VEC3 : TINYGLTF_TYPE_VEC4;
  if (!ReadFloats(sampler.output, type, curve.times.size() * curve.Stride(), place + " values", curve.values))
    return false;
  if (width == 4) {
    for (size_t i = 0; i < curve.times.size(); ++i) {
      double* v = &curve.values[(i * curve.Stride() + (curve.Stride() == 3 ? 1 : 0)) * 4];
      Quat q{v[0], v[1], v[2], v[3]};
      if (!Normalize(q)) return Fail(place, "rotation " + Num(i) + " is not a unit quaternion (its length is 0)");
      v[0] = q.x, v[1] = q.y, v[2] = q.z, v[3] = q.w;
    }
  }
  return true;
}

bool GltfMapper::ReadChannels() {
  if (!animation_) return true;
  const std::string animationPlace = "animation " + QuoteText(animation_->name);
  curves_.reserve(animation_->channels.size());  // NodeChannels point into it
  for (size_t c = 0; c < animation_->channels.size(); ++c) {
    const tinygltf::AnimationChannel& channel = animation_->channels[c];
    const std::string place = animationPlace + " channel " + Num(c);
    const std::string& path = channel.target_path;
    if (path == "weights") continue;  // morph weights move no bone
    if (path != "translation" && path != "rotation" && path != "scale")
      return Fail(place, "animates the unknown property " + QuoteText(path));
    const int node = channel.target_node;
    if (node < 0 || static_cast<size_t>(node) >= gltf_.nodes.size())
      return Fail(place,
                  "targets node " + std::to_string(node) + ", but the file has " + Num(gltf_.nodes.size()) + " nodes");
    if (channel.sampler < 0 || static_cast<size_t>(channel.sampler) >= animation_->samplers.size())
      return Fail(place, "names sampler " + std::to_string(channel.sampler) + ", but the animation has " +
                             Num(animation_->samplers.size()));
    curves_.emplace_back();
    const int width = path == "rotation" ? 4 : 3;
    if (!ReadCurve(animation_->samplers[static_cast<size_t>(channel.sampler)], width, place, curves_.back()))
      return false;
    if (path == "scale") {  // a scale that stays 1 (as some converters write) is no loss
      const Curve scale = std::move(curves_.back());
      curves_.pop_back();
      for (size_t key = 0; key < scale.times.size(); ++key) {
        const double* value = scale.Value(key);
        if (std::fabs(value[0] - 1) > kGltfRigidTolerance || std::fabs(value[1] - 1) > kGltfRigidTolerance ||
            std::fabs(value[2] - 1) > kGltfRigidTolerance) {
          Warn(NodePlace(node), "its scale animation is ignored (only translation and rotation are exported)");
          break;
        }
      }
      continue;
    }
    const Curve*& slot = width == 4 ? channels_[node].rotation : channels_[node].translation;
    if (slot) return Fail(place, "animates the " + path + " of " + NodePlace(node) + " a second time");
    slot = &curves_.back();
  }
  return true;
}

bool GltfMapper::RestPose(int index, Vec3d& position, double euler[3]) {
  const tinygltf::Node& node = gltf_.nodes[static_cast<size_t>(index)];
  const std::string place = NodePlace(index);
  double r[3][3];
  if (node.matrix.size() == 16) {
    const std::vector<double>& m = node.matrix;  // column by column
    for (double value : m)
      if (!std::isfinite(value)) return Fail(place, "its matrix holds a number that is not finite");
    for (int row = 0; row < 3; ++row)
      for (int col = 0; col < 3; ++col) r[row][col] = m[static_cast<size_t>(col * 4 + row)];
    const double det = r[0][0] * (r[1][1] * r[2][2] - r[1][2] * r[2][1]) -
                       r[0][1] * (r[1][0] * r[2][2] - r[1][2] * r[2][0]) +
                       r[0][2] * (r[1][0] * r[2][1] - r[1][1] * r[2][0]);
    bool rigid = std::fabs(m[3]) <= kGltfRigidTolerance && std::fabs(m[7]) <= kGltfRigidTolerance &&
                 std::fabs(m[11]) <= kGltfRigidTolerance && std::fabs(m[15] - 1) <= kGltfRigidTolerance &&
                 std::fabs(det - 1) <= kGltfRigidTolerance;
    for (int a = 0; a < 3 && rigid; ++a)
      for (int b = a; b < 3; ++b) {
        const double dot = r[0][a] * r[0][b] + r[1][a] * r[1][b] + r[2][a] * r[2][b];
        if (std::fabs(dot - (a == b ? 1 : 0)) > kGltfRigidTolerance) rigid = false;
      }
    if (!rigid) return Fail(place, "its matrix is not rigid (it scales, shears, mirrors or projects)");
    position = {m[12], m[13], m[14]};
  } else if (!node.matrix.empty()) {
    return Fail(place, "its matrix has " + Num(node.matrix.size()) + " numbers, not 16");
  } else {
    if (!node.translation.empty()) {
      if (node.translation.size() != 3) return Fail(place, "its translation does not have 3 numbers");
      position = {node.translation[0], node.translation[1], node.translation[2]};
    }
    Quat q;
    if (!node.rotation.empty()) {
      if (node.rotation.size() != 4) return Fail(place, "its rotation does not have 4 numbers");
      q = {node.rotation[0], node.rotation[1], node.rotation[2], node.rotation[3]};
      if (!Normalize(q)) return Fail(place, "its rotation is not a unit quaternion");
    }
    QuaternionToMatrix(q, r);
    if (node.scale.size() == 3) {
      for (double s : node.scale)
        if (std::fabs(s - 1) > kGltfRigidTolerance) {
          Warn(place, "its scale is ignored (only translation and rotation are exported)");
          break;
        }
    }
  }
  if (!std::isfinite(position.x) || !std::isfinite(position.y) || !std::isfinite(position.z))
    return Fail(place, "its translation is not finite");
  const double zero[3] = {0, 0, 0};
  MatrixToEuler(r, zero, euler);
  return true;
}

Vec3 ToFloats(double x, double y, double z) {
  return {static_cast<float>(x), static_cast<float>(y), static_cast<float>(z)};
}

bool GltfMapper::AddNode(int index) {
  Vec3d rest;
  double restEuler[3];
  if (!RestPose(index, rest, restEuler)) return false;
  const int parent = parent_[static_cast<size_t>(index)];
  const std::string parentName = parent < 0 ? "" : names_[static_cast<size_t>(parent)];
  const std::string& name = names_[static_cast<size_t>(index)];
  // Keys are offsets from the bind pose, so taking the turn off the bind pose takes it off every key.
  const double turnY = options_.exportTurnY ? options_.exportTurnY(name) : 0;
  msBone* bone = AddBone(model_, name, parentName, ToFloats(rest.x, rest.y, rest.z),
                         ToFloats(restEuler[0], restEuler[1] - turnY, restEuler[2]));
  SetBoneComment(bone, comments_[static_cast<size_t>(index)]);

  const auto found = channels_.find(index);
  if (found == channels_.end()) return true;
  const Curve* curves[2] = {found->second.translation, found->second.rotation};
  // Keys at every time either curve has. A step curve also holds its value until one frame
  // before its next key, so the exported curve jumps within that frame instead of gliding.
  std::vector<double> times;
  for (const Curve* curve : curves) {
    if (!curve) continue;
    times.insert(times.end(), curve->times.begin(), curve->times.end());
    if (curve->interpolation != Interpolation::kStep) continue;
    for (size_t i = 1; i < curve->times.size(); ++i) {
      const double hold = curve->times[i] - 1 / fps_;
      if (hold > curve->times[i - 1]) times.push_back(hold);
    }
  }
  std::sort(times.begin(), times.end());
  times.erase(std::unique(times.begin(), times.end()), times.end());

  double near[3] = {restEuler[0], restEuler[1], restEuler[2]};
  for (double t : times) {
    double position[3] = {rest.x, rest.y, rest.z};
    if (curves[0]) curves[0]->Evaluate(t, position);
    double euler[3] = {restEuler[0], restEuler[1], restEuler[2]};
    if (curves[1]) {
      double q[4];
      curves[1]->Evaluate(t, q);
      QuaternionToEuler(q, near, euler);
      std::copy(euler, euler + 3, near);
    }
    const float frame = SecondsToFrames(static_cast<float>(t), static_cast<float>(fps_));
    AddKeyPair(bone, frame, ToFloats(position[0] - rest.x, position[1] - rest.y, position[2] - rest.z),
               ToFloats(euler[0] - restEuler[0], euler[1] - restEuler[1], euler[2] - restEuler[2]));
  }
  return true;
}

bool GltfMapper::Map() {
  if (!CollectSceneNodes()) return false;
  const size_t scene = gltf_.defaultScene >= 0 ? static_cast<size_t>(gltf_.defaultScene) : 0;
  const std::string scenePlace = "scene " + Num(scene);
  std::string modelComment, sceneComment;
  if (!Comment(gltf_.asset.extras, "asset", modelComment) ||
      !Comment(gltf_.scenes[scene].extras, scenePlace, sceneComment))
    return false;
  if (!modelComment.empty() && !sceneComment.empty() && modelComment.back() != '\n') modelComment += '\n';
  modelComment += sceneComment;
  if (modelComment.size() > kHostCommentMax)
    return Fail(scenePlace, "its properties and the asset's make a model comment of " + Num(modelComment.size()) +
                                " bytes; the modeller's comments hold at most " + Num(kHostCommentMax));
  if (options_.framesPerSecond) {
    const int32_t fps = options_.framesPerSecond(modelComment);
    fps_ = fps > 0 ? fps : kGltfDefaultFps;
  }
  if (!ChooseAnimation() || !ReadChannels()) return false;
  model_ = CreateModel();
  SetModelComment(model_, modelComment);
  for (int node : order_)
    if (!AddNode(node)) return false;
  return true;
}

GltfReadResult Failure(const std::string& what) {
  GltfReadResult result;
  result.diagnostics.push_back({Severity::kError, -1, "", what});
  return result;
}

// tinygltf's messages come as lines; the first says what stopped it.
std::string FirstLine(const std::string& text) {
  std::string line = text.substr(0, text.find('\n'));
  while (!line.empty() && (line.back() == '\r' || line.back() == ' ')) line.pop_back();
  return line.empty() ? "not a glTF file" : line;
}

// Images are not part of a scene's motion: they are accepted unread.
bool SkipImage(tinygltf::Image*, const int, std::string*, std::string*, int, int, const unsigned char*, int, void*) {
  return true;
}

// Reading from memory, no other file is looked at: each one is missing.
bool NoFileExists(const std::string&, void*) { return false; }
std::string SamePath(const std::string& path, void*) { return path; }
bool NoFileRead(std::vector<unsigned char>*, std::string*, const std::string&, void*) { return false; }
bool NoFileWrite(std::string*, const std::string&, const std::vector<unsigned char>&, void*) { return false; }

// How deep the arrays and objects of a JSON text nest (brackets inside strings do not count).
size_t JsonDepth(const char* text, size_t size) {
  size_t depth = 0, deepest = 0;
  bool inString = false;
  for (size_t i = 0; i < size; ++i) {
    const char c = text[i];
    if (inString) {
      if (c == '\\') {
        ++i;  // the escaped character
      } else if (c == '"') {
        inString = false;
      }
    } else if (c == '"') {
      inString = true;
    } else if (c == '[' || c == '{') {
      deepest = std::max(deepest, ++depth);
    } else if ((c == ']' || c == '}') && depth > 0) {
      --depth;
    }
  }
  return deepest;
}

// The JSON of a .glb: its first chunk, as far as the bytes reach.
std::pair<const char*, size_t> GlbJson(const std::string& bytes) {
  constexpr size_t kJsonStart = 20;  // magic, version, length, chunk length, chunk type
  if (bytes.size() <= kJsonStart) return {nullptr, 0};
  uint32_t length = 0;
  for (int i = 3; i >= 0; --i) length = length << 8 | static_cast<uint8_t>(bytes[12 + static_cast<size_t>(i)]);
  return {bytes.data() + kJsonStart, std::min<size_t>(length, bytes.size() - kJsonStart)};
}

GltfReadResult Read(const std::string& bytes, const std::string& baseDir, bool allowFiles,
                    const GltfReadOptions& options) {
  if (bytes.size() > kGltfMaxFileSize) return Failure("the file is larger than " + Num(kGltfMaxFileSize) + " bytes");
  const bool binary = bytes.size() >= kGlbMagicSize && std::memcmp(bytes.data(), kGlbMagic, kGlbMagicSize) == 0;
  // The loader turns extras into values by recursion: a scene nests a few levels, not thousands.
  const auto [json, jsonSize] = binary ? GlbJson(bytes) : std::make_pair(bytes.data(), bytes.size());
  if (JsonDepth(json, jsonSize) > kGltfMaxJsonDepth)
    return Failure("the JSON nests deeper than " + Num(kGltfMaxJsonDepth) + " levels");
  tinygltf::TinyGLTF loader;
  loader.SetImageLoader(SkipImage, nullptr);
  if (!allowFiles) loader.SetFsCallbacks({NoFileExists, SamePath, NoFileRead, NoFileWrite, nullptr});
  tinygltf::Model gltf;
  std::string error, warning;
  const auto* data = reinterpret_cast<const unsigned char*>(bytes.data());
  const auto size = static_cast<unsigned int>(bytes.size());
  const bool loaded = binary ? loader.LoadBinaryFromMemory(&gltf, &error, &warning, data, size, baseDir)
                             : loader.LoadASCIIFromString(&gltf, &error, &warning, bytes.data(), size, baseDir);
  if (!loaded) return Failure(FirstLine(error));

  GltfReadResult result;
  GltfMapper mapper(gltf, options, result);
  if (mapper.Map()) result.model = ModelPtr(mapper.Release());
  return result;
}

}  // namespace

void QuaternionToEuler(const double q[4], const double near[3], double euler[3]) {
  Quat unit{q[0], q[1], q[2], q[3]};
  Normalize(unit);
  double r[3][3];
  QuaternionToMatrix(unit, r);
  MatrixToEuler(r, near, euler);
}

const Diagnostic* GltfReadResult::error() const {
  if (diagnostics.empty() || !diagnostics.back().isError()) return nullptr;
  return &diagnostics.back();
}

GltfReadResult ReadGltf(const std::string& bytes, const GltfReadOptions& options) {
  return Read(bytes, "", false, options);
}

GltfReadResult ReadGltfFile(const std::string& path, const GltfReadOptions& options) {
  std::string bytes, error;
  if (!ReadFileBytes(path, kGltfMaxFileSize, bytes, error)) return Failure(error);
  const size_t slash = path.find_last_of("/\\");
  return Read(bytes, slash == std::string::npos ? "." : path.substr(0, slash), true, options);
}

}  // namespace rw
