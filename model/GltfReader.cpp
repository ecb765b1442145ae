#include "model/GltfReader.h"

#include <tiny_gltf.h>

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <map>
#include <nlohmann/json.hpp>
#include <unordered_map>

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
  const std::vector<double>* times = nullptr;  // null: the node has no such channel
  const std::vector<double>* values = nullptr;

  size_t Stride() const { return interpolation == Interpolation::kCubicSpline ? 3 : 1; }
  const double* Value(size_t key, size_t part = 1) const {
    const size_t slot = interpolation == Interpolation::kCubicSpline ? key * 3 + part : key;
    return &(*values)[slot * static_cast<size_t>(width)];
  }

  // The value at time t, clamped to the first and last keys; exactly a key's value at its time.
  void Evaluate(double t, double* out) const {
    const std::vector<double>& keys = *times;
    const size_t n = keys.size();
    size_t i = 0;
    if (t >= keys[n - 1]) {
      i = n - 1;
    } else if (t > keys[0]) {
      i = static_cast<size_t>(std::upper_bound(keys.begin(), keys.end(), t) - keys.begin()) - 1;
    }
    const double* v0 = Value(i);
    if (t <= keys[i] || i + 1 == n || interpolation == Interpolation::kStep) {
      std::copy(v0, v0 + width, out);
      return;
    }
    const double span = keys[i + 1] - keys[i];
    const double s = (t - keys[i]) / span;
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
  Curve translation;
  Curve rotation;
};

// An accessor's floats, checked against its buffer but not yet copied.
struct FloatSpan {
  const unsigned char* base = nullptr;
  uint64_t count = 0;
  uint64_t stride = 0;
  int width = 1;
  // Where it is read, for a message: the animation channel and which part of it, the accessor.
  size_t channel = 0;
  const char* part = "";
  int accessor = -1;

  float At(uint64_t i, size_t k) const {
    float value;
    std::memcpy(&value, base + i * stride + k * 4, sizeof value);
    return value;
  }
};

// A sampler's keys, checked but not yet copied.
struct SamplerSpans {
  Interpolation interpolation = Interpolation::kLinear;
  int input = -1, output = -1;  // accessor indexes
  FloatSpan times, values;
};

struct PlannedChannel {
  bool present = false;
  size_t channel = 0;  // the animation's channel that reads it
  SamplerSpans spans;
};
struct PlannedNode {
  PlannedChannel translation, rotation;
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
  // Places are put into words only for a message: a long name repeated for every channel or
  // child would cost time with the square of the input.
  std::string ChannelPlace(size_t channel) const {
    return "animation " + QuoteText(animation_->name) + " channel " + Num(channel);
  }
  std::string SpanPlace(const FloatSpan& span) const {
    return ChannelPlace(span.channel) + " " + span.part + ", accessor " + std::to_string(span.accessor);
  }
  bool CheckFloats(int accessorIndex, int type, uint64_t expectedCount, FloatSpan& span);
  bool CopyFloats(const FloatSpan& span, std::vector<double>& out);
  bool CheckSampler(const tinygltf::AnimationSampler& sampler, int width, size_t channel, SamplerSpans& spans);
  bool ScaleChanges(const SamplerSpans& spans);
  bool CheckChannels();
  bool FitsTheFile();
  bool ReadChannels();
  bool ReadCurve(const SamplerSpans& spans, size_t channel, Curve& curve);
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
  std::map<int, PlannedNode> planned_;                            // by node index
  std::map<int, NodeChannels> channels_;                          // by node index
  std::map<int, std::vector<double>> times_;                      // by accessor index
  std::map<std::pair<int, size_t>, std::vector<double>> values_;  // by accessor index and stride
  std::map<std::pair<int, size_t>, bool> scaleChanges_;           // by accessor index and stride
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
    const int node = stack.back().first, parent = stack.back().second;
    stack.pop_back();
    const auto place = [&] { return parent < 0 ? "scene " + Num(sceneIndex) : NodePlace(parent); };
    if (node < 0 || static_cast<size_t>(node) >= nodeCount)
      return Fail(place(), "names node " + std::to_string(node) + ", but the file has " + Num(nodeCount) + " nodes");
    if (seen[static_cast<size_t>(node)])
      return Fail(place(), "names " + NodePlace(node) + " a second time; a node has one place in the scene");
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

bool GltfMapper::CheckFloats(int accessorIndex, int type, uint64_t expectedCount, FloatSpan& span) {
  span.accessor = accessorIndex;
  if (accessorIndex < 0 || static_cast<size_t>(accessorIndex) >= gltf_.accessors.size())
    return Fail(ChannelPlace(span.channel) + " " + span.part, "names accessor " + std::to_string(accessorIndex) +
                                                                  ", but the file has " + Num(gltf_.accessors.size()) +
                                                                  " accessors");
  const tinygltf::Accessor& accessor = gltf_.accessors[static_cast<size_t>(accessorIndex)];
  const auto where = [&] { return SpanPlace(span); };
  const int width = type == TINYGLTF_TYPE_SCALAR ? 1 : type == TINYGLTF_TYPE_VEC3 ? 3 : 4;
  if (accessor.type != type)
    return Fail(where(),
                "holds the wrong kind of value (" + Num(static_cast<uint64_t>(width)) + " numbers each are needed)");
  if (accessor.componentType != TINYGLTF_COMPONENT_TYPE_FLOAT)
    return Fail(where(), "is not of 32-bit floats (only those are read)");
  if (accessor.sparse.isSparse) return Fail(where(), "is sparse (not read)");
  if (expectedCount != 0 && accessor.count != expectedCount)
    return Fail(where(), "has " + Num(accessor.count) + " values, " + Num(expectedCount) + " are needed");
  if (accessor.count == 0) return Fail(where(), "is empty");
  if (accessor.bufferView < 0 || static_cast<size_t>(accessor.bufferView) >= gltf_.bufferViews.size())
    return Fail(where(), "has no buffer view");
  const tinygltf::BufferView& view = gltf_.bufferViews[static_cast<size_t>(accessor.bufferView)];
  if (view.buffer < 0 || static_cast<size_t>(view.buffer) >= gltf_.buffers.size())
    return Fail(where(), "has a buffer view without a buffer");
  const uint64_t bufferSize = gltf_.buffers[static_cast<size_t>(view.buffer)].data.size();
  const uint64_t elementSize = uint64_t{4} * static_cast<uint64_t>(width);
  const uint64_t stride = view.byteStride != 0 ? view.byteStride : elementSize;
  const uint64_t count = accessor.count;
  // Every product below stays far from overflow: each factor is checked against the buffer first.
  if (view.byteOffset > bufferSize || view.byteLength > bufferSize - view.byteOffset)
    return Fail(where(), "has a buffer view past the end of its buffer (" + Num(bufferSize) + " bytes)");
  if (stride < elementSize || accessor.byteOffset > view.byteLength || count - 1 > view.byteLength / stride ||
      (count - 1) * stride + elementSize > view.byteLength - accessor.byteOffset)
    return Fail(where(), "reaches past the end of its buffer view (" + Num(view.byteLength) + " bytes)");
  span.base = gltf_.buffers[static_cast<size_t>(view.buffer)].data.data() + view.byteOffset + accessor.byteOffset;
  span.count = count;
  span.stride = stride;
  span.width = width;
  return true;
}

bool GltfMapper::CopyFloats(const FloatSpan& span, std::vector<double>& out) {
  const auto width = static_cast<size_t>(span.width);
  out.resize(static_cast<size_t>(span.count) * width);
  for (uint64_t i = 0; i < span.count; ++i) {
    for (size_t k = 0; k < width; ++k) {
      const float value = span.At(i, k);
      if (!std::isfinite(value)) return Fail(SpanPlace(span), "value " + Num(i) + " is not a finite number");
      out[static_cast<size_t>(i) * width + k] = value;
    }
  }
  return true;
}

bool GltfMapper::CheckSampler(const tinygltf::AnimationSampler& sampler, int width, size_t channel,
                              SamplerSpans& spans) {
  if (sampler.interpolation == "STEP") {
    spans.interpolation = Interpolation::kStep;
  } else if (sampler.interpolation == "LINEAR" || sampler.interpolation.empty()) {
    spans.interpolation = Interpolation::kLinear;
  } else if (sampler.interpolation == "CUBICSPLINE") {
    spans.interpolation = Interpolation::kCubicSpline;
  } else {
    return Fail(ChannelPlace(channel), "has the unknown interpolation " + QuoteText(sampler.interpolation));
  }
  spans.input = sampler.input;
  spans.output = sampler.output;
  const uint64_t stride = spans.interpolation == Interpolation::kCubicSpline ? 3 : 1;
  spans.times.channel = spans.values.channel = channel;
  spans.times.part = "times";
  spans.values.part = "values";
  if (!CheckFloats(sampler.input, TINYGLTF_TYPE_SCALAR, 0, spans.times)) return false;
  const int type = width == 3 ? TINYGLTF_TYPE_VEC3 : TINYGLTF_TYPE_VEC4;
  return CheckFloats(sampler.output, type, spans.times.count * stride, spans.values);
}

// Each accessor is copied once however many channels read it, so that shared keys cost their
// own size, not their size times the nodes that use them.
bool GltfMapper::ReadCurve(const SamplerSpans& spans, size_t channel, Curve& curve) {
  curve.interpolation = spans.interpolation;
  curve.width = spans.values.width;
  auto times = times_.find(spans.input);
  if (times == times_.end()) {
    times = times_.emplace(spans.input, std::vector<double>()).first;
    if (!CopyFloats(spans.times, times->second)) return false;
    const std::vector<double>& t = times->second;
    for (size_t i = 1; i < t.size(); ++i)
      if (!(t[i] > t[i - 1]))
        return Fail(ChannelPlace(channel), "key time " + Num(i) + " is not after the one before it");
  }
  curve.times = &times->second;
  const std::pair<int, size_t> valueKey{spans.output, curve.Stride()};
  auto values = values_.find(valueKey);
  if (values == values_.end()) {
    values = values_.emplace(valueKey, std::vector<double>()).first;
    if (!CopyFloats(spans.values, values->second)) return false;
    if (curve.width == 4) {  // the values proper, not a cubic spline's tangents, are unit quaternions
      for (size_t i = 0; i < curve.times->size(); ++i) {
        double* v = &values->second[(i * curve.Stride() + (curve.Stride() == 3 ? 1 : 0)) * 4];
        Quat q{v[0], v[1], v[2], v[3]};
        if (!Normalize(q))
          return Fail(ChannelPlace(channel), "rotation " + Num(i) + " is not a unit quaternion (its length is 0)");
        v[0] = q.x, v[1] = q.y, v[2] = q.z, v[3] = q.w;
      }
    }
  }
  curve.values = &values->second;
  return true;
}

// A scale that stays 1 (as some converters write) is no loss; one that changes is ignored with a warning.
bool GltfMapper::ScaleChanges(const SamplerSpans& spans) {
  const uint64_t stride = spans.interpolation == Interpolation::kCubicSpline ? 3 : 1;
  const auto key = std::make_pair(spans.output, static_cast<size_t>(stride));
  const auto found = scaleChanges_.find(key);
  if (found != scaleChanges_.end()) return found->second;
  bool changes = false;
  for (uint64_t i = 0; i < spans.times.count && !changes; ++i) {
    const uint64_t slot = i * stride + (stride == 3 ? 1 : 0);  // a cubic spline's value, not its tangents
    for (size_t k = 0; k < 3; ++k)
      if (!(std::fabs(static_cast<double>(spans.values.At(slot, k)) - 1) <= kGltfRigidTolerance)) changes = true;
  }
  scaleChanges_[key] = changes;
  return changes;
}

bool GltfMapper::CheckChannels() {
  if (!animation_) return true;
  for (size_t c = 0; c < animation_->channels.size(); ++c) {
    const tinygltf::AnimationChannel& channel = animation_->channels[c];
    const auto place = [&] { return ChannelPlace(c); };
    const std::string& path = channel.target_path;
    if (path == "weights") continue;  // morph weights move no bone
    if (path != "translation" && path != "rotation" && path != "scale")
      return Fail(place(), "animates the unknown property " + QuoteText(path));
    const int node = channel.target_node;
    if (node < 0 || static_cast<size_t>(node) >= gltf_.nodes.size())
      return Fail(place(),
                  "targets node " + std::to_string(node) + ", but the file has " + Num(gltf_.nodes.size()) + " nodes");
    if (channel.sampler < 0 || static_cast<size_t>(channel.sampler) >= animation_->samplers.size())
      return Fail(place(), "names sampler " + std::to_string(channel.sampler) + ", but the animation has " +
                               Num(animation_->samplers.size()));
    const int width = path == "rotation" ? 4 : 3;
    SamplerSpans spans;
    if (!CheckSampler(animation_->samplers[static_cast<size_t>(channel.sampler)], width, c, spans)) return false;
    if (path == "scale") {
      if (ScaleChanges(spans))
        Warn(NodePlace(node), "its scale animation is ignored (only translation and rotation are exported)");
      continue;
    }
    PlannedChannel& slot = width == 4 ? planned_[node].rotation : planned_[node].translation;
    if (slot.present) return Fail(place(), "animates the " + path + " of " + NodePlace(node) + " a second time");
    slot = {true, c, spans};
  }
  return true;
}

// A floor under the size of the NIS file the export would write, from counts and name lengths
// alone, so that a scene too large is refused before a key is copied and before any path is
// built (a deep chain's paths grow with the square of its depth). Each key of an exported bone
// takes 32 bytes in each of its seven curves, and sixteen names hold its path: its seven curves',
// its leader's with the six curve names it lists, its follower's and the leader name that one
// lists. A bone's path is its parent's (as the export finds the parent: the first bone of that
// name) and its own name.
bool GltfMapper::FitsTheFile() {
  if (options_.maxNisSize == 0) return true;
  constexpr uint64_t kCurvesPerBone = 7, kKeyBytes = 32, kPathsPerBone = 16;
  constexpr uint64_t kRootLength = 4;  // "Root"
  std::unordered_map<std::string, int> firstOfName;
  std::vector<uint64_t> pathLength(gltf_.nodes.size(), 0), keys(gltf_.nodes.size(), 0);
  uint64_t floor = 0;
  for (int node : order_) {
    const auto n = static_cast<size_t>(node);
    const int parent = parent_[n];
    const int climb = parent < 0 ? -1 : firstOfName.at(names_[static_cast<size_t>(parent)]);
    firstOfName.emplace(names_[n], node);  // the parent came before: its name is there
    pathLength[n] = (climb < 0 ? kRootLength : pathLength[static_cast<size_t>(climb)]) + 1 + names_[n].size();
    const auto found = planned_.find(node);
    if (found != planned_.end()) {
      const PlannedChannel* channels[2] = {&found->second.translation, &found->second.rotation};
      for (const PlannedChannel* channel : channels)
        if (channel->present) keys[n] = std::max(keys[n], channel->spans.times.count);
    }
    const bool exported = (!options_.exported || options_.exported(names_[n])) && (keys[n] > 0 || parent >= 0);
    if (keys[n] == 0 && exported && climb >= 0) keys[n] = keys[static_cast<size_t>(climb)];  // a keyless child's
    if (!exported) continue;
    floor += kPathsPerBone * pathLength[n] + kCurvesPerBone * kKeyBytes * keys[n];
    if (floor > options_.maxNisSize)
      return Fail("", "the scene's keys and names alone need more than the " + Num(options_.maxNisSize) +
                          " bytes a NIS file can hold");
  }
  return true;
}

bool GltfMapper::ReadChannels() {
  for (auto& [node, planned] : planned_) {
    NodeChannels& channels = channels_[node];
    if (planned.translation.present &&
        !ReadCurve(planned.translation.spans, planned.translation.channel, channels.translation))
      return false;
    if (planned.rotation.present && !ReadCurve(planned.rotation.spans, planned.rotation.channel, channels.rotation))
      return false;
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
  const Curve* curves[2] = {found->second.translation.times ? &found->second.translation : nullptr,
                            found->second.rotation.times ? &found->second.rotation : nullptr};
  // Keys at every time either curve has. A step curve also holds its value until one frame
  // before its next key, so the exported curve jumps within that frame instead of gliding.
  std::vector<double> times;
  for (const Curve* curve : curves) {
    if (!curve) continue;
    const std::vector<double>& keys = *curve->times;
    times.insert(times.end(), keys.begin(), keys.end());
    if (curve->interpolation != Interpolation::kStep) continue;
    for (size_t i = 1; i < keys.size(); ++i) {
      const double hold = keys[i] - 1 / fps_;
      if (hold > keys[i - 1]) times.push_back(hold);
    }
  }
  std::sort(times.begin(), times.end());
  times.erase(std::unique(times.begin(), times.end()), times.end());

  double near[3] = {restEuler[0], restEuler[1], restEuler[2]};
  for (double t : times) {
    // Four wide: Evaluate writes as many values as its curve holds, and only a rotation holds four.
    double position[4] = {rest.x, rest.y, rest.z, 0};
    if (curves[0]) curves[0]->Evaluate(t, position);
    double euler[3] = {restEuler[0], restEuler[1], restEuler[2]};
    if (curves[1]) {
      double q[4] = {0, 0, 0, 1};
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
  // Everything is checked and the file's size bounded before a single key is copied.
  if (!ChooseAnimation() || !CheckChannels() || !FitsTheFile() || !ReadChannels()) return false;
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

// The buffers of a .gltf or .glb that name files, as the loader opens them one by one: each is
// read only when it is a regular file (a pipe or a device could block or never end) of exactly
// its byteLength, and all of them together with the scene stay within kGltfMaxFileSize.
struct BufferFiles {
  std::vector<uint64_t> lengths;  // the byteLength of each buffer that names a file, in order
  size_t next = 0;
  uint64_t budget = 0;             // bytes that may still be read
  std::vector<std::string> paths;  // every file looked at: an export must never replace one
};

// The byteLength of each buffer that names a file (a uri that is not a data URI), in file order.
// Only the buffers' two properties are kept while the JSON is read.
std::vector<uint64_t> BufferFileLengths(const char* text, size_t size) {
  using nlohmann::json;
  const json::parser_callback_t keep = [](int depth, json::parse_event_t event, json& parsed) {
    if (event != json::parse_event_t::key) return true;
    if (depth == 1) return parsed == "buffers";
    if (depth == 3) return parsed == "uri" || parsed == "byteLength";
    return true;
  };
  const json doc = json::parse(text, text + size, keep, false);
  std::vector<uint64_t> lengths;
  if (!doc.is_object() || !doc.contains("buffers") || !doc["buffers"].is_array()) return lengths;
  for (const json& buffer : doc["buffers"]) {
    if (!buffer.is_object() || !buffer.contains("uri") || !buffer["uri"].is_string()) continue;
    const std::string& uri = buffer["uri"].get_ref<const std::string&>();
    if (uri.empty() || tinygltf::IsDataURI(uri)) continue;
    const json& length = buffer.contains("byteLength") ? buffer["byteLength"] : json();
    lengths.push_back(length.is_number_unsigned() ? length.get<uint64_t>() : 0);
  }
  return lengths;
}

bool BufferFileExists(const std::string& path, void*) {
  std::error_code code;
  return std::filesystem::exists(path, code);
}

bool ReadBufferFile(std::vector<unsigned char>* out, std::string* error, const std::string& path, void* user) {
  BufferFiles& files = *static_cast<BufferFiles*>(user);
  files.paths.push_back(path);
  if (files.next >= files.lengths.size()) {
    *error = "is not named by a buffer";
    return false;
  }
  const uint64_t length = files.lengths[files.next++];
  if (!CheckPlainFile(path, *error)) return false;
  std::error_code code;
  const uintmax_t size = std::filesystem::file_size(path, code);
  if (!code && size != length) {
    *error = "holds " + Num(size) + " bytes, but its buffer's byteLength is " + Num(length);
    return false;
  }
  if (length > files.budget) {
    *error = "takes the scene and its buffers past " + Num(kGltfMaxFileSize) + " bytes";
    return false;
  }
  std::string bytes;
  if (!ReadFileBytes(path, length, bytes, *error)) return false;
  files.budget -= bytes.size();
  out->assign(bytes.begin(), bytes.end());
  return true;
}

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
  BufferFiles files;
  if (allowFiles) {
    files.lengths = BufferFileLengths(json, jsonSize);
    files.budget = kGltfMaxFileSize - bytes.size();
    loader.SetFsCallbacks({BufferFileExists, SamePath, ReadBufferFile, NoFileWrite, &files});
  } else {
    loader.SetFsCallbacks({NoFileExists, SamePath, NoFileRead, NoFileWrite, nullptr});
  }
  tinygltf::Model gltf;
  std::string error, warning;
  const auto* data = reinterpret_cast<const unsigned char*>(bytes.data());
  const auto size = static_cast<unsigned int>(bytes.size());
  const bool loaded = binary ? loader.LoadBinaryFromMemory(&gltf, &error, &warning, data, size, baseDir)
                             : loader.LoadASCIIFromString(&gltf, &error, &warning, bytes.data(), size, baseDir);
  if (!loaded) return Failure(FirstLine(error));

  GltfReadResult result;
  result.filesRead = std::move(files.paths);
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
